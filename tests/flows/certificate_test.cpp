// Certificates behind PINs and keys, compared with the files that openssl made.
#include "flows/guarded_token.h"

namespace {

enum : uint8_t { behind_pin = 1, behind_either, behind_signature_pin, behind_both, behind_nobody, free_for_all };

TEST(Certificates, EachIsReadWhenItsRuleIsSatisfied) {
    const struct {
        uint8_t id;
        uint8_t authId;
        const char *pin;
        const char *file;
    } cases[] = {
        {behind_pin, user_pin, "1234", "user1.cert.der"},
        {behind_either, user_pin, "1234", "user2.cert.der"},
        {behind_signature_pin, signature_pin,
         "stra\xC3\x9F"
         "e \xC3\x84",
         "ec.cert.der"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.file);
        GuardedToken token;
        Octets value;
        EXPECT_NE(token.read_certificate(c.id, value), 0u);
        EXPECT_TRUE(value.empty());
        // Verified, but not remembered: the card would deliver it, the token does not know.
        ASSERT_EQ(token.verify(c.authId, c.pin), 0u);
        EXPECT_EQ(token.read_certificate(c.id, value), PKCS15_E_PIN_REQUIRED);
        ASSERT_EQ(token.verify(c.authId, c.pin, P15_VERIFY_CACHE), 0u);
        EXPECT_EQ(token.read_certificate(c.id, value), 0u);
        EXPECT_EQ(value, pki_file(c.file));
        // The card has forgotten, the context has not.
        ASSERT_EQ(scard_ResetCard(token.card()), 0u);
        EXPECT_EQ(token.read_certificate(c.id, value), 0u);
        EXPECT_EQ(value, pki_file(c.file));
        ASSERT_EQ(token.unverify(c.authId), 0u);
        EXPECT_EQ(token.read_certificate(c.id, value), PKCS15_E_PIN_REQUIRED);
        EXPECT_TRUE(value.empty());
    }
}

TEST(Certificates, SomeNeedNothingAndSomeCannotBeHad) {
    GuardedToken token;
    Octets value;
    EXPECT_EQ(token.read_certificate(free_for_all, value), 0u);
    EXPECT_EQ(value, pki_file("ca.cert.der"));
    ASSERT_EQ(token.verify(user_pin, "1234", P15_VERIFY_CACHE), 0u);
    ASSERT_EQ(token.verify(signature_pin, "STRASSE \xC3\xA4", P15_VERIFY_CACHE), 0u);
    EXPECT_EQ(token.read_certificate(behind_both, value), PKCS15_E_UNSUPPORTED);
    EXPECT_EQ(token.read_certificate(behind_nobody, value), PKCS15_E_UNSUPPORTED);
}

TEST(Certificates, ASilentReadSpendsOneTryOfAStalePin) {
    GuardedToken token;
    Octets value;
    ASSERT_EQ(token.verify(user_pin, "1234", P15_VERIFY_CACHE), 0u);
    const uint8_t other[8] = {'9', '9', '9', '9', 0, 0, 0, 0};
    ASSERT_EQ(scardcmd_ChangeReferenceData(token.card(), 1, 0x01, nullptr, 0, other, sizeof other, 0), 0u);
    EXPECT_EQ(token.read_certificate(behind_pin, value), PKCS15_E_CREDENTIAL_REJECTED);
    EXPECT_EQ(token.read_certificate(behind_pin, value), PKCS15_E_PIN_REQUIRED);
    token.query(user_pin);
    EXPECT_EQ(token.retries, 2);
}

}  // namespace
