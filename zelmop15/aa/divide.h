// Long division on limbs, without a division instruction.
#ifndef ZELMOP15_AA_DIVIDE_H
#define ZELMOP15_AA_DIVIDE_H

#include <cstdint>

#include "aa/word.h"

namespace aa {

/// floor(2^64 / top) - 2^32 for a word with its top bit set, which stands for a divisor's top limb. Where that is zero
/// or does not fit, 2^32 - 1.
uint32_t reciprocal(uint32_t top);

/// Divides the `count` limbs of a, of which the top `m_count` are less than m, by the `m_count` limbs of m, whose top
/// bit is set: Knuth's Algorithm D. The remainder replaces the low limbs of a; the quotient's count - m_count limbs go
/// to `quotient`, unless it is null.
void divide_limbs(uint32_t *a, uint32_t count, const uint32_t *m, uint32_t m_count, uint32_t *quotient);

}  // namespace aa

#endif
