// Taking back what has been proven: traffic, results, and what is forgotten.
#include "token/auth_token.h"

namespace {

using Lines = std::vector<std::string>;

const CardAnswer ok = {};

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

TEST(UnVerify, OtherAlternativesFailBehindTheReset) {
    AuthToken token;
    token.remember(plain_pin);
    const AuthenticationType biometric = {0, token.object(plain_pin)->value};
    asn1_Any octets = {0, nullptr};
    const AuthenticationType external = {2, &octets};
    token.script({ok, ok});
    for (const AuthenticationType *type : {&biometric, &external}) {
        EXPECT_EQ(pkcs15_ScUnVerify(test_card, token.get(), type, nullptr), PKCS15_E_FAILED);
        EXPECT_THAT(token.card().take_calls(), ElementsAre("scardcmd_ResetSecurityStatus 0"));
        EXPECT_THAT(token.log().take(), ElementsAreArray(exceptions(PKCS15_E_FAILED, 1)));
        EXPECT_THAT(token.remembered(), IsEmpty());
    }
    EXPECT_EQ(pkcs15_ScUnVerify(test_card, token.get(), nullptr, nullptr), PKCS15_E_INVALID_PARAMETER);
}

}  // namespace
