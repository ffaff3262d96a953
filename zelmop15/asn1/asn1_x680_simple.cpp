// BOOLEAN, ENUMERATED and NULL.
#include "asn1/asn1_span.h"
#include "asn1/asn1_x680.h"

namespace {

constexpr uint8_t boolean = 0x01;
constexpr uint8_t enumerated = 0x0A;
constexpr uint8_t null = 0x05;

// The octet goes out as it stands: a true of 1 is 01, not the FF of DER.
uint32_t encode_octet(uint8_t **cursor, uint8_t tag, uint32_t value) {
    const uint32_t header = asn1_TagLength_e(cursor, tag, 1);
    if (cursor != nullptr)
        *(*cursor)++ = static_cast<uint8_t>(value);
    return header + 1;
}

// With nothing to read the value stays what it was, and that is no failure.
const uint8_t *decode_octet(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, uint8_t tag, uint32_t *value,
                            uint16_t level) {
    if (z == nullptr || end == nullptr || asn1::remaining(z, end) < 1)
        return z;
    uint32_t length = 0;
    z = asn1_TagLength_d(z, end, impl_tag, tag, nullptr, &length, nullptr, level);
    if (z == nullptr || length != 1)
        return nullptr;
    *value = *z;
    return z + 1;
}

}  // namespace

extern "C" {

uint32_t asn1_Boolean_e(uint8_t **cursor, uint32_t value) {
    return encode_octet(cursor, boolean, value);
}

uint32_t asn1_Enumerated_e(uint8_t **cursor, uint32_t value) {
    return encode_octet(cursor, enumerated, value);
}

const uint8_t *asn1_Boolean_d(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, uint32_t *value, uint16_t level) {
    const uint8_t *const read = decode_octet(z, end, impl_tag, boolean, value, level);
    if (read != nullptr || z == nullptr)
        asn1_LogMessage(level, "  %s (%0x)\n", *value != 0 ? "TRUE" : "FALSE", *value);
    return read;
}

const uint8_t *asn1_Enumerated_d(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, uint32_t *value,
                                 uint16_t level) {
    const uint8_t *const read = decode_octet(z, end, impl_tag, enumerated, value, level);
    if (read != nullptr || z == nullptr)
        asn1_LogMessage(level, "  %i\n", static_cast<int>(*value));
    return read;
}

uint32_t asn1_Null_e(uint8_t **cursor) {
    return asn1_TagLength_e(cursor, null, 0);
}

const uint8_t *asn1_Null_d(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, void ** /*ignored*/,
                           uint16_t level) {
    uint32_t length = 0;
    return asn1_TagLength_d(z, end, impl_tag, null, nullptr, &length, nullptr, level);
}
}
