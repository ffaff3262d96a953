// IDEA: eight rounds of six subkeys each and a half round of four, in three groups of 16 bits: exclusive or, addition
// modulo 2^16, and multiplication modulo 2^16 + 1, where 0 stands for 2^16.
#include "csp/csp.h"
#include "csp/mf.h"
#include "csp/words.h"
#include "runtime/owned.h"

namespace {

using csp::load_big16;
using csp::store_big16;

constexpr uint32_t rounds = 8;
constexpr uint32_t subkeys = 6 * rounds + 4;

struct IdeaSchedule {
    uint16_t keys[2][subkeys];  ///< To encipher, to decipher.
};

constexpr uint16_t low(uint32_t word) {
    return static_cast<uint16_t>(word);
}

/// 2^16 is -1 here: a product of high * 2^16 + low is low - high; and a factor of 2^16 makes the other negative.
constexpr uint16_t multiply(uint32_t a, uint32_t b) {
    const uint32_t product = a * b;
    if (product == 0) [[unlikely]]
        return low(1 - a - b);
    const uint32_t difference = (product & 0xFFFF) - (product >> 16);
    // Below 0 its upper half is -1, and 2^16 + 1 is due.
    return low(difference - (difference >> 16));
}

/// The power of 2^16 - 1, which is the inverse, as 2^16 + 1 is prime.
constexpr uint16_t inverse(uint32_t a) {
    uint16_t power = low(a);
    for (int bit = 1; bit < 16; ++bit)
        power = multiply(multiply(power, power), a);
    return power;
}

constexpr uint16_t negative(uint32_t a) {
    return low(0 - a);
}

/// The key, eight words of it at a time, each time turned to the left by 25 bits more.
void expand_key(const uint8_t *key, uint16_t *keys) {
    for (uint32_t i = 0; i < subkeys; ++i) {
        const uint32_t bit = 25 * (i / 8) + 16 * (i % 8);
        uint32_t word = 0;
        for (uint32_t octet = 0; octet < 3; ++octet)
            word = word << 8 | key[(bit / 8 + octet) % 16];
        keys[i] = low(word >> (8 - bit % 8));
    }
}

/// The rounds backwards. Within the outer two half rounds the two sums keep their order, elsewhere they cross over, as
/// each round crosses them.
void invert_keys(const uint16_t *keys, uint16_t *inverted) {
    for (uint32_t round = 0; round <= rounds; ++round) {
        const uint16_t *const from = keys + size_t{6} * (rounds - round);
        uint16_t *const to = inverted + size_t{6} * round;
        const bool crosses = round != 0 && round != rounds;
        to[0] = inverse(from[0]);
        to[1] = negative(from[crosses ? 2 : 1]);
        to[2] = negative(from[crosses ? 1 : 2]);
        to[3] = inverse(from[3]);
        if (round == rounds)
            break;
        to[4] = from[-2];
        to[5] = from[-1];
    }
}

}  // namespace

extern "C" {

uint32_t mf_ideainit(const uint8_t *key, void **schedule) {
    auto *const made = allocate<IdeaSchedule>();
    if (made == nullptr)
        return CSP_ERR_MEMORY;
    expand_key(key, made->keys[0]);
    invert_keys(made->keys[0], made->keys[1]);
    *schedule = made;
    return 0;
}

uint32_t mf_idea(const uint8_t *in, uint8_t *out, uint32_t direction, const void *schedule) {
    const uint16_t *key = static_cast<const IdeaSchedule *>(schedule)->keys[direction == 0 ? 0 : 1];
    uint32_t a = load_big16(in);
    uint32_t b = load_big16(in + 2);
    uint32_t c = load_big16(in + 4);
    uint32_t d = load_big16(in + 6);
    for (uint32_t round = 0; round < rounds; ++round, key += 6) {
        a = multiply(a, key[0]);
        b = low(b + key[1]);
        c = low(c + key[2]);
        d = multiply(d, key[3]);
        const uint32_t s = multiply(a ^ c, key[4]);
        const uint32_t t = multiply(low((b ^ d) + s), key[5]);
        const uint32_t u = low(s + t);
        a ^= t;
        d ^= u;
        const uint32_t crossing = b ^ u;
        b = c ^ t;
        c = crossing;
    }
    // The last round does not cross.
    store_big16(out, multiply(a, key[0]));
    store_big16(out + 2, c + key[1]);
    store_big16(out + 4, b + key[2]);
    store_big16(out + 6, multiply(d, key[3]));
    return 0;
}
}
