// Reader of string encodings, which may be primitive or a tree of segments.
#ifndef ZELMOP15_ASN1_ASN1_X680_SEGMENTS_H
#define ZELMOP15_ASN1_ASN1_X680_SEGMENTS_H

#include <cstdint>

#include "runtime/owned.h"

namespace asn1 {

/// The value of a string: the octets of all its segments in a row.
struct StringContent {
    OwnedBlock<uint8_t> data;  ///< Of exactly `count` octets; null when there are none.
    uint32_t count = 0;
    uint32_t unused_bits = 0;  ///< BIT STRING in primitive form alone; segments are joined by whole octets.
};

/// Reads a string with this universal tag. With `bits` each segment starts with its count of unused bits, otherwise it
/// is octets throughout, whatever the tag. The position behind the string, or null with nothing to release.
const uint8_t *read_string(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, uint8_t tag, bool bits,
                           StringContent &content, uint16_t level);

}  // namespace asn1

#endif
