// Names in both forms, certificates, revocation lists, messages.
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "asn1/asn1_oid.h"
#include "asn1/asn1_pkcs7.h"
#include "asn1/asn1_x509v1.h"
#include "codec.h"

namespace {

// ---- what is not written again -------------------------------------------------------------------------------------

/// Whether the octets are one element and no more. The signed part of a certificate is kept up to the last field that
/// is known; with surplus behind that, its length is none of the octets kept.
bool is_whole_element(const asn1_OctetString *octets) {
    uint32_t length = 0;
    const uint8_t *const end = octets->data + octets->len;
    const uint8_t *content = asn1_Length_d(octets->data + 1, end, &length, nullptr, 0);
    return content != nullptr && content + length == end;
}

template <class T>
bool is_kept_whole(const void *value) {
    return is_whole_element(static_cast<const T *>(value)->tbsDER);
}

// Writing encrypted data without octets ends the process, and it may well be read without them.
bool may_be_written(const EncryptedContentInfo *info) {
    return info->encryptedContent != nullptr;
}

bool may_be_written(const EncryptedData *data) {
    return may_be_written(data->encryptedContentInfo);
}

bool may_be_written(const ContentInfo *info) {
    while (info->content->value != nullptr && asn1_ObjId_cmp(info->contentType, asn1_Get_signedData()) == 0)
        info = static_cast<const SignedData *>(info->content->value)->contentInfo;
    return info->content->value == nullptr || asn1_ObjId_cmp(info->contentType, asn1_Get_encryptedData()) != 0 ||
           may_be_written(static_cast<const EncryptedData *>(info->content->value));
}

bool may_be_written(const SignedData *data) {
    return may_be_written(data->contentInfo);
}

constexpr fuzz::Codec writable(fuzz::Codec codec, bool (*condition)(const void *)) {
    codec.writable = condition;
    return codec;
}

#define FUZZ_ONE(T)  fuzz::codec<T, asn1_##T##_e, asn1_##T##_d, asn1_##T##_free, asn1_##T##_clone>(#T)
#define FUZZ_KEPT(T) writable(FUZZ_ONE(T), is_kept_whole<T>),
#define FUZZ_MESSAGE(T) \
    writable(FUZZ_ONE(T), [](const void *value) { return may_be_written(static_cast<const T *>(value)); }),

constexpr fuzz::Codec codecs[] = {
#include "x509.def"
};

// ---- names ---------------------------------------------------------------------------------------------------------

struct Release {
    void operator()(char *text) const {
        asn1_Name_free(text);
    }
    void operator()(List *sequence) const {
        asn1_RDNSequence_free(sequence);
    }
};
using Text = std::unique_ptr<char, Release>;
using Tree = std::unique_ptr<List, Release>;

std::vector<uint8_t> octets_of(const List *sequence) {
    std::vector<uint8_t> octets(asn1_RDNSequence_e(nullptr, sequence));
    uint8_t *cursor = octets.data();
    if (!octets.empty())
        fuzz::require(asn1_RDNSequence_e(&cursor, sequence) == octets.size(), "Name", "writing agrees with measuring");
    return octets;
}

/// A text that can be read at all stands for the tree that it is made of.
void check_text_of(const List *sequence) {
    const Text text(asn1_RDNSequence_to_Name(sequence));
    if (text == nullptr)
        return;
    const Tree tree(asn1_Name_to_RDNSequence(text.get()));
    if (tree == nullptr) {
        fuzz::require(asn1_Name_e(nullptr, text.get()) == 0, "Name", "what cannot be read cannot be written");
        return;
    }
    const Text again(asn1_RDNSequence_to_Name(tree.get()));
    fuzz::require(again != nullptr && std::strcmp(again.get(), text.get()) == 0, "Name", "its text is the same again");
    fuzz::require(asn1_Name_e(nullptr, text.get()) == octets_of(tree.get()).size(), "Name", "text and tree agree");
}

void check_tree(const uint8_t *data, size_t size) {
    List *decoded = nullptr;
    const uint8_t *position = asn1_RDNSequence_d(data, data + size, 0, &decoded, 1);
    const Tree sequence(decoded);
    char *name = nullptr;
    const uint8_t *other = asn1_Name_d(data, data + size, 0, &name, 0);
    const Text text(name);
    fuzz::require(other == nullptr || other == position, "Name", "tree and text are read from the same octets");
    if (position == nullptr)
        return;
    fuzz::require(position > data && position <= data + size, "RDNSequence", "the position lies within bounds");
    fuzz::require((other == nullptr) == (List_len(sequence.get()) == 0), "Name", "all but an empty name has a text");
    fuzz::require(asn1_RDNSequence_cmp(sequence.get(), sequence.get()) == 0, "RDNSequence", "a name equals itself");
    octets_of(sequence.get());
    check_text_of(sequence.get());
    const Tree copy(asn1_RDNSequence_clone(sequence.get()));
    fuzz::require(copy != nullptr && List_len(copy.get()) == List_len(sequence.get()), "RDNSequence", "can be cloned");
}

void check_text(const uint8_t *data, size_t size) {
    const std::string text(reinterpret_cast<const char *>(data), size);
    const Tree sequence(asn1_Name_to_RDNSequence(text.c_str()));
    if (sequence == nullptr)
        return;
    check_text_of(sequence.get());
    const Text spelled(asn1_RDNSequence_to_Name(sequence.get()));
    const Tree again(asn1_Name_to_RDNSequence(spelled.get()));
    if (again != nullptr)
        fuzz::require(octets_of(again.get()) == octets_of(sequence.get()), "Name", "one text has one tree");
}

// ---- the kept octets -----------------------------------------------------------------------------------------------

using Octets = std::vector<uint8_t>;

/// Position behind the element at `z`, which is known to be sound.
const uint8_t *behind(const uint8_t *z, const uint8_t *end) {
    uint32_t length = 0;
    return asn1_Length_d(z + 1, end, &length, nullptr, 0) + length;
}

bool same_header(const uint8_t *a, const uint8_t *b) {
    return std::memcmp(a, b, a[1] > 0x80 ? 2 + (a[1] & 0x7F) : 2) == 0;
}

/// Whether the parts that are not kept are spelled in the input as they are written. Then all is written as it was
/// read.
bool is_spelled_alike(const Octets &written, size_t algorithm, const uint8_t *read, size_t consumed) {
    const uint8_t *const start = written.data();
    if (written.size() != consumed || !same_header(start, read) || !same_header(start + algorithm, read + algorithm))
        return false;
    const auto signature = behind(start + algorithm, start + consumed) - start;
    return start[signature] == read[signature];
}

/// The signed part is written as it stood in the input.
template <class T, fuzz::DecoderOf<T> Decode, fuzz::EncoderOf<T> Encode, void (*Free)(T *)>
void check_kept(const uint8_t *data, size_t size) {
    T *value = nullptr;
    const uint8_t *const position = Decode(data, data + size, 0, &value, 0);
    if (position == nullptr)
        return;
    Octets octets(Encode(nullptr, value));
    uint8_t *cursor = octets.data();
    const asn1_OctetString *const kept = value->tbsDER;
    if (!octets.empty()) {
        Encode(&cursor, value);
        const auto consumed = static_cast<size_t>(position - data);
        uint32_t length = 0;
        const uint8_t *written = asn1_Length_d(octets.data() + 1, octets.data() + octets.size(), &length, nullptr, 0);
        const uint8_t *read = asn1_Length_d(data + 1, data + size, &length, nullptr, 0);
        fuzz::require(std::memcmp(written, kept->data, kept->len) == 0, "signed part", "it is written as it is kept");
        fuzz::require(std::memcmp(read, kept->data, kept->len) == 0, "signed part", "it is kept as it was read");
        const size_t algorithm = static_cast<size_t>(written - octets.data()) + kept->len;
        if (is_spelled_alike(octets, algorithm, data, consumed))
            fuzz::require(std::memcmp(octets.data(), data, consumed) == 0, "whole", "it is written as it was read");
    }
    Free(value);
}

constexpr void (*other_checks[])(const uint8_t *, size_t) = {
    check_text, check_tree, check_kept<Certificate, asn1_Certificate_d, asn1_Certificate_e, asn1_Certificate_free>,
    check_kept<CertificateRevocationList, asn1_CertificateRevocationList_d, asn1_CertificateRevocationList_e,
               asn1_CertificateRevocationList_free>};

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    fuzz::discard_trace();
    return 0;
}

// The first octet: C0 and above one of the other checks, below it a type as in every codec target.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size < 2)
        return -1;
    if (data[0] < 0xC0)
        return fuzz::run_codecs(codecs, data, size);
    other_checks[data[0] % std::size(other_checks)](data + 1, size - 1);
    return 0;
}
