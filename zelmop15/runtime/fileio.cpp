#include "runtime/fileio.h"

#include <cstdio>
#include <sys/stat.h>

#include "runtime/assertion.h"
#include "runtime/stdio_safe.h"

namespace {

using OwnedFile = Owned<FILE, std::fclose>;

FILE *open_file(const char *path, const char *mode) {
    FILE *stream = nullptr;
    return fopen_safe(&stream, path, mode) == 0 ? stream : nullptr;
}

bool write_all(FILE *stream, const uint8_t *buffer, uint32_t count) {
    return count == 0 || std::fwrite(buffer, 1, count, stream) == count;
}

}  // namespace

extern "C" {

int32_t file_len(const char *path, uint32_t *size) {
    if (path == nullptr || size == nullptr)
        return -1;
    struct stat status = {};
    if (stat(path, &status) != 0 || !S_ISREG(status.st_mode) || status.st_size > UINT32_MAX)
        return -1;
    *size = static_cast<uint32_t>(status.st_size);
    return 0;
}

int32_t file_read(const char *path, uint8_t *buffer, uint32_t *length) {
    uint32_t size = 0;
    if (file_len(path, &size) != 0 || *length < size)
        return -1;
    const OwnedFile stream(open_file(path, "rb"));
    if (stream == nullptr || (size != 0 && std::fread(buffer, 1, size, stream.get()) != size))
        return -1;
    *length = size;
    return 0;
}

int32_t file_read_bs(const char *path, Bytestring **result) {
    *result = nullptr;
    uint32_t size = 0;
    if (file_len(path, &size) != 0)
        return -1;
    OwnedBytestring bs(Bytestring_new(size, nullptr));
    // The record's own length is the room given and the length read.
    if (bs == nullptr || file_read(path, bs->data, &bs->len) != 0)
        return -1;
    *result = bs.release();
    return 0;
}

int32_t file_write(const char *path, const uint8_t *buffer, uint32_t count) {
    if (path == nullptr)
        return write_all(stdout, buffer, count) ? 0 : -1;
    OwnedFile stream(open_file(path, "wb"));
    if (stream == nullptr)
        return -1;
    const bool written = write_all(stream.get(), buffer, count);
    const bool closed = std::fclose(stream.release()) == 0;
    return written && closed ? 0 : -1;
}

int32_t file_write_bs(const char *path, const Bytestring *bs) {
    ZELMO_ASSERT(bs != nullptr, "bs != ((void *)0)");
    return file_write(path, bs->data, bs->len);
}
}
