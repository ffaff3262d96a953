// Numbers as values: storage, conversions, size and order.
#include "aa/word.h"

namespace {

using namespace aa;

constexpr uint32_t octets_per_limb = 4;

// Bits of the last octet that count, by the number of bits modulo 8.
constexpr uint8_t bytemask[8] = {0xFF, 0x80, 0xC0, 0xE0, 0xF0, 0xF8, 0xFC, 0xFE};

uint32_t octets_of(uint32_t bits) {
    return bits / 8 + (bits % 8 != 0 ? 1 : 0);
}

uint32_t limbs_of(uint32_t bits) {
    return bits / limb_bits + (bits % limb_bits != 0 ? 1 : 0);
}

// The limb of a big-endian field that starts `index` limbs above its last, possibly short, group.
uint32_t group_at(const uint8_t *bytes, uint32_t octets, uint32_t offset, uint8_t mask) {
    uint32_t limb = 0;
    for (uint32_t i = offset; i < offset + octets_per_limb; ++i) {
        const uint8_t octet = i < octets ? bytes[i] : 0;
        limb = limb << 8 | (i + 1 == octets ? octet & mask : octet);
    }
    return limb;
}

// Bits from `position` on; `limbs` has none above its length.
uint32_t bits_at(const aauint *number, uint32_t position) {
    const uint32_t limb = position / limb_bits;
    const uint32_t shift = position % limb_bits;
    const uint32_t low = limb < number[0] ? number[limb + 1] >> shift : 0;
    const uint32_t high = shift != 0 && limb + 1 < number[0] ? number[limb + 2] << (limb_bits - shift) : 0;
    return low | high;
}

}  // namespace

extern "C" {

aauint *aa_new(uint32_t bits) {
    if (bits > UINT32_MAX - (limb_bits - 1))
        return nullptr;
    return allocate<aauint>(size_t{(bits + limb_bits - 1) / limb_bits} + 1);
}

void aa_free(aauint *number) {
    std::free(number);
}

void aa_copy(const aauint *source, aauint *destination) {
    std::memmove(destination, source, (size_t{source[0]} + 1) * sizeof *source);
}

void aa_long2aauint(uint32_t value, aauint *destination) {
    destination[0] = value != 0 ? 1 : 0;
    if (value != 0)
        destination[1] = value;
}

int32_t aa_aauint2long(const aauint *number, uint32_t *value) {
    if (number[0] > 1)
        return -1;
    *value = number[0] == 1 ? number[1] : 0;
    return 0;
}

void aa_uchar2aauint(aauint *destination, uint32_t bits, const uint8_t *bytes) {
    const uint32_t octets = octets_of(bits);
    const uint32_t limbs = limbs_of(bits);
    // From the first group, the top limb, to the last, which may be short and is filled on the right.
    for (uint32_t i = 0; i < limbs; ++i)
        destination[limbs - i] = group_at(bytes, octets, i * octets_per_limb, bytemask[bits % 8]);
    shift_limbs_right(destination + 1, limbs, limbs * limb_bits - bits, destination + 1);
    set_length(destination, limbs);
}

void aa_aauint2uchar(uint32_t bits, uint8_t *bytes, const aauint *number) {
    const uint32_t octets = octets_of(bits);
    // Octet i holds the bits from 8 * (octets - 1 - i) on, less the unused ones at the end of the field.
    const uint32_t unused = octets * 8 - bits;
    for (uint32_t i = 0; i < octets; ++i) {
        const uint32_t end = 8 * (octets - 1 - i);
        const uint32_t octet = end >= unused ? bits_at(number, end - unused) : bits_at(number, 0) << unused;
        bytes[i] = static_cast<uint8_t>(octet);
    }
}

int32_t aa_lb(const aauint *number) {
    if (number[0] == 0)
        return -1;
    return static_cast<int32_t>(number[0] * limb_bits - 1 - leading_zeros(number[number[0]]));
}

int32_t aa_even(const aauint *number) {
    return number[0] == 0 || (number[1] & 1) == 0 ? 1 : 0;
}

int32_t aa_comp(const aauint *a, const aauint *b) {
    if (a[0] != b[0])
        return a[0] < b[0] ? 1 : -1;
    return -compare_limbs(a + 1, b + 1, a[0]);
}
}
