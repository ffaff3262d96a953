#include "aa/columns.h"

#include "aa/clones.h"
#include "aa/word.h"

namespace {

using namespace aa;

constexpr uint32_t group = 4;  // limbs whose rows are walked together: more need more registers than there are

constexpr uint32_t round_up(uint32_t count, uint32_t unit) {
    return (count + unit - 1) / unit * unit;
}

constexpr uint32_t operand_room = round_up(AA_MAX_LIMBS + group, lanes);
constexpr uint32_t column_room = 2 * operand_room + 2 * lanes;

// Zeros, from a word on, in whole vectors up to the one that ends at `to` or behind it.
template <class... Words>
inline void clear(uint32_t from, uint32_t to, Words *...words) {
    for (; from < to; from += lanes)
        (std::memset(words + from, 0, lanes * sizeof *words), ...);
}

// The halves of an operand's limbs, each in a word of its own. In front of them and behind are the zeros that rows run
// into; `low` and `high` point to the first half.
struct Halves {
    static constexpr uint32_t front = lanes;
    alignas(32) uint32_t low_room[front + operand_room + 3 * lanes];
    alignas(32) uint32_t high_room[front + operand_room + 3 * lanes];
    uint32_t *const low = low_room + front;
    uint32_t *const high = high_room + front;

    Halves(const uint32_t *limbs, uint32_t count) {
        clear(0, front, low_room, high_room);
        clear(count / lanes * lanes, count + group + 2 * lanes, low, high);
        for (uint32_t i = 0; i < count; ++i) {
            low[i] = limbs[i] & low_half;
            high[i] = limbs[i] >> half_bits;
        }
    }
    void clear_group(uint32_t first) {
        std::memset(low + first, 0, group * sizeof *low);
        std::memset(high + first, 0, group * sizeof *high);
    }
};

// Two columns a limb: even ones for the low halves of a result's limbs, odd ones for the high halves. A column holds
// the sum S of up to 2 * AA_MAX_LIMBS products, which does not fit into a word, as two words: S modulo 2^32, and the
// sum of the products' high halves. The second tells S to within 2 * AA_MAX_LIMBS * 2^16, the first tells the rest.
struct Columns {
    alignas(32) uint32_t even[column_room];
    alignas(32) uint32_t even_high[column_room];
    alignas(32) uint32_t odd[column_room];
    alignas(32) uint32_t odd_high_room[lanes + column_room];
    uint32_t *const odd_high = odd_high_room + lanes;

    explicit Columns(uint32_t count) {
        // The first column is owed nothing from below.
        clear(0, lanes, odd_high_room);
        clear(0, count, even, even_high, odd, odd_high);
    }
};

// The halves of the limbs by which rows are multiplied, with zeros up to a whole number of groups.
struct Factors {
    uint32_t low[operand_room];
    uint32_t high[operand_room];
    uint32_t count;

    Factors(const uint32_t *limbs, uint32_t limb_count) : count(round_up(limb_count, group)) {
        clear(limb_count / lanes * lanes, count, low, high);
        for (uint32_t i = 0; i < limb_count; ++i) {
            low[i] = limbs[i] & low_half;
            high[i] = limbs[i] >> half_bits;
        }
    }
};

// Adds the rows of a group of factors, from the one with this index on, to the `count` columns, in whole vectors, from
// `column` on. `low` and `high` are the halves of the limbs that start there.
[[gnu::always_inline]] inline void add_rows(const Factors &factors, uint32_t index, const uint32_t *low,
                                            const uint32_t *high, uint32_t count, Columns &columns, uint32_t column) {
    uint32_t a_low[group];
    uint32_t a_high[group];
    std::memcpy(a_low, factors.low + index, sizeof a_low);
    std::memcpy(a_high, factors.high + index, sizeof a_high);
    uint32_t *const even = columns.even + column;
    uint32_t *const even_high = columns.even_high + column;
    uint32_t *const odd = columns.odd + column;
    uint32_t *const odd_high = columns.odd_high + column;
    ZELMO_INDEPENDENT
    for (uint32_t m = 0; m < count / lanes * lanes; ++m) {
        // NOLINTNEXTLINE(clang-analyzer-core.uninitialized.Assign): the constructor has cleared all columns
        uint32_t even_sum = even[m];
        uint32_t even_high_sum = even_high[m];
        uint32_t odd_sum = odd[m];
        uint32_t odd_high_sum = odd_high[m];
        for (uint32_t r = 0; r < group; ++r) {
            const uint32_t low_low = a_low[r] * *(low + m - r);
            const uint32_t high_high = a_high[r] * *(high + m - r - 1);
            const uint32_t low_high = a_low[r] * *(high + m - r);
            const uint32_t high_low = a_high[r] * *(low + m - r);
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
// 2^27, and the high sum goes to the column above; so no sum here overflows but the ones that are looked at.
[[gnu::always_inline]] inline void resolve(const Columns &columns, uint32_t count, uint32_t *result) {
    uint32_t limbs[column_room];
    uint32_t carries[column_room];  // into each limb: the small sums first, then single bits
    carries[0] = 0;
    for (uint32_t m = 0; m < count; ++m) {
        const uint32_t even = columns.even[m] - (columns.even_high[m] << half_bits) + *(columns.odd_high + m - 1);
        const uint32_t odd = columns.odd[m] - (columns.odd_high[m] << half_bits) + columns.even_high[m];
        limbs[m] = even + (odd << half_bits);
        carries[m + 1] = (odd >> half_bits) + static_cast<uint32_t>(limbs[m] < even);
    }
    uint32_t bits[column_room];
    bits[0] = 0;
    for (uint32_t m = 0; m < count; ++m) {
        limbs[m] += carries[m];
        bits[m + 1] = static_cast<uint32_t>(limbs[m] < carries[m]);
    }
    uint32_t rippled = 0;
    for (uint32_t m = 0; m < count; ++m) {
        result[m] = limbs[m] + bits[m];
        rippled |= static_cast<uint32_t>(result[m] < limbs[m]);
    }
    if (rippled == 0) [[likely]]
        return;
    // A bit has met a limb of ones, which happens by chance once in 2^32 limbs.
    uint32_t carry = 0;
    for (uint32_t m = 0; m < count; ++m) {
        result[m] = limbs[m] + carry;
        carry = bits[m + 1] + static_cast<uint32_t>(result[m] < carry);
    }
}

// The products of each group with itself, which fill the columns one group behind the other.
[[gnu::always_inline]] inline void multiply_groups(const Factors &factors, Columns &columns) {
    // Each group's halves with zeros around them.
    constexpr uint32_t room = 2 * operand_room + lanes;
    alignas(32) uint32_t low[room];
    alignas(32) uint32_t high[room];
    clear(0, 2 * factors.count + group, low, high);
    for (size_t i = 0; i < factors.count; i += group) {
        std::memcpy(low + group + 2 * i, factors.low + i, group * sizeof *low);
        std::memcpy(high + group + 2 * i, factors.high + i, group * sizeof *high);
    }
    for (uint32_t i = 0; i < factors.count; i += group) {
        const uint32_t place = 2 * i;
        add_rows(factors, i, low + group + place, high + group + place, 2 * group, columns, place);
    }
}

}  // namespace

namespace aa {

ZELMO_CLONES void multiply_limbs(const uint32_t *a, uint32_t a_count, const uint32_t *b, uint32_t b_count,
                                 uint32_t *result) {
    // Rows are long, and there are few of them.
    const bool swap = a_count > b_count;
    const uint32_t width = swap ? a_count : b_count;
    const Factors factors(swap ? b : a, swap ? b_count : a_count);
    const Halves halves(swap ? a : b, width);
    const uint32_t columns_of_group = round_up(width + group, lanes);
    Columns columns(factors.count + columns_of_group);
    for (uint32_t i = 0; i < factors.count; i += group)
        add_rows(factors, i, halves.low, halves.high, columns_of_group, columns, i);
    resolve(columns, a_count + b_count, result);
}

ZELMO_CLONES void square_limbs(const uint32_t *a, uint32_t count, uint32_t *result) {
    const Factors factors(a, count);
    Halves halves(a, count);
    Columns columns(2 * factors.count + lanes);
    // Each group times the limbs above it, once. What its rows reach of the group itself must be zero.
    for (uint32_t i = 0; i + group < factors.count; i += group) {
        const uint32_t first = i + group;
        halves.clear_group(i);
        add_rows(factors, i, halves.low + first, halves.high + first, round_up(factors.count - i, lanes), columns,
                 first + i);
    }
    // Twice that, and each group times itself.
    Columns own(2 * factors.count);
    multiply_groups(factors, own);
    for (uint32_t m = 0; m < 2 * factors.count; ++m) {
        // NOLINTNEXTLINE(clang-analyzer-core.UndefinedBinaryOperatorResult): likewise
        own.even[m] += 2 * columns.even[m];
        own.even_high[m] += 2 * columns.even_high[m];
        own.odd[m] += 2 * columns.odd[m];
        own.odd_high[m] += 2 * columns.odd_high[m];
    }
    resolve(own, 2 * count, result);
}

}  // namespace aa
