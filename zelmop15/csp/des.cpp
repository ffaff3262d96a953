// DES and triple DES. A half of the state is kept rotated right by three, so that the even ones of the eight
// overlapping groups of six bits lie at the low end of its four octets; a rotation left by four brings the odd ones
// there.
#include <array>
#include <bit>
#include <utility>

#include "csp/csp.h"
#include "csp/mf.h"
#include "csp/words.h"
#include "runtime/owned.h"

namespace {

using csp::load_big32;
using csp::store_big32;

constexpr int kept_rotation = 3;

// The numbers of FIPS 46: bits are counted from 1 at the top.
// clang-format off
constexpr uint8_t s_boxes[8][64] = {
    {14,  4, 13,  1,  2, 15, 11,  8,  3, 10,  6, 12,  5,  9,  0,  7,
      0, 15,  7,  4, 14,  2, 13,  1, 10,  6, 12, 11,  9,  5,  3,  8,
      4,  1, 14,  8, 13,  6,  2, 11, 15, 12,  9,  7,  3, 10,  5,  0,
     15, 12,  8,  2,  4,  9,  1,  7,  5, 11,  3, 14, 10,  0,  6, 13},
    {15,  1,  8, 14,  6, 11,  3,  4,  9,  7,  2, 13, 12,  0,  5, 10,
      3, 13,  4,  7, 15,  2,  8, 14, 12,  0,  1, 10,  6,  9, 11,  5,
      0, 14,  7, 11, 10,  4, 13,  1,  5,  8, 12,  6,  9,  3,  2, 15,
     13,  8, 10,  1,  3, 15,  4,  2, 11,  6,  7, 12,  0,  5, 14,  9},
    {10,  0,  9, 14,  6,  3, 15,  5,  1, 13, 12,  7, 11,  4,  2,  8,
     13,  7,  0,  9,  3,  4,  6, 10,  2,  8,  5, 14, 12, 11, 15,  1,
     13,  6,  4,  9,  8, 15,  3,  0, 11,  1,  2, 12,  5, 10, 14,  7,
      1, 10, 13,  0,  6,  9,  8,  7,  4, 15, 14,  3, 11,  5,  2, 12},
    { 7, 13, 14,  3,  0,  6,  9, 10,  1,  2,  8,  5, 11, 12,  4, 15,
     13,  8, 11,  5,  6, 15,  0,  3,  4,  7,  2, 12,  1, 10, 14,  9,
     10,  6,  9,  0, 12, 11,  7, 13, 15,  1,  3, 14,  5,  2,  8,  4,
      3, 15,  0,  6, 10,  1, 13,  8,  9,  4,  5, 11, 12,  7,  2, 14},
    { 2, 12,  4,  1,  7, 10, 11,  6,  8,  5,  3, 15, 13,  0, 14,  9,
     14, 11,  2, 12,  4,  7, 13,  1,  5,  0, 15, 10,  3,  9,  8,  6,
      4,  2,  1, 11, 10, 13,  7,  8, 15,  9, 12,  5,  6,  3,  0, 14,
     11,  8, 12,  7,  1, 14,  2, 13,  6, 15,  0,  9, 10,  4,  5,  3},
    {12,  1, 10, 15,  9,  2,  6,  8,  0, 13,  3,  4, 14,  7,  5, 11,
     10, 15,  4,  2,  7, 12,  9,  5,  6,  1, 13, 14,  0, 11,  3,  8,
      9, 14, 15,  5,  2,  8, 12,  3,  7,  0,  4, 10,  1, 13, 11,  6,
      4,  3,  2, 12,  9,  5, 15, 10, 11, 14,  1,  7,  6,  0,  8, 13},
    { 4, 11,  2, 14, 15,  0,  8, 13,  3, 12,  9,  7,  5, 10,  6,  1,
     13,  0, 11,  7,  4,  9,  1, 10, 14,  3,  5, 12,  2, 15,  8,  6,
      1,  4, 11, 13, 12,  3,  7, 14, 10, 15,  6,  8,  0,  5,  9,  2,
      6, 11, 13,  8,  1,  4, 10,  7,  9,  5,  0, 15, 14,  2,  3, 12},
    {13,  2,  8,  4,  6, 15, 11,  1, 10,  9,  3, 14,  5,  0, 12,  7,
      1, 15, 13,  8, 10,  3,  7,  4, 12,  5,  6, 11,  0, 14,  9,  2,
      7, 11,  4,  1,  9, 12, 14,  2,  0,  6, 10, 13, 15,  3,  5,  8,
      2,  1, 14,  7,  4, 10,  8, 13, 15, 12,  9,  0,  3,  5,  6, 11},
};

constexpr uint8_t p_bits[32] = {
    16,  7, 20, 21, 29, 12, 28, 17,  1, 15, 23, 26,  5, 18, 31, 10,
     2,  8, 24, 14, 32, 27,  3,  9, 19, 13, 30,  6, 22, 11,  4, 25,
};

constexpr uint8_t pc1_bits[56] = {
    57, 49, 41, 33, 25, 17,  9,  1, 58, 50, 42, 34, 26, 18, 10,  2, 59, 51, 43, 35, 27, 19, 11,  3, 60, 52, 44, 36,
    63, 55, 47, 39, 31, 23, 15,  7, 62, 54, 46, 38, 30, 22, 14,  6, 61, 53, 45, 37, 29, 21, 13,  5, 28, 20, 12,  4,
};

constexpr uint8_t pc2_bits[48] = {
    14, 17, 11, 24,  1,  5,  3, 28, 15,  6, 21, 10, 23, 19, 12,  4, 26,  8, 16,  7, 27, 20, 13,  2,
    41, 52, 31, 37, 47, 55, 30, 40, 51, 45, 33, 48, 44, 49, 39, 56, 34, 53, 46, 42, 50, 36, 29, 32,
};
// clang-format on

/// By how much the halves of the key have been turned in each round.
constexpr uint8_t key_turns[16] = {1, 2, 4, 6, 8, 10, 12, 14, 15, 17, 19, 21, 23, 25, 27, 28};

/// An S-box and where P puts its four bits, in one look-up.
using SpTables = std::array<std::array<uint32_t, 64>, 8>;

constexpr SpTables make_sp_tables() {
    SpTables tables = {};
    for (uint32_t box = 0; box < 8; ++box) {
        for (uint32_t in = 0; in < 64; ++in) {
            // The outer two bits choose the row, the inner four the column.
            const uint32_t row = (in >> 4 & 2) | (in & 1);
            const uint32_t substituted = uint32_t{s_boxes[box][row * 16 + (in >> 1 & 15)]} << (28 - 4 * box);
            uint32_t out = 0;
            for (uint32_t bit = 0; bit < 32; ++bit)
                out |= (substituted >> (32 - p_bits[bit]) & 1) << (31 - bit);
            tables[box][in] = std::rotr(out, kept_rotation);
        }
    }
    return tables;
}

constexpr SpTables sp = make_sp_tables();

/// Two words a round: the key bits for the even groups, those for the odd groups.
using Rounds = uint32_t[32];

/// DES uses the first of the three.
struct DesSchedule {
    Rounds rounds[2][3];  ///< To encipher and to decipher, each in the order of use.
};

struct Halves {
    uint32_t left, right;
};

/// Swaps the bits of `a` under `mask << shift` with those of `b` under `mask`.
inline void exchange(uint32_t &a, uint32_t &b, int shift, uint32_t mask) {
    const uint32_t difference = (a >> shift ^ b) & mask;
    b ^= difference;
    a ^= difference << shift;
}

/// IP, as five exchanges of bits between the halves.
inline Halves initial_permutation(const uint8_t *in) {
    uint32_t left = load_big32(in);
    uint32_t right = load_big32(in + 4);
    exchange(left, right, 4, 0x0F0F0F0F);
    exchange(left, right, 16, 0x0000FFFF);
    exchange(right, left, 2, 0x33333333);
    exchange(right, left, 8, 0x00FF00FF);
    exchange(left, right, 1, 0x55555555);
    return {std::rotr(left, kept_rotation), std::rotr(right, kept_rotation)};
}

/// The exchange of the halves behind the last round, and the inverse of IP.
inline void final_permutation(Halves halves, uint8_t *out) {
    uint32_t left = std::rotl(halves.right, kept_rotation);
    uint32_t right = std::rotl(halves.left, kept_rotation);
    exchange(left, right, 1, 0x55555555);
    exchange(right, left, 8, 0x00FF00FF);
    exchange(right, left, 2, 0x33333333);
    exchange(left, right, 16, 0x0000FFFF);
    exchange(left, right, 4, 0x0F0F0F0F);
    store_big32(out, left);
    store_big32(out + 4, right);
}

inline uint32_t round_function(uint32_t half, const uint32_t *key) {
    const uint32_t even = half ^ key[0];
    const uint32_t odd = std::rotl(half, 4) ^ key[1];
    return sp[0][even >> 24 & 63] ^ sp[1][odd >> 24 & 63] ^ sp[2][even >> 16 & 63] ^ sp[3][odd >> 16 & 63] ^
           sp[4][even >> 8 & 63] ^ sp[5][odd >> 8 & 63] ^ sp[6][even & 63] ^ sp[7][odd & 63];
}

inline void run_rounds(Halves &halves, const Rounds &keys) {
    for (uint32_t i = 0; i < 32; i += 4) {
        halves.left ^= round_function(halves.right, keys + i);
        halves.right ^= round_function(halves.left, keys + i + 2);
    }
}

bool key_bit(const uint8_t *key, uint32_t round, uint32_t group_bit) {
    const uint32_t position = pc2_bits[group_bit] - 1U;
    const uint32_t half = position / 28 * 28;
    const uint32_t bit = pc1_bits[half + (position - half + key_turns[round]) % 28] - 1U;
    return (key[bit / 8] >> (7 - bit % 8) & 1) != 0;
}

/// The subkeys of both directions.
void make_rounds(const uint8_t *key, Rounds &encipher, Rounds &decipher) {
    for (uint32_t round = 0; round < 16; ++round) {
        uint32_t *const words = encipher + size_t{2} * round;
        for (uint32_t bit = 0; bit < 48; ++bit) {
            const uint32_t group = bit / 6;
            if (key_bit(key, round, bit))
                words[group % 2] |= 1U << (24 - 8 * (group / 2) + 5 - bit % 6);
        }
        decipher[30 - 2 * round] = words[0];
        decipher[31 - 2 * round] = words[1];
    }
}

}  // namespace

extern "C" {

uint32_t mf_desinit(const uint8_t *key, void **schedule) {
    auto *const made = allocate<DesSchedule>();
    if (made == nullptr)
        return CSP_ERR_MEMORY;
    make_rounds(key, made->rounds[0][0], made->rounds[1][0]);
    *schedule = made;
    return 0;
}

uint32_t mf_des(const uint8_t *in, uint8_t *out, uint32_t direction, const void *schedule) {
    const auto *const made = static_cast<const DesSchedule *>(schedule);
    Halves halves = initial_permutation(in);
    run_rounds(halves, made->rounds[direction == 0 ? 0 : 1][0]);
    final_permutation(halves, out);
    return 0;
}

uint32_t mf_des3init(const uint8_t *key1, const uint8_t *key2, const uint8_t *key3, void **schedule) {
    auto *const made = allocate<DesSchedule>();
    if (made == nullptr)
        return CSP_ERR_MEMORY;
    make_rounds(key1, made->rounds[0][0], made->rounds[1][2]);
    make_rounds(key2, made->rounds[1][1], made->rounds[0][1]);
    make_rounds(key3, made->rounds[0][2], made->rounds[1][0]);
    *schedule = made;
    return 0;
}

uint32_t mf_des3(const uint8_t *in, uint8_t *out, uint32_t direction, const void *schedule) {
    const auto &rounds = static_cast<const DesSchedule *>(schedule)->rounds[direction == 0 ? 0 : 1];
    Halves halves = initial_permutation(in);
    // Where one DES meets the next their permutations cancel out, and the exchange of the halves is left.
    run_rounds(halves, rounds[0]);
    std::swap(halves.left, halves.right);
    run_rounds(halves, rounds[1]);
    std::swap(halves.left, halves.right);
    run_rounds(halves, rounds[2]);
    final_permutation(halves, out);
    return 0;
}
}
