// Knuth's Algorithm D without the quotient, on digits of 16 bits, and with the carries put off.
//
// The dividend lies in columns of 16 bits, as in columns.h: a column is a word that has lost its overflows, and the sum
// of the high halves of what was taken from it, which is owed to the column above. Quotient digits are rounded to the
// nearest, so they and the remainders are signed, and the remainder R after each digit is at most about half of the
// modulus M: |R| < (1/2 + 2^-4) M. That leaves room for an estimate that is a little off: there is no correction, and
// the next digit is estimated while the row of products of the last one is still being taken off the columns below.
//
// Bounds. With up to 4 * AA_MAX_LIMBS + 1 rows a column's low halves sum to less than 2^28, its high halves to less
// than 2^26, of which an estimate does not see more than 1/16 of a digit. So quotient digits are below 2^15 + 2^12; the
// modulus' digits are balanced, a product of both is below 2^30.2, and two of them do not overflow together.
#include "aa/modulus.h"

#include "aa/divide.h"

namespace {

using namespace aa;

constexpr uint32_t column_room = lanes + 2 * (2 * AA_MAX_LIMBS + 1) + 2 * lanes;
constexpr int32_t balance = 1 << (half_bits - 1);

int32_t as_signed(uint32_t word) {
    return static_cast<int32_t>(word);
}

uint32_t as_unsigned(int32_t word) {
    return static_cast<uint32_t>(word);
}

// The columns of a dividend, counted from the low end; there are zeros below the first.
struct Columns {
    alignas(32) uint32_t words[column_room];
    alignas(32) int32_t high[column_room];

    Columns(const uint32_t *limbs, uint32_t count) {
        const size_t end = lanes + size_t{2} * count;
        std::memset(words, 0, lanes * sizeof *words);
        for (uint32_t i = 0; i < count; ++i) {
            words[lanes + 2 * i] = limbs[i] & low_half;
            words[lanes + 2 * i + 1] = limbs[i] >> half_bits;
        }
        std::memset(words + end, 0, 2 * sizeof(uint32_t) * lanes);
        std::memset(high, 0, (end + size_t{2} * lanes) * sizeof *high);
    }
    // A column with all that is owed to it so far.
    [[nodiscard]] int32_t value(int32_t column) const {
        const int32_t i = column + static_cast<int32_t>(lanes);
        return as_signed(words[i] - (as_unsigned(high[i]) << half_bits)) + high[i - 1];
    }
};

// Takes the products of one or two quotient digits, the second one column below the first, off the columns from `first`
// to below `end`. `digits` stand where the first digit's row has its lowest one.
template <bool Two>
[[gnu::always_inline]] inline void subtract_rows(Columns &columns, int32_t first, int32_t end, const int32_t *digits,
                                                 int32_t row, int32_t digit, int32_t second) {
    // Whole vectors at fixed places, so that a load does not straddle two stores that are still on their way.
    const int32_t start = (first + static_cast<int32_t>(lanes)) & -static_cast<int32_t>(lanes);
    const uint32_t count = as_unsigned(end + 2 * static_cast<int32_t>(lanes) - 1 - start) / lanes * lanes;
    uint32_t *const words = columns.words + start;
    int32_t *const high = columns.high + start;
    const int32_t *const factors = digits + (start - static_cast<int32_t>(lanes) - row);
    ZELMO_INDEPENDENT
    for (uint32_t i = 0; i < count; ++i) {
        const int32_t product = digit * factors[i];
        const int32_t below = Two ? second * factors[i + 1] : 0;
        words[i] -= as_unsigned(product) + as_unsigned(below);
        high[i] -= (product >> half_bits) + (below >> half_bits);
    }
}

// The remainder's top, from the column above the row's top digit on. Three columns are taken out of the others, the
// lowest of them with its carry handed up.
struct Top {
    uint32_t column[3];
    int32_t estimate;  // half of the top two columns as one number

    // The quotient digit: the top times (1 + inverse / 2^32), rounded.
    [[nodiscard]] int32_t digit(uint32_t inverse) const {
        const auto inverse_high = as_signed(inverse >> half_bits);
        const auto inverse_low = as_signed(inverse & low_half);
        const int32_t high = estimate >> half_bits;
        const uint32_t low = as_unsigned(estimate) & low_half;
        const int32_t product = high * inverse_high + as_signed(low * as_unsigned(inverse_high) >> half_bits) +
                                (high * inverse_low >> half_bits);
        return (estimate + product + balance / 2) >> (half_bits - 1);
    }
    // Takes digit * modulus off and moves one column down, to a top that ends with the column of this value.
    void advance(int32_t digit, const int32_t *modulus, int32_t value) {
        const int32_t second = digit * modulus[1];
        const int32_t third = digit * modulus[2];
        const uint32_t upper = (column[0] << half_bits) + column[1];
        // Not needed to be exact, and so not made to wait for the carry of the third column.
        estimate = as_signed((upper << (half_bits - 1)) + (column[2] >> 1) -
                             as_unsigned(digit) * (as_unsigned(modulus[0]) << (half_bits - 1)) -
                             as_unsigned(second >> 1) - as_unsigned(third >> (half_bits + 1)));
        value -= third + (digit * modulus[3] >> half_bits);
        column[0] = upper - as_unsigned(digit) * as_unsigned(modulus[0]);
        column[1] = column[2] - as_unsigned(second) + as_unsigned(value >> half_bits);
        column[2] = as_unsigned(value) & low_half;
    }
};

// The remainder's limbs from its columns; what is left above them, 0 or -1.
int32_t resolve(const Columns &columns, const Top &top, uint32_t count, uint32_t *limbs) {
    const auto last = static_cast<int32_t>(2 * count);
    int32_t carry = 0;
    uint32_t low = 0;
    for (int32_t column = 0; column < last; ++column) {
        carry += column < last - 3 ? columns.value(column) : as_signed(top.column[last - 1 - column]);
        const uint32_t half = as_unsigned(carry) & low_half;
        carry >>= half_bits;
        if (column % 2 == 0)
            low = half;
        else
            limbs[column / 2] = half << half_bits | low;
    }
    return carry;
}

}  // namespace

namespace aa {

// NOLINTNEXTLINE(clang-analyzer-core.CallAndMessage): a modulus has a limb at least
Modulus::Modulus(const uint32_t *limbs, uint32_t count) : count_(count), inverse_(reciprocal(limbs[count - 1])) {
    std::memcpy(limbs_, limbs, count * sizeof *limbs);
    const uint32_t last = 2 * count - 1;
    int32_t *const digits = digits_ + lanes;
    std::memset(digits_, 0, lanes * sizeof *digits_);
    // Adding 2^15 to each digit, and taking it off again, balances the digits; the carry ends in the top one.
    uint32_t carry = 0;
    for (uint32_t i = 0; i < last; ++i) {
        const uint32_t half = i % 2 == 0 ? limbs[i / 2] & low_half : limbs[i / 2] >> half_bits;
        const uint32_t sum = half + static_cast<uint32_t>(balance) + carry;
        digits[i] = as_signed(sum & low_half) - balance;
        carry = sum >> half_bits;
    }
    digits[last] = as_signed((limbs[count - 1] >> half_bits) + carry);
    for (uint32_t i = 0; i < leading; ++i)
        top_[i] = digits_[lanes + last - i];
    const uint32_t kept = last > 2 ? last - 2 : 0;
    std::memset(digits + kept, 0, (last + 1 - kept + 2 * lanes - 1) * sizeof *digits);
}

ZELMO_CLONES void Modulus::divide(uint32_t *a, uint32_t a_count) const {
    Columns columns(a, a_count);
    const auto width = static_cast<int32_t>(2 * count_);
    const int32_t *const digits = digits_ + lanes;
    auto row = static_cast<int32_t>(2 * (a_count - count_));
    Top top = {{0, columns.words[lanes + static_cast<uint32_t>(row + width) - 1],
                columns.words[lanes + static_cast<uint32_t>(row + width) - 2]},
               0};
    top.estimate = as_signed(top.column[1] >> 1);
    // The first row may lie wholly in the top, where there is no column below.
    const auto next_value = [&columns](int32_t column) { return column >= 0 ? columns.value(column) : 0; };
    int32_t digit = top.digit(inverse_);
    top.advance(digit, top_, next_value(row + width - 3));
    subtract_rows<false>(columns, row, row + width - 3, digits, row, digit, 0);
    for (--row; row > 0; row -= 2) {
        digit = top.digit(inverse_);
        top.advance(digit, top_, next_value(row + width - 3));
        const int32_t second = top.digit(inverse_);
        // The row of the first digit has not been taken off the column that comes next.
        const int32_t owed = (digit * top_[3] & static_cast<int32_t>(low_half)) + (digit * top_[4] >> half_bits);
        top.advance(second, top_, next_value(row + width - 4) - owed);
        subtract_rows<true>(columns, row - 1, row + width - 3, digits, row, digit, second);
    }
    if (resolve(columns, top, count_, a) < 0)
        add_limbs(a, limbs_, count_);
}

void Modulus::reduce(aauint *a) const {
    if (a[0] < count_)
        return;
    divide(a + 1, a[0]);
    set_length(a, count_);
}

void reduce(aauint *a, const aauint *m) {
    const uint32_t m_count = m[0];
    if (aa_comp(a, m) == 1)
        return;
    const uint32_t shift = leading_zeros(m[m_count]);
    if (shift == 0) {
        Modulus(m + 1, m_count).reduce(a);
        return;
    }
    Buffer aligned;
    shift_limbs_left(m + 1, m_count, shift, aligned);
    const uint32_t out = shift_limbs_left(a + 1, a[0], shift, a + 1);
    if (out != 0)
        a[++a[0]] = out;
    Modulus(aligned, m_count).reduce(a);
    shift_limbs_right(a + 1, a[0], shift, a + 1);
    set_length(a, a[0]);
}

}  // namespace aa
