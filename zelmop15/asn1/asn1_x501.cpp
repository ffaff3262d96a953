// The tree form of names: coders, comparison, look-up.
#include "asn1/asn1_x501.h"

#include <cstring>

#include "asn1/asn1_record.h"

namespace asn1 {

// The value's tag octet is read before the value and kept beside it. A copy does not get it: the tag of a copy is 0.
template <auto Tag, auto Value>
struct TaggedString {
    using R = RecordOf<Tag>;

    static void preset(R &) {}
    static bool decode(const uint8_t *&z, const uint8_t *limit, R &record, uint16_t level) {
        if (remaining(z, limit) == 0)
            return false;
        const uint8_t octet = *z;
        record.*Tag = octet;
        z = asn1_ASN1String_d(z, limit, 0, octet, &(record.*Value), level);
        return z != nullptr;
    }
    static bool encode(uint8_t **cursor, const R &record, uint32_t &sum) {
        const uint32_t length = asn1_ASN1String_e(cursor, static_cast<uint8_t>(record.*Tag), record.*Value);
        return length != 0 && add_length(sum, length);
    }
    static void free(R &record) {
        asn1_ASN1String_free(record.*Value);
    }
    static bool clone(R &to, const R &from) {
        to.*Value = asn1_ASN1String_clone(from.*Value);
        return to.*Value != nullptr || from.*Value == nullptr;
    }
};

// clang-format off
template <>
struct Schema<::AttributeValueAssertion> {
    using R = ::AttributeValueAssertion;
    using fields = Sequence<
        Mandatory   <&R::type, ObjId>,
        TaggedString<&R::tag, &R::value>>;
};
// clang-format on

using AttributeValueAssertion = ASN1_RECORD_CODER(AttributeValueAssertion, sequence_octet);
using RelativeDistinguishedName = SetOf<AttributeValueAssertion>;
using RDNSequence = SeqOf<RelativeDistinguishedName>;

}  // namespace asn1

ASN1_NESTED_RECORD(AttributeValueAssertion)
ASN1_LIST(RelativeDistinguishedName)
ASN1_LIST(RDNSequence)

namespace {

// Whether two lists are of one length and the second has every element of the first; 0 when so.
int compare_lists(const List *a, const List *b, List_compare compare) {
    if (List_len(a) != List_len(b))
        return 1;
    for (int32_t i = 0; i < List_len(a); ++i)
        if (List_contains(b, List_get(a, i), compare) < 0)
            return 1;
    return 0;
}

AttributeValueAssertion *find_assertion(const RDNSequence *sequence, const asn1_ObjId *id) {
    for (int32_t i = 0; i < List_len(sequence); ++i) {
        const auto *rdn = static_cast<const List *>(List_get(sequence, i));
        for (int32_t j = 0; j < List_len(rdn); ++j) {
            auto *assertion = static_cast<AttributeValueAssertion *>(List_get(rdn, j));
            if (asn1_ObjId_cmp(assertion->type, id) == 0)
                return assertion;
        }
    }
    return nullptr;
}

}  // namespace

extern "C" {

int asn1_AttributeValueAssertion_cmp(const AttributeValueAssertion *a, const AttributeValueAssertion *b) {
    const bool equal =
        asn1_ObjId_cmp(a->type, b->type) == 0 && a->tag == b->tag && asn1_ASN1String_cmp(a->value, b->value) == 0;
    return equal ? 0 : 1;
}

int asn1_RelativeDistinguishedName_cmp(const RelativeDistinguishedName *a, const RelativeDistinguishedName *b) {
    return compare_lists(a, b, [](const void *element, const void *value) {
        return asn1_AttributeValueAssertion_cmp(static_cast<const AttributeValueAssertion *>(element),
                                                static_cast<const AttributeValueAssertion *>(value));
    });
}

int asn1_RDNSequence_cmp(const RDNSequence *a, const RDNSequence *b) {
    return compare_lists(a, b, [](const void *element, const void *value) {
        return asn1_RelativeDistinguishedName_cmp(static_cast<const List *>(element), static_cast<const List *>(value));
    });
}

AttributeValueAssertion *asn1_RDNSequence_getAttr(const RDNSequence *sequence, const asn1_ObjId *id,
                                                  AttributeValueAssertion **result) {
    AttributeValueAssertion *const assertion = find_assertion(sequence, id);
    if (result != nullptr)
        *result = assertion;
    return assertion;
}

Name *asn1_Name_new(uint32_t count) {
    return allocate<char>(static_cast<size_t>(count) + 1);
}

void asn1_Name_free(Name *name) {
    std::free(name);
}

Name *asn1_Name_clone(const Name *name) {
    if (name == nullptr)
        return nullptr;
    const size_t size = std::strlen(name) + 1;
    auto *clone = allocate<char>(size);
    if (clone != nullptr)
        std::memcpy(clone, name, size);
    return clone;
}

uint32_t asn1_Name_e(uint8_t **cursor, const Name *name) {
    const Owned<RDNSequence, asn1_RDNSequence_free> sequence(asn1_Name_to_RDNSequence(name));
    return asn1_RDNSequence_e(cursor, sequence.get());
}

const uint8_t *asn1_Name_d(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, Name **name, uint16_t level) {
    if (name == nullptr)
        return nullptr;
    *name = nullptr;
    if (z == nullptr || asn1::remaining(z, end) == 0)
        return nullptr;
    RDNSequence *read = nullptr;
    z = asn1_RDNSequence_d(z, end, impl_tag, &read, level);
    const Owned<RDNSequence, asn1_RDNSequence_free> sequence(read);
    if (z != nullptr)
        *name = asn1_RDNSequence_to_Name(sequence.get());
    return *name != nullptr ? z : nullptr;
}
}
