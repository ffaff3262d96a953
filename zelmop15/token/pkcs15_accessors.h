// Looks into decoded objects and numbers that the token layer keeps to itself.
#ifndef ZELMOP15_TOKEN_PKCS15_ACCESSORS_H
#define ZELMOP15_TOKEN_PKCS15_ACCESSORS_H

#include "zelmop15/pkcs15.h"

namespace token {

/// Tag number of a CHOICE's SEQUENCE alternative.
inline constexpr uint8_t sequence_choice = 16;

/// The alternative that a CHOICE holds; only the low byte of its tag counts.
template <class Choice>
uint8_t selector(const Choice &choice) {
    return static_cast<uint8_t>(choice.tag);
}

/// First content octet of an INTEGER, which is how algorithms and references are known; 0 for the number 0.
inline uint8_t first_octet(const asn1_Integer &number) {
    return number.len != 0 ? number.data[0] : 0;
}

/// The object in a decoded record of this object type, borrowed; null for an alternative that is not one.
const PKCS15Object *object_in(uint32_t objectType, const void *record);
/// What an object of this type is looked up by, borrowed; null for data objects, which have no identifier, and for
/// alternatives that are only carried as bytes.
const Identifier *object_identifier(uint32_t objectType, const void *record);

}  // namespace token

extern "C" {
/// Set bits among the low 8 bits of `value`.
uint8_t bitcount(uint32_t value);
}

#endif
