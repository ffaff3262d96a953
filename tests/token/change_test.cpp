// Setting, changing and taking back secrets: traffic, results, log lines, and what is remembered, case by case.
#include <cstring>

#include "asn1/asn1_x680.h"
#include "support/alloc_fault.h"
#include "token/auth_token.h"
#include "token/pkcs15_scard_verify.h"

namespace {

using Lines = std::vector<std::string>;

const CardAnswer ok = {};
const CardAnswer encoded = {0, hex("EE01")};
const CardAnswer encoded_new = {0, hex("EE02")};
const CardAnswer unfit = {0x80100004};
const CardAnswer wrong = {0xA0116300, {}, 2};
const CardAnswer no_space = {0xE0116A84};

// ---- a first PIN ---------------------------------------------------------------------------------------------------

struct InitCase {
    const char *name;
    uint8_t authId;
    const char *value;
    std::deque<CardAnswer> script;
    uint32_t code;
    uint32_t cardError;
    Lines calls;
    bool forgotten;
    unsigned lines;  ///< That the failure leaves.
};

// clang-format off
const InitCase init_cases[] = {
    {"a PIN goes out as it is given", plain_pin, "1234", {encoded, ok}, 0, untouched,
     {"scard_FormatPin 31323334 1 4 8 8 null 64", "scardcmd_ChangeReferenceData 1 1 null 31323334 0"}, true, 0},
    {"initialized or not", new_pin, "12345678", {encoded, ok}, 0, untouched,
     {"scard_FormatPin 3132333435363738 1 4 8 8 null 64", "scardcmd_ChangeReferenceData 1 4 null 3132333435363738 0"},
     true, 0},
    {"too short", plain_pin, "123", {}, PKCS15_E_PIN_LENGTH, untouched, {}, true, 2},
    {"too long", plain_pin, "123456789", {}, PKCS15_E_PIN_LENGTH, untouched, {}, true, 2},
    {"of a wrong format", plain_pin, "12345x", {unfit}, PKCS15_E_PIN_FORMAT, untouched,
     {"scard_FormatPin 313233343578 1 4 8 8 null 64"}, true, 2},
    {"the card does not take it", plain_pin, "1234", {encoded, {0xE0116982}}, PKCS15_E_SECURITY_STATUS, 0xE0116982,
     {"scard_FormatPin 31323334 1 4 8 8 null 64", "scardcmd_ChangeReferenceData 1 1 null 31323334 0"}, true, 3},
    {"no reference", numberless_pin, "1234", {encoded}, PKCS15_E_UNSUPPORTED, untouched,
     {"scard_FormatPin 31323334 1 4 8 8 null 64"}, true, 2},
    {"no value", plain_pin, nullptr, {}, PKCS15_E_INVALID_PARAMETER, untouched, {}, false, 2},
    {"a key", key, "1234", {}, PKCS15_E_INVALID_PARAMETER, untouched, {}, false, 1},
};
// clang-format on

TEST(Change, FirstPin) {
    for (const InitCase &c : init_cases) {
        SCOPED_TRACE(c.name);
        AuthToken token;
        token.remember(c.authId);
        token.remember(no_object);
        token.script(c.script);
        uint32_t cardError = untouched;
        const auto length = static_cast<uint32_t>(c.value != nullptr ? std::strlen(c.value) : 0);
        EXPECT_EQ(
            pkcs15_ScInitAuthenticationObject(test_card, token.get(), token.object(c.authId),
                                              c.value != nullptr ? octets_of(c.value) : nullptr, length, &cardError),
            c.code);
        EXPECT_EQ(cardError, c.cardError);
        EXPECT_THAT(token.card().take_calls(), ElementsAreArray(c.calls));
        EXPECT_EQ(token.log().take().size(), c.lines);
        EXPECT_EQ(token.remembered().size(), c.forgotten ? 1u : 2u);
    }
}

// ---- changes -------------------------------------------------------------------------------------------------------

struct ChangeCase {
    const char *name;
    uint8_t authId;
    const char *old_value;
    const char *new_value;
    uint32_t flags;
    Lines before;  ///< authIds for which "1234" is remembered.
    std::deque<CardAnswer> script;
    uint32_t code;
    int retries;  ///< -1: untouched.
    uint32_t cardError;
    Lines calls;
    Lines after;
    unsigned lines;  ///< That the failure leaves.
};

const char *const format_new = "scard_FormatPin 35363738 1 4 8 8 null 64";
const char *const format_old = "scard_FormatPin 31323334 1 4 8 8 null 64";
const char *const verify_old = "scardcmd_VerifyPIN 1 EE01 place 0";
const char *const set_new = "scardcmd_ChangeReferenceData 1 1 null EE02 0";
const char *const select_key = "scard_SelectFile null 3F0050154B07 null";
const Lines verify_calls = {format_new, select_plain_pin, format_old, verify_old};
const Lines all_calls = {format_new, select_plain_pin, format_old, verify_old, set_new};

// clang-format off
const ChangeCase change_cases[] = {
    {"a PIN", plain_pin, "1234", "5678", 0, {"2"}, {encoded_new, ok, encoded, {0, {}, 3}, ok}, 0, 3, 0, all_calls,
     {"2=1234"}, 0},
    {"a remembered PIN", plain_pin, "1234", "5678", 0, {"1", "2"}, {encoded_new, ok, encoded, ok, ok}, 0, 0, 0,
     all_calls, {"1=5678", "2=1234"}, 0},
    {"a PIN to be remembered", plain_pin, "1234", "5678", P15_VERIFY_CACHE, {"1", "2"},
     {encoded_new, ok, encoded, ok, ok}, 0, 0, 0, all_calls, {"2=1234", "1=5678"}, 0},
    {"the PIN's file is selected already", plain_pin, "1234", "5678", P15_VERIFY_NO_SELECT, {},
     {encoded_new, encoded, ok, ok}, 0, 0, 0, {format_new, format_old, verify_old, set_new}, {}, 0},
    {"as short as may be", plain_pin, "1234", "5678", 0, {}, {encoded_new, ok, encoded, ok, ok}, 0, 0, 0, all_calls, {},
     0},
    {"as long as may be", plain_pin, "1234", "56785678", 0, {}, {encoded_new, ok, encoded, ok, ok}, 0, 0, 0,
     {"scard_FormatPin 3536373835363738 1 4 8 8 null 64", select_plain_pin, format_old, verify_old, set_new}, {}, 0},
    {"too short", plain_pin, "1234", "567", 0, {"1"}, {}, PKCS15_E_PIN_LENGTH, -1, untouched, {}, {}, 2},
    {"too long", plain_pin, "1234", "567856785", 0, {"1"}, {}, PKCS15_E_PIN_LENGTH, -1, untouched, {}, {}, 2},
    {"of a wrong format", plain_pin, "1234", "5678", 0, {"1"}, {unfit}, PKCS15_E_PIN_FORMAT, -1, untouched,
     {format_new}, {}, 2},
    {"the old PIN is wrong", plain_pin, "1234", "5678", 0, {"1", "2"}, {encoded_new, ok, encoded, wrong},
     PKCS15_E_VERIFICATION_FAILED, 2, 0xA0116300, verify_calls, {"2=1234"}, 5},
    {"the old PIN is blocked, which keeps the remembered one in a verification", plain_pin, "1234", "5678", 0, {"1"},
     {encoded_new, ok, encoded, {0xE0116983, {}, 0}}, PKCS15_E_AUTH_BLOCKED, 0, 0xE0116983, verify_calls, {}, 5},
    {"the card does not take the new PIN", plain_pin, "1234", "5678", P15_VERIFY_CACHE, {},
     {encoded_new, ok, encoded, ok, no_space}, PKCS15_E_NO_CARD_SPACE, 0, 0xE0116A84, all_calls, {}, 3},
    {"a PIN without reference", numberless_pin, "1234", "5678", 0, {"5"}, {encoded_new}, PKCS15_E_UNSUPPORTED, -1,
     untouched, {format_new}, {}, 2},
    {"a PIN that was never set", new_pin, "1234", "5678", 0, {"4"}, {encoded_new}, PKCS15_E_NOT_INITIALIZED, -1,
     untouched, {format_new}, {}, 4},
    {"no old PIN", plain_pin, nullptr, "5678", 0, {"1"}, {}, PKCS15_E_INVALID_PARAMETER, -1, untouched, {}, {"1=1234"},
     2},
    {"no new PIN", plain_pin, "1234", nullptr, 0, {"1"}, {}, PKCS15_E_INVALID_PARAMETER, -1, untouched, {}, {"1=1234"},
     2},

    {"a key", global_key, "old", "new key", 0, {}, {ok, ok, ok}, 0, 255, 0,
     {select_key, "scardcmd_ExternalAuthenticate 9 6F6C64 0", "scardcmd_ChangeKeyData 0 9 6E6577206B6579 0"}, {}, 0},
    {"a key that stands authenticated", global_key, nullptr, "new", 0, {}, {ok, {0, hex("09")}, ok}, 0, 255, 0,
     {select_key, "scardcmd_GetData 132 256", "scardcmd_ChangeKeyData 0 9 6E6577 0"}, {}, 0},
    {"a key that does not", global_key, nullptr, "new", 0, {}, {ok, ok}, PKCS15_E_CREDENTIAL_REJECTED, -1, 0,
     {select_key, "scardcmd_GetData 132 256"}, {}, 3},
    {"the card does not take the new key", global_key, "old", "new", 0, {}, {ok, ok, {0xE0116700}},
     PKCS15_E_INVALID_PARAMETER, 255, 0xE0116700,
     {select_key, "scardcmd_ExternalAuthenticate 9 6F6C64 0", "scardcmd_ChangeKeyData 0 9 6E6577 0"}, {}, 2},
    {"a key that the card has no number for", numberless_key, "old", "new", 0, {}, {}, PKCS15_E_UNSUPPORTED, -1,
     untouched, {}, {}, 3},
};
// clang-format on

uint32_t change(AuthToken &token, const AuthenticationType *object, const char *old_value, const char *new_value,
                uint32_t flags, uint8_t *retries, uint32_t *cardError) {
    const auto length = [](const char *value) {
        return static_cast<uint32_t>(value != nullptr ? std::strlen(value) : 0);
    };
    return pkcs15_ScSetAuthenticationObject(
        test_card, token.get(), object, old_value != nullptr ? octets_of(old_value) : nullptr, length(old_value),
        new_value != nullptr ? octets_of(new_value) : nullptr, length(new_value), flags, retries, cardError);
}

TEST(Change, EachOutcome) {
    for (const ChangeCase &c : change_cases) {
        SCOPED_TRACE(c.name);
        AuthToken token;
        for (const std::string &id : c.before)
            token.remember(static_cast<uint8_t>(std::stoi(id)));
        token.script(c.script);
        uint8_t retries = 0xAA;
        uint32_t cardError = untouched;
        EXPECT_EQ(change(token, token.object(c.authId), c.old_value, c.new_value, c.flags, &retries, &cardError),
                  c.code);
        EXPECT_EQ(retries, c.retries >= 0 ? c.retries : 0xAA);
        EXPECT_EQ(cardError, c.cardError);
        EXPECT_THAT(token.card().take_calls(), ElementsAreArray(c.calls));
        EXPECT_THAT(token.remembered(), ElementsAreArray(c.after));
        EXPECT_EQ(token.log().take().size(), c.lines);
    }
}

TEST(Change, WithoutGreatestLengthThereIsNone) {
    AuthToken token;
    asn1_Integer_free(std::exchange(token.pin(plain_pin).maxLength, nullptr));
    token.script({encoded_new, ok, encoded, ok, ok});
    const std::string longest(100, '5');
    EXPECT_EQ(change(token, token.object(plain_pin), "1234", longest.c_str(), 0, nullptr, nullptr), 0u);
    EXPECT_EQ(token.card().take_calls().back(), set_new);
}

TEST(Change, NoMemoryForTheNewPinForgetsTheOldOne) {
    AuthToken token;
    token.remember(plain_pin);
    token.script({encoded_new, ok, encoded, ok, ok});
    AuthenticationType *object = token.object(plain_pin);
    alloc_fault_arm(1, false);
    const uint32_t code = change(token, object, "1234", "5678", 0, nullptr, nullptr);
    EXPECT_TRUE(alloc_fault_disarm());
    EXPECT_EQ(code, PKCS15_E_NO_MEMORY);
    EXPECT_THAT(token.card().take_calls(), ElementsAreArray({format_new, select_plain_pin, format_old,
                                                             "scardcmd_VerifyPIN 1 EE01 null 0", set_new}));
    EXPECT_THAT(token.remembered(), IsEmpty());
}

// ---- taking back ---------------------------------------------------------------------------------------------------

struct UnVerifyCase {
    const char *name;
    uint8_t authId;
    std::deque<CardAnswer> script;
    uint32_t code;
    uint32_t cardError;
    Lines calls;
    unsigned lines = 0;  ///< That the failure leaves.
    bool forgotten = true;
};

// clang-format off
const UnVerifyCase unverify_cases[] = {
    {"a PIN", plain_pin, {ok, ok}, 0, 0, {select_plain_pin, "scardcmd_ResetSecurityStatus 128"}},
    {"a local PIN", local_pin, {ok}, 0, 0, {"scardcmd_ResetSecurityStatus 0"}},
    {"a PIN without path", pathless_pin, {ok}, 0, 0, {"scardcmd_ResetSecurityStatus 0"}},
    {"a PIN without reference", numberless_pin, {ok, ok}, 0, 0, {select_plain_pin, "scardcmd_ResetSecurityStatus 128"}},
    {"a PIN whose file is not there", plain_pin, {{sw_file_not_found}, ok}, PKCS15_E_DEVICE_ERROR, 0, {select_plain_pin,
     "scardcmd_ResetSecurityStatus 0"}, 2},
    {"a card that does not take it back", plain_pin, {ok, {0xE0116D00}}, 0, 0xE0116D00, {select_plain_pin,
     "scardcmd_ResetSecurityStatus 128"}},
    {"neither", plain_pin, {{0x80100069}, {0x80100069}}, PKCS15_E_CARD_REMOVED, 0x80100069, {select_plain_pin,
     "scardcmd_ResetSecurityStatus 0"}, 2},
    {"a local key", key, {ok}, 0, 0, {"scardcmd_ResetSecurityStatus 0"}},
    {"a key", global_key, {ok, ok}, 0, 0, {"scard_SelectFile null 3F0050154B07 null",
     "scardcmd_ResetSecurityStatus 128"}},
    {"a key without a file", pathless_key, {ok}, 0, 0, {"scardcmd_ResetSecurityStatus 0"}},
    {"a key without number", numberless_key, {}, PKCS15_E_UNSUPPORTED, untouched, {}, 1, false},
};
// clang-format on

TEST(UnVerify, EachOutcome) {
    for (const UnVerifyCase &c : unverify_cases) {
        SCOPED_TRACE(c.name);
        AuthToken token;
        token.remember(c.authId);
        token.remember(no_object);
        token.script(c.script);
        uint32_t cardError = untouched;
        EXPECT_EQ(pkcs15_ScUnVerify(test_card, token.get(), token.object(c.authId), &cardError), c.code);
        EXPECT_EQ(cardError, c.cardError);
        EXPECT_THAT(token.card().take_calls(), ElementsAreArray(c.calls));
        EXPECT_EQ(token.log().take().size(), c.lines);
        EXPECT_EQ(token.remembered().size(), c.forgotten ? 1u : 2u);
    }
}

// ---- what is no PIN or key ------------------------------------------------------------------------------------------

TEST(Change, RefusesWhatIsNoPinOrKey) {
    AuthToken token;
    token.remember(plain_pin);
    const AuthenticationType biometric = {0, token.object(plain_pin)->value};
    asn1_Any octets = {0, nullptr};
    const AuthenticationType external = {2, &octets};
    for (const AuthenticationType *type : {static_cast<const AuthenticationType *>(nullptr), &biometric, &external}) {
        const Lines before = token.remembered();
        token.script({ok});
        EXPECT_EQ(change(token, type, "1234", "5678", 0, nullptr, nullptr), PKCS15_E_INVALID_PARAMETER);
        EXPECT_EQ(pkcs15_ScInitAuthenticationObject(test_card, token.get(), type, octets_of("1234"), 4, nullptr),
                  PKCS15_E_INVALID_PARAMETER);
        EXPECT_THAT(token.log().take(), ElementsAreArray(exceptions(PKCS15_E_INVALID_PARAMETER, 2)));
        EXPECT_EQ(token.remembered(), before);
        // Taking back fails behind the reset, and forgets all the same.
        EXPECT_EQ(pkcs15_ScUnVerify(test_card, token.get(), type, nullptr),
                  type == nullptr ? PKCS15_E_INVALID_PARAMETER : PKCS15_E_FAILED);
        if (type == nullptr)
            continue;
        EXPECT_THAT(token.card().take_calls(), ElementsAre("scardcmd_ResetSecurityStatus 0"));
        EXPECT_THAT(token.log().take(), ElementsAreArray(exceptions(PKCS15_E_FAILED, 1)));
        EXPECT_THAT(token.remembered(), IsEmpty());
    }
}

TEST(Change, WorkersTakePinsOnly) {
    AuthToken token;
    const char *text = "Assertion `\\(pAuthType->tag == P15_TAG_PIN\\)' failed";
    EXPECT_DEATH(pkcs15_ScInitAuthenticationPinObject(test_card, token.get(), token.object(key), nullptr, 0, nullptr),
                 text);
    EXPECT_DEATH(pkcs15_ScSetAuthenticationPinObject(test_card, token.get(), token.object(key), nullptr, 0, nullptr, 0,
                                                     0, nullptr, nullptr),
                 text);
}

}  // namespace
