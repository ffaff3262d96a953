// Every call of the card, and every allocation, fails once in each flow that presents or changes a secret, alone and
// with all later ones. Nothing may crash or leak (the sanitizers watch), no flow may claim a success that it did not
// have, and the context goes on working.
#include <functional>

#include "asn1/asn1_x680.h"
#include "support/alloc_fault.h"
#include "token/auth_token.h"

namespace {

const CardAnswer ok = {};
const CardAnswer encoded = {0, hex("EE01")};

uint32_t verify(AuthToken &token, uint8_t authId, const char *value, uint32_t flags) {
    return pkcs15_ScVerify(test_card, token.get(), token.object(authId), value != nullptr ? octets_of(value) : nullptr,
                           value != nullptr ? 4 : 0, flags, nullptr, nullptr);
}

uint32_t change(AuthToken &token, uint8_t authId) {
    return pkcs15_ScSetAuthenticationObject(test_card, token.get(), token.object(authId), octets_of("1234"), 4,
                                            octets_of("5678"), 4, P15_VERIFY_CACHE, nullptr, nullptr);
}

uint32_t read_certificate(AuthToken &token) {
    uint8_t *data = nullptr;
    uint32_t length = 0;
    const uint32_t code =
        pkcs15_ScReadCertificate(test_card, token.get(), token.certificate(), 0, &data, &length, nullptr);
    EXPECT_EQ(code == 0, data != nullptr);
    pkcs15_FreeData(data);
    return code;
}

// Execution is guarded by either of two PINs, or by the second alone.
uint32_t authenticate(AuthToken &token) {
    const Octets octets = hex("03020780") + der(0x30, {der(0x30, {hex("03020520"), der(0xA2, {hex("040103 040101")})}),
                                                       der(0x30, {hex("03020560 040101")})});
    const Octets whole = der(0x30, {octets});
    CommonObjectAttributes *attributes = nullptr;
    if (asn1_CommonObjectAttributes_d(whole.data(), whole.data() + whole.size(), 0, &attributes, 0) == nullptr)
        return PKCS15_E_NO_MEMORY;
    const Owned<CommonObjectAttributes, asn1_CommonObjectAttributes_free> owner(attributes);
    uint8_t execute = 0x20;
    const asn1_BitString access = {3, &execute};
    return pkcs15_ScAuthenticateObject(test_card, token.get(), attributes, &access, P15_VERIFY_NO_PROMPT, nullptr,
                                       nullptr);
}

struct Flow {
    const char *name;
    std::deque<CardAnswer> script;
    std::function<uint32_t(AuthToken &)> run;
};

const Flow flows[] = {
    {"verify", {ok, encoded, ok}, [](AuthToken &t) { return verify(t, plain_pin, "1234", P15_VERIFY_CACHE); }},
    {"verify what is remembered",
     {ok, encoded, ok},
     [](AuthToken &t) { return verify(t, plain_pin, nullptr, P15_VERIFY_NO_PROMPT | P15_VERIFY_CACHE); }},
    {"verify what is typed",
     {ok, encoded, ok},
     [](AuthToken &t) { return verify(t, pathless_pin, nullptr, P15_VERIFY_CACHE); }},
    {"query", {ok, ok}, [](AuthToken &t) { return verify(t, plain_pin, nullptr, P15_VERIFY_QUERY); }},
    {"authenticate", {ok, ok}, [](AuthToken &t) { return verify(t, key, "1234", P15_VERIFY_CACHE); }},
    {"ask for keys", {ok, {0, hex("08")}}, [](AuthToken &t) { return verify(t, key, nullptr, 0); }},
    {"un-verify",
     {ok, ok},
     [](AuthToken &t) { return pkcs15_ScUnVerify(test_card, t.get(), t.object(global_key), nullptr); }},
    {"set",
     {encoded, ok},
     [](AuthToken &t) {
         return pkcs15_ScInitAuthenticationObject(test_card, t.get(), t.object(pathless_pin), octets_of("5678"), 4,
                                                  nullptr);
     }},
    {"change", {encoded, ok, encoded, ok, ok}, [](AuthToken &t) { return change(t, plain_pin); }},
    {"change a key", {ok, ok, ok}, [](AuthToken &t) { return change(t, global_key); }},
    {"satisfy a rule", {encoded, ok}, authenticate},
    {"read a certificate", {ok, encoded, ok, {0, Octets(5, 0x30)}}, read_certificate},
};

// What may fail without harm: a PIN that cannot be put into its form is judged by the card, the reset of the security
// status is told by the raw status alone.
bool is_harmless(const std::string &call) {
    return call.starts_with("scard_FormatPin 31323334 ") || call.starts_with("scard_FormatPin  ") ||
           call.starts_with("scardcmd_ResetSecurityStatus");
}

void start(AuthToken &token, const Flow &flow) {
    if (token.remembered().empty())
        token.remember(plain_pin);
    token.script(flow.script);
}

void sweep(const Flow &flow, bool calls_fail, const std::function<void(AuthToken &, unsigned)> &arm,
           const std::function<bool(AuthToken &)> &disarm) {
    for (unsigned n = 1;; ++n) {
        SCOPED_TRACE(testing::Message() << flow.name << " fault " << n);
        ASSERT_LT(n, 100u);
        AuthToken token;
        start(token, flow);
        arm(token, n);
        const uint32_t code = flow.run(token);
        const bool struck = disarm(token);
        const std::vector<std::string> calls = token.card().take_calls();
        if (!struck) {
            EXPECT_EQ(code, 0u);
            return;
        }
        EXPECT_TRUE(code != 0 || (calls_fail && is_harmless(calls.at(n - 1)))) << "false success";
        start(token, flow);
        EXPECT_EQ(flow.run(token), 0u) << "the context is spoilt";
    }
}

class AuthSweep : public ::testing::TestWithParam<bool> {};  // whether all later ones fail as well

TEST_P(AuthSweep, NthCardCallFails) {
    for (const Flow &flow : flows)
        for (const uint32_t code : {sw_file_not_found, 0x80100069u, 0xA0116300u, 0xE0116982u, 0xE0116983u})
            sweep(
                flow, true, [&](AuthToken &token, unsigned n) { token.card().fail(n, code, GetParam()); },
                [](AuthToken &token) { return token.card().stop_failing(); });
}

TEST_P(AuthSweep, NthAllocationFails) {
    for (const Flow &flow : flows)
        sweep(
            flow, false, [&](AuthToken &, unsigned n) { alloc_fault_arm(n, GetParam()); },
            [](AuthToken &) { return alloc_fault_disarm(); });
}

INSTANTIATE_TEST_SUITE_P(AloneAndWithAllLater, AuthSweep, ::testing::Bool());

}  // namespace
