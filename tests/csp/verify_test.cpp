// Signature verification: what passes, what is refused and as what, and what is traced on the way.
#include <gtest/gtest.h>

#include "csp/key_support.h"

namespace {

using namespace zelmo_test;

const Octets text = text_octets("the text");

Octets digest_info(const Octets &algorithm, const Octets &digest) {
    return der(0x30, {der(0x30, {algorithm}), der(0x04, {digest})});
}
const Octets sha1_id = hex("06052B0E03021A");
const Octets md5_id = hex("06082A864886F70D0205");
const Octets ripemd160_id = hex("06052B24030201");
const Octets null_element = hex("0500");
const Octets sha1_null = sha1_id + null_element;

Octets sha1_info() {
    return digest_info(sha1_null, digest_of("SHA1", text));
}

/// The whole block of a 512-bit key with this content.
Octets block_of(const Octets &content) {
    return hex("0001") + Octets(61 - content.size(), 0xFF) + Octets{0} + content;
}

/// Verdict on a block that a key with an exponent of 1 has "signed".
uint32_t judge(int32_t alg, const Octets &block) {
    static const RsaTestKey key = identity_key(512);
    return CSP_verify(nullptr, alg, Value(key.public_der), nullptr, Value(text), Value(block));
}

TEST(Verify, JudgesTheContentOfTheBlock) {
    const Octets sha1 = digest_of("SHA1", text), info = sha1_info();
    Octets wrong = sha1;
    wrong.back() ^= 1;
    const struct {
        const char *what;
        int32_t alg;
        Octets content;
        uint32_t verdict;
    } rows[] = {
        {"as it should be", CSP_SIG_RSA_SHA1, info, 0},
        // These leniencies are meant to be there.
        {"octets behind the DigestInfo", CSP_SIG_RSA_SHA1, info + hex("DEADBEEF"), 0},
        {"padding of eight, all else behind", CSP_SIG_RSA_SHA1, info + Octets(53 - info.size()), 0},
        {"octets behind the digest", CSP_SIG_RSA_SHA1,
         der(0x30, {der(0x30, {sha1_id, null_element}), der(0x04, {sha1}), hex("0500")}), 0},
        {"no parameters", CSP_SIG_RSA_SHA1, digest_info(sha1_id, sha1), 0},
        {"parameters of any kind", CSP_SIG_RSA_SHA1, digest_info(sha1_id + hex("30020500"), sha1), 0},
        {"a long length", CSP_SIG_RSA_SHA1, hex("308121") + Octets(info.begin() + 2, info.end()), 0},

        {"another digest", CSP_SIG_RSA_SHA1, digest_info(sha1_null, wrong), CSP_ERR_BAD_SIGNATURE},
        {"the digest of another length", CSP_SIG_RSA_SHA1, digest_info(md5_id + null_element, digest_of("MD5", text)),
         CSP_ERR_BAD_SIGNATURE},
        {"another name for it", CSP_SIG_RSA_SHA1, digest_info(ripemd160_id + null_element, sha1),
         CSP_ERR_BAD_SIGNATURE},
        {"that under its own name", CSP_SIG_RSA_RIPEMD160, digest_info(ripemd160_id + null_element, sha1),
         CSP_ERR_BAD_SIGNATURE},
        {"an empty digest", CSP_SIG_RSA_SHA1, digest_info(sha1_null, {}), CSP_ERR_BAD_SIGNATURE},
        {"a longer digest", CSP_SIG_RSA_SHA1, digest_info(sha1_null, sha1 + Octets{0}), CSP_ERR_BAD_SIGNATURE},
        {"the bare digest", CSP_SIG_RSA_SHA1, sha1, CSP_ERR_ENCODING},
        {"nothing", CSP_SIG_RSA_SHA1, {}, CSP_ERR_ENCODING},
        {"cut off", CSP_SIG_RSA_SHA1, Octets(info.begin(), info.end() - 1), CSP_ERR_ENCODING},
        {"surplus in the algorithm, taken for the digest", CSP_SIG_RSA_SHA1, digest_info(sha1_null + hex("040100"), {}),
         CSP_ERR_BAD_SIGNATURE},

        {"the last 20 octets", CSP_SIG_SHA1_TAIL, hex("DEADBEEF") + sha1, 0},
        {"nothing but these", CSP_SIG_SHA1_TAIL, sha1, 0},
        {"a whole DigestInfo", CSP_SIG_SHA1_TAIL, info, 0},
        {"one of them wrong", CSP_SIG_SHA1_TAIL, wrong, CSP_ERR_BAD_SIGNATURE},
        {"one behind them", CSP_SIG_SHA1_TAIL, sha1 + Octets{0}, CSP_ERR_BAD_SIGNATURE},
        {"19 of them", CSP_SIG_SHA1_TAIL, Octets(sha1.begin() + 1, sha1.end()), CSP_ERR_BAD_SIGNATURE},
        {"none of them", CSP_SIG_SHA1_TAIL, {}, CSP_ERR_BAD_SIGNATURE},

        {"the text", CSP_SIG_RSA_RAW, text, 0},
        {"more than the text", CSP_SIG_RSA_RAW, text + Octets{0}, CSP_ERR_BAD_SIGNATURE},
        {"its digest", CSP_SIG_RSA_RAW, info, CSP_ERR_BAD_SIGNATURE},
    };
    for (const auto &row : rows)
        EXPECT_EQ(judge(row.alg, block_of(row.content)), row.verdict) << row.what;
}

// Every octet of a good block with every other value in its place: refused, but for the tags that a decoder does not
// insist on, and for an algorithm that claims to reach into the digest, where nothing is skipped.
TEST(Verify, RefusesEveryChangeOfTheBlock) {
    const Octets info = sha1_info(), good = block_of(info);
    const size_t start = good.size() - info.size();
    ASSERT_EQ(judge(CSP_SIG_RSA_SHA1, good), 0u);
    for (size_t i = 0; i < good.size(); ++i) {
        for (unsigned other = 0; other < 256; ++other) {
            Octets block = good;
            block[i] = static_cast<uint8_t>(other);
            const bool primitive_sequence = (i == start || i == start + 2) && other == 0x10;
            const bool parameters_tag = i == start + 4 + sha1_id.size();
            const bool surplus = i == start + 3 && other > info[3] && other <= info.size() - 4;
            const bool passes = block == good || primitive_sequence || parameters_tag || surplus;
            ASSERT_EQ(judge(CSP_SIG_RSA_SHA1, block) == 0, passes) << "octet " << i << " is " << other;
        }
    }
}

TEST(Verify, WantsTheSignatureInFullLength) {
    const Octets good = block_of(sha1_info());
    for (const Octets &block : {Octets(good.begin() + 1, good.end()), Octets{0} + good, Octets(), Octets(64)})
        EXPECT_EQ(judge(CSP_SIG_RSA_SHA1, block), CSP_ERR_RSA_DECRYPT) << block.size();
}

// How numbers are read is told in key_misuse_test.cpp.
TEST(Verify, ReadsKeysOfManyForms) {
    const RsaTestKey key = identity_key(512);
    const Octets n = der_integer(key.n), e = der_integer(key.e), zero = der_integer({});
    const Octets good = block_of(sha1_info());
    const struct {
        const char *what;
        Octets key;
        uint32_t verdict;
    } rows[] = {
        {"octets behind it", key.public_der + hex("00FF"), 0},
        {"no exponent", der(0x30, {n}), CSP_ERR_ENCODING},
        {"empty", {}, CSP_ERR_ENCODING},
        {"a modulus of zero", der(0x30, {zero, e}), CSP_ERR_RSA_DECRYPT},
        {"an exponent of zero", der(0x30, {n, zero}), CSP_ERR_RSA_DECRYPT},
        {"1025 octets of modulus", der(0x30, {der_integer(Octets(1025, 0x7F)), e}), CSP_ERR_RSA_DECRYPT},
        {"1026 octets of modulus", der(0x30, {der_integer(Octets(1026, 0x7F)), e}), CSP_ERR_PARAM},
        {"1026 octets with their leading zero", der(0x30, {der_integer(Octets(1025, 0xFF)), e}), CSP_ERR_RSA_DECRYPT},
        {"1026 octets of exponent", der(0x30, {n, der_integer(Octets(1026, 0x7F))}), CSP_ERR_PARAM},
    };
    for (const auto &row : rows)
        EXPECT_EQ(CSP_verify(nullptr, CSP_SIG_RSA_SHA1, Value(row.key), nullptr, Value(text), Value(good)), row.verdict)
            << row.what;
}

TEST(Verify, KnowsEightIdentifiers) {
    const RsaTestKey key = identity_key(512);
    const Value rubbish(hex("00"));
    for (int32_t alg = -10; alg <= 25; ++alg) {
        const bool rsa = alg == -6 || alg == 1 || alg == 4 || alg == 5 || alg == 6 || alg == 8;
        const bool dss = alg == 17 || alg == 18;
        const Trace trace;
        const uint32_t expected = rsa || dss ? CSP_ERR_ENCODING : CSP_ERR_PARAM;
        EXPECT_EQ(CSP_verify(nullptr, alg, rubbish, rubbish, Value(text), rubbish), expected) << alg;
        EXPECT_EQ(Trace::take().size(), 8u) << alg;
        EXPECT_EQ(CSP_verify(nullptr, alg, rubbish, nullptr, Value(text), rubbish),
                  rsa ? CSP_ERR_ENCODING : CSP_ERR_PARAM)
            << alg;
        if (!rsa) {
            EXPECT_EQ(CSP_RSA_verify(nullptr, alg, Value(key.n), Value(key.e), Value(text), rubbish), CSP_ERR_PARAM);
        }
    }
    EXPECT_EQ(CSP_verify(nullptr, INT32_MIN, rubbish, rubbish, rubbish, rubbish), CSP_ERR_PARAM);
    EXPECT_EQ(CSP_verify(nullptr, INT32_MAX, rubbish, rubbish, rubbish, rubbish), CSP_ERR_PARAM);
}

TEST(Verify, IsTraced) {
    const RsaTestKey key = identity_key(512);
    const Octets block = block_of(text);
    const Trace trace;
    EXPECT_EQ(CSP_verify(nullptr, CSP_SIG_RSA_RAW, Value(key.public_der), Value(hex("AB")), Value(text), Value(block)),
              0u);
    EXPECT_EQ(Trace::take(), (Lines{"32 VERIFY ASN.1 public key", dump(key.public_der), "32 VERIFY ASN.1 parameters",
                                    "32 =AB", "32 VERIFY text", dump(text), "32 VERIFY signature", dump(block),
                                    "32 RSA modulus", dump(key.n), "32 RSA public exponent", "32 =01",
                                    "32 RSA ciphertext", dump(block), "32 RSA plaintext", dump(text)}));
    EXPECT_EQ(CSP_verify(nullptr, 0, Value(hex("01")), nullptr, Value(Octets()), Value(hex("02"))), CSP_ERR_PARAM);
    EXPECT_EQ(Trace::take(), (Lines{"32 VERIFY ASN.1 public key", "32 =01", "32 VERIFY text",
                                    "32 =", "32 VERIFY signature", "32 =02"}));
}

TEST(Rsa, IsTracedWithoutItsPrivateKey) {
    const RsaTestKey key = identity_key(512);
    const Value n(key.n), e(key.e), private_key(key.private_der);
    const Octets block = block_of(text), encrypted = hex("0002") + Octets(53, 0x55) + Octets{0} + text;
    const std::string plain = "32 RSA plaintext", cipher = "32 RSA ciphertext";
    const Trace trace;
    const ChosenRandom random(Octets(53, 0x55));
    const struct {
        decltype(CSP_RSA_raw_public) *operation;
        Octets in, out;
        std::string in_name, out_name;
    } public_rows[] = {{CSP_RSA_public_decryption, block, text, cipher, plain},
                       {CSP_RSA_raw_public, block, block, plain, cipher},
                       {CSP_RSA_public_encryption, text, encrypted, plain, cipher}};
    for (const auto &row : public_rows) {
        Result out;
        EXPECT_EQ(row.operation(nullptr, n, e, Value(row.in), out.place()), 0u);
        EXPECT_EQ(out.octets(), row.out);
        EXPECT_EQ(Trace::take(), (Lines{"32 RSA modulus", dump(key.n), "32 RSA public exponent", "32 =01", row.in_name,
                                        dump(row.in), row.out_name, dump(row.out)}));
    }
    const struct {
        decltype(CSP_RSA_raw_private) *operation;
        Octets in, out;
        std::string in_name, out_name;
    } private_rows[] = {{CSP_RSA_private_encryption, text, block, plain, cipher},
                        {CSP_RSA_private_decryption, encrypted, text, cipher, plain},
                        {CSP_RSA_raw_private, block, block, cipher, plain}};
    for (const auto &row : private_rows) {
        Result out;
        EXPECT_EQ(row.operation(nullptr, private_key, Value(row.in), out.place()), 0u);
        EXPECT_EQ(out.octets(), row.out);
        EXPECT_EQ(Trace::take(), (Lines{row.in_name, dump(row.in), row.out_name, dump(row.out)}));
    }
    const Octets info = sha1_info(), signature = block_of(info);
    Result signed_block, none;
    EXPECT_EQ(CSP_RSA_sign(nullptr, CSP_SIG_RSA_SHA1, private_key, Value(text), signed_block.place()), 0u);
    EXPECT_EQ(Trace::take(), (Lines{"32 RSA tbs", dump(text), "32 HASH digest value", dump(digest_of("SHA1", text)),
                                    plain, dump(info), cipher, dump(signature), "32 RSA signature", dump(signature)}));
    // What fails has been traced so far, and a limit is told at the level of failures.
    EXPECT_EQ(CSP_RSA_private_decryption(nullptr, Value("no key"), Value(text), none.place()), CSP_ERR_ENCODING);
    EXPECT_EQ(Trace::take(), (Lines{cipher, dump(text)}));
    EXPECT_EQ(CSP_RSA_public_decryption(nullptr, Value(Octets(1026)), e, Value(block), none.place()), CSP_ERR_PARAM);
    EXPECT_EQ(Trace::take(), (Lines{"1 Maximal length of 8200 bits exceeded"}));
}

}  // namespace
