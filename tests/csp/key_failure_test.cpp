// The nth allocation fails, alone and with all that follow: an operation fails or does its work, it never passes a bad
// signature, and leaves nothing behind.
#include <functional>
#include <gtest/gtest.h>

#include "csp/dsa.h"
#include "csp/key_support.h"
#include "csp/rsa.h"
#include "support/alloc_sweep.h"

namespace {

using namespace zelmo_test;

const Octets text = text_octets("text");

struct Scenario {
    const char *name;
    std::function<uint32_t(Bytestring **)> call;
    std::function<bool(const Bytestring *)> good;  ///< Whether what a success gave is good.
    std::vector<uint32_t> failures;
};

bool verifies(int32_t alg, const Bytestring *signature) {
    const DsaTestKey &dsa = dsa_key();
    if (alg >= CSP_SIG_DSS_DIGEST)
        return CSP_verify(nullptr, alg, Value(der_integer(dsa.y)), Value(dsa.parameters_der()), Value(text),
                          signature) == 0;
    return CSP_verify(nullptr, alg, Value(rsa_key(512).public_der), nullptr, Value(text), signature) == 0;
}

Octets signed_text(int32_t alg) {
    Context context;
    const DsaTestKey &dsa = dsa_key();
    Result out;
    if (alg >= CSP_SIG_DSS_DIGEST)
        CSP_DSS_sign(context, alg, Value(dsa.p), Value(dsa.q), Value(dsa.g), Value(dsa.x), Value(text), out.place());
    else
        CSP_RSA_sign(context, alg, Value(rsa_key(512).private_der), Value(text), out.place());
    return out.octets();
}

/// Runs it with the nth allocation failing, for every n up to `most`, until none fails any more.
void sweep(const Scenario &scenario, bool all_after, unsigned most = UINT32_MAX) {
    const testing::ScopedTrace where(__FILE__, __LINE__, scenario.name);
    Bytestring *made = nullptr;
    sweep_allocations(
        all_after, [&] { return scenario.call(&made); },
        [&](uint32_t code, bool failed, unsigned) {
            const OwnedBytestring out(std::exchange(made, nullptr));
            if (code == 0) {
                EXPECT_TRUE(scenario.good(out.get()));
            } else {
                EXPECT_TRUE(failed);
                EXPECT_EQ(out, nullptr);
                EXPECT_NE(std::count(scenario.failures.begin(), scenario.failures.end(), code), 0)
                    << "gives " << std::hex << code;
            }
        },
        most);
}

class KeyFailure : public testing::TestWithParam<bool> {};

TEST_P(KeyFailure, OfAnAllocationInSignatures) {
    Context context;
    const DsaTestKey &dsa = dsa_key();
    const RsaTestKey &rsa = rsa_key(512);
    const Value p(dsa.p), q(dsa.q), g(dsa.g), x(dsa.x), n(rsa.n), e(rsa.e), key(rsa.private_der), plain(text);
    const Value rsa_public(rsa.public_der), dsa_public(der_integer(dsa.y)), parameters(dsa.parameters_der());
    Octets bad_rsa = signed_text(CSP_SIG_RSA_SHA1);
    const Value good_rsa(bad_rsa);
    bad_rsa.back() ^= 1;
    Octets bad_dsa = signed_text(CSP_SIG_DSS_SHA1);
    const Value good_dsa(bad_dsa);
    bad_dsa.back() ^= 1;
    const Value altered_rsa(bad_rsa), altered_dsa(bad_dsa);
    const auto anything = [](const Bytestring *) { return true; };
    const auto signature_by = [](int32_t alg) { return [alg](const Bytestring *made) { return verifies(alg, made); }; };
    const std::vector<uint32_t> verification = {CSP_ERR_MEMORY, CSP_ERR_ENCODING, CSP_ERR_RSA_DECRYPT,
                                                CSP_ERR_BAD_SIGNATURE, CSP_ERR_INTERNAL};
    const std::vector<uint32_t> signing = {CSP_ERR_MEMORY, CSP_ERR_ENCODING, CSP_ERR_RSA_ENCRYPT, CSP_ERR_INTERNAL};
    const Scenario scenarios[] = {
        {"RSA sign", [&](Bytestring **out) { return CSP_RSA_sign(context, CSP_SIG_RSA_SHA1, key, plain, out); },
         signature_by(CSP_SIG_RSA_SHA1), signing},
        {"RSA verify",
         [&](Bytestring **) { return CSP_verify(nullptr, CSP_SIG_RSA_SHA1, rsa_public, nullptr, plain, good_rsa); },
         anything, verification},
        {"RSA encrypt", [&](Bytestring **out) { return CSP_RSA_public_encryption(context, n, e, plain, out); },
         anything, signing},
        {"RSA private",
         [&](Bytestring **out) { return CSP_RSA_raw_private(context, key, good_rsa, out); },
         anything,
         {CSP_ERR_MEMORY, CSP_ERR_ENCODING, CSP_ERR_RSA_DECRYPT}},
        {"DSA sign",
         [&](Bytestring **out) { return CSP_DSS_sign(context, CSP_SIG_DSS_SHA1, p, q, g, x, plain, out); },
         signature_by(CSP_SIG_DSS_SHA1),
         {CSP_ERR_MEMORY, CSP_ERR_INTERNAL}},
        {"DSA verify",
         [&](Bytestring **) { return CSP_verify(nullptr, CSP_SIG_DSS_SHA1, dsa_public, parameters, plain, good_dsa); },
         anything, verification},
        {"DSA keys",
         [&](Bytestring **out) {
             Bytestring *y = nullptr;
             const uint32_t code = CSP_DSS_key_generation(context, p, q, g, &y, out);
             EXPECT_EQ(y == nullptr, code != 0);
             Bytestring_erase(y);
             return code;
         },
         anything,
         {CSP_ERR_MEMORY}},
    };
    for (const Scenario &scenario : scenarios)
        sweep(scenario, GetParam());
    // The same with signatures that are bad: no failure makes one pass.
    const auto never = [](uint32_t code, bool, unsigned) { EXPECT_NE(code, 0u); };
    sweep_allocations(
        GetParam(), [&] { return CSP_verify(nullptr, CSP_SIG_RSA_SHA1, rsa_public, nullptr, plain, altered_rsa); },
        never);
    sweep_allocations(
        GetParam(), [&] { return CSP_verify(nullptr, CSP_SIG_DSS_SHA1, dsa_public, parameters, plain, altered_dsa); },
        never);
}

INSTANTIATE_TEST_SUITE_P(AloneAndWithAllThatFollow, KeyFailure, testing::Bool());

// The prime search looks at no failure and goes on for as long as it fails, so that only single ones are tried.
TEST(KeyFailureOfSearches, GivesASoundKeyOrNone) {
    Context context;
    const Scenario keys = {"RSA keys",
                           [&](Bytestring **out) {
                               Bytestring *modulus = nullptr;
                               Bytestring *exponent = nullptr;
                               const uint32_t code =
                                   CSP_RSA_key_generation(context, 128, 0, 0, &modulus, &exponent, out);
                               EXPECT_EQ(modulus == nullptr, code != 0);
                               EXPECT_EQ(exponent == nullptr, code != 0);
                               Bytestring_free(modulus);
                               Bytestring_free(exponent);
                               return code;
                           },
                           [](const Bytestring *key) { return openssl_accepts(octets_of(key)); },
                           {CSP_ERR_MEMORY}};
    sweep(keys, false, 400);
    const Octets seed = hex("D5014E4B60EF2BA8B6211B4062BA3224E0427DD3");
    const Value seed_value(seed);
    for (unsigned n = 1; n <= 5; ++n) {
        alloc_fault_arm(n, false);
        const OwnedDsaKey made(DSA_params_generation(context, 512, seed_value, nullptr, nullptr));
        alloc_fault_disarm();
        if (made != nullptr) {
            EXPECT_EQ(dsa_is_prime(made->p), 1) << n;
        }
    }
}

}  // namespace
