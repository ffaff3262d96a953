// Digests, MACs and the PRF beside libtomcrypt and OpenSSL, and on NIST's own set.
#include <openssl/core_names.h>
#include <openssl/kdf.h>
#include <openssl/params.h>
#include <tomcrypt.h>

#include "hash_functions.h"
#include "support/alloc_sweep.h"
#include "support/installed_vectors.h"
#include "support/seeded.h"

using namespace zelmo_test;

namespace {

Octets tomcrypt_digest(const ltc_hash_descriptor &hash, const Octets &text) {
    Octets result(hash.hashsize);
    hash_state state;
    EXPECT_EQ(hash.init(&state), CRYPT_OK);
    EXPECT_EQ(hash.process(&state, text.data(), text.size()), CRYPT_OK);
    EXPECT_EQ(hash.done(&state, result.data()), CRYPT_OK);
    return result;
}

Octets tomcrypt_hmac(const ltc_hash_descriptor &hash, const Octets &key, const Octets &text) {
    Octets result(hash.hashsize);
    unsigned long size = result.size();
    EXPECT_EQ(hmac_memory(register_hash(&hash), key.data(), key.size(), text.data(), text.size(), result.data(), &size),
              CRYPT_OK);
    return result;
}

Octets digest_in_pieces(const HashFunction &function, const Octets &text, Seeded &seeded) {
    HashSession *session = started(function.alg);
    for (size_t done = 0; done < text.size();) {
        const size_t count = std::min<size_t>(text.size() - done, seeded.below(150));
        feed(session, part(text, done, count));
        done += count;
    }
    return finished(session, function);
}

TEST(HashPeers, SameDigestsAndMacs) {
    const ltc_hash_descriptor *const theirs[] = {&md2_desc, &md5_desc, &sha1_desc, &rmd160_desc};
    Seeded seeded;
    for (size_t i = 0; i < std::size(hash_functions); ++i)
        for (int round = 0; round < 2000 && !HasFailure(); ++round) {
            const HashFunction &function = hash_functions[i];
            SCOPED_TRACE(function.name);
            // One octet at least: libtomcrypt takes no empty key.
            const Octets text = seeded.runs(1 + seeded.below(round % 8 == 0 ? 3000 : 300));
            const Octets key = seeded.octets(1 + seeded.below(140));
            ASSERT_EQ(digest_in_pieces(function, text, seeded), tomcrypt_digest(*theirs[i], text)) << text.size();
            // For MD2 the blocks are as long as the others', not its own 16 octets.
            const auto digest_of = [&](const Octets &octets) { return tomcrypt_digest(*theirs[i], octets); };
            ASSERT_EQ(hmac(function, key, text), function.alg == CSP_ALG_MD2 ? hmac_by_hand(digest_of, key, text)
                                                                             : tomcrypt_hmac(*theirs[i], key, text))
                << key.size();
        }
}

TEST(HashPeers, MessagesOfNist) {
    for (const char *file : {"hashes/SHA1/SHA1ShortMsg.rsp", "hashes/SHA1/SHA1LongMsg.rsp"})
        for_each_installed(file, "MD", [](const Values &v) {
            const Octets text = part(v.octets("Msg"), 0, std::stoul(v.at("Len")) / 8);
            EXPECT_EQ(digest(hash_function("SHA1"), text), v.octets("MD")) << text.size();
        });
}

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
    // Two zeros are two secrets of one zero each, and keys of a MAC are filled up with zeros.
    EXPECT_EQ(result, openssl_prf("MD5-SHA1", {0, 0}, label + seed, 40));
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
    sweep_allocations(
        [&] { return CSP_PRF(nullptr, &in, &in, &in, &out); },
        [](uint32_t result, bool failed, unsigned n) {
            // Buffers, seed and label; then the three work strings and the first digest.
            EXPECT_TRUE(result == CSP_ERR_MEMORY || (n > 13 && result == CSP_ERR_INTERNAL) || (!failed && result == 0));
            EXPECT_EQ(failed, result != 0);
        });
}

}  // namespace
