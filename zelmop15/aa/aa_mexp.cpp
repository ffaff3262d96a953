// Exponentiation by fixed windows, from the left.
#include "aa/modulus.h"

namespace {

using namespace aa;

constexpr uint32_t table_entries = 63;
// Moduli beyond this have products that no entry holds.
constexpr uint32_t greatest_modulus = 257;
constexpr uint32_t window_mask[] = {1, 3, 7, 15, 31, 63};

// Entry i holds the power i + 1 of the base.
struct PowerTable {
    OwnedNumber entries[table_entries];

    // All entries are made, whatever the width.
    bool allocate_all() {
        for (OwnedNumber &entry : entries) {
            entry.reset(aa_new(AA_TABLE_BITS));
            if (entry == nullptr)
                return false;
        }
        return true;
    }
    aauint *power(uint32_t exponent) {
        return entries[exponent - 1].get();
    }
};

// The exponent's digits of `width` bits, counted from its low end.
struct Digits {
    const aauint *exponent;
    uint32_t width;

    uint32_t count() const {
        return static_cast<uint32_t>(aa_lb(exponent)) / width + 1;
    }
    // A digit may span two limbs.
    uint32_t at(uint32_t index) const {
        const uint32_t bit = index * width;
        const uint32_t limb = bit / limb_bits;
        const uint32_t shift = bit % limb_bits;
        uint32_t digit = exponent[limb + 1] >> shift;
        if (shift != 0 && limb + 1 < exponent[0])
            digit |= exponent[limb + 2] << (limb_bits - shift);
        return digit & window_mask[width - 1];
    }
};

// Fills in the powers that the digits ask for, and those on the way to them: an even power is a square, an odd one the
// power before it times the base.
void fill(PowerTable &table, const Digits &digits, const Modulus &modulus) {
    bool needed[table_entries + 1] = {};
    for (uint32_t i = digits.count(); i-- > 0;)
        for (uint32_t power = digits.at(i); power > 1 && !needed[power]; power = power % 2 == 0 ? power / 2 : power - 1)
            needed[power] = true;
    for (uint32_t power = 2; power <= window_mask[digits.width - 1]; ++power) {
        if (!needed[power])
            continue;
        if (power % 2 == 0)
            aa_zsquare(table.power(power / 2), table.power(power));
        else
            aa_zmult(table.power(1), table.power(power - 1), table.power(power));
        modulus.reduce(table.power(power));
    }
}

// The power of the base modulo the aligned modulus, in `value`.
void raise(PowerTable &table, const Digits &digits, aauint *value, const Modulus &modulus) {
    uint32_t i = digits.count() - 1;
    // The first digit holds the exponent's top bit, so it is not zero.
    aa_copy(table.power(digits.at(i)), value);
    while (i-- > 0) {
        for (uint32_t k = 0; k < digits.width; ++k) {
            // The square of a number of more than 256 limbs is refused, and it is meant to pass unseen.
            aa_squareeq(value);
            modulus.reduce(value);
        }
        const uint32_t digit = digits.at(i);
        if (digit == 0)
            continue;
        aa_zmulteq(value, table.power(digit));
        modulus.reduce(value);
    }
}

// Width of the windows by the limbs of the modulus.
uint32_t window_width(uint32_t limbs) {
    return limbs <= 16 ? 4 : limbs <= 24 ? 5 : 6;
}

}  // namespace

extern "C" {

int32_t aa_mexp(const aauint *base, const aauint *exponent, aauint *result, const aauint *m) {
    if (m[0] == 0)
        return -1;
    if (exponent[0] == 0) {
        aa_copy(AA_ONE, result);
        return 0;
    }
    return aa_mexpn(base, exponent, result, m, window_width(m[0]));
}

int32_t aa_mexpn(const aauint *base, const aauint *exponent, aauint *result, const aauint *m, uint32_t width) {
    if (m[0] > greatest_modulus)
        return -1;
    PowerTable table;
    if (!table.allocate_all())
        return -1;
    aauint value[AA_BUFFER_WORDS + 2];
    aa_copy(base, value);
    reduce(value, m);
    if (value[0] == 0) {
        result[0] = 0;
        return 0;
    }
    aa_copy(value, table.power(1));
    // A number modulo 2^shift * m keeps its residue modulo m, and an aligned modulus saves every reduction its shifts.
    const uint32_t shift = leading_zeros(m[m[0]]);
    Buffer aligned;
    aa_shift(m, static_cast<int32_t>(shift), aligned);
    const Modulus modulus(aligned + 1, aligned[0]);
    const Digits digits = {exponent, width};
    fill(table, digits, modulus);
    raise(table, digits, value, modulus);
    if (shift != 0) {
        aa_shift(value, static_cast<int32_t>(shift), value);
        modulus.reduce(value);
    }
    aa_shift(value, -static_cast<int32_t>(shift), result);
    return 0;
}
}
