// Image files on the disk.
#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

#include "virtualcard/descriptor.h"
#include "virtualcard/image.h"
#include "virtualcard/image_hold.h"
#include "virtualcard/replace_file.h"

namespace virtualcard {

namespace {

[[noreturn]] void failed(const std::string &file, const char *what) {
    throw ImageError(file + ": " + what + ": " + std::generic_category().message(errno));
}

FileIdentity identityOf(const struct stat &status) {
    return {status.st_dev, status.st_ino, status.st_size, status.st_mtim.tv_sec, status.st_mtim.tv_nsec};
}

std::string readWhole(int fd, const std::string &file) {
    std::string text;
    char piece[65536];
    for (ssize_t got = 0; (got = read(fd, piece, sizeof piece)) != 0;) {
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            failed(file, "cannot read");
        text.append(piece, static_cast<size_t>(got));
        // One piece beyond the bound is enough for the parser to refuse it.
        if (text.size() > limits::imageText)
            break;
    }
    return text;
}

// What could not be read again is not written.
std::string boundedText(const std::string &target, const CardImage &image) {
    std::string text = formatImage(image);
    if (text.size() > limits::imageText)
        throw ImageError(target + ": would be larger than " + std::to_string(limits::imageText) + " octets");
    return text;
}

FileIdentity replace(const std::string &target, const CardImage &image, ImageHold *hold) {
    try {
        const auto whenWritten = [hold](int fd) {
            if (hold != nullptr)
                hold->reach(fd);
        };
        const FileIdentity identity = identityOf(replaceFile(target, boundedText(target, image), whenWritten));
        if (hold != nullptr)
            hold->move();
        return identity;
    } catch (const FileError &error) {
        throw ImageError(error.what());
    }
}

}  // namespace

CardImage readImage(const std::string &file, FileIdentity &identity) {
    const Descriptor fd(open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
    struct stat status = {};
    if (fd < 0 || fstat(fd, &status) != 0)
        failed(file, "cannot open");
    if (!S_ISREG(status.st_mode))
        throw ImageError(file + ": is no regular file");
    identity = identityOf(status);
    return parseImage(readWhole(fd, file), file);
}

CardImage readImage(const std::string &file) {
    FileIdentity identity;
    return readImage(file, identity);
}

bool isUnchanged(const std::string &file, const FileIdentity &identity) {
    struct stat status = {};
    return stat(file.c_str(), &status) == 0 && identityOf(status) == identity;
}

void writeImage(const std::string &file, const CardImage &image) {
    replace(resolvedFile(file), image, nullptr);
}

void writeImage(const std::string &file, const CardImage &image, FileIdentity &identity, ImageHold *hold) {
    const std::string target = resolvedFile(file);
    // Whoever else would replace the file waits here, and then sees that it is not the file any more.
    const Descriptor fd(open(target.c_str(), O_RDONLY | O_CLOEXEC));
    struct stat status = {};
    if (fd < 0 || flock(fd, LOCK_EX) != 0 || stat(target.c_str(), &status) != 0)
        failed(file, "cannot open");
    if (hold == nullptr && isHeld(static_cast<int>(fd)))
        throw ImageBusy(file + ": is in use by another program");
    if (identityOf(status) != identity)
        throw ImageError(file + ": has been changed by somebody else since it was read");
    identity = replace(target, image, hold);
}

}  // namespace virtualcard
