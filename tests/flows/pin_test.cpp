// PINs from a host to the card and back.
#include "flows/guarded_token.h"
#include "support/dialog_double.h"

namespace {

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
        token.take_commands();
        EXPECT_EQ(token.change(f.authId, f.pin, f.unfit), PKCS15_E_PIN_FORMAT);
        EXPECT_EQ(token.change(f.authId, f.pin, f.too_short), PKCS15_E_PIN_LENGTH);
        EXPECT_EQ(token.take_commands(), "") << "a bad new PIN costs nothing";
        ASSERT_EQ(token.verify(f.authId, f.pin, P15_VERIFY_CACHE), 0u);
        ASSERT_EQ(token.change(f.authId, f.pin, f.new_pin), 0u);
        EXPECT_EQ(token.stored(f.reference), f.stored);
        EXPECT_EQ(token.verify(f.authId), 0u) << "the new PIN is remembered";
        token.reopen();
        EXPECT_EQ(token.verify(f.authId, f.new_pin), 0u);
        EXPECT_EQ(token.verify(f.authId, f.pin), PKCS15_E_VERIFICATION_FAILED);
    }
}

TEST(Pins, WrongOnceTwiceThrice) {
    GuardedToken token;
    for (const unsigned left : {2u, 1u, 0u}) {
        EXPECT_EQ(token.verify(user_pin, "0000", P15_VERIFY_CACHE), PKCS15_E_VERIFICATION_FAILED);
        EXPECT_EQ(token.cardError, 0xA0116300);
        EXPECT_EQ(unsigned{token.retries}, left);
    }
    EXPECT_EQ(token.verify(user_pin, "1234"), PKCS15_E_AUTH_BLOCKED);
    EXPECT_EQ(token.retries, 0);
    EXPECT_EQ(token.query(user_pin), PKCS15_E_AUTH_BLOCKED);
    EXPECT_EQ(token.retries, 0);
    token.reopen();
    EXPECT_EQ(token.verify(user_pin, "1234"), PKCS15_E_AUTH_BLOCKED);

    uint8_t resetting_code[64];
    uint32_t length = sizeof resetting_code;
    const auto *attributes =
        static_cast<const PinAttributes *>(static_cast<const PKCS15Object *>(token.object(puk)->value)->typeAttributes);
    ASSERT_NE(
        pkcs15_TransformPIN(reinterpret_cast<const uint8_t *>("87654321"), 8, attributes, resetting_code, &length),
        nullptr);
    const uint8_t value[8] = {'5', '5', '5', '5', 0, 0, 0, 0};
    EXPECT_EQ(scardcmd_ResetRetryCounter(token.card(), 0, 0x01, resetting_code, length, value, sizeof value, 0), 0u);
    EXPECT_EQ(token.verify(user_pin, "5555"), 0u);
}

TEST(Pins, AStalePinIsTriedOnceAndForgotten) {
    GuardedToken token;
    ASSERT_EQ(token.verify(user_pin, "1234", P15_VERIFY_CACHE), 0u);
    const uint8_t other[8] = {'9', '9', '9', '9', 0, 0, 0, 0};
    ASSERT_EQ(scardcmd_ChangeReferenceData(token.card(), 1, 0x01, nullptr, 0, other, sizeof other, 0), 0u);
    token.take_commands();
    EXPECT_EQ(token.verify(user_pin), PKCS15_E_CREDENTIAL_REJECTED);
    EXPECT_EQ(token.retries, 2);
    EXPECT_EQ(token.take_commands(), "A4 20");
    EXPECT_EQ(token.verify(user_pin), PKCS15_E_PIN_REQUIRED);
    EXPECT_EQ(token.take_commands(), "A4");
    EXPECT_EQ(token.query(user_pin), 0u);
    EXPECT_EQ(token.retries, 2);
}

TEST(Pins, AnEmptyPinIsNeverSent) {
    GuardedToken token;
    ASSERT_EQ(token.verify(user_pin, "1234"), 0u);
    token.take_commands();
    EXPECT_EQ(token.verify(user_pin, ""), PKCS15_E_UNSUPPORTED) << "and does not pass for the login before it";
    EXPECT_EQ(token.take_commands(), "A4");
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

TEST(Pins, AFirstPinIsSetAsItIsGiven) {
    GuardedToken token;
    EXPECT_EQ(token.verify(new_pin, "1234"), PKCS15_E_NOT_INITIALIZED);
    const auto set = [&](const char *value) {
        return pkcs15_ScInitAuthenticationObject(token.card(), token.context(), token.object(new_pin),
                                                 reinterpret_cast<const uint8_t *>(value),
                                                 static_cast<uint32_t>(std::string(value).size()), &token.cardError);
    };
    token.take_commands();
    EXPECT_EQ(set("123"), PKCS15_E_PIN_LENGTH);
    EXPECT_EQ(set("12a4"), PKCS15_E_PIN_FORMAT);
    EXPECT_EQ(token.take_commands(), "");
    EXPECT_EQ(set("1234"), 0u);
    EXPECT_EQ(token.stored(0x85), "1234") << "not in its form";
    EXPECT_EQ(set("5678"), PKCS15_E_SECURITY_STATUS) << "only once";
    EXPECT_EQ(token.cardError, 0xE0116982);
}

TEST(Pins, TheDialogsPinReachesTheCard) {
    GuardedToken token;
    DialogDouble &dialog = *find_dialog_double();
    dialog = {};
    std::snprintf(dialog.pin, sizeof dialog.pin, "1234");
    uint8_t retries = 0;
    EXPECT_EQ(pkcs15_ScVerify(token.card(), token.context(), token.object(user_pin), nullptr, 0, P15_VERIFY_CACHE,
                              &retries, nullptr),
              0u);
    EXPECT_STREQ(dialog.prompt, "Please enter your User PIN for Guarded test token.");
    EXPECT_EQ(token.query(user_pin), 0u);
    EXPECT_EQ(token.retries, verified);
}

TEST(Pins, AClosedCardIsAnError) {
    GuardedToken token;
    ASSERT_EQ(zelmocrd_CloseCard(token.card()), 0u);
    EXPECT_EQ(token.verify(user_pin, "1234"), PKCS15_E_DEVICE_ERROR);
    EXPECT_EQ(token.cardError, 0x80100003);
}

}  // namespace
