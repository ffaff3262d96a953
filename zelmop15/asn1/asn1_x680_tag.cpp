// Tags, lengths and end-of-contents.
#include "asn1/asn1_span.h"
#include "asn1/asn1_x680.h"
#include "runtime/assertion.h"

namespace {

constexpr uint8_t constructed_bit = 0x20;

// By the class bits of the tag octet.
constexpr const char *class_table[] = {"", "APPLICATION", "CONTEXT-SPECIFIC", "PRIVATE"};

// By universal tag number; the trailing blanks belong to the texts. 31 has no name and stands here for safety.
constexpr const char *tag_table[] = {
    "END OF CONTENTS",
    "BOOLEAN ",
    "INTEGER",
    "BITSTRING",
    "OCTETSTRING",
    "NULL",
    "OBJECT IDENTIFIER ",
    "",
    "",
    "REAL ",
    "ENUMERATED ",
    "",
    "UTF8STRING",
    "",
    "",
    "",
    "SEQUENCE",
    "SET",
    "NUMERICSTRING ",
    "PRINTABLESTRING ",
    "TELETEXSTRING ",
    "VIDEOTEXTSTRING ",
    "IA5STRING ",
    "UTCTIME ",
    "GENERALIZEDTIME ",
    "GRAPHICSTRING ",
    "VISIBLESTRING ",
    "GENERALSTRING ",
    "UNIVERSALSTRING ",
    "",
    "BMPSTRING ",
    "",
};
static_assert(sizeof tag_table / sizeof *tag_table == 32);

void trace_tag(uint8_t expected, uint8_t tag, bool constructed, uint16_t level) {
    const auto plain = static_cast<uint8_t>(expected & ~constructed_bit);
    if (plain == 0 || level == 0 || asn1log == nullptr)
        return;
    if (plain <= 0x1E) {
        if (constructed)
            asn1_LogMessage(level, "%s {\n", tag_table[plain]);
        else
            asn1_LogMessage(level, "%s\n", tag_table[plain]);
        return;
    }
    const int tag_class = plain >> 6;
    const bool unnamed = tag_class == 3 || tag > 0x1F;
    asn1_LogMessage(level, "%s %s [%i] %s\n", class_table[tag_class], constructed ? "CONSTRUCTED" : "PRIMITIVE",
                    plain & 0x1F, unnamed ? "{" : tag_table[tag]);
}

// Number of octets that hold `length` in the long form.
constexpr uint32_t length_octets(uint32_t length) {
    if (length > 0xFFFFFF)
        return 4;
    if (length > 0xFFFF)
        return 3;
    return length > 0xFF ? 2 : 1;
}

}  // namespace

extern "C" {

uint32_t asn1_Tag_e(uint8_t **cursor, uint8_t tag) {
    if (cursor != nullptr)
        *(*cursor)++ = tag;
    return 1;
}

uint32_t asn1_Length_e(uint8_t **cursor, uint32_t length) {
    if (length <= 0x7F) {
        if (cursor != nullptr)
            *(*cursor)++ = static_cast<uint8_t>(length);
        return 1;
    }
    const uint32_t octets = length_octets(length);
    if (cursor != nullptr) {
        *(*cursor)++ = static_cast<uint8_t>(0x80 + octets);
        for (uint32_t i = octets; i-- > 0;)
            *(*cursor)++ = static_cast<uint8_t>(length >> (8 * i));
    }
    return 1 + octets;
}

uint32_t asn1_TagLength_e(uint8_t **cursor, uint8_t tag, uint32_t length) {
    const uint32_t octets = asn1_Tag_e(cursor, tag);
    return octets + asn1_Length_e(cursor, length);
}

const uint8_t *asn1_Tag_d(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, uint8_t tag, uint32_t *pConstructed,
                          uint16_t level) {
    ZELMO_ASSERT(z != nullptr, "z != ((void *)0)");
    ZELMO_ASSERT(end != nullptr, "end != ((void *)0)");
    if (pConstructed != nullptr)
        *pConstructed = 0;
    if (asn1::remaining(z, end) < 1)
        return nullptr;
    // An implicit tag inherits the constructed bit of the type that it stands for.
    const auto expected = static_cast<uint8_t>((impl_tag != 0 ? impl_tag : tag) | (tag & constructed_bit));
    if (((*z ^ expected) & ~constructed_bit) != 0)
        return nullptr;
    const bool constructed = (*z & constructed_bit) != 0;
    if (pConstructed != nullptr)
        *pConstructed = constructed ? 1 : 0;
    else if (constructed && (expected & constructed_bit) == 0)
        return nullptr;
    trace_tag(expected, tag, constructed, level);
    return z + 1;
}

const uint8_t *asn1_Length_d(const uint8_t *z, const uint8_t *end, uint32_t *pLength, uint32_t *pIndefinite,
                             uint16_t level) {
    ZELMO_ASSERT(z != nullptr, "z != ((void *)0)");
    ZELMO_ASSERT(end != nullptr, "end != ((void *)0)");
    ZELMO_ASSERT(pLength != nullptr, "length != ((void *)0)");
    *pLength = 0;
    if (pIndefinite != nullptr)
        *pIndefinite = 0;
    if (asn1::remaining(z, end) < 1)
        return nullptr;
    const uint8_t first = *z++;
    if (first == 0x80) {
        if (pIndefinite == nullptr)
            return nullptr;
        *pIndefinite = 1;
        return z;
    }
    uint32_t length = first;
    if (first > 0x80) {
        const size_t octets = first - 0x80u;
        if (octets > 4)
            return nullptr;
        if (asn1::remaining(z, end) < octets) {
            asn1_LogMessage(level, "z larger than end!\n");
            return nullptr;
        }
        length = 0;
        for (size_t i = 0; i < octets; ++i)
            length = length << 8 | *z++;
    }
    *pLength = length;
    if (asn1::remaining(z, end) < length) {
        asn1_LogMessage(level, "z larger than end!\n");
        return nullptr;
    }
    return z;
}

const uint8_t *asn1_TagLength_d(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, uint8_t tag,
                                uint32_t *pConstructed, uint32_t *pLength, uint32_t *pIndefinite, uint16_t level) {
    z = asn1_Tag_d(z, end, impl_tag, tag, pConstructed, level);
    return z == nullptr ? nullptr : asn1_Length_d(z, end, pLength, pIndefinite, level);
}

uint32_t asn1_eoc_e(uint8_t **cursor) {
    if (cursor != nullptr) {
        *(*cursor)++ = 0;
        *(*cursor)++ = 0;
    }
    return 2;
}

const uint8_t *asn1_eoc_d(const uint8_t *z, const uint8_t *end) {
    if (asn1::remaining(z, end) < 2 || z[0] != 0 || z[1] != 0)
        return nullptr;
    return z + 2;
}
}
