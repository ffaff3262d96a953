// SHA-1 (FIPS 180-1).
#include <utility>

#include "csp/mf.h"
#include "csp/mf_stream.h"

namespace {

constexpr uint32_t additives[4] = {0x5A827999, 0x6ED9EBA1, 0x8F1BBCDC, 0xCA62C1D6};

/// The word of step `Step`, of which the last 16 are kept.
template <size_t Step>
[[gnu::always_inline]] inline uint32_t schedule(uint32_t *last) {
    uint32_t &word = last[Step % 16];
    if constexpr (Step >= 16)
        word = std::rotl(last[(Step + 13) % 16] ^ last[(Step + 8) % 16] ^ last[(Step + 2) % 16] ^ word, 1);
    return word;
}

template <size_t Step>
[[gnu::always_inline]] inline uint32_t mix(uint32_t b, uint32_t c, uint32_t d) {
    if constexpr (Step < 20)
        return d ^ (b & (c ^ d));
    else if constexpr (Step >= 40 && Step < 60)
        return (b & c) | (d & (b | c));
    else
        return b ^ c ^ d;
}

/// The five words do not move; their roles do, by one place a step.
template <size_t Step>
[[gnu::always_inline]] inline void step(uint32_t *words, uint32_t *last) {
    constexpr size_t a = (80 - Step) % 5, b = (a + 1) % 5, c = (a + 2) % 5, d = (a + 3) % 5, e = (a + 4) % 5;
    words[e] +=
        std::rotl(words[a], 5) + mix<Step>(words[b], words[c], words[d]) + schedule<Step>(last) + additives[Step / 20];
    words[b] = std::rotl(words[b], 30);
}

template <size_t... Step>
[[gnu::always_inline]] inline void all_steps(uint32_t *words, uint32_t *last, std::index_sequence<Step...>) {
    (step<Step>(words, last), ...);
}

struct Sha1 {
    static constexpr uint32_t start[5] = {0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476, 0xC3D2E1F0};
    static constexpr std::endian order = std::endian::big;

    static void compress(uint32_t *words, const uint8_t *block) {
        uint32_t last[16], at_work[5];
        for (size_t i = 0; i < 16; ++i)
            last[i] = csp::load_word<order>(block + 4 * i);
        std::copy_n(words, 5, at_work);
        all_steps(at_work, last, std::make_index_sequence<80>());
        for (size_t i = 0; i < 5; ++i)
            words[i] += at_work[i];
    }
};

}  // namespace

extern "C" {

const uint32_t mf_shaContextSize = csp::Stream<Sha1>::context_size();

uint32_t mf_shaInit(void **context) {
    return csp::Stream<Sha1>::init(context);
}

void mf_shaUpdate(void *context, const uint8_t *bytes, uint32_t length) {
    csp::Stream<Sha1>::update(context, bytes, length);
}

void mf_shaFinal(void *context, uint8_t *digest) {
    csp::Stream<Sha1>::finish(context, digest);
    std::free(context);
}
}
