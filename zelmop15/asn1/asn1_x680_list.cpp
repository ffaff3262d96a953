// Implicit and explicit tagging, SEQUENCE OF and SET OF.
#include "asn1/asn1_span.h"
#include "asn1/asn1_x680.h"
#include "runtime/assertion.h"

namespace {

constexpr uint8_t constructed_bit = 0x20;
constexpr uint8_t sequence = 16;
constexpr uint8_t set = 17;

constexpr uint8_t constructed(uint8_t tag) {
    return static_cast<uint8_t>(tag | constructed_bit);
}

// Encoded length of all elements; false when one yields nothing or the sum does not fit.
bool measure_elements(const List *list, asn1_element_e element_e, uint32_t &sum) {
    sum = 0;
    for (int32_t i = 0; i < List_len(list); ++i) {
        const uint32_t length = element_e(nullptr, List_get(list, i));
        if (length == 0 || !asn1::add_length(sum, length))
            return false;
    }
    return true;
}

// Whole length of an element with this content; 0 when it does not fit in 32 bits.
uint32_t whole_length(uint32_t content) {
    uint32_t sum = asn1_TagLength_e(nullptr, 0, content);
    return asn1::add_length(sum, content) ? sum : 0;
}

// Decodes elements up to `limit` into the list.
const uint8_t *decode_elements(const uint8_t *z, const uint8_t *limit, asn1_element_d element_d,
                               asn1_element_free element_free, List *list, uint16_t level) {
    while (z != nullptr && asn1::remaining(z, limit) > 0) {
        void *element = nullptr;
        z = element_d(z, limit, 0, &element, level);
        if (z == nullptr || List_append(list, element, nullptr) == nullptr) {
            element_free(element);
            return nullptr;
        }
    }
    return z;
}

}  // namespace

extern "C" {

uint32_t asn1_implicit_e(uint8_t **cursor, uint8_t tag, const void *pElement, asn1_element_e element_e) {
    ZELMO_ASSERT(pElement != nullptr, "pElement");
    ZELMO_ASSERT(element_e != nullptr, "element_e");
    uint8_t *const start = cursor != nullptr ? *cursor : nullptr;
    const uint32_t length = element_e(cursor, pElement);
    if (length != 0 && start != nullptr)
        *start = static_cast<uint8_t>((*start & constructed_bit) | (tag & ~constructed_bit));
    return length;
}

uint32_t asn1_explicit_e(uint8_t **cursor, uint8_t tag, const void *pElement, asn1_element_e element_e) {
    ZELMO_ASSERT(pElement != nullptr, "pElement");
    ZELMO_ASSERT(element_e != nullptr, "element_e");
    const uint32_t content = element_e(nullptr, pElement);
    if (content == 0)
        return 0;
    if (cursor == nullptr)
        return whole_length(content);
    const uint32_t header = asn1_TagLength_e(cursor, constructed(tag), content);
    const uint32_t written = element_e(cursor, pElement);
    return written == 0 ? 0 : header + written;
}

const uint8_t *asn1_explicit_d(const uint8_t *z, const uint8_t *end, uint8_t tag, asn1_element_d element_d,
                               void **ppElement, uint16_t level) {
    ZELMO_ASSERT(z != nullptr, "z");
    ZELMO_ASSERT(ppElement != nullptr, "ppElement");
    ZELMO_ASSERT(element_d != nullptr, "element_d");
    uint32_t length = 0;
    z = asn1_TagLength_d(z, end, 0, constructed(tag), nullptr, &length, nullptr, level);
    return z == nullptr ? nullptr : element_d(z, z + length, 0, ppElement, level);
}

uint32_t asn1_List_e(uint8_t **cursor, uint8_t tag, const List *list, asn1_element_e element_e) {
    uint32_t content = 0;
    if (!measure_elements(list, element_e, content))
        return 0;
    if (cursor == nullptr)
        return whole_length(content);
    uint32_t total = asn1_TagLength_e(cursor, constructed(tag), content);
    for (int32_t i = 0; i < List_len(list); ++i) {
        const uint32_t length = element_e(cursor, List_get(list, i));
        if (length == 0)
            return 0;
        total += length;
    }
    return total;
}

const uint8_t *asn1_List_d(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, uint8_t tag,
                           asn1_element_d element_d, asn1_element_free element_free, List **ppList, uint16_t level) {
    ZELMO_ASSERT(ppList != nullptr, "ppList != ((void *)0)");
    if (z == nullptr)
        return nullptr;
    *ppList = List_new(0);
    if (*ppList == nullptr)
        return nullptr;
    uint32_t length = 0;
    uint32_t indefinite = 0;
    const uint8_t implicit = impl_tag != 0 ? constructed(impl_tag) : impl_tag;
    z = asn1_TagLength_d(z, end, implicit, constructed(tag), nullptr, &length, &indefinite, level);
    if (z == nullptr)
        return nullptr;  // The empty list stays; the enclosing record releases it.

    const auto element_level = static_cast<uint16_t>(level != 0 ? level + 1 : 0);
    // An indefinite list is understood only where it fills the span: its end-of-contents are the last two octets.
    const uint8_t *limit = z + length;
    if (indefinite != 0)
        limit = asn1::remaining(z, end) < 2 ? z : end - 2;
    z = decode_elements(z, limit, element_d, element_free, *ppList, element_level);
    if (z != nullptr && indefinite != 0)
        z = asn1_eoc_d(z, end);
    if (z == nullptr) {
        List_free(*ppList, element_free);
        *ppList = nullptr;
        return nullptr;
    }
    asn1_LogMessage(level, "}\n");
    return z;
}

uint32_t asn1_SeqOf_e(uint8_t **cursor, const List *list, asn1_element_e element_e) {
    return asn1_List_e(cursor, sequence, list, element_e);
}

uint32_t asn1_SetOf_e(uint8_t **cursor, const List *list, asn1_element_e element_e) {
    return asn1_List_e(cursor, set, list, element_e);
}

const uint8_t *asn1_SeqOf_d(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, asn1_element_d element_d,
                            asn1_element_free element_free, List **ppList, uint16_t level) {
    return asn1_List_d(z, end, impl_tag, sequence, element_d, element_free, ppList, level);
}

const uint8_t *asn1_SetOf_d(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, asn1_element_d element_d,
                            asn1_element_free element_free, List **ppList, uint16_t level) {
    return asn1_List_d(z, end, impl_tag, set, element_d, element_free, ppList, level);
}

uint32_t asn1_expl_List_e(uint8_t **cursor, uint8_t outer, uint8_t inner, const List *list, asn1_element_e element_e) {
    if (list == nullptr)
        return 0;
    const uint32_t content = asn1_List_e(nullptr, inner, list, element_e);
    if (content == 0)
        return 0;
    if (cursor == nullptr)
        return whole_length(content);
    const uint32_t header = asn1_TagLength_e(cursor, constructed(outer), content);
    const uint32_t written = asn1_List_e(cursor, inner, list, element_e);
    return written == 0 ? 0 : header + written;
}

const uint8_t *asn1_expl_List_d(const uint8_t *z, const uint8_t *end, uint8_t outer, uint8_t inner,
                                asn1_element_d element_d, asn1_element_free element_free, List **ppList,
                                uint16_t level) {
    if (z == nullptr || ppList == nullptr)
        return nullptr;
    uint32_t length = 0;
    z = asn1_TagLength_d(z, end, 0, constructed(outer), nullptr, &length, nullptr, level);
    if (z == nullptr)
        return nullptr;
    return asn1_List_d(z, z + length, 0, constructed(inner), element_d, element_free, ppList, level);
}

uint32_t asn1_expl_SeqOf_e(uint8_t **cursor, uint8_t outer, const List *list, asn1_element_e element_e) {
    return asn1_expl_List_e(cursor, outer, sequence, list, element_e);
}

uint32_t asn1_expl_SetOf_e(uint8_t **cursor, uint8_t outer, const List *list, asn1_element_e element_e) {
    return asn1_expl_List_e(cursor, outer, set, list, element_e);
}

const uint8_t *asn1_expl_SeqOf_d(const uint8_t *z, const uint8_t *end, uint8_t outer, asn1_element_d element_d,
                                 asn1_element_free element_free, List **ppList, uint16_t level) {
    return asn1_expl_List_d(z, end, outer, sequence, element_d, element_free, ppList, level);
}

const uint8_t *asn1_expl_SetOf_d(const uint8_t *z, const uint8_t *end, uint8_t outer, asn1_element_d element_d,
                                 asn1_element_free element_free, List **ppList, uint16_t level) {
    return asn1_expl_List_d(z, end, outer, set, element_d, element_free, ppList, level);
}
}
