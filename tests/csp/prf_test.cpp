#include <botan/kdf.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/core_names.h>
#include <openssl/kdf.h>
#include <openssl/params.h>

#include "hash_functions.h"
#include "support/alloc_fault.h"
#include "support/seeded.h"
#include "support/vector_file.h"

using namespace zelmo_test;

namespace {

Octets prf(const Octets &secret, const Octets &label, const Octets &seed, size_t length) {
    // One octet of room more, which must stay as it is, so that there is a place for no octets, too.
    Octets result(length + 1, 0xEE);
    const Bytestring s = view(secret), l = view(label), sd = view(seed);
    Bytestring out = {static_cast<uint32_t>(length), result.data()};
    EXPECT_EQ(CSP_PRF(nullptr, &s, &l, &sd, &out), 0u);
    EXPECT_EQ(result.back(), 0xEE);
    result.pop_back();
    return result;
}

/// OpenSSL's PRF; with a single digest it is the bare expansion by that one.
Octets openssl_prf(const char *digests, Octets secret, Octets seed, size_t length) {
    const std::unique_ptr<EVP_KDF, void (*)(EVP_KDF *)> kdf(EVP_KDF_fetch(nullptr, "TLS1-PRF", nullptr), EVP_KDF_free);
    const std::unique_ptr<EVP_KDF_CTX, void (*)(EVP_KDF_CTX *)> context(EVP_KDF_CTX_new(kdf.get()), EVP_KDF_CTX_free);
    const OSSL_PARAM parameters[] = {
        OSSL_PARAM_construct_utf8_string(OSSL_KDF_PARAM_DIGEST, const_cast<char *>(digests), 0),
        OSSL_PARAM_construct_octet_string(OSSL_KDF_PARAM_SECRET, secret.data(), secret.size()),
        OSSL_PARAM_construct_octet_string(OSSL_KDF_PARAM_SEED, seed.data(), seed.size()), OSSL_PARAM_construct_end()};
    Octets result(length);
    EXPECT_EQ(EVP_KDF_derive(context.get(), result.data(), length, parameters), 1);
    return result;
}

Octets botan_prf(const Octets &secret, const Octets &label, const Octets &seed, size_t length) {
    const auto result = Botan::KDF::create_or_throw("TLS-PRF")->derive_key(length, secret, seed, label);
    return {result.begin(), result.end()};
}

TEST(Prf, PublishedMethodByOpenssl) {
    for_each_vector("prf.txt", [](Vector &v) {
        const Octets out = v.octets("Out");
        EXPECT_EQ(prf(v.octets("Secret"), v.octets("Label"), v.octets("Seed"), out.size()), out);
    });
}

TEST(Prf, SameAsPeers) {
    Seeded seeded;
    for (int round = 0; round < 1000 && !HasFailure(); ++round) {
        const Octets secret = seeded.octets(1 + seeded.below(140)), label = seeded.octets(seeded.below(30)),
                     seed = seeded.octets(1 + seeded.below(70));
        const size_t length = 1 + seeded.below(200);
        const Octets ours = prf(secret, label, seed, length);
        ASSERT_EQ(ours, openssl_prf("MD5-SHA1", secret, label + seed, length)) << secret.size() << ' ' << length;
        ASSERT_EQ(ours, botan_prf(secret, label, seed, length)) << secret.size() << ' ' << length;
        for (const char *name : {"MD5", "SHA1"}) {
            Octets result(hash_function(name).size * size_t{1 + seeded.below(15)});
            const Bytestring s = view(secret), sd = view(seed);
            Bytestring out = view(result);
            ASSERT_EQ(P_hash(nullptr, hash_function(name).alg, &s, &sd, &out), 0u);
            ASSERT_EQ(result, openssl_prf(name, secret, seed, result.size())) << name;
        }
    }
}

TEST(Prf, NoSecretIsAnEmptyOne) {
    const Octets label = {1, 2}, seed = {3};
    Octets result(40);
    const Bytestring l = view(label), s = view(seed);
    Bytestring out = view(result);
    EXPECT_EQ(CSP_PRF(nullptr, nullptr, &l, &s, &out), 0u);
    EXPECT_EQ(result, prf({}, label, seed, 40));
    EXPECT_EQ(result, botan_prf({}, label, seed, 40));
}

TEST(Prf, WithoutAPlaceOrLengthNothingIsDone) {
    const Bytestring empty = {};
    Bytestring no_data = {20, nullptr};
    EXPECT_EQ(CSP_PRF(nullptr, nullptr, nullptr, nullptr, nullptr), 0u);
    EXPECT_EQ(CSP_PRF(nullptr, nullptr, nullptr, nullptr, &no_data), 0u);
    EXPECT_EQ(prf({1, 2}, {3}, {4}, 0), Octets());
    no_data.len = 0;
    EXPECT_EQ(P_hash(nullptr, CSP_ALG_SHA1, &empty, &empty, &no_data), 0u);
    EXPECT_EQ(P_hash(nullptr, CSP_ALG_MD5, &empty, &empty, &no_data), 0u);
}

TEST(Prf, RefusesOtherFunctionsAndPartsOfADigest) {
    Octets room(320, 0xEE);
    const Bytestring empty = {};
    const struct {
        uint32_t alg, length;
    } cases[] = {{CSP_ALG_MD2, 16},  {CSP_ALG_RIPEMD160, 20}, {0, 0},           {513, 16},          {CSP_ALG_SHA1, 30},
                 {CSP_ALG_SHA1, 16}, {CSP_ALG_MD5, 20},       {CSP_ALG_MD5, 1}, {CSP_ALG_SHA1, 319}};
    for (const auto &c : cases) {
        Bytestring out = {c.length, room.data()};
        EXPECT_EQ(P_hash(nullptr, c.alg, &empty, &empty, &out), CSP_ERR_PARAM) << c.alg << ' ' << c.length;
    }
    EXPECT_EQ(room, Octets(320, 0xEE));
}

TEST(Prf, SurvivesShortMemory) {
    const Octets octets(40, 1);
    Octets room(40);
    const Bytestring in = view(octets);
    Bytestring out = view(room);
    for (const bool all_after : {false, true}) {
        uint32_t result = 1;
        for (unsigned n = 1; result != 0; ++n) {
            alloc_fault_arm(n, all_after);
            result = CSP_PRF(nullptr, &in, &in, &in, &out);
            ASSERT_EQ(alloc_fault_disarm(), result != 0) << n;
            EXPECT_THAT(result, testing::AnyOf(0u, CSP_ERR_MEMORY, CSP_ERR_INTERNAL)) << n;
            // Buffers, seed and label; then the three work strings and the first digest.
            EXPECT_TRUE(n > 13 || result == CSP_ERR_MEMORY) << n;
        }
    }
}

}  // namespace
