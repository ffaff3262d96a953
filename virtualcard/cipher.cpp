#include "virtualcard/cipher.h"

#include <memory>
#include <openssl/crypto.h>
#include <openssl/evp.h>

namespace virtualcard {

namespace {

constexpr size_t twoKeys = 16;

const EVP_CIPHER *cipherOf(KeyAlgorithm algorithm, size_t keyLength) {
    if (algorithm == KeyAlgorithm::tripleDes)
        return keyLength == twoKeys ? EVP_des_ede_ecb() : EVP_des_ede3_ecb();
    return keyLength == 16 ? EVP_aes_128_ecb() : keyLength == 24 ? EVP_aes_192_ecb() : EVP_aes_256_ecb();
}

}  // namespace

bool keyLengthFits(KeyAlgorithm algorithm, size_t octets) {
    return octets == 16 || octets == 24 || (octets == 32 && algorithm == KeyAlgorithm::aes);
}

size_t blockSize(KeyAlgorithm algorithm) {
    return algorithm == KeyAlgorithm::aes ? 16 : 8;
}

Bytes encipher(KeyAlgorithm algorithm, const Bytes &key, std::span<const uint8_t> block) {
    if (block.size() != blockSize(algorithm) || !keyLengthFits(algorithm, key.size()))
        return {};
    const std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> context(EVP_CIPHER_CTX_new(),
                                                                                  EVP_CIPHER_CTX_free);
    Bytes enciphered(block.size());
    int length = 0;
    const EVP_CIPHER *cipher = cipherOf(algorithm, key.size());
    const bool done =
        context != nullptr && EVP_EncryptInit_ex(context.get(), cipher, nullptr, key.data(), nullptr) == 1 &&
        EVP_CIPHER_CTX_set_padding(context.get(), 0) == 1 &&
        EVP_EncryptUpdate(context.get(), enciphered.data(), &length, block.data(), static_cast<int>(block.size())) == 1;
    return done && static_cast<size_t>(length) == block.size() ? enciphered : Bytes();
}

bool equalValues(std::span<const uint8_t> one, std::span<const uint8_t> other) {
    return one.size() == other.size() && CRYPTO_memcmp(one.data(), other.data(), one.size()) == 0;
}

}  // namespace virtualcard
