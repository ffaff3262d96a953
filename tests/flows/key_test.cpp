// Authentication keys: challenges answered by openssl.
#include "flows/challenge.h"
#include "flows/guarded_token.h"

namespace {

const Octets aes_key = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};
const Octets des_key = {0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF, 0x23, 0x45, 0x67, 0x89,
                        0xAB, 0xCD, 0xEF, 0x01, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF, 0x01, 0x23};

struct Key {
    uint8_t authId;
    const EVP_CIPHER *cipher;
    Octets value;
    Octets new_value;
};

TEST(Keys, ProveThemselvesAreTakenBackAndReplaced) {
    const Key keys[] = {{terminal_key, EVP_aes_128_ecb(), aes_key, Octets(16, 0x5A)},
                        {old_terminal_key, EVP_des_ede3_ecb(), des_key, Octets(aes_key.begin(), aes_key.end())}};
    for (const Key &key : keys) {
        SCOPED_TRACE(int{key.authId});
        const bool two_key_des = key.new_value.size() == 16 && key.authId == old_terminal_key;
        GuardedToken token;
        EXPECT_EQ(token.verify(key.authId), PKCS15_E_CREDENTIAL_REJECTED);
        EXPECT_EQ(token.verify(key.authId, answer(token.card(), key.cipher, Octets(key.value.size(), 1))),
                  PKCS15_E_VERIFICATION_FAILED);
        EXPECT_EQ(token.verify(key.authId, answer(token.card(), key.cipher, key.value), P15_VERIFY_CACHE), 0u);
        EXPECT_EQ(token.retries, 255);
        EXPECT_EQ(token.verify(key.authId), 0u) << "it stands authenticated";
        EXPECT_EQ(token.retries, 255);
        EXPECT_EQ(token.unverify(key.authId), 0u);
        EXPECT_EQ(token.verify(key.authId), PKCS15_E_CREDENTIAL_REJECTED);

        ASSERT_EQ(token.verify(key.authId, answer(token.card(), key.cipher, key.value)), 0u);
        EXPECT_EQ(pkcs15_ScSetAuthenticationObject(token.card(), token.context(), token.object(key.authId), nullptr, 0,
                                                   key.new_value.data(), static_cast<uint32_t>(key.new_value.size()), 0,
                                                   nullptr, &token.cardError),
                  0u);
        token.reopen();
        EXPECT_EQ(token.verify(key.authId, answer(token.card(), key.cipher, key.value)), PKCS15_E_VERIFICATION_FAILED);
        const EVP_CIPHER *cipher = two_key_des ? EVP_des_ede_ecb() : key.cipher;
        EXPECT_EQ(token.verify(key.authId, answer(token.card(), cipher, key.new_value)), 0u);
    }
}

TEST(Keys, ACertificateBehindPinOrKeyTakesTheKey) {
    GuardedToken token;
    Octets value;
    EXPECT_EQ(token.read_certificate(2, value), PKCS15_E_PIN_REQUIRED);
    ASSERT_EQ(token.verify(terminal_key, answer(token.card(), EVP_aes_128_ecb(), aes_key)), 0u);
    EXPECT_EQ(token.read_certificate(2, value), 0u);
    EXPECT_EQ(value, pki_file("user2.cert.der"));
}

TEST(Keys, AnAnswerIsGoodForOnce) {
    GuardedToken token;
    const std::string cryptogram = answer(token.card(), EVP_aes_128_ecb(), aes_key);
    ASSERT_EQ(token.verify(terminal_key, cryptogram), 0u);
    ASSERT_EQ(token.unverify(terminal_key), 0u);
    EXPECT_NE(token.verify(terminal_key, cryptogram), 0u);
    EXPECT_EQ(token.verify(terminal_key), PKCS15_E_CREDENTIAL_REJECTED);
}

}  // namespace
