// RIPEMD-160 (Dobbertin, Bosselaers, Preneel: RIPEMD-160, a strengthened version of RIPEMD, 1996).
#include <array>
#include <utility>

#include "csp/mf.h"
#include "csp/mf_stream.h"

#if defined(__SANITIZE_ADDRESS__)
#define ZELMO_LEAKS_ARE_LOOKED_FOR 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define ZELMO_LEAKS_ARE_LOOKED_FOR 1
#endif
#endif
#ifdef ZELMO_LEAKS_ARE_LOOKED_FOR
#include <sanitizer/lsan_interface.h>
#endif

namespace {

/// One of the two lines of 80 steps that a block goes through: additives, and the block's word that each step takes.
struct Line {
    uint32_t additives[5];
    std::array<uint8_t, 80> order;
};

/// The order of each round is that of the round before with each word sent through this permutation.
constexpr std::array<uint8_t, 80> word_order(bool second) {
    constexpr uint8_t permutation[16] = {7, 4, 13, 1, 10, 6, 15, 3, 12, 0, 9, 5, 2, 14, 11, 8};
    std::array<uint8_t, 80> order = {};
    for (size_t i = 0; i < 80; ++i)
        order[i] = i >= 16 ? permutation[order[i - 16]] : static_cast<uint8_t>(second ? (9 * i + 5) % 16 : i);
    return order;
}

constexpr Line lines[2] = {
    {{0x00000000, 0x5A827999, 0x6ED9EBA1, 0x8F1BBCDC, 0xA953FD4E}, word_order(false)},
    {{0x50A28BE6, 0x5C4DD124, 0x6D703EF3, 0x7A6D76E9, 0x00000000}, word_order(true)},
};

/// By round and word, the same in both lines.
constexpr int rotations[5][16] = {
    {11, 14, 15, 12, 5, 8, 7, 9, 11, 13, 14, 15, 6, 7, 9, 8},  //
    {12, 13, 11, 15, 6, 9, 9, 7, 12, 15, 11, 13, 7, 8, 7, 7},  //
    {13, 15, 14, 11, 7, 7, 6, 8, 13, 14, 13, 12, 5, 5, 6, 9},  //
    {14, 11, 12, 14, 8, 6, 5, 5, 15, 12, 15, 14, 9, 9, 8, 6},  //
    {15, 12, 13, 13, 9, 5, 8, 6, 14, 11, 12, 11, 8, 6, 5, 5},
};

template <size_t Function>
[[gnu::always_inline]] inline uint32_t mix(uint32_t b, uint32_t c, uint32_t d) {
    if constexpr (Function == 0)
        return b ^ c ^ d;
    else if constexpr (Function == 1)
        return d ^ (b & (c ^ d));
    else if constexpr (Function == 2)
        return (b | ~c) ^ d;
    else if constexpr (Function == 3)
        return c ^ (d & (b ^ c));
    else
        return b ^ (c | ~d);
}

/// The five words do not move; their roles do, by one place a step.
template <size_t Which, size_t Step>
[[gnu::always_inline]] inline void step(uint32_t *words, const uint32_t *text) {
    constexpr size_t a = (80 - Step) % 5, b = (a + 1) % 5, c = (a + 2) % 5, d = (a + 3) % 5, e = (a + 4) % 5;
    constexpr size_t round = Step / 16, word = lines[Which].order[Step];
    // The second line takes the mixing functions in the opposite order.
    constexpr size_t function = Which == 0 ? round : 4 - round;
    const uint32_t sum =
        words[a] + mix<function>(words[b], words[c], words[d]) + text[word] + lines[Which].additives[round];
    words[a] = words[e] + std::rotl(sum, rotations[round][word]);
    words[c] = std::rotl(words[c], 10);
}

template <size_t... Step>
[[gnu::always_inline]] inline void all_steps(uint32_t *first, uint32_t *second, const uint32_t *text,
                                             std::index_sequence<Step...>) {
    ((step<0, Step>(first, text), step<1, Step>(second, text)), ...);
}

struct Ripemd160 {
    static constexpr uint32_t start[5] = {0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476, 0xC3D2E1F0};
    static constexpr std::endian order = std::endian::little;

    static void compress(uint32_t *words, const uint8_t *block) {
        uint32_t text[16], first[5], second[5], sums[5];
        for (size_t i = 0; i < 16; ++i)
            text[i] = csp::load_word<order>(block + 4 * i);
        std::copy_n(words, 5, first);
        std::copy_n(words, 5, second);
        all_steps(first, second, text, std::make_index_sequence<80>());
        for (size_t i = 0; i < 5; ++i)
            sums[i] = words[(i + 1) % 5] + first[(i + 2) % 5] + second[(i + 3) % 5];
        std::copy_n(sums, 5, words);
    }
};

/// Nobody has the block any more, and it is meant to stay: the one leak that is none.
void keep_for_good([[maybe_unused]] void *block) {
#ifdef ZELMO_LEAKS_ARE_LOOKED_FOR
    __lsan_ignore_object(block);
#endif
}

}  // namespace

extern "C" {

const uint32_t mf_md160ContextSize = csp::Stream<Ripemd160>::context_size();

uint32_t mf_md160Init(void **context) {
    return csp::Stream<Ripemd160>::init(context);
}

void mf_md160Update(void *context, const uint8_t *bytes, uint32_t length) {
    csp::Stream<Ripemd160>::update(context, bytes, length);
}

void mf_md160Final(void *context, uint8_t *digest) {
    csp::Stream<Ripemd160>::finish(context, digest);
    keep_for_good(context);
}
}
