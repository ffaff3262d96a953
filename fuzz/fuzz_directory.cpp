// Transparent directory files: a run of objects of one type, entries of the object directory, records of EF.DIR.
#include <algorithm>
#include <memory>

#include "codec.h"
#include "zelmop15/pkcs15.h"

namespace {

constexpr const char *types[] = {"PrivateKeyType", "PublicKeyType",      "SecretKeyType", "CertificateType",
                                 "DataType",       "AuthenticationType", "PKCS15Objects", "DIRRecord"};
constexpr size_t secret_keys = 2, dir_records = 7;

struct Directory {
    const RecordType *codec;
    List *list = nullptr;

    explicit Directory(const RecordType *of) : codec(of) {}
    ~Directory() {
        List_free(list, codec->free);
    }
    Directory(const Directory &) = delete;
    Directory &operator=(const Directory &) = delete;

    bool decode(fuzz::Octets data) {
        const uint8_t *end = data.data() + data.size();
        const uint8_t *position = pkcs15_DirectoryFile_d(data.data(), end, codec->d, codec->free, &list, 0);
        fuzz::require((position == nullptr) == (list == nullptr), codec->name, "a list exactly when it decodes");
        fuzz::require(position == nullptr || (position >= data.data() && position <= end), codec->name,
                      "the position lies within bounds");
        return position != nullptr;
    }

    [[nodiscard]] uint32_t encode(std::unique_ptr<uint8_t[]> &octets) const {
        const uint32_t length = pkcs15_DirectoryFile_e(nullptr, list, codec->e);
        octets.reset(new uint8_t[length]);
        if (length != 0)
            fuzz::require(pkcs15_DirectoryFile_e(octets.get(), list, codec->e) == length, codec->name,
                          "writing returns what measuring returned");
        return length;
    }
};

void check(const RecordType &codec, fuzz::Octets data, bool readable_again) {
    Directory first(&codec);
    if (!first.decode(data))
        return;
    std::unique_ptr<uint8_t[]> octets, again;
    const uint32_t length = first.encode(octets);
    if (length == 0) {
        fuzz::require(List_len(first.list) == 0 || fuzz::may_be_unwritable(data), codec.name, "decoded objects encode");
        return;
    }
    if (!readable_again || fuzz::may_be_cut_short(data))
        return;
    Directory second(&codec);
    fuzz::require(second.decode({octets.get(), length}), codec.name, "what was encoded decodes");
    fuzz::require(List_len(first.list) == List_len(second.list), codec.name, "as many objects as before");
    fuzz::require(second.encode(again) == length && std::equal(octets.get(), octets.get() + length, again.get()),
                  codec.name, "what was encoded encodes to the same octets");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size < 1)
        return -1;
    const size_t type = data[0] % std::size(types);
    const RecordType &codec = *find_record_type(types[type]);
    if (type == dir_records) {
        // Encoding one without a path would end the process: reading alone.
        Directory directory(&codec);
        directory.decode({data + 1, size - 1});
        return 0;
    }
    // A generic secret key is not written in the form that is read, so those files are not read again.
    check(codec, {data + 1, size - 1}, type != secret_keys);
    return 0;
}
