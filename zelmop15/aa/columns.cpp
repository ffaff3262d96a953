#include "aa/columns.h"

#include "aa/clones.h"
#include "aa/word.h"

namespace {

using namespace aa;

constexpr uint32_t group = 4;  // limbs whose rows are walked together

constexpr uint32_t round_up(uint32_t count, uint32_t unit) {
    return (count + unit - 1) / unit * unit;
}

constexpr uint32_t operand_room = round_up(AA_MAX_LIMBS + group, lanes);
constexpr uint32_t column_room = 2 * operand_room + lanes;

// The halves of an operand's limbs, each in a word of its own, with zeros in front of them and behind.
struct Halves {
    static constexpr uint32_t front = 2 * group;
    uint32_t low[front + operand_room + lanes];
    uint32_t high[front + operand_room + lanes];

    void take(const uint32_t *limbs, uint32_t count, uint32_t padded) {
        std::memset(low, 0, front * sizeof *low);
        std::memset(high, 0, front * sizeof *high);
        for (uint32_t i = 0; i < count; ++i) {
            low[front + i] = limbs[i] & low_half;
            high[front + i] = limbs[i] >> half_bits;
        }
        std::memset(low + front + count, 0, (padded - count) * sizeof *low);
        std::memset(high + front + count, 0, (padded - count) * sizeof *high);
    }
};

// Two columns a limb: even ones for the low halves of a result's limbs, odd ones for the high halves. A column holds
// the sum S of up to 2 * AA_MAX_LIMBS products, which does not fit into a word, as two words: S modulo 2^32, and the
// sum of the products' high halves. The second tells S to within 2 * AA_MAX_LIMBS * 2^16, the first tells the rest.
struct Columns {
    uint32_t even[column_room];
    uint32_t even_high[column_room];
    uint32_t odd[column_room];
    uint32_t odd_high[column_room];

    void clear(uint32_t count) {
        for (uint32_t *part : {even, even_high, odd, odd_high})
            std::memset(part, 0, count * sizeof *part);
    }
};

// Adds the products of `group` limbs with `count` limbs of b from `first` on to the columns from `column` on.
inline __attribute__((always_inline)) void add_rows(const uint32_t *a, const Halves &b, uint32_t first, uint32_t count,
                                                    Columns &columns, uint32_t column) {
    const uint32_t *const low = b.low + Halves::front + first;
    const uint32_t *const high = b.high + Halves::front + first;
    uint32_t *const even = columns.even + column;
    uint32_t *const even_high = columns.even_high + column;
    uint32_t *const odd = columns.odd + column;
    uint32_t *const odd_high = columns.odd_high + column;
    const uint32_t padded = round_up(count + group, lanes);
    for (uint32_t m = 0; m < padded; ++m) {
        uint32_t even_sum = even[m];
        uint32_t even_high_sum = even_high[m];
        uint32_t odd_sum = odd[m];
        uint32_t odd_high_sum = odd_high[m];
        for (uint32_t r = 0; r < group; ++r) {
            const uint32_t a_low = a[r] & low_half;
            const uint32_t a_high = a[r] >> half_bits;
            const uint32_t low_low = a_low * *(low + m - r);
            const uint32_t high_high = a_high * *(high + m - r - 1);
            const uint32_t low_high = a_low * *(high + m - r);
            const uint32_t high_low = a_high * *(low + m - r);
            even_sum += low_low + high_high;
            even_high_sum += (low_low >> half_bits) + (high_high >> half_bits);
            odd_sum += low_high + high_low;
            odd_high_sum += (low_high >> half_bits) + (high_low >> half_bits);
        }
        even[m] = even_sum;
        even_high[m] = even_high_sum;
        odd[m] = odd_sum;
        odd_high[m] = odd_high_sum;
    }
}

// Carries through the columns of `count` limbs. With the high sums taken apart, a column is a sum of low halves, below
// 2^27, and the high sum goes to the column above; so no sum here overflows but the one that is looked at.
inline __attribute__((always_inline)) void resolve(const Columns &columns, uint32_t count, uint32_t *result) {
    uint32_t limbs[column_room];
    uint32_t carries[column_room];
    uint32_t below = 0;
    for (uint32_t m = 0; m < count; ++m) {
        const uint32_t even = columns.even[m] - (columns.even_high[m] << half_bits) + below;
        const uint32_t odd = columns.odd[m] - (columns.odd_high[m] << half_bits) + columns.even_high[m];
        below = columns.odd_high[m];
        limbs[m] = even + (odd << half_bits);
        carries[m] = (odd >> half_bits) + static_cast<uint32_t>(limbs[m] < even);
    }
    uint32_t carry = 0;
    for (uint32_t m = 0; m < count; ++m) {
        result[m] = limbs[m] + carry;
        carry = carries[m] + static_cast<uint32_t>(result[m] < carry);
    }
}

// Copies limbs and fills up with zeros to whole groups; the count of them.
inline uint32_t pad_to_groups(const uint32_t *limbs, uint32_t count, uint32_t *padded) {
    const uint32_t total = round_up(count, group);
    std::memcpy(padded, limbs, count * sizeof *limbs);
    std::memset(padded + count, 0, (total - count) * sizeof *limbs);
    return total;
}

}  // namespace

namespace aa {

ZELMO_CLONES void multiply_limbs(const uint32_t *a, uint32_t a_count, const uint32_t *b, uint32_t b_count,
                                 uint32_t *result) {
    if (a_count > b_count)
        return multiply_limbs(b, b_count, a, a_count, result);
    uint32_t rows[operand_room];
    const uint32_t row_count = pad_to_groups(a, a_count, rows);
    const uint32_t padded = round_up(b_count + group, lanes);
    Halves halves;
    halves.take(b, b_count, padded);
    Columns columns;
    columns.clear(row_count + padded);
    for (uint32_t i = 0; i < row_count; i += group)
        add_rows(rows + i, halves, 0, b_count, columns, i);
    resolve(columns, a_count + b_count, result);
}

ZELMO_CLONES void square_limbs(const uint32_t *a, uint32_t count, uint32_t *result) {
    uint32_t rows[operand_room];
    const uint32_t row_count = pad_to_groups(a, count, rows);
    Halves halves;
    halves.take(rows, row_count, row_count + group + lanes);
    Columns columns;
    columns.clear(2 * row_count + lanes);
    // Each group times the limbs above it, once. What the rows reach of the group itself must be zero.
    for (uint32_t i = 0; i < row_count; i += group) {
        std::memset(halves.low + Halves::front + i, 0, group * sizeof *halves.low);
        std::memset(halves.high + Halves::front + i, 0, group * sizeof *halves.high);
        add_rows(rows + i, halves, i + group, row_count - i - group, columns, 2 * i + group);
    }
    for (uint32_t *part : {columns.even, columns.even_high, columns.odd, columns.odd_high})
        for (uint32_t m = 0; m < 2 * row_count; ++m)
            part[m] *= 2;
    // Then each group times itself.
    for (uint32_t i = 0; i < row_count; i += group) {
        Halves self;
        self.take(rows + i, group, 2 * group);
        add_rows(rows + i, self, 0, group, columns, 2 * i);
    }
    resolve(columns, 2 * count, result);
}

}  // namespace aa
