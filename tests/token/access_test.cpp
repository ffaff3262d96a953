// Access rules: which one is taken, and how its condition is satisfied.
#include "asn1/asn1_x680.h"
#include "token/auth_token.h"
#include "token/pkcs15_scard_verify.h"

namespace {

const CardAnswer ok = {};
const CardAnswer encoded = {0, hex("EE01")};
const CardAnswer wrong = {0xA0116300};
const CardAnswer blocked = {0xE0116983};

// A condition in brief: a digit is an authId, "(...)" an or, "&(...)" an and, "!" a not, "*" nothing.
SecurityCondition *parse(const char *&text) {
    SecurityCondition *condition = asn1_SecurityCondition_new();
    if (*text >= '0' && *text <= '9') {
        condition->tag = 4;
        condition->value = asn1_Identifier_set(static_cast<uint8_t>(*text++ - '0'));
        return condition;
    }
    if (*text == '!') {
        condition->tag = 0;
        condition->value = parse(++text);
        return condition;
    }
    condition->tag = *text == '&' ? 1 : 2;
    text += *text == '&' ? 2 : 1;
    List *members = List_new(4);
    while (*text != ')')
        List_append(members, parse(text), nullptr);
    ++text;
    condition->value = members;
    return condition;
}

using Condition = Owned<SecurityCondition, asn1_SecurityCondition_free>;

Condition condition(const char *text) {
    return Condition(*text != '*' ? parse(text) : nullptr);
}

// ---- choosing ------------------------------------------------------------------------------------------------------

struct Rule {
    Octets accessMode;  // without octets: of no bits
    const char *condition;
};

struct ChoiceCase {
    const char *name;
    bool is_private;
    std::vector<Rule> rules;
    const char *authId;  // of the object; null for none
    Octets wanted;
    const char *verified;  // the authIds whose PINs are presented
};

const ChoiceCase choice_cases[] = {
    {"neither rules nor authId", true, {}, nullptr, {0x80}, ""},
    {"an authId alone", true, {}, "1", {0x80}, "1"},
    {"an authId alone, of access that it does not guard", true, {}, "1", {0x10}, ""},
    {"a public object", false, {{{0x80}, "1"}}, nullptr, {0x80}, ""},
    {"a public object with an authId", false, {}, "1", {0x80}, ""},
    {"rules go before the authId", true, {{{0x80}, "3"}}, "1", {0x80}, "3"},
    {"the fewest kinds win, first", true, {{{0x80}, "1"}, {{0xC0}, "3"}}, nullptr, {0x80}, "1"},
    {"the fewest kinds win, last", true, {{{0xC0}, "1"}, {{0xE0}, "2"}, {{0x80}, "3"}}, nullptr, {0x80}, "3"},
    {"among equals the first", true, {{{0xC0}, "1"}, {{0xA0}, "3"}}, nullptr, {0x80}, "1"},
    {"all wanted kinds count", true, {{{0x80}, "1"}, {{0xE0}, "3"}, {{0x40}, "2"}}, nullptr, {0xC0}, "3"},
    {"no rule speaks of it", true, {{{0x40}, "1"}}, nullptr, {0x80}, ""},
    {"nothing is wanted", true, {{{0xC0}, "1"}, {{0x40}, "3"}}, nullptr, {0x00}, "3"},
    {"nothing at all is wanted", true, {{{0xC0}, "1"}, {{}, "3"}}, nullptr, {}, "3"},
    {"all eight kinds", true, {{{0xFF}, "3"}}, nullptr, {0xFF}, "3"},
    {"only the first octet counts", true, {{{0x00, 0x80}, "1"}, {{0x80, 0xFF}, "3"}}, nullptr, {0x80, 0xFF}, "3"},
};

TEST(Access, ChoosesTheRule) {
    for (const ChoiceCase &c : choice_cases) {
        SCOPED_TRACE(c.name);
        AuthToken token;
        CommonObjectAttributes *attributes = asn1_CommonObjectAttributes_new();
        const Owned<CommonObjectAttributes, asn1_CommonObjectAttributes_free> owner(attributes);
        attributes->flags = asn1_BitString_new(2);
        asn1_BitString_set(attributes->flags, c.is_private ? 0 : 1, 1);
        attributes->authId = c.authId != nullptr ? asn1_Identifier_set(static_cast<uint8_t>(*c.authId - '0')) : nullptr;
        attributes->accessControlRules = c.rules.empty() ? nullptr : List_new(4);
        for (const Rule &r : c.rules) {
            AccessControlRule *rule = asn1_AccessControlRule_new();
            rule->accessMode = asn1_BitString_new(static_cast<uint32_t>(8 * r.accessMode.size()));
            std::copy(r.accessMode.begin(), r.accessMode.end(), rule->accessMode->data);
            rule->securityCondition = condition(r.condition).release();
            List_append(attributes->accessControlRules, rule, nullptr);
        }
        Octets wanted = c.wanted;
        const asn1_BitString access = {static_cast<uint32_t>(8 * wanted.size()), wanted.data()};
        token.remember(plain_pin);
        token.remember(pathless_pin);
        token.script(*c.verified != '\0' ? std::deque<CardAnswer>{encoded, {0, {}, 3}} : std::deque<CardAnswer>{});
        uint8_t retries = 0xAA;
        uint32_t cardError = untouched;
        EXPECT_EQ(pkcs15_ScAuthenticateObject(test_card, token.get(), attributes, &access, P15_VERIFY_NO_PROMPT,
                                              &retries, &cardError),
                  0u);
        std::vector<std::string> calls;
        if (*c.verified != '\0')
            calls = {"scard_FormatPin 31323334 1 4 8 8 null 64",
                     std::string("scardcmd_VerifyPIN ") + c.verified + " EE01 place 0"};
        EXPECT_THAT(token.card().take_calls(), ElementsAreArray(calls));
        EXPECT_EQ(retries, *c.verified != '\0' ? 3 : 0xAA);
        EXPECT_EQ(cardError, *c.verified != '\0' ? 0 : untouched);
        std::vector<std::string> log;
        if (!c.is_private)
            log = {"Warn Authentication information of public object discarded."};
        EXPECT_THAT(token.log().take(), ElementsAreArray(log));
    }
}

// ---- conditions ----------------------------------------------------------------------------------------------------

constexpr uint32_t unsupported = PKCS15_E_UNSUPPORTED;
constexpr uint32_t required = PKCS15_E_PIN_REQUIRED;
constexpr uint32_t quiet = P15_VERIFY_NO_PROMPT;

struct ConditionCase {
    const char *name;
    const char *condition;
    uint32_t flags;
    const char *remembered;  // authIds
    uint32_t dialog;         // the dialog's result
    std::deque<CardAnswer> script;
    uint32_t code;
    const char *tried;  // PIN references that went to the card, in order
    unsigned dialogs;
};

const ConditionCase condition_cases[] = {
    {"none", "*", 0, "", 0, {}, 0, "", 0},
    {"a PIN that is remembered", "1", quiet, "1", 0, {encoded, ok}, 0, "1", 0},
    {"a PIN that is not", "1", quiet, "", 0, {}, required, "", 0},
    {"a PIN that is asked for", "1", 0, "", 0, {encoded, ok}, 0, "1", 1},
    {"an authId that no object has", "0", 0, "", 0, {}, unsupported, "", 0},
    {"and", "&(13)", 0, "13", 0, {}, unsupported, "", 0},
    {"an empty and", "&()", 0, "", 0, {}, unsupported, "", 0},
    {"not", "!1", 0, "1", 0, {}, unsupported, "", 0},
    {"an empty or", "()", 0, "", 0, {}, 0, "", 0},
    {"or, the first", "(13)", quiet, "13", 0, {encoded, ok}, 0, "1", 0},
    {"or, the second, nobody is asked", "(13)", 0, "3", 0, {encoded, ok}, 0, "3", 0},
    {"or, both are asked for", "(13)", 0, "", 0, {encoded, wrong, encoded, ok}, 0, "13", 2},
    {"or, the first is asked for", "(13)", 0, "", 0, {encoded, ok}, 0, "1", 1},
    {"or in silence, one pass, the last failure", "(13)", quiet, "1", 0, {encoded, blocked}, required, "1", 0},
    {"or in silence, one pass, the last failure the other way round",
     "(31)",
     quiet,
     "1",
     0,
     {encoded, blocked},
     PKCS15_E_AUTH_BLOCKED,
     "1",
     0},
    {"or, a stale PIN is forgotten and then asked for", "(1)", 0, "1", 0, {encoded, wrong, encoded, ok}, 0, "11", 1},
    {"or, both dialogs are cancelled", "(13)", 0, "", 0x8010006E, {}, PKCS15_W_CANCELLED_BY_USER, "", 2},
    {"or with an unknown authId", "(01)", 0, "1", 0, {encoded, ok}, 0, "1", 0},
    {"or with an unknown authId last", "(10)", quiet, "", 0, {}, unsupported, "", 0},
    {"or with and", "(&(1)3)", quiet, "3", 0, {encoded, ok}, 0, "3", 0},
    {"or in or", "((1))", 0, "1", 0, {}, unsupported, "", 0},
    {"or in or, another member does", "((1)3)", quiet, "3", 0, {encoded, ok}, 0, "3", 0},
    {"an empty or in or", "(())", quiet, "", 0, {}, 0, "", 0},
};

TEST(Access, SatisfiesConditions) {
    for (const ConditionCase &c : condition_cases) {
        SCOPED_TRACE(c.name);
        AuthToken token;
        for (const char *id = c.remembered; *id != '\0'; ++id)
            token.remember(static_cast<uint8_t>(*id - '0'));
        token.script(c.script);
        token.dialog().result = c.dialog;
        const Condition parsed = condition(c.condition);
        EXPECT_EQ(pkcs15_ScVerifySecurityCondition(test_card, token.get(), parsed.get(), c.flags, 0, nullptr, nullptr),
                  c.code);
        std::string tried;
        for (const std::string &call : token.card().take_calls()) {
            EXPECT_EQ(call.find("scard_Select"), std::string::npos) << "the selected file must stay";
            if (call.starts_with("scardcmd_VerifyPIN "))
                tried += call[sizeof "scardcmd_VerifyPIN " - 1];
        }
        EXPECT_EQ(tried, c.tried);
        EXPECT_EQ(token.dialog().calls, c.dialogs);
    }
}

TEST(Access, DepthIsBounded) {
    AuthToken token;
    const std::pair<int32_t, uint32_t> cases[] = {{-2, unsupported}, {-1, 0}, {0, 0}, {1, 0}, {2, unsupported}};
    for (const auto &[depth, code] : cases)
        EXPECT_EQ(pkcs15_ScVerifySecurityCondition(test_card, token.get(), nullptr, 0, depth, nullptr, nullptr), code);
}

TEST(Access, FailuresLeaveALinePerStep) {
    AuthToken token;
    uint8_t nobody = 0x7F;
    Identifier authId = {1, &nobody};
    uint8_t bit = 0x80;
    asn1_BitString flags = {1, &bit};
    CommonObjectAttributes attributes = {};
    attributes.flags = &flags;
    attributes.authId = &authId;
    EXPECT_EQ(pkcs15_ScAuthenticateObject(test_card, token.get(), &attributes, &flags, 0, nullptr, nullptr),
              unsupported);
    EXPECT_THAT(token.log().take(), ElementsAreArray(exceptions(unsupported, 2)));
    EXPECT_THAT(token.card().take_calls(), IsEmpty());
}

// A condition as a card may deliver it, nested far beyond what is satisfied.
TEST(Access, DeepNestingCostsNoStack) {
    AuthToken token;
    Octets encodedCondition = hex("040101");
    for (int i = 0; i < 3000; ++i)
        encodedCondition = der(0xA2, {encodedCondition});
    SecurityCondition *decoded = nullptr;
    const uint8_t *end = encodedCondition.data() + encodedCondition.size();
    ASSERT_EQ(asn1_SecurityCondition_d(encodedCondition.data(), end, 0, &decoded, 0), end);
    const Condition owner(decoded);
    EXPECT_EQ(pkcs15_ScVerifySecurityCondition(test_card, token.get(), decoded, 0, 0, nullptr, nullptr), unsupported);
}

}  // namespace
