// DSA: the published example, both directions beside OpenSSL, and what verification leaves to the arithmetic.
#include "csp/dsa.h"

#include <gtest/gtest.h>

#include "csp/csp_asn1.h"
#include "csp/csp_key.h"
#include "csp/key_support.h"
#include "support/seeded.h"
#include "support/vector_file.h"

namespace {

using namespace zelmo_test;

OwnedNumber number(const Octets &octets) {
    return csp::number_of(Value(octets));
}

Octets octets(const aauint *value) {
    return octets_of(OwnedBytestring(csp::octets_of(value)).get());
}

Octets signature_of(const Octets &r, const Octets &s) {
    return der(0x30, {der_integer(r), der_integer(s)});
}

OwnedDsaKey lower(const DsaTestKey &key) {
    OwnedDsaKey made(DsaKey_new());
    made->p = number(key.p).release();
    made->q = number(key.q).release();
    made->g = number(key.g).release();
    made->x = number(key.x).release();
    made->y = number(key.y).release();
    return made;
}

/// The call with a key's parameters and one of its values, and what it makes.
uint32_t sign(CspContext *ctx, int32_t alg, const DsaTestKey &key, const Octets &text, Result &out) {
    return CSP_DSS_sign(ctx, alg, Value(key.p), Value(key.q), Value(key.g), Value(key.x), Value(text), out.place());
}

uint32_t verify(int32_t alg, const DsaTestKey &key, const Octets &text, const Octets &signature) {
    const uint32_t direct = CSP_DSS_verify(nullptr, alg, Value(key.p), Value(key.q), Value(key.g), Value(key.y),
                                           Value(text), Value(signature));
    EXPECT_EQ(
        CSP_verify(nullptr, alg, Value(der_integer(key.y)), Value(key.parameters_der()), Value(text), Value(signature)),
        direct);
    return direct;
}

TEST(Dsa, WorksThePublishedExample) {
    for_each_vector("dsa.txt", [](Vector &v) {
        const DsaTestKey key = {v.octets("P"), v.octets("Q"), v.octets("G"), v.octets("X"), v.octets("Y")};
        const Octets seed = v.octets("Seed");
        // Of a longer seed the first 20 octets count.
        for (const Octets &longer : {seed, seed + hex("FF")}) {
            uint32_t counter = 0, h = 0;
            const OwnedDsaKey made(DSA_params_generation(nullptr, v.number("Bits"), Value(longer), &counter, &h));
            ASSERT_NE(made, nullptr);
            EXPECT_EQ(octets(made->p), key.p);
            EXPECT_EQ(octets(made->q), key.q);
            EXPECT_EQ(octets(made->g), key.g);
            EXPECT_EQ(counter, v.number("Counter"));
            EXPECT_EQ(h, v.number("H"));
            EXPECT_EQ(DsaKey_get_size(made.get()), 64u);
        }
        const Octets text = v.octets("Text"), signature = signature_of(v.octets("R"), v.octets("S"));
        const Octets k = v.octets("K");
        for (const auto &[alg, signed_text] :
             {std::pair(CSP_SIG_DSS_SHA1, text), std::pair(CSP_SIG_DSS_DIGEST, digest_of("SHA1", text))}) {
            // A k of zero is drawn again.
            const ChosenRandom random(Octets(20) + k);
            Context context;
            Result out;
            ASSERT_EQ(sign(context, alg, key, signed_text, out), 0u);
            EXPECT_EQ(out.octets(), signature);
            EXPECT_EQ(verify(alg, key, signed_text, signature), 0u);
        }
        const OwnedDsaKey left = lower(key);
        const ChosenRandom random(k + key.x);
        aauint r[AA_BUFFER_WORDS], s[AA_BUFFER_WORDS];
        ASSERT_EQ(DSA_sign(nullptr, left.get(), Value(digest_of("SHA1", text)), r, s), 0);
        EXPECT_EQ(octets(left->kinv), v.octets("KInverse"));
        EXPECT_EQ(octets(left->r), v.octets("R"));
        EXPECT_EQ(octets(s), v.octets("S"));
        ASSERT_EQ(DSA_key_generation(nullptr, left.get()), 0);
        EXPECT_EQ(octets(left->x), key.x);
        EXPECT_EQ(octets(left->y), key.y);
    });
}

TEST(Dsa, IsOneForOpenSslAndTheReverse) {
    Seeded random;
    Context context;
    DsaTestKey key = dsa_key();
    Result y, x;
    ASSERT_EQ(CSP_DSS_key_generation(context, Value(key.p), Value(key.q), Value(key.g), y.place(), x.place()), 0u);
    key.x = x.octets();
    key.y = y.octets();
    const PKey openssl = openssl_dsa(key);
    for (int i = 0; i < 40; ++i) {
        const Octets text = random.octets(random.below(100)), digest = digest_of("SHA1", text);
        Result out;
        ASSERT_EQ(sign(context, CSP_SIG_DSS_SHA1, key, text, out), 0u);
        EXPECT_TRUE(openssl_verifies(openssl.get(), digest, out.octets()));
        const Octets theirs = openssl_sign(openssl.get(), digest);
        EXPECT_EQ(verify(CSP_SIG_DSS_SHA1, key, text, theirs), 0u);
        EXPECT_EQ(verify(CSP_SIG_DSS_DIGEST, key, digest, theirs), 0u);
        EXPECT_EQ(verify(CSP_SIG_DSS_SHA1, key, text + Octets{0}, theirs), CSP_ERR_BAD_SIGNATURE);
        EXPECT_EQ(verify(CSP_SIG_DSS_DIGEST, key, random.octets(20), theirs), CSP_ERR_BAD_SIGNATURE);
    }
}

TEST(Dsa, JudgesBySignatureAlone) {
    const DsaTestKey &key = dsa_key();
    const Octets digest = digest_of("SHA1", text_octets("text"));
    const Octets good = [&] {
        Context context;
        Result out;
        EXPECT_EQ(sign(context, CSP_SIG_DSS_DIGEST, key, digest, out), 0u);
        return out.octets();
    }();
    const Value signature(good);
    aauint *halves[2];
    ASSERT_EQ(asn1_to_aa(signature, halves, 2), 0);
    const OwnedNumber r(halves[0]), s(halves[1]), q = number(key.q);
    aauint more[AA_BUFFER_WORDS];
    aa_add(s.get(), q.get(), more);
    const Octets s_more = octets(more), r_octets = octets(r.get()), s_octets = octets(s.get());
    aa_add(r.get(), q.get(), more);
    const Octets r_more = octets(more);
    const struct {
        const char *what;
        Octets signature;
        uint32_t verdict;
    } rows[] = {
        {"as it is", good, 0},
        // Ranges are not tested: what is congruent to a good s is good; r is compared with what was computed.
        {"s + q", signature_of(r_octets, s_more), 0},
        {"r + q", signature_of(r_more, s_octets), CSP_ERR_BAD_SIGNATURE},
        {"r = 0", signature_of({}, s_octets), CSP_ERR_BAD_SIGNATURE},
        {"s = 0", signature_of(r_octets, {}), CSP_ERR_BAD_SIGNATURE},
        {"s = q", signature_of(r_octets, key.q), CSP_ERR_BAD_SIGNATURE},
        {"both zero", signature_of({}, {}), CSP_ERR_BAD_SIGNATURE},
        {"a third number", der(0x30, {der_integer(r_octets), der_integer(s_octets), der_integer({1})}), 0},
        {"octets behind it", good + hex("00"), 0},
        {"1025 octets", signature_of(Octets(1025, 0x7F), s_octets), CSP_ERR_BAD_SIGNATURE},
        {"1026 octets", signature_of(Octets(1026, 0x7F), s_octets), CSP_ERR_ENCODING},
        {"cut off", Octets(good.begin(), good.end() - 1), CSP_ERR_ENCODING},
        {"nothing", {}, CSP_ERR_ENCODING},
    };
    for (const auto &row : rows)
        EXPECT_EQ(verify(CSP_SIG_DSS_DIGEST, key, digest, row.signature), row.verdict) << row.what;
    for (const size_t length : {0u, 19u, 21u})
        EXPECT_EQ(verify(CSP_SIG_DSS_DIGEST, key, Octets(length), good), CSP_ERR_PARAM) << length;
    // Every scheme but the one that hashes takes the text as digest, when it is asked directly.
    EXPECT_EQ(
        CSP_DSS_verify(nullptr, -1, Value(key.p), Value(key.q), Value(key.g), Value(key.y), Value(digest), signature),
        0u);
    // An s without an inverse goes through the arithmetic, with the inverse that is left there.
    const OwnedDsaKey numbers = lower(key);
    EXPECT_EQ(DSA_verify(numbers.get(), Value(digest), r.get(), s.get()), 1);
    EXPECT_EQ(DSA_verify(numbers.get(), Value(digest), r.get(), q.get()), 0);
    EXPECT_EQ(DSA_verify(numbers.get(), Value(Octets(2053)), r.get(), s.get()), -1);
}

TEST(Dsa, ReadsKeysOfManyForms) {
    const DsaTestKey &key = dsa_key();
    const Octets y = der_integer(key.y), p = der_integer(key.p), q = der_integer(key.q), zero = der_integer({});
    const Octets parameters = key.parameters_der(), long_one = der_integer(Octets(1025, 0xFF));
    const struct {
        const char *what;
        Octets y, parameters;
        uint32_t verdict;
    } rows[] = {
        {"good ones", y + hex("00"), parameters + hex("00"), CSP_ERR_BAD_SIGNATURE},
        {"two parameters", y, der(0x30, {p, q}), CSP_ERR_ENCODING},
        {"a value in a SEQUENCE", der(0x30, {y}), parameters, CSP_ERR_ENCODING},
        {"q = 0", y, der(0x30, {p, zero, q}), CSP_ERR_BAD_SIGNATURE},
        {"p = 0", y, der(0x30, {zero, q, q}), CSP_ERR_BAD_SIGNATURE},
        {"g = 0", y, der(0x30, {p, q, zero}), CSP_ERR_BAD_SIGNATURE},
        {"y = 0", zero, parameters, CSP_ERR_BAD_SIGNATURE},
        {"a value of 1026 octets", der_integer(Octets(1026, 0x7F)), parameters, CSP_ERR_BAD_SIGNATURE},
        {"q of 1026 octets", y, der(0x30, {p, der_integer(Octets(1026, 0x7F)), p}), CSP_ERR_BAD_SIGNATURE},
        {"all of 1025 octets", long_one, der(0x30, {long_one, long_one, long_one}), CSP_ERR_BAD_SIGNATURE},
    };
    const Value signature(signature_of({1}, {1}));
    for (const auto &row : rows)
        EXPECT_EQ(CSP_verify(nullptr, CSP_SIG_DSS_SHA1, Value(row.y), Value(row.parameters), Value("text"), signature),
                  row.verdict)
            << row.what;
}

// Unlike in verification, a digest to be signed may have any length; it is not cut to 20 octets.
TEST(Dsa, SignsDigestsOfAnyLength) {
    Context context;
    const DsaTestKey &key = dsa_key();
    for (const size_t length : {0u, 1u, 19u, 21u, 64u, 1000u, 2000u}) {
        const Octets digest = Seeded(length).octets(length);
        Result out;
        ASSERT_EQ(sign(context, CSP_SIG_DSS_DIGEST, key, digest, out), 0u) << length;
        aauint *halves[2];
        ASSERT_EQ(asn1_to_aa(Value(out.octets()), halves, 2), 0);
        const OwnedNumber r(halves[0]), s(halves[1]);
        EXPECT_EQ(DSA_verify(lower(key).get(), Value(digest), r.get(), s.get()), 1) << length;
    }
    Result none;
    EXPECT_EQ(sign(context, CSP_SIG_DSS_DIGEST, key, Octets(2053), none), CSP_ERR_MEMORY);
    EXPECT_TRUE(none.is_null());
}

// A private value that is not below q loses q, once; one that is then zero is drawn again.
TEST(Dsa, DrawsPrivateValuesBelowQ) {
    const DsaTestKey &key = dsa_key();
    Octets above = key.q;
    above.back() = static_cast<uint8_t>(above.back() + 5);
    const ChosenRandom random(key.q + Octets(20) + above);
    Result y, x;
    ASSERT_EQ(CSP_DSS_key_generation(nullptr, Value(key.p), Value(key.q), Value(key.g), y.place(), x.place()), 0u);
    EXPECT_EQ(x.octets(), Octets{5});
    EXPECT_EQ(random.left(), 0u);
}

// Every failure has one name, the one of the random generator too.
TEST(Dsa, CallsEveryFailureTheSame) {
    const DsaTestKey &key = dsa_key();
    Context context;
    DsaTestKey without_q = key;
    without_q.q = {};
    DsaTestKey without_p = key;
    without_p.p = {};
    for (const DsaTestKey &bad : {key, without_q, without_p}) {
        const ChosenRandom some(bad.q == key.q && bad.p == key.p ? Octets() : Octets(200, 0x11));
        Result y, x;
        EXPECT_EQ(CSP_DSS_key_generation(context, Value(bad.p), Value(bad.q), Value(bad.g), y.place(), x.place()),
                  CSP_ERR_MEMORY);
        EXPECT_TRUE(y.is_null() && x.is_null());
        Result out;
        EXPECT_EQ(sign(context, CSP_SIG_DSS_SHA1, bad, text_octets("text"), out), CSP_ERR_MEMORY);
        EXPECT_TRUE(out.is_null());
        const OwnedDsaKey numbers = lower(bad);
        EXPECT_EQ(DSA_key_generation(nullptr, numbers.get()), -1);
        EXPECT_EQ(numbers->x, nullptr);
        EXPECT_EQ(numbers->y, nullptr);
    }
    const ChosenRandom nothing({});
    EXPECT_EQ(DSA_params_generation(nullptr, 512, Value(Octets(19)), nullptr, nullptr), nullptr);
    EXPECT_EQ(DSA_params_generation(nullptr, 16385, Value(Octets(20)), nullptr, nullptr), nullptr);
    EXPECT_EQ(DSA_params_generation(nullptr, UINT32_MAX, Value(Octets(20)), nullptr, nullptr), nullptr);
    Bytestring *p = nullptr, *q = nullptr, *g = nullptr;
    EXPECT_EQ(CSP_DSS_params_generation(context, 512, &p, &q, &g), CSP_ERR_MEMORY);
    EXPECT_TRUE(p == nullptr && q == nullptr && g == nullptr);
}

TEST(DsaParameters, HaveTheirSizes) {
    Context context;
    const struct { uint32_t bits, p_bits; } rows[] = {{0, 512}, {511, 512}, {512, 512}, {513, 576}};
    for (const auto &[bits, p_bits] : rows) {
        Bytestring *made[3] = {};
        ASSERT_EQ(CSP_DSS_params_generation(context, bits, &made[0], &made[1], &made[2]), 0u);
        const OwnedBytestring p(made[0]), q(made[1]), g(made[2]);
        EXPECT_EQ(p->len, p_bits / 8);
        EXPECT_GE(p->data[0], 0x80);
        EXPECT_EQ(q->len, 20u);
        EXPECT_GE(q->data[0], 0x80);
        const OwnedNumber p_number = csp::number_of(p.get()), q_number = csp::number_of(q.get()),
                          g_number = csp::number_of(g.get());
        aauint rest[AA_BUFFER_WORDS];
        ASSERT_EQ(aa_mexp(g_number.get(), q_number.get(), rest, p_number.get()), 0);
        EXPECT_EQ(aa_comp(rest, AA_ONE), 0);
        EXPECT_EQ(dsa_is_prime(p_number.get()), 1);
        EXPECT_EQ(dsa_is_prime(q_number.get()), 1);
    }
    // A seed that gives no prime q is followed by a fresh one, not by a failure.
    uint32_t counter = 5000;
    const OwnedDsaKey key(DSA_params_generation(context, 512, Value(Octets(20)), &counter, nullptr));
    EXPECT_NE(key, nullptr);
    EXPECT_LT(counter, 4096u);
}

TEST(DsaParameters, ArePrimesAbove293) {
    for (const auto &[value, prime] : {std::pair(0u, 0),
                                       {1u, 0},
                                       {2u, 1},
                                       {3u, 0},
                                       {293u, 0},
                                       {307u, 1},
                                       {308u, 0},
                                       {311u, 1},
                                       {94249u, 0},
                                       {65537u, 1}}) {
        aauint as_number[2];
        aa_long2aauint(value, as_number);
        EXPECT_EQ(dsa_is_prime(as_number), prime) << value;
    }
}

TEST(Dsa, IsTraced) {
    const DsaTestKey &key = dsa_key();
    const Octets text = text_octets("abc"), digest = digest_of("SHA1", text);
    const Value p(key.p), q(key.q), g(key.g);
    // From its seed the published parameters come out.
    const ChosenRandom random(Octets(20, 0x11) + key.x + hex("D5014E4B60EF2BA8B6211B4062BA3224E0427DD3"));
    Context context;
    const Trace trace;
    Result out, y, x, made[3];
    const auto traced = [&](const std::string &title, const Lines &rest) {
        Lines expected = {title, dump(key.p), dump(key.q), dump(key.g)};
        expected.insert(expected.end(), rest.begin(), rest.end());
        EXPECT_EQ(Trace::take(), expected);
    };
    ASSERT_EQ(sign(context, CSP_SIG_DSS_SHA1, key, text, out), 0u);
    traced("32 DSS (p, q, g)", {"32 DSS tbs", dump(text), "32 HASH digest value", dump(digest), "32 DSS hash",
                                dump(digest), "32 DSS signature", dump(out.octets())});
    ASSERT_EQ(CSP_DSS_verify(nullptr, CSP_SIG_DSS_DIGEST, p, q, g, Value(key.y), Value(digest), Value(out.octets())),
              0u);
    traced("32 DSS parameters (p, q, g)",
           {"32 DSS public key", dump(key.y), "32 DSS text", dump(digest), "32 DSS signature", dump(out.octets())});
    ASSERT_EQ(CSP_DSS_key_generation(context, p, q, g, y.place(), x.place()), 0u);
    traced("32 DSS parameters (p, q, g)", {"32 DSS public key", dump(y.octets())});
    ASSERT_EQ(CSP_DSS_params_generation(context, 512, made[0].place(), made[1].place(), made[2].place()), 0u);
    traced("32 DSS parameters (p, q, g)", {});
}

}  // namespace
