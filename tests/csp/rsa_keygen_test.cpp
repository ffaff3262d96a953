// RSA key generation: sound keys of the stated sizes, and its many outputs.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "csp/csp_key.h"
#include "csp/key_support.h"
#include "csp/rsa.h"

namespace {

using namespace key_test;
using testing::ElementsAre;

uint32_t bits_of(const aauint *number) {
    return static_cast<uint32_t>(aa_lb(number) + 1);
}

TEST(RsaKeyGeneration, MakesKeysThatOpenSslHoldsForSound) {
    Context context;
    const struct {
        uint32_t bits;
        Octets exponent;
        uint32_t skew, p_bits, q_bits;
    } rows[] = {
        {512, {3}, 0, 256, 256},
        {512, hex("010001"), 0, 256, 256},
        {512, hex("0000000011"), 1, 256, 256},
        {511, hex("010001"), 0, 256, 255},
        {513, hex("010001"), 0, 257, 256},
        {520, hex("010001"), 0, 260, 260},
        {640, {3}, 64, 352, 256},
        {544, hex("010001"), 33, 288, 240},
        {1024, hex("C000000000000000000000000000000000000000000000000000000000000001"), 0, 512, 512},
    };
    for (const auto &row : rows) {
        Bytestring *exponent = Bytestring_new(static_cast<uint32_t>(row.exponent.size()), row.exponent.data());
        const OwnedBytestring owned(exponent);
        Result modulus;
        Result key;
        ASSERT_EQ(CSP_RSA_key_generation(context, row.bits, 8200, row.skew, modulus.place(), &exponent, key.place()),
                  0u);
        EXPECT_EQ(exponent, owned.get());
        EXPECT_TRUE(openssl_accepts(key.octets())) << row.bits;
        const OwnedRsaKey read(asn1_private_key_to_rsa(Value(key.octets())));
        ASSERT_NE(read, nullptr);
        EXPECT_EQ(read->version, 0u);
        EXPECT_EQ(bits_of(read->p), row.p_bits) << row.bits;
        EXPECT_EQ(bits_of(read->q), row.q_bits) << row.bits;
        EXPECT_EQ(aa_comp(read->p, read->q), -1) << "p is the greater";
        EXPECT_LE(row.p_bits + row.q_bits - bits_of(read->n), 1u);
        if (row.skew == 0 && row.bits % 16 == 0) {
            EXPECT_EQ(bits_of(read->n), row.bits);
        }
        const OwnedBytestring n(csp::octets_of(read->n));
        EXPECT_EQ(modulus.octets(), Octets(n->data, n->data + n->len));
    }
}

TEST(RsaKeyGeneration, HasADefaultExponent) {
    Context context;
    for (const bool wanted : {false, true}) {
        Bytestring *exponent = nullptr;
        Result key;
        ASSERT_EQ(CSP_RSA_key_generation(context, 128, 0, 0, nullptr, wanted ? &exponent : nullptr, key.place()), 0u);
        const OwnedBytestring owned(exponent);
        EXPECT_EQ(exponent != nullptr, wanted);
        if (wanted) {
            EXPECT_EQ(to_hex(exponent->data, exponent->len), "010001");
        }
        EXPECT_TRUE(openssl_accepts(key.octets()));
    }
}

// A number of 9 bits ends at the end of its octets, but is read from their start: 01 FF gives 3, which doubling with
// ones brings to 511, and 521 is the next prime. Of whole octets nothing is lost, but FF lies below the first prime.
TEST(RsaKeyGeneration, ReadsWhatWasDrawnFromItsStart) {
    const ChosenRandom random(hex("01FF FF"));
    const Octets e = hex("010001");
    const OwnedRsaKey key(RSA_key_generation(nullptr, 17, e.data(), 24, 0));
    ASSERT_NE(key, nullptr);
    EXPECT_EQ(key->p[1], 521u);
    EXPECT_EQ(key->q[1], 307u);
    EXPECT_EQ(key->n[1], 521u * 307u);
}

TEST(RsaKeyGeneration, TakesAnotherPrimeForTheSecond) {
    // The same octets again would give the first prime once more.
    const Octets drawn = Octets{0xC1} + Octets(7, 0x5B);
    const Octets other = Octets{0xD1} + Octets(7, 0xA5);
    const ChosenRandom random(drawn + drawn + other);
    const Octets e = hex("010001");
    const OwnedRsaKey key(RSA_key_generation(nullptr, 128, e.data(), 24, 0));
    ASSERT_NE(key, nullptr);
    EXPECT_EQ(random.left(), 0u);
    // The second was the greater one, and has become p.
    EXPECT_EQ(key->p[2] >> 24, 0xD1u);
    EXPECT_EQ(key->q[2] >> 24, 0xC1u);
}

TEST(RsaKeyGeneration, CallsEveryFailureTheSame) {
    Context context;
    const struct {
        const char *what;
        uint32_t bits, limit, skew;
        size_t random, exponent;
        uint32_t code;
    } rows[] = {
        {"too many bits", 8201, 0, 0, 9999, 3, CSP_ERR_PARAM},
        {"too great a limit", 512, 8201, 0, 9999, 3, CSP_ERR_PARAM},
        {"nothing random", 512, 512, 0, 0, 3, CSP_ERR_MEMORY},
        {"random octets for one prime", 512, 512, 0, 32, 3, CSP_ERR_MEMORY},
        {"nothing left for the second prime", 512, 512, 258, 9999, 3, CSP_ERR_MEMORY},
        {"a skew beyond all bounds", 512, 512, UINT32_MAX, 9999, 3, CSP_ERR_MEMORY},
        {"an exponent of 1026 octets", 512, 512, 0, 9999, 1026, CSP_ERR_MEMORY},
    };
    for (const auto &row : rows) {
        const ChosenRandom random(Octets(row.random, 0xDB));
        const OwnedBytestring chosen(Bytestring_clone(Value(Octets(row.exponent, 0x03))));
        for (Bytestring *exponent : {chosen.get(), static_cast<Bytestring *>(nullptr)}) {
            if (exponent == nullptr && row.exponent != 3)
                continue;
            Bytestring *const before = exponent;
            Result modulus;
            Result key;
            EXPECT_EQ(
                CSP_RSA_key_generation(context, row.bits, row.limit, row.skew, modulus.place(), &exponent, key.place()),
                row.code)
                << row.what;
            // The caller's exponent stays the caller's. A limit is tested before anything is cleared.
            EXPECT_EQ(exponent, before);
            EXPECT_EQ(key.is_null(), row.code == CSP_ERR_MEMORY);
            EXPECT_EQ(modulus.is_null(), row.code == CSP_ERR_MEMORY);
        }
    }
}

TEST(RsaKeyGeneration, IsTracedWithoutThePrivateKey) {
    const ChosenRandom random(Octets{0xC1} + Octets(7, 0x5B) + Octets{0xD1} + Octets(7, 0xA5));
    const Trace trace;
    Result modulus;
    Result key;
    Bytestring *exponent = nullptr;
    Trace::take();
    ASSERT_EQ(CSP_RSA_key_generation(nullptr, 128, 0, 0, modulus.place(), &exponent, key.place()), 0u);
    Bytestring_free(exponent);
    EXPECT_THAT(Trace::take(), ElementsAre("32 RSA modulus", "32 =" + to_hex(modulus.octets().data(), 16),
                                           "32 RSA public exponent", "32 =010001"));
}

}  // namespace
