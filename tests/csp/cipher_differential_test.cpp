// The cipher sessions beside two implementations that are not ours, on random texts under random keys.
#include <botan/block_cipher.h>
#include <botan/stream_cipher.h>
#include <gtest/gtest.h>
#include <memory>
#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/provider.h>
#include <tomcrypt.h>

#include "support/seeded.h"
#include "sym_case.h"

namespace {

using namespace zelmo_test;

constexpr int runs = 4000;

Octets part(const Octets &octets, size_t from, size_t length) {
    return {octets.begin() + static_cast<long>(from), octets.begin() + static_cast<long>(from + length)};
}

/// One enciphering by openssl, without padding.
Octets openssl(const SymCase &cipher, const Octets &key, const Octets &iv, const Octets &text) {
    static OSSL_PROVIDER *const providers[] = {OSSL_PROVIDER_load(nullptr, "legacy"),
                                               OSSL_PROVIDER_load(nullptr, "default")};
    EXPECT_TRUE(providers[0] != nullptr && providers[1] != nullptr);
    const std::string name =
        cipher.alg == CSP_SYM_AES_CBC ? "AES-" + std::to_string(8 * key.size()) + "-CBC" : std::string(cipher.openssl);
    const std::unique_ptr<EVP_CIPHER, void (*)(EVP_CIPHER *)> method(EVP_CIPHER_fetch(nullptr, name.c_str(), nullptr),
                                                                     EVP_CIPHER_free);
    const std::unique_ptr<EVP_CIPHER_CTX, void (*)(EVP_CIPHER_CTX *)> context(EVP_CIPHER_CTX_new(),
                                                                              EVP_CIPHER_CTX_free);
    size_t length = key.size();
    size_t bits = 8 * length;
    const OSSL_PARAM lengths[] = {OSSL_PARAM_construct_size_t(OSSL_CIPHER_PARAM_KEYLEN, &length),
                                  cipher.alg == CSP_SYM_RC2_CBC
                                      ? OSSL_PARAM_construct_size_t(OSSL_CIPHER_PARAM_RC2_KEYBITS, &bits)
                                      : OSSL_PARAM_construct_end(),
                                  OSSL_PARAM_construct_end()};
    EXPECT_EQ(EVP_EncryptInit_ex2(context.get(), method.get(), nullptr, nullptr, lengths), 1) << name;
    EXPECT_EQ(EVP_EncryptInit_ex2(context.get(), nullptr, key.data(), iv.data(), nullptr), 1) << name;
    EVP_CIPHER_CTX_set_padding(context.get(), 0);
    Octets result(text.size() + 32);
    int written = 0;
    int rest = 0;
    EXPECT_EQ(EVP_EncryptUpdate(context.get(), result.data(), &written, text.data(), static_cast<int>(text.size())), 1);
    EXPECT_EQ(EVP_EncryptFinal_ex(context.get(), result.data() + written, &rest), 1);
    result.resize(text.size());
    return result;
}

/// Chains the blocks of a cipher that turns one, in place.
template <class Turn>
Octets chained(Octets chain, const Octets &text, size_t block, Turn turn) {
    Octets result;
    for (size_t at = 0; at < text.size(); at += block) {
        Octets octets = part(text, at, block);
        for (size_t i = 0; i < chain.size(); ++i)
            octets[i] ^= chain[i];
        turn(octets.data());
        result = result + octets;
        if (!chain.empty())
            chain = octets;
    }
    return result;
}

Octets botan_idea(const SymCase &, const Octets &key, const Octets &iv, const Octets &text) {
    const auto idea = Botan::BlockCipher::create_or_throw("IDEA");
    idea->set_key(key.data(), key.size());
    return chained(iv, text, 8, [&](uint8_t *block) { idea->encrypt(block); });
}

Octets tomcrypt_arcfour(const SymCase &, const Octets &key, const Octets &, const Octets &text) {
    rc4_state state;
    EXPECT_EQ(rc4_stream_setup(&state, key.data(), key.size()), CRYPT_OK);
    Octets result(text.size());
    // It refuses to do nothing.
    if (text.empty())
        return result;
    EXPECT_EQ(rc4_stream_crypt(&state, text.data(), text.size(), result.data()), CRYPT_OK);
    return result;
}

template <const ltc_cipher_descriptor &Cipher>
Octets tomcrypt(const SymCase &, const Octets &key, const Octets &iv, const Octets &text) {
    symmetric_key schedule;
    EXPECT_EQ(Cipher.setup(key.data(), static_cast<int>(key.size()), 0, &schedule), CRYPT_OK);
    return chained(iv, text, static_cast<size_t>(Cipher.block_length),
                   [&](uint8_t *block) { Cipher.ecb_encrypt(block, block, &schedule); });
}

struct Peer {
    uint32_t alg;
    Octets (*encipher)(const SymCase &cipher, const Octets &key, const Octets &iv, const Octets &text);
    uint32_t least_key;  ///< That the peer takes.
};

const Peer second_peers[] = {
    {CSP_SYM_RC2_CBC, tomcrypt<rc2_desc>, 8},   {CSP_SYM_ARCFOUR, tomcrypt_arcfour, 5},
    {CSP_SYM_DES_CBC, tomcrypt<des_desc>, 0},   {CSP_SYM_DES3_ECB, tomcrypt<des3_desc>, 0},
    {CSP_SYM_DES3_CBC, tomcrypt<des3_desc>, 0}, {CSP_SYM_IDEA_CBC, botan_idea, 0},
    {CSP_SYM_AES_CBC, tomcrypt<aes_desc>, 0},
};

uint32_t random_key_length(Seeded &random, const SymCase &cipher) {
    switch (cipher.alg) {
        case CSP_SYM_RC2_CBC:
            return 1 + random.below(128);
        case CSP_SYM_ARCFOUR:
            return 1 + random.below(255);
        case CSP_SYM_AES_CBC:
            return 16 + 8 * random.below(3);
        default:
            return cipher.key_length;
    }
}

class AgainstOthers : public testing::TestWithParam<size_t> {};

TEST_P(AgainstOthers, SameTexts) {
    const SymCase &cipher = sym_cases[GetParam()];
    const Peer &second = second_peers[GetParam()];
    ASSERT_EQ(cipher.alg, second.alg);
    Seeded random;
    for (int run = 0; run < runs && !HasFailure(); ++run) {
        const uint32_t key_length = random_key_length(random, cipher);
        const Octets key = run % 4 == 0 ? random.runs(key_length) : random.octets(key_length);
        const Octets iv = random.octets(cipher.iv_length);
        const size_t length = size_t{cipher.unit()} * random.below(24);
        const Octets text = run % 3 == 0 ? random.runs(length) : random.octets(length);
        const Octets enciphered = Session(cipher.alg, key, iv).encipher(text);
        if (cipher.openssl != nullptr) {
            EXPECT_EQ(enciphered, openssl(cipher, key, iv, text)) << "run " << run;
        }
        if (key_length >= second.least_key) {
            EXPECT_EQ(enciphered, second.encipher(cipher, key, iv, text)) << "run " << run;
        }
        EXPECT_EQ(Session(cipher.alg, key, iv).decipher(enciphered), text) << "run " << run;
    }
}

INSTANTIATE_TEST_SUITE_P(All, AgainstOthers, testing::Range<size_t>(0, std::size(sym_cases)),
                         [](const auto &row) { return std::string(sym_cases[row.param].name); });

}  // namespace
