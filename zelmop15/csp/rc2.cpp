#include <bit>
#include <cstring>

#include "csp/csp.h"
#include "csp/mf.h"
#include "csp/words.h"
#include "runtime/owned.h"
#include "runtime/wiped.h"

namespace {

using csp::load_little16;
using csp::store_little16;

constexpr uint32_t key_room = 128;

/// The random permutation of RFC 2268, made from the digits of pi.
// clang-format off
constexpr uint8_t PITABLE[256] = {
    0xD9, 0x78, 0xF9, 0xC4, 0x19, 0xDD, 0xB5, 0xED, 0x28, 0xE9, 0xFD, 0x79, 0x4A, 0xA0, 0xD8, 0x9D,
    0xC6, 0x7E, 0x37, 0x83, 0x2B, 0x76, 0x53, 0x8E, 0x62, 0x4C, 0x64, 0x88, 0x44, 0x8B, 0xFB, 0xA2,
    0x17, 0x9A, 0x59, 0xF5, 0x87, 0xB3, 0x4F, 0x13, 0x61, 0x45, 0x6D, 0x8D, 0x09, 0x81, 0x7D, 0x32,
    0xBD, 0x8F, 0x40, 0xEB, 0x86, 0xB7, 0x7B, 0x0B, 0xF0, 0x95, 0x21, 0x22, 0x5C, 0x6B, 0x4E, 0x82,
    0x54, 0xD6, 0x65, 0x93, 0xCE, 0x60, 0xB2, 0x1C, 0x73, 0x56, 0xC0, 0x14, 0xA7, 0x8C, 0xF1, 0xDC,
    0x12, 0x75, 0xCA, 0x1F, 0x3B, 0xBE, 0xE4, 0xD1, 0x42, 0x3D, 0xD4, 0x30, 0xA3, 0x3C, 0xB6, 0x26,
    0x6F, 0xBF, 0x0E, 0xDA, 0x46, 0x69, 0x07, 0x57, 0x27, 0xF2, 0x1D, 0x9B, 0xBC, 0x94, 0x43, 0x03,
    0xF8, 0x11, 0xC7, 0xF6, 0x90, 0xEF, 0x3E, 0xE7, 0x06, 0xC3, 0xD5, 0x2F, 0xC8, 0x66, 0x1E, 0xD7,
    0x08, 0xE8, 0xEA, 0xDE, 0x80, 0x52, 0xEE, 0xF7, 0x84, 0xAA, 0x72, 0xAC, 0x35, 0x4D, 0x6A, 0x2A,
    0x96, 0x1A, 0xD2, 0x71, 0x5A, 0x15, 0x49, 0x74, 0x4B, 0x9F, 0xD0, 0x5E, 0x04, 0x18, 0xA4, 0xEC,
    0xC2, 0xE0, 0x41, 0x6E, 0x0F, 0x51, 0xCB, 0xCC, 0x24, 0x91, 0xAF, 0x50, 0xA1, 0xF4, 0x70, 0x39,
    0x99, 0x7C, 0x3A, 0x85, 0x23, 0xB8, 0xB4, 0x7A, 0xFC, 0x02, 0x36, 0x5B, 0x25, 0x55, 0x97, 0x31,
    0x2D, 0x5D, 0xFA, 0x98, 0xE3, 0x8A, 0x92, 0xAE, 0x05, 0xDF, 0x29, 0x10, 0x67, 0x6C, 0xBA, 0xC9,
    0xD3, 0x00, 0xE6, 0xCF, 0xE1, 0x9E, 0xA8, 0x2C, 0x63, 0x16, 0x01, 0x3F, 0x58, 0xE2, 0x89, 0xA9,
    0x0D, 0x38, 0x34, 0x1B, 0xAB, 0x33, 0xFF, 0xB0, 0xBB, 0x48, 0x0C, 0x5F, 0xB9, 0xB1, 0xCD, 0x2E,
    0xC5, 0xF3, 0xDB, 0x47, 0xE5, 0xA5, 0x9C, 0x77, 0x0A, 0xA6, 0x20, 0x68, 0xFE, 0x7F, 0xC1, 0xAD,
};
// clang-format on

struct Rc2Schedule {
    uint16_t keys[64];
};

constexpr int rotations[4] = {1, 2, 3, 5};

constexpr uint16_t low(uint32_t word) {
    return static_cast<uint16_t>(word);
}

/// What is added to word i beside its key: its bits come from the words two and three before it, as the bits of the
/// word before it tell.
template <uint32_t I>
uint32_t chosen(const uint16_t *r) {
    const uint32_t selector = r[(I + 3) % 4];
    return (selector & r[(I + 2) % 4]) + (~selector & r[(I + 1) % 4]);
}

template <uint32_t I>
void mix_word(uint16_t *r, const uint16_t *keys) {
    r[I] = std::rotl(low(r[I] + keys[I] + chosen<I>(r)), rotations[I]);
}

template <uint32_t I>
void unmix_word(uint16_t *r, const uint16_t *keys) {
    r[I] = low(uint32_t{std::rotr(r[I], rotations[I])} - keys[I] - chosen<I>(r));
}

void mash(uint16_t *r, const uint16_t *keys) {
    for (uint32_t i = 0; i < 4; ++i)
        r[i] = low(uint32_t{r[i]} + keys[r[(i + 3) % 4] & 63]);
}

void unmash(uint16_t *r, const uint16_t *keys) {
    for (uint32_t i = 4; i-- > 0;)
        r[i] = low(uint32_t{r[i]} - keys[r[(i + 3) % 4] & 63]);
}

/// 16 rounds of mixing, with a mashing after the fifth and the eleventh.
void encipher(uint16_t *r, const uint16_t *keys) {
    for (uint32_t round = 0; round < 16; ++round) {
        if (round == 5 || round == 11)
            mash(r, keys);
        mix_word<0>(r, keys + size_t{4} * round);
        mix_word<1>(r, keys + size_t{4} * round);
        mix_word<2>(r, keys + size_t{4} * round);
        mix_word<3>(r, keys + size_t{4} * round);
    }
}

void decipher(uint16_t *r, const uint16_t *keys) {
    for (uint32_t round = 16; round-- > 0;) {
        unmix_word<3>(r, keys + size_t{4} * round);
        unmix_word<2>(r, keys + size_t{4} * round);
        unmix_word<1>(r, keys + size_t{4} * round);
        unmix_word<0>(r, keys + size_t{4} * round);
        if (round == 5 || round == 11)
            unmash(r, keys);
    }
}

}  // namespace

extern "C" {

uint32_t mf_rc2init(const uint8_t *key, uint8_t length, void **schedule) {
    if (length == 0 || length > key_room)
        return CSP_ERR_PARAM;
    auto *const made = allocate<Rc2Schedule>();
    if (made == nullptr)
        return CSP_ERR_MEMORY;
    WipedBuffer<key_room> expanded;
    uint8_t *const l = expanded.octets;
    std::memcpy(l, key, length);
    for (uint32_t i = length; i < key_room; ++i)
        l[i] = PITABLE[(l[i - 1] + l[i - length]) & 0xFF];
    // All bits of the key are effective, so the octet at its border is substituted whole.
    l[key_room - length] = PITABLE[l[key_room - length]];
    for (uint32_t i = key_room - length; i-- > 0;)
        l[i] = PITABLE[l[i + 1] ^ l[i + length]];
    for (uint32_t i = 0; i < 64; ++i)
        made->keys[i] = low(load_little16(l + size_t{2} * i));
    *schedule = made;
    return 0;
}

uint32_t mf_rc2(const uint8_t *in, uint8_t *out, uint32_t direction, const void *schedule) {
    const uint16_t *const keys = static_cast<const Rc2Schedule *>(schedule)->keys;
    uint16_t r[4];
    for (uint32_t i = 0; i < 4; ++i)
        r[i] = low(load_little16(in + size_t{2} * i));
    if (direction == 0)
        encipher(r, keys);
    else
        decipher(r, keys);
    for (uint32_t i = 0; i < 4; ++i)
        store_little16(out + size_t{2} * i, r[i]);
    return 0;
}
}
