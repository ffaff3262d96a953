// What a key answers to a card that asks.
#ifndef ZELMO_TESTS_FLOWS_CHALLENGE_H
#define ZELMO_TESTS_FLOWS_CHALLENGE_H

#include <gtest/gtest.h>
#include <memory>
#include <openssl/evp.h>
#include <string>
#include <vector>

#include "zelmocrd/zelmocrd.h"

/// The answer to a fresh challenge, by OpenSSL.
inline std::string answer(CardHandle card, const EVP_CIPHER *cipher, const std::vector<uint8_t> &key) {
    std::vector<uint8_t> challenge(static_cast<size_t>(EVP_CIPHER_get_block_size(cipher)));
    EXPECT_EQ(scard_GetRandom(card, challenge.data(), static_cast<uint32_t>(challenge.size())), 0u);
    const std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> context(EVP_CIPHER_CTX_new(),
                                                                                  EVP_CIPHER_CTX_free);
    std::string text(challenge.size(), '\0');
    int length = 0;
    EXPECT_EQ(EVP_EncryptInit_ex2(context.get(), cipher, key.data(), nullptr, nullptr), 1);
    EXPECT_EQ(EVP_CIPHER_CTX_set_padding(context.get(), 0), 1);
    EXPECT_EQ(EVP_EncryptUpdate(context.get(), reinterpret_cast<uint8_t *>(text.data()), &length, challenge.data(),
                                static_cast<int>(challenge.size())),
              1);
    return text;
}

#endif
