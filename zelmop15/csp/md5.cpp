// MD5 (RFC 1321).
#include <utility>

#include "csp/mf.h"
#include "csp/mf_stream.h"

namespace {

/// The integer part of 2^32 |sin(step + 1)|.
constexpr uint32_t additives[64] = {
    0xD76AA478, 0xE8C7B756, 0x242070DB, 0xC1BDCEEE, 0xF57C0FAF, 0x4787C62A, 0xA8304613, 0xFD469501,
    0x698098D8, 0x8B44F7AF, 0xFFFF5BB1, 0x895CD7BE, 0x6B901122, 0xFD987193, 0xA679438E, 0x49B40821,
    0xF61E2562, 0xC040B340, 0x265E5A51, 0xE9B6C7AA, 0xD62F105D, 0x02441453, 0xD8A1E681, 0xE7D3FBC8,
    0x21E1CDE6, 0xC33707D6, 0xF4D50D87, 0x455A14ED, 0xA9E3E905, 0xFCEFA3F8, 0x676F02D9, 0x8D2A4C8A,
    0xFFFA3942, 0x8771F681, 0x6D9D6122, 0xFDE5380C, 0xA4BEEA44, 0x4BDECFA9, 0xF6BB4B60, 0xBEBFBC70,
    0x289B7EC6, 0xEAA127FA, 0xD4EF3085, 0x04881D05, 0xD9D4D039, 0xE6DB99E5, 0x1FA27CF8, 0xC4AC5665,
    0xF4292244, 0x432AFF97, 0xAB9423A7, 0xFC93A039, 0x655B59C3, 0x8F0CCC92, 0xFFEFF47D, 0x85845DD1,
    0x6FA87E4F, 0xFE2CE6E0, 0xA3014314, 0x4E0811A1, 0xF7537E82, 0xBD3AF235, 0x2AD7D2BB, 0xEB86D391,
};

/// What a round of 16 steps has of its own: the rotations, and which word of the block each step takes.
struct Round {
    int rotations[4];
    size_t first, stride;
};
constexpr Round rounds[4] = {
    {{7, 12, 17, 22}, 0, 1},
    {{5, 9, 14, 20}, 1, 5},
    {{4, 11, 16, 23}, 5, 3},
    {{6, 10, 15, 21}, 0, 7},
};

template <size_t Step>
[[gnu::always_inline]] inline uint32_t mix(uint32_t b, uint32_t c, uint32_t d) {
    if constexpr (Step < 16)
        return d ^ (b & (c ^ d));
    else if constexpr (Step < 32)
        return (b & d) + (c & ~d);  // no bit in common, and quicker than the shorter form
    else if constexpr (Step < 48)
        return b ^ c ^ d;
    else
        return c ^ (b | ~d);
}

/// The four words do not move; their roles do, by one place a step.
template <size_t Step>
[[gnu::always_inline]] inline void step(uint32_t *words, const uint32_t *text) {
    constexpr size_t a = (64 - Step) % 4, b = (a + 1) % 4, c = (a + 2) % 4, d = (a + 3) % 4;
    constexpr const Round &round = rounds[Step / 16];
    const uint32_t sum = words[a] + mix<Step>(words[b], words[c], words[d]) +
                         text[(round.first + Step * round.stride) % 16] + additives[Step];
    words[a] = words[b] + std::rotl(sum, round.rotations[Step % 4]);
}

template <size_t... Step>
[[gnu::always_inline]] inline void all_steps(uint32_t *words, const uint32_t *text, std::index_sequence<Step...>) {
    (step<Step>(words, text), ...);
}

struct Md5 {
    static constexpr uint32_t start[4] = {0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476};
    static constexpr std::endian order = std::endian::little;

    static void compress(uint32_t *words, const uint8_t *block) {
        uint32_t text[16], at_work[4];
        for (size_t i = 0; i < 16; ++i)
            text[i] = csp::load_word<order>(block + 4 * i);
        std::copy_n(words, 4, at_work);
        all_steps(at_work, text, std::make_index_sequence<64>());
        for (size_t i = 0; i < 4; ++i)
            words[i] += at_work[i];
    }
};

}  // namespace

extern "C" {

const uint32_t mf_md5ContextSize = csp::Stream<Md5>::context_size();

uint32_t mf_md5Init(void **context) {
    return csp::Stream<Md5>::init(context);
}

void mf_md5Update(void *context, const uint8_t *bytes, uint32_t length) {
    csp::Stream<Md5>::update(context, bytes, length);
}

void mf_md5Final(void *context, uint8_t *digest) {
    csp::Stream<Md5>::finish(context, digest);
    std::free(context);
}
}
