// The block ciphers with which keys answer challenges.
#ifndef VIRTUALCARD_CIPHER_H
#define VIRTUALCARD_CIPHER_H

#include <cstddef>
#include <span>

#include "virtualcard/image.h"

namespace virtualcard {

/// Octets of a block, and so of a challenge and of the answer to it.
size_t blockSize(KeyAlgorithm algorithm);

/// One block enciphered under a key whose length fits the algorithm; nothing when the block has another size or the
/// cipher is not to be had.
Bytes encipher(KeyAlgorithm algorithm, const Bytes &key, std::span<const uint8_t> block);

/// Whether two values are equal, in a time that only depends on their lengths.
bool equalValues(std::span<const uint8_t> one, std::span<const uint8_t> other);

}  // namespace virtualcard

#endif
