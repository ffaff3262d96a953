// Reduction modulo a number, by a long division that keeps only the remainder.
#ifndef ZELMOP15_AA_MODULUS_H
#define ZELMOP15_AA_MODULUS_H

#include "aa/clones.h"
#include "aa/word.h"

namespace aa {

/// What a division needs of its divisor, for any number of divisions.
class Modulus {
  public:
    /// Takes the `count` limbs, 1 to AA_MAX_LIMBS, of a modulus whose top bit is set.
    Modulus(const uint32_t *limbs, uint32_t count);

    /// Replaces the limbs of a, up to 2 * AA_MAX_LIMBS + 1, by those of a modulo the modulus, and sets its length.
    void reduce(aauint *a) const;

  private:
    static constexpr uint32_t leading = 5;  // digits that are looked at one by one

    void divide(uint32_t *a, uint32_t a_count) const;

    uint32_t count_;
    uint32_t inverse_;  // of the top limb
    // The top digits, from the top on. Those under the first are balanced: from -2^15 to 2^15 - 1.
    int32_t top_[leading];
    // The digits from the low end, balanced, with zeros before them; and zeros in the place of the first three and
    // above.
    alignas(32) int32_t digits_[lanes + 2 * AA_MAX_LIMBS + 2 * lanes];
    aauint limbs_[AA_MAX_LIMBS];
};

/// a = a mod m, for an m that is not zero and an a of up to 2 * AA_MAX_LIMBS limbs, with room for one more unless the
/// top bit of m is set.
void reduce(aauint *a, const aauint *m);

}  // namespace aa

#endif
