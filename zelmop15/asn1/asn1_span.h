// The one place where distances in the input are taken, so that no decoder adds lengths or compares pointers by itself.
#ifndef ZELMOP15_ASN1_ASN1_SPAN_H
#define ZELMOP15_ASN1_ASN1_SPAN_H

#include <cstddef>
#include <cstdint>

namespace asn1 {

/// Octets that may be read at `z`.
inline size_t remaining(const uint8_t *z, const uint8_t *end) {
    return z < end ? static_cast<size_t>(end - z) : 0;
}

/// Adds `length` to `sum`; false when the sum would not fit in 32 bits.
inline bool add_length(uint32_t &sum, uint32_t length) {
    return !__builtin_add_overflow(sum, length, &sum);
}

}  // namespace asn1

#endif
