// The token "guarded" on a virtual card of its own, opened through the card service: host, token library, card service
// and card in one process.
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <memory>

#include "flows/challenge.h"
#include "support/temp_directory.h"
#include "virtualcard/image.h"
#include "zelmop15/pkcs15.h"

namespace {

using Octets = std::vector<uint8_t>;

const std::string data = ZELMO_SOURCE_DIR "/tests/data/";

// authIds of the token's objects.
enum : uint8_t { user_pin = 1, signature_pin, bcd_pin, puk, new_pin, terminal_key, old_terminal_key };

template <auto Free>
struct Release {
    template <class T>
    void operator()(T *value) const {
        Free(value);
    }
};

/// A file of the test PKI.
Octets pki_file(const std::string &name) {
    std::ifstream in(data + "pki/" + name, std::ios::binary);
    EXPECT_TRUE(in) << name;
    return Octets(std::istreambuf_iterator<char>(in), {});
}

const uint8_t *octets(const std::string &text) {
    return reinterpret_cast<const uint8_t *>(text.data());
}

uint32_t length(const std::string &text) {
    return static_cast<uint32_t>(text.size());
}

class GuardedToken {
  public:
    GuardedToken() : file_(directory_.file("guarded.card")) {
        std::filesystem::copy_file(data + "tokens/guarded.card", file_);
        open();
    }
    GuardedToken(const GuardedToken &) = delete;
    GuardedToken &operator=(const GuardedToken &) = delete;
    ~GuardedToken() {
        close();
    }
    CardHandle card() const {
        return card_;
    }
    TokenContext *context() const {
        return context_.get();
    }
    AuthenticationType *object(uint8_t authId) {
        const asn1_OctetString id = {1, &authId};
        return pkcs15_GetAuthenticationType(context(), &id);
    }
    uint32_t verify(uint8_t authId, const std::string &value, uint32_t flags = 0) {
        return pkcs15_ScVerify(card_, context(), object(authId), octets(value), length(value), flags, &retries,
                               &cardError);
    }
    /// Without a value, in silence.
    uint32_t verify(uint8_t authId, uint32_t flags = 0) {
        return pkcs15_ScVerify(card_, context(), object(authId), nullptr, 0, flags | P15_VERIFY_NO_PROMPT, &retries,
                               &cardError);
    }
    uint32_t query(uint8_t authId) {
        return verify(authId, P15_VERIFY_QUERY);
    }
    uint32_t unverify(uint8_t authId) {
        return pkcs15_ScUnVerify(card_, context(), object(authId), &cardError);
    }
    uint32_t change(uint8_t authId, const std::string &before, const std::string &after) {
        return pkcs15_ScSetAuthenticationObject(card_, context(), object(authId),
                                                before.empty() ? nullptr : octets(before), length(before),
                                                octets(after), length(after), 0, &retries, &cardError);
    }
    /// Reads the certificate with this iD.
    uint32_t read_certificate(uint8_t id, Octets &value) {
        const asn1_OctetString identifier = {1, &id};
        ObjectReference *found = nullptr;
        EXPECT_EQ(pkcs15_ScFindObject(card_, context(), PKCS15_CERTIFICATES, &identifier, FLAG_REFRESH_CACHE, &found,
                                      &cardError),
                  0u);
        const std::unique_ptr<ObjectReference, Release<pkcs15_ObjectReferenceFree>> reference(found);
        uint8_t *read = nullptr;
        uint32_t size = 0;
        const uint32_t code =
            pkcs15_ScReadCertificate(card_, context(), found, FLAG_USE_CACHE, &read, &size, &cardError);
        value.assign(read, read + size);
        pkcs15_FreeData(read);
        return code;
    }
    /// Closes and opens the card and the token again.
    void reopen() {
        close();
        open();
    }
    /// The value that the image file holds for a PIN of this reference.
    std::string stored(uint8_t reference) const {
        for (const virtualcard::Secret &pin : virtualcard::readImage(file_).pins)
            if (pin.reference == reference)
                return {pin.value.begin(), pin.value.end()};
        return "no such PIN";
    }
    /// Commands since the last call.
    uint64_t commands() const {
        zelmocrd_Counters counters = {};
        EXPECT_EQ(zelmocrd_GetCounters(card_, &counters, 1), 0u);
        return counters.commands;
    }

    uint8_t retries = 0xAA;  ///< Of the last call.
    uint32_t cardError = 0;  ///< Likewise.

  private:
    void open() {
        ASSERT_EQ(zelmocrd_OpenCard(("virtual:" + file_).c_str(), 0, &card_), 0u) << zelmocrd_OpenErrorText();
        const std::unique_ptr<DIRRecord, Release<asn1_DIRRecord_free>> application(pkcs15_GetDefaultDIR());
        TokenContext *context = nullptr;
        ASSERT_EQ(pkcs15_ScAcquireTokenContext(card_, application.get(), &context, &cardError), 0u);
        context_.reset(context);
    }
    void close() {
        context_.reset();
        zelmocrd_CloseCard(card_);
    }

    TempDirectory directory_;
    std::string file_;
    CardHandle card_ = 0;
    std::unique_ptr<TokenContext, Release<pkcs15_ScReleaseTokenContext>> context_;
};

// ---- PINs

constexpr uint8_t verified = 255;  // what a query yields for a PIN that stands verified

struct Format {
    uint8_t authId;
    const char *pin;
    const char *new_pin;
    uint8_t reference;
    std::string stored;  ///< What the card holds after the change.
    const char *unfit;   ///< A new PIN that its form cannot express.
    const char *too_short;
};

const Format formats[] = {
    {user_pin, "1234", "98765432", 0x01, "98765432", "98765x", "987"},
    {user_pin, "1234", "4321", 0x01, std::string("4321\0\0\0\0", 8), "4321\xC3\xA4", ""},
    {signature_pin,
     "Stra\xC3\x9F"
     "e \xC3\xA4",
     "\xC3\xA9t\xC3\xA9 5", 0x82, "\xC3\x89T\xC3\x89 5", "\xFF\xFF\xFF\xFF\xFF", "abc"},
    {bcd_pin, "123456", "1234567", 0x83, "\x12\x34\x56\x7F\xFF\xFF", "12345a", "12345"},
};

TEST(Pins, EachFormatIsVerifiedChangedAndKept) {
    for (const Format &f : formats) {
        SCOPED_TRACE(f.new_pin);
        GuardedToken token;
        EXPECT_NE(token.query(f.authId), PKCS15_E_AUTH_BLOCKED);
        ASSERT_EQ(token.verify(f.authId, f.pin, P15_VERIFY_CACHE), 0u);
        EXPECT_EQ(token.query(f.authId), 0u);
        EXPECT_EQ(token.retries, verified);
        token.commands();
        EXPECT_EQ(token.change(f.authId, f.pin, f.unfit), PKCS15_E_PIN_FORMAT);
        EXPECT_EQ(token.change(f.authId, f.pin, f.too_short), PKCS15_E_PIN_LENGTH);
        EXPECT_EQ(token.commands(), 0u) << "a bad new PIN costs nothing";
        ASSERT_EQ(token.verify(f.authId, f.pin, P15_VERIFY_CACHE), 0u);
        ASSERT_EQ(token.change(f.authId, f.pin, f.new_pin), 0u);
        EXPECT_EQ(token.stored(f.reference), f.stored);
        EXPECT_EQ(token.verify(f.authId), 0u) << "the new PIN is remembered";
        token.reopen();
        EXPECT_EQ(token.verify(f.authId, f.new_pin), 0u);
        EXPECT_EQ(token.verify(f.authId, f.pin), PKCS15_E_VERIFICATION_FAILED);
    }
}

TEST(Pins, WhatIsTakenBackIsGone) {
    const std::pair<uint8_t, const char *> pins[] = {
        {user_pin, "1234"}, {signature_pin, "strasse \xC3\xA4"}, {bcd_pin, "123456"}, {puk, "87654321"}};
    for (const auto &[authId, value] : pins) {
        GuardedToken token;
        ASSERT_EQ(token.verify(authId, value, P15_VERIFY_CACHE), 0u);
        EXPECT_EQ(token.unverify(authId), 0u);
        EXPECT_EQ(token.cardError, 0u);
        EXPECT_EQ(token.query(authId), 0u) << int{authId};
        EXPECT_NE(token.retries, verified) << int{authId};
        EXPECT_EQ(token.verify(authId), PKCS15_E_PIN_REQUIRED);
    }
}

// ---- keys, whose challenges openssl answers

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
        EXPECT_EQ(token.change(key.authId, "", {key.new_value.begin(), key.new_value.end()}), 0u);
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

// ---- certificates, compared with the files that openssl made

enum : uint8_t { behind_pin = 1, behind_either, behind_signature_pin };

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

}  // namespace
