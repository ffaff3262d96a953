// What MD5, SHA-1 and RIPEMD-160 share: 32-bit words, blocks of 64 octets, and padding that ends in the count of bits.
#ifndef ZELMOP15_CSP_MF_STREAM_H
#define ZELMOP15_CSP_MF_STREAM_H

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>

#include "csp/csp.h"
#include "csp/words.h"
#include "runtime/owned.h"

namespace csp {

/// A word in the order of octets that a function has.
template <std::endian Order>
constexpr uint32_t load_word(const uint8_t *octets) {
    return Order == std::endian::big ? load_big32(octets) : load_little32(octets);
}

template <std::endian Order>
constexpr void store_word(uint8_t *octets, uint32_t word) {
    Order == std::endian::big ? store_big32(octets, word) : store_little32(octets, word);
}

/// A hash function that is given as its starting words `start`, its `order` of octets, and `compress(words, block)`.
template <class Function>
class Stream {
  public:
    static constexpr uint32_t context_size() {
        return sizeof(Context);
    }
    static uint32_t init(void **context) {
        auto *const made = allocate<Context>();
        if (made == nullptr)
            return CSP_ERR_MEMORY;
        std::copy(std::begin(Function::start), std::end(Function::start), made->words);
        *context = made;
        return 0;
    }
    static void update(void *context, const uint8_t *bytes, uint32_t length) {
        if (length == 0)
            return;
        auto &stream = *static_cast<Context *>(context);
        const size_t filled = stream.filled();
        stream.count(length);
        size_t left = length;
        if (filled != 0) {
            const size_t taken = std::min(left, block_size - filled);
            std::memcpy(stream.partial + filled, bytes, taken);
            if (filled + taken < block_size)
                return;
            Function::compress(stream.words, stream.partial);
            bytes += taken;
            left -= taken;
        }
        for (; left >= block_size; left -= block_size, bytes += block_size)
            Function::compress(stream.words, bytes);
        if (left != 0)
            std::memcpy(stream.partial, bytes, left);
    }
    /// Writes the digest and leaves the context behind as zeros.
    static void finish(void *context, uint8_t *digest) {
        constexpr uint8_t padding[block_size] = {0x80};
        auto &stream = *static_cast<Context *>(context);
        uint8_t bits[8];
        for (size_t i = 0; i < 2; ++i)
            store_word<Function::order>(bits + 4 * i, stream.bits[Function::order == std::endian::big ? 1 - i : i]);
        // One octet at least, and as many as leave room for the count at the end of a block.
        update(context, padding, static_cast<uint32_t>((119 - stream.filled()) % block_size + 1));
        update(context, bits, sizeof bits);
        for (const uint32_t word : stream.words) {
            store_word<Function::order>(digest, word);
            digest += 4;
        }
        explicit_bzero(context, sizeof(Context));
    }

  private:
    static constexpr size_t block_size = 64;

    struct Context {
        uint32_t words[std::size(Function::start)];
        uint32_t bits[2];  ///< Count of all bits so far, low word first.
        uint8_t partial[block_size];

        [[nodiscard]] size_t filled() const {
            return bits[0] / 8 % block_size;
        }
        void count(uint32_t octets) {
            const uint32_t low = octets << 3;
            bits[0] += low;
            bits[1] += (octets >> 29) + (bits[0] < low ? 1 : 0);
        }
    };
};

}  // namespace csp

#endif
