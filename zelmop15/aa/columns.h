// Products of many limbs, fast: rows of 16 by 16 products, whose carries wait in columns until the end.
#ifndef ZELMOP15_AA_COLUMNS_H
#define ZELMOP15_AA_COLUMNS_H

#include <cstdint>

#include "aa/aa.h"

namespace aa {

/// result = a * b, of a_count + b_count limbs. Up to AA_MAX_LIMBS limbs each, of which there may be none. The result
/// may lie anywhere, also over a or b.
void multiply_limbs(const uint32_t *a, uint32_t a_count, const uint32_t *b, uint32_t b_count, uint32_t *result);

/// result = a * a, of 2 * count limbs, likewise.
void square_limbs(const uint32_t *a, uint32_t count, uint32_t *result);

}  // namespace aa

#endif
