// Presenting secrets: traffic, results, retries, log lines, and what is remembered, case by case.
#include <cstring>

#include "asn1/asn1_x680.h"
#include "support/alloc_fault.h"
#include "token/auth_token.h"

namespace {

using Lines = std::vector<std::string>;

constexpr uint32_t sw_wrong = 0xA0116300;
constexpr uint32_t sw_blocked = 0xE0116983;
constexpr uint32_t no_dialog = 0xFFFFFFFF;  // opening one fails the test
constexpr uint32_t cancelled = 0x8010006E;

const CardAnswer ok = {};
const CardAnswer encoded = {0, hex("EE01")};
const CardAnswer refused = {0x80100004};

std::string device_error(uint32_t code) {
    char line[40];
    std::snprintf(line, sizeof line, "Warn Device error 0x%08X.", code);
    return line;
}

Lines operator+(Lines left, const Lines &right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

struct VerifyCase {
    const char *name;
    uint8_t authId;
    const char *value;  ///< Null: not given.
    uint32_t flags;
    Lines before;  ///< authIds for which "1234" is remembered.
    uint32_t dialog;
    std::deque<CardAnswer> script;
    uint32_t code;
    int retries;  ///< -1: untouched.
    uint32_t cardError;
    Lines calls;
    Lines after = {};  ///< What is remembered.
};

// What most cases below send.
Lines pin_calls(const char *octets, const char *sent = "EE01") {
    return {select_plain_pin, std::string("scard_FormatPin ") + octets + " 1 4 8 8 null 64",
            std::string("scardcmd_VerifyPIN 1 ") + sent + " place 0"};
}
const Lines calls_1234 = pin_calls("31323334");
const Lines calls_5678 = pin_calls("35363738");
const Lines calls_9999 = pin_calls("39393939");
const Lines query_calls = {select_plain_pin, "scardcmd_QueryRetryCounter 1 place 0"};
const char *const select_key = "scard_SelectFile null 3F0050154B06 null";
const char *const select_global_key = "scard_SelectFile null 3F0050154B07 null";
const char *const list_keys = "scardcmd_GetData 132 256";

// clang-format off
const VerifyCase verify_cases[] = {
    {"a given PIN", plain_pin, "1234", 0, {}, no_dialog, {ok, encoded, {0, {}, 3}}, 0, 3, 0, calls_1234},
    {"a given PIN to be remembered", plain_pin, "1234", P15_VERIFY_CACHE, {}, no_dialog, {ok, encoded, ok}, 0, 0, 0,
     calls_1234, {"1=1234"}},
    {"a given PIN goes before a remembered one, which stays", plain_pin, "5678", 0, {"1"}, no_dialog, {ok, encoded, ok},
     0, 0, 0, calls_5678, {"1=1234"}},
    {"... or is replaced and moves to the end", plain_pin, "5678", P15_VERIFY_CACHE, {"1", "2"}, no_dialog, {ok,
     encoded, ok}, 0, 0, 0, calls_5678, {"2=1234", "1=5678"}},
    {"a remembered PIN", plain_pin, nullptr, 0, {"1", "2"}, no_dialog, {ok, encoded, ok}, 0, 0, 0, calls_1234,
     {"1=1234", "2=1234"}},
    {"a remembered PIN moves to the end", plain_pin, nullptr, P15_VERIFY_CACHE, {"1", "2"}, no_dialog, {ok, encoded,
     ok}, 0, 0, 0, calls_1234, {"2=1234", "1=1234"}},
    {"an empty value is a value", plain_pin, "", 0, {"1"}, no_dialog, {ok, refused, refused}, PKCS15_E_UNSUPPORTED, 0,
     0x80100004, pin_calls("", ""), {"1=1234"}},
    {"a wrong PIN", plain_pin, "1234", P15_VERIFY_CACHE, {"2"}, no_dialog, {ok, encoded, {sw_wrong, {}, 2}},
     PKCS15_E_VERIFICATION_FAILED, 2, sw_wrong, calls_1234, {"2=1234"}},
    {"a wrong PIN costs a remembered one, whatever that is", plain_pin, "5678", 0, {"1", "2"}, no_dialog, {ok, refused,
     {0xE0116985, {}, 2}}, PKCS15_E_VERIFICATION_FAILED, 2, 0xE0116985, pin_calls("35363738", "35363738"), {"2=1234"}},
    {"a stale remembered PIN", plain_pin, nullptr, P15_VERIFY_CACHE, {"1"}, no_dialog, {ok, encoded, {sw_wrong, {}, 2}},
     PKCS15_E_CREDENTIAL_REJECTED, 2, sw_wrong, calls_1234},
    {"a blocked PIN", plain_pin, nullptr, 0, {"1"}, no_dialog, {ok, encoded, {sw_blocked, {}, 0}},
     PKCS15_E_AUTH_BLOCKED, 0, sw_blocked, calls_1234, {"1=1234"}},
    {"an invalidated PIN", plain_pin, "1234", 0, {"1"}, no_dialog, {ok, encoded, {0xE0116984}},
     PKCS15_E_REFERENCE_DATA_INVALID, 0, 0xE0116984, calls_1234, {"1=1234"}},
    {"access denied", plain_pin, "1234", 0, {"1"}, no_dialog, {ok, encoded, {0xE0116982}}, PKCS15_E_SECURITY_STATUS, 0,
     0xE0116982, calls_1234, {"1=1234"}},
    {"the card is gone before the selection", plain_pin, "1234", 0, {"1"}, no_dialog, {{0x80100069}},
     PKCS15_E_CARD_REMOVED, -1, 0x80100069, {select_plain_pin}, {"1=1234"}},
    {"the reader is gone between selection and PIN", plain_pin, "1234", 0, {"1"}, no_dialog, {ok, encoded,
     {0x80100017}}, PKCS15_E_DEVICE_ERROR, 0, 0x80100017, calls_1234, {"1=1234"}},
    {"a PIN that was never set", new_pin, "1234", 0, {"4"}, no_dialog, {}, PKCS15_E_NOT_INITIALIZED, -1, untouched, {},
     {"4=1234"}},
    {"the PIN's file is selected already", plain_pin, "1234", P15_VERIFY_NO_SELECT, {}, no_dialog, {encoded, ok}, 0, 0,
     0, {calls_1234[1], calls_1234[2]}},
    {"a PIN without path lies in the application", pathless_pin, "1234", 0, {}, no_dialog, {ok, encoded, ok}, 0, 0, 0,
     {select_application, calls_1234[1], "scardcmd_VerifyPIN 3 EE01 place 0"}},
    {"a PIN without reference is number 0", numberless_pin, "1234", 0, {}, no_dialog, {ok, encoded, ok}, 0, 0, 0,
     {select_plain_pin, calls_1234[1], "scardcmd_VerifyPIN 0 EE01 place 0"}},
    {"a local reference", local_pin, "1234", 0, {}, no_dialog, {ok, encoded, ok}, 0, 0, 0,
     {"scard_SelectFile null 3F0050154200 null", calls_1234[1], "scardcmd_VerifyPIN 130 EE01 place 0"}},
    {"a query", plain_pin, "1234", P15_VERIFY_QUERY | P15_VERIFY_CACHE, {"2"}, no_dialog, {ok, {0, {}, 3}}, 0, 3, 0,
     query_calls, {"2=1234"}},
    {"a query leaves the remembered PIN alone", plain_pin, nullptr, P15_VERIFY_QUERY, {"1"}, no_dialog, {ok, {sw_wrong,
     {}, 1}}, PKCS15_E_VERIFICATION_FAILED, 1, sw_wrong, query_calls, {"1=1234"}},
    {"a query of a blocked PIN", plain_pin, nullptr, P15_VERIFY_QUERY, {"1"}, no_dialog, {ok, {sw_blocked, {}, 0}},
     PKCS15_E_AUTH_BLOCKED, 0, sw_blocked, query_calls, {"1=1234"}},
    {"a query of a PIN that was never set", new_pin, nullptr, P15_VERIFY_QUERY, {}, no_dialog, {},
     PKCS15_E_NOT_INITIALIZED, -1, untouched, {}},
    {"a query without reference", numberless_pin, nullptr, P15_VERIFY_QUERY | P15_VERIFY_NO_SELECT, {}, no_dialog, {{0,
     {}, 3}}, 0, 3, 0, {"scardcmd_QueryRetryCounter 0 place 0"}},
    {"nobody may be asked", plain_pin, nullptr, P15_VERIFY_NO_PROMPT, {"2"}, no_dialog, {ok}, PKCS15_E_PIN_REQUIRED, -1,
     0, {select_plain_pin}, {"2=1234"}},
    {"a person is asked", plain_pin, nullptr, P15_VERIFY_CACHE, {"2"}, 0, {ok, encoded, ok}, 0, 0, 0, calls_9999,
     {"2=1234"}},
    {"a person is wrong", plain_pin, nullptr, P15_VERIFY_CACHE, {}, 0, {ok, encoded, {sw_wrong, {}, 1}},
     PKCS15_E_VERIFICATION_FAILED, 1, sw_wrong, calls_9999},
    {"a person cancels", plain_pin, nullptr, P15_VERIFY_CACHE, {}, cancelled, {ok}, PKCS15_W_CANCELLED_BY_USER, -1, 0,
     {select_plain_pin}},
    {"the dialog library is missing", plain_pin, nullptr, 0, {}, 120, {ok}, PKCS15_E_FAILED, -1, 0, {select_plain_pin}},
    {"a key's answer", key, "ok", P15_VERIFY_CACHE, {}, no_dialog, {ok, ok}, 0, 255, 0, {select_key,
     "scardcmd_ExternalAuthenticate 136 6F6B 0"}},
    {"a key's wrong answer", key, "no", 0, {}, no_dialog, {ok, {sw_wrong}}, PKCS15_E_VERIFICATION_FAILED, -1, sw_wrong,
     {select_key, "scardcmd_ExternalAuthenticate 136 6E6F 0"}},
    {"a key that stands authenticated, local bit set", key, nullptr, P15_VERIFY_CACHE, {}, no_dialog, {ok, {0,
     hex("0108")}}, 0, 255, 0, {select_key, list_keys}},
    {"a key that does not", global_key, nullptr, P15_VERIFY_NO_SELECT, {}, no_dialog, {{0, hex("0889")}},
     PKCS15_E_CREDENTIAL_REJECTED, -1, 0, {list_keys}},
    {"a card that lists none", global_key, nullptr, P15_VERIFY_NO_SELECT, {}, no_dialog, {ok},
     PKCS15_E_CREDENTIAL_REJECTED, -1, 0, {list_keys}},
    {"a card that answers rubbish, as much as there is room for", global_key, nullptr, P15_VERIFY_NO_SELECT, {},
     no_dialog, {{0, Octets(300, 0xFF)}}, PKCS15_E_CREDENTIAL_REJECTED, -1, 0, {list_keys}},
    {"a card that does not know the list", global_key, nullptr, P15_VERIFY_NO_SELECT, {}, no_dialog, {{0xE0116A88}},
     PKCS15_E_CREDENTIAL_REJECTED, -1, 0xE0116A88, {list_keys}},
    {"a key whose file is not there", global_key, "x", 0, {}, no_dialog, {{sw_file_not_found}}, PKCS15_E_DEVICE_ERROR,
     -1, sw_file_not_found, {select_global_key}},
    {"a key without a file", pathless_key, "x", 0, {}, no_dialog, {}, PKCS15_E_UNSUPPORTED, -1, untouched, {}},
    {"... of which none is needed", pathless_key, "x", P15_VERIFY_NO_SELECT, {}, no_dialog, {ok}, 0, 255, 0,
     {"scardcmd_ExternalAuthenticate 10 78 0"}},
    {"a key that the card has no number for", numberless_key, "x", 0, {}, no_dialog, {}, PKCS15_E_UNSUPPORTED, -1,
     untouched, {}},
};
// clang-format on

// What a case leaves in the log: a note on a PIN sent as it stands, the card's status where it is mapped, and a line of
// the worker and of the public call.
Lines expected_log(const VerifyCase &c) {
    Lines log;
    for (const CardAnswer &answer : c.script)
        if (answer.code == refused.code && log.empty())
            log = {"Error PIN has invalid format. Continuing anyway."};
    const bool told_only = c.calls == Lines{list_keys};
    if (c.cardError != 0 && c.cardError != untouched && !told_only)
        log.push_back(device_error(c.cardError));
    if (std::string(c.name) == "a stale remembered PIN")
        return log + exceptions(PKCS15_E_VERIFICATION_FAILED, 1) + exceptions(c.code, 1);
    const char *level = c.code == PKCS15_W_CANCELLED_BY_USER ? "Warn" : "Error";
    return c.code != 0 ? log + exceptions(c.code, 2, level) : log;
}

TEST(Verify, EachOutcome) {
    for (const VerifyCase &c : verify_cases) {
        SCOPED_TRACE(c.name);
        AuthToken token;
        for (const std::string &id : c.before)
            token.remember(static_cast<uint8_t>(std::stoi(id)));
        token.script(c.script);
        token.dialog().result = c.dialog;
        std::snprintf(token.dialog().pin, sizeof token.dialog().pin, "9999");
        uint8_t retries = 0xAA;
        uint32_t cardError = untouched;
        const auto length = static_cast<uint32_t>(c.value != nullptr ? std::strlen(c.value) : 0);
        EXPECT_EQ(
            pkcs15_ScVerify(test_card, token.get(), token.object(c.authId),
                            c.value != nullptr ? octets_of(c.value) : nullptr, length, c.flags, &retries, &cardError),
            c.code);
        EXPECT_EQ(retries, c.retries >= 0 ? c.retries : 0xAA);
        EXPECT_EQ(cardError, c.cardError);
        EXPECT_THAT(token.card().take_calls(), ElementsAreArray(c.calls));
        EXPECT_THAT(token.log().take(), ElementsAreArray(expected_log(c)));
        EXPECT_THAT(token.remembered(), ElementsAreArray(c.after));
        EXPECT_EQ(token.dialog().calls, c.dialog == no_dialog ? 0u : 1u);
    }
}

TEST(Verify, RefusesWhatIsNoPinOrKey) {
    AuthToken token;
    PKCS15Object *object = static_cast<PKCS15Object *>(token.object(plain_pin)->value);
    const AuthenticationType biometric = {0, object}, external = {2, nullptr};
    PKCS15Object bare = {};
    const AuthenticationType made = {P15_TAG_PIN, &bare};
    const std::pair<const AuthenticationType *, uint32_t> cases[] = {{nullptr, PKCS15_E_INVALID_PARAMETER},
                                                                     {&biometric, PKCS15_E_INVALID_PARAMETER},
                                                                     {&external, PKCS15_E_INVALID_PARAMETER},
                                                                     {&made, PKCS15_E_UNSUPPORTED}};
    for (const auto &[type, code] : cases) {
        uint32_t cardError = untouched;
        EXPECT_EQ(pkcs15_ScVerify(test_card, token.get(), type, octets_of("1"), 1, 0, nullptr, &cardError), code);
        EXPECT_EQ(cardError, untouched);
        EXPECT_THAT(token.log().take(), ElementsAreArray(exceptions(code, 1)));
    }
    EXPECT_THAT(token.card().take_calls(), IsEmpty());
}

TEST(Verify, APinThatDoesNotFitIsCutTo64Octets) {
    for (const size_t length : {1u, 64u, 65u, 300u}) {
        for (const bool typed : {false, true}) {
            AuthToken token;
            token.script({ok, refused, ok});
            const std::string value(length, '7');
            std::snprintf(token.dialog().pin, sizeof token.dialog().pin, "%s", value.c_str());
            EXPECT_EQ(pkcs15_ScVerify(test_card, token.get(), token.object(plain_pin),
                                      typed ? nullptr : octets_of(value.c_str()),
                                      typed ? 0 : static_cast<uint32_t>(length), P15_VERIFY_CACHE, nullptr, nullptr),
                      0u);
            const std::string sent = to_hex(octets_of(value.c_str()), std::min<size_t>(length, 64));
            EXPECT_EQ(token.card().take_calls().back(), "scardcmd_VerifyPIN 1 " + sent + " null 0");
            const Lines as_given = {"1=" + value};
            EXPECT_THAT(token.remembered(), ElementsAreArray(typed ? Lines{} : as_given));
        }
    }
}

TEST(Verify, MemoryRunsOutWhenTheCardHasAcceptedThePin) {
    unsigned n = 1;
    for (;; ++n) {
        AuthToken token;
        token.remember(plain_pin, "old");
        token.script({ok, encoded, ok});
        AuthenticationType *object = token.object(plain_pin);
        uint32_t cardError = untouched;
        alloc_fault_arm(n, false);
        const uint32_t code = pkcs15_ScVerify(test_card, token.get(), object, octets_of("1234"), 4, P15_VERIFY_CACHE,
                                              nullptr, &cardError);
        const bool struck = alloc_fault_disarm();
        EXPECT_EQ(cardError, 0u);
        if (!struck)
            break;
        EXPECT_EQ(code, PKCS15_E_NO_MEMORY);
        EXPECT_THAT(token.log().take(), ElementsAreArray(exceptions(PKCS15_E_NO_MEMORY, 1)));
        EXPECT_THAT(token.remembered(), IsEmpty());
    }
    EXPECT_GT(n, 3u);
}

struct PromptCase {
    std::optional<std::string> pinLabel;
    std::optional<std::string> tokenLabel;
    std::string prompt;
};

TEST(Verify, LabelsAreArgumentsOfThePromptAndNothingElse) {
    using namespace std::string_literals;
    const PromptCase cases[] = {
        {"PIN", "Sample", "Please enter your PIN for Sample."},
        {{}, {}, "Please enter your  for ."},
        {"%s%n%x", "%d%%", "Please enter your %s%n%x for %d%%."},
        {"a\0b"s, "T", "Please enter your a for T."},
        {"", "", "Please enter your  for ."},
        {"\xFF\xC3", "\x1B[2J", "Please enter your \xFF\xC3 for \x1B[2J."},
        {std::string(255, 'L'), "T", "Please enter your " + std::string(236, 'L')},
        {std::string(300, 'L'), "T", "Please enter your " + std::string(236, 'L')},
    };
    for (const PromptCase &c : cases) {
        AuthToken token;
        auto *object = static_cast<PKCS15Object *>(token.object(plain_pin)->value);
        const auto relabel = [](Label *&label, const std::optional<std::string> &octets) {
            asn1_UTF8String_free(std::exchange(label, nullptr));
            if (octets) {
                label = asn1_UTF8String_new(static_cast<uint32_t>(octets->size()));
                std::copy(octets->begin(), octets->end(), label->data);
            }
        };
        relabel(object->commonObjectAttributes->label, c.pinLabel);
        relabel(token.get()->tokenInfo->label, c.tokenLabel);
        token.script({ok, encoded, ok});
        std::snprintf(token.dialog().pin, sizeof token.dialog().pin, "1");
        EXPECT_EQ(pkcs15_ScVerify(test_card, token.get(), token.object(plain_pin), nullptr, 0, 0, nullptr, nullptr),
                  0u);
        EXPECT_EQ(token.dialog().prompt, c.prompt);
        EXPECT_TRUE(token.dialog().buffer_is_zero);
        EXPECT_EQ(token.dialog().words, 6u);
        EXPECT_THAT(token.dialog().word, ElementsAre(0, 0, 0, 64, 0, 0, 0, 0, 0));
    }
}

}  // namespace
