// Names in both forms, certificates, revocation lists, messages.
#include <cstring>

#include "asn1/asn1_x509v1.h"
#include "codec.h"
#include "runtime/owned.h"

namespace {

// ---- names ---------------------------------------------------------------------------------------------------------

using Text = Owned<char, asn1_Name_free>;
using Tree = Owned<List, asn1_RDNSequence_free>;

Bytes octets_of(const List *sequence) {
    return encode([sequence](uint8_t **cursor) { return asn1_RDNSequence_e(cursor, sequence); });
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
bool is_spelled_alike(const Bytes &written, size_t algorithm, const uint8_t *read, size_t consumed) {
    const uint8_t *const start = written.data();
    if (written.size() != consumed || !same_header(start, read) || !same_header(start + algorithm, read + algorithm))
        return false;
    const auto signature = behind(start + algorithm, start + consumed) - start;
    return start[signature] == read[signature];
}

/// The signed part is written as it stood in the input.
template <class T>
void check_kept(const char *type, const uint8_t *data, size_t size) {
    const Record record(type, Input(Bytes(data, data + size)));
    const Bytes octets = record.value != nullptr ? record.written() : Bytes();
    if (octets.empty())
        return;
    const asn1_OctetString *const kept = record.as<T>()->tbsDER;
    const auto consumed = static_cast<size_t>(record.position);
    uint32_t length = 0;
    const uint8_t *written = asn1_Length_d(octets.data() + 1, octets.data() + octets.size(), &length, nullptr, 0);
    const uint8_t *read = asn1_Length_d(data + 1, data + size, &length, nullptr, 0);
    fuzz::require(std::memcmp(written, kept->data, kept->len) == 0, "signed part", "it is written as it is kept");
    fuzz::require(std::memcmp(read, kept->data, kept->len) == 0, "signed part", "it is kept as it was read");
    const size_t algorithm = static_cast<size_t>(written - octets.data()) + kept->len;
    if (is_spelled_alike(octets, algorithm, data, consumed))
        fuzz::require(std::memcmp(octets.data(), data, consumed) == 0, "whole", "it is written as it was read");
}

void check_certificate(const uint8_t *data, size_t size) {
    check_kept<Certificate>("Certificate", data, size);
}

void check_revocation_list(const uint8_t *data, size_t size) {
    check_kept<CertificateRevocationList>("CertificateRevocationList", data, size);
}

constexpr void (*checks[])(const uint8_t *, size_t) = {check_text, check_tree, check_certificate,
                                                       check_revocation_list};

}  // namespace

const fuzz::Target fuzz::target = {"Validity", "EncryptedContentInfo", checks};
