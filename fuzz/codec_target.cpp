// The entry of the targets of decoders.
#include "asn1/asn1_oid.h"
#include "asn1/asn1_pkcs7.h"
#include "asn1/asn1_x509v1.h"
#include "codec.h"

namespace {

// ---- what is not written again -------------------------------------------------------------------------------------

// The signed part of a certificate is kept up to the last field that is known; with surplus behind that, its length is
// none of the octets kept.
template <class T>
bool is_kept_whole(const void *value) {
    const asn1_OctetString *octets = static_cast<const T *>(value)->tbsDER;
    uint32_t length = 0;
    const uint8_t *const end = octets->data + octets->len;
    const uint8_t *content = asn1_Length_d(octets->data + 1, end, &length, nullptr, 0);
    return content != nullptr && content + length == end;
}

// Writing encrypted data without octets ends the process, and it may well be read without them.
bool has_octets(const void *info) {
    return static_cast<const EncryptedContentInfo *>(info)->encryptedContent != nullptr;
}

bool has_encrypted_octets(const void *data) {
    return has_octets(static_cast<const EncryptedData *>(data)->encryptedContentInfo);
}

bool is_message_with_octets(const void *message) {
    const auto *info = static_cast<const ContentInfo *>(message);
    while (info->content->value != nullptr && asn1_ObjId_cmp(info->contentType, asn1_Get_signedData()) == 0)
        info = static_cast<const SignedData *>(info->content->value)->contentInfo;
    return info->content->value == nullptr || asn1_ObjId_cmp(info->contentType, asn1_Get_encryptedData()) != 0 ||
           has_encrypted_octets(info->content->value);
}

// How the two directions of a type differ by design.
const struct Exception {
    const char *type;
    bool (*writable)(const void *value);
    uint8_t sequence_octet = 0x30;  // what the decoder wants where the encoder writes 30
} exceptions[] = {
    {"DIRRecord", [](const void *value) { return static_cast<const DIRRecord *>(value)->path != nullptr; }, 0x61},
    {"TokenInfo", [](const void *value) { return static_cast<const TokenInfo *>(value)->serialNumber != nullptr; }},
    {"SecretKeyType", [](const void *) { return true; }, 0xB0},
    {"Certificate", is_kept_whole<Certificate>},
    {"CertificateRevocationList", is_kept_whole<CertificateRevocationList>},
    {"ContentInfo", is_message_with_octets},
    {"SignedData",
     [](const void *value) { return is_message_with_octets(static_cast<const SignedData *>(value)->contentInfo); }},
    {"EncryptedData", has_encrypted_octets},
    {"EncryptedContentInfo", has_octets},
};

const Exception &exception_of(const RecordType &type) {
    static const Exception none = {"", [](const void *) { return true; }};
    for (const Exception &exception : exceptions)
        if (std::string_view(exception.type) == type.name)
            return exception;
    return none;
}

// ---- the checks ----------------------------------------------------------------------------------------------------

/// The value's octets, written into a block of exactly the measured size.
Bytes encoding_of(const Record &record) {
    const uint32_t length = record.type->e(nullptr, record.value);
    const std::unique_ptr<uint8_t[]> octets(new uint8_t[length]);
    uint8_t *cursor = octets.get();
    if (length != 0)
        fuzz::require(record.type->e(&cursor, record.value) == length && cursor == octets.get() + length,
                      record.type->name, "writing agrees with measuring");
    return {octets.get(), octets.get() + length};
}

void check(const RecordType &type, const uint8_t *data, size_t size, uint16_t level) {
    const Exception &exception = exception_of(type);
    const Input input(Bytes(data, data + size));
    const Record record(type.name, input, 0, level);
    fuzz::require(record.position != -2, type.name, "there is a value exactly when there is a position");
    if (record.value == nullptr)
        return;
    fuzz::require(record.position > 0 && input.begin() + record.position <= input.end(), type.name,
                  "the position lies behind the start, within bounds");
    if (!exception.writable(record.value))
        return;
    Bytes encoding = encoding_of(record);
    if (encoding.empty()) {
        fuzz::require(fuzz::may_be_unwritable({data, size}), type.name, "a decoded value encodes");
        return;
    }
    if (type.clone != nullptr)
        fuzz::require(encoding_of(record.copy()) == encoding, type.name, "the copy encodes to the same octets");
    if (fuzz::may_be_cut_short({data, size}))
        return;
    const uint8_t first = encoding[0];
    if (first == 0x30)
        encoding[0] = exception.sequence_octet;
    const Record again(type.name, Input(encoding));
    encoding[0] = first;
    fuzz::require(again.value != nullptr, type.name, "what was encoded decodes");
    fuzz::require(encoding_of(again) == encoding, type.name, "what was encoded encodes to the same octets");
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    fuzz::discard_trace();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const RecordType *const first = find_record_type(fuzz::target.first);
    static const size_t count = static_cast<size_t>(find_record_type(fuzz::target.last) - first) + 1;
    if (size < 2)
        return -1;
    if (data[0] < 0xC0 || fuzz::target.other_checks.empty())
        check(first[(data[0] & 0x7Fu) % count], data + 1, size - 1, (data[0] & 0x80) != 0 ? 1 : 0);
    else
        fuzz::target.other_checks[(data[0] - 0xC0u) % fuzz::target.other_checks.size()](data + 1, size - 1);
    return 0;
}
