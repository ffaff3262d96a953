// What the RSA and the DSA operations share: octets to numbers and back, and the limit on sizes.
#ifndef ZELMOP15_CSP_CSP_KEY_H
#define ZELMOP15_CSP_CSP_KEY_H

#include "aa/aa.h"
#include "csp/csp.h"

namespace csp {

/// Room on the stack for any number, and for any remainder while it is being made.
using Number = aauint[AA_BUFFER_WORDS + 2];

/// Octets that hold the number; none for zero.
inline uint32_t octet_count(const aauint *number) {
    return static_cast<uint32_t>(aa_lb(number) + 8) / 8;
}

/// New number from big-endian octets, or null.
OwnedNumber number_of(const Bytestring *octets);
/// New number of just its size, or null.
OwnedNumber copy_of(const aauint *number);
/// The number's big-endian octets as a new value, or null.
Bytestring *octets_of(const aauint *number);

/// Logs that a value has more than csp_max_bits; always CSP_ERR_PARAM.
uint32_t too_long();

/// Whether all values have at most csp_max_bits.
template <class... Values>
bool within_limit(const Values *...values) {
    return ((values->len <= csp_max_bits / 8) && ...);
}

/// Whether all arguments are given.
template <class... Arguments>
bool given(const Arguments *...arguments) {
    return ((arguments != nullptr) && ...);
}

}  // namespace csp

#endif
