// RSA: blocks, both directions beside OpenSSL, the forms of a private key, and keys that are made: sound, of the stated
// sizes, with their many outputs.
#include "csp/rsa.h"

#include <gtest/gtest.h>

#include "csp/csp_key.h"
#include "csp/key_support.h"
#include "support/seeded.h"

namespace {

using namespace zelmo_test;

const struct {
    int32_t alg;
    const char *md;
    const char *prefix;  ///< Of the DigestInfo (RFC 8017, section 9.2, notes; for RIPEMD-160 as in ISO/IEC 10118-3).
} schemes[] = {
    {CSP_SIG_RSA_RAW, "", ""},
    {CSP_SIG_RSA_MD2, "MD2", "3020300c06082a864886f70d020205000410"},
    {CSP_SIG_RSA_MD5, "MD5", "3020300c06082a864886f70d020505000410"},
    {CSP_SIG_RSA_SHA1, "SHA1", "3021300906052b0e03021a05000414"},
    {CSP_SIG_RSA_RIPEMD160, "RIPEMD160", "3021300906052b2403020105000414"},
};

TEST(RsaSignature, IsOneForOpenSslAndTheReverse) {
    Seeded random;
    for (const RsaTestKey &key : rsa_keys()) {
        const PKey openssl = openssl_private(key.private_der);
        for (const auto &scheme : schemes) {
            const bool raw = scheme.alg == CSP_SIG_RSA_RAW;
            const Octets text = random.octets(random.below(raw ? 50 : 300));
            Result signature;
            ASSERT_EQ(CSP_RSA_sign(nullptr, scheme.alg, Value(key.private_der), Value(text), signature.place()), 0u);
            const Octets theirs =
                openssl_sign(openssl.get(), raw ? text : hex(scheme.prefix) + digest_of(scheme.md, text));
            // The padding leaves no choice, so both are even the same.
            EXPECT_EQ(signature.octets(), theirs) << key.bits << " " << scheme.alg;
            const Value n(key.n), e(key.e), spki(key.public_der), given(theirs);
            EXPECT_EQ(CSP_verify(nullptr, scheme.alg, spki, nullptr, Value(text), given), 0u);
            EXPECT_EQ(CSP_RSA_verify(nullptr, scheme.alg, n, e, Value(text), given), 0u);
            EXPECT_NE(CSP_verify(nullptr, scheme.alg, spki, nullptr, Value(text + Octets{0}), given), 0u);
        }
    }
}

TEST(RsaEncryption, IsReadByOpenSslAndTheReverse) {
    Seeded random;
    Context context;
    for (const RsaTestKey &key : rsa_keys()) {
        if (key.bits > 2048)
            continue;
        const PKey openssl = openssl_private(key.private_der);
        for (const size_t length : {size_t{0}, size_t{1}, (key.bits + 7) / 8 - size_t{11}}) {
            const Octets plain = random.octets(length);
            Result cipher;
            ASSERT_EQ(CSP_RSA_public_encryption(context, Value(key.n), Value(key.e), Value(plain), cipher.place()), 0u);
            EXPECT_EQ(openssl_decrypt(openssl.get(), cipher.octets()), plain);
            Result read;
            ASSERT_EQ(CSP_RSA_private_decryption(nullptr, Value(key.private_der),
                                                 Value(openssl_encrypt(openssl.get(), plain)), read.place()),
                      0u);
            EXPECT_EQ(read.octets(), plain);
        }
    }
}

TEST(RsaRaw, IsTheBarePower) {
    Seeded random;
    const RsaTestKey &key = rsa_key(1023);
    for (const size_t length : {0u, 1u, 127u, 128u}) {
        Octets number = random.octets(length);
        if (length == 128)
            number[0] = 0;
        Result cipher;
        ASSERT_EQ(CSP_RSA_raw_public(nullptr, Value(key.n), Value(key.e), Value(number), cipher.place()), 0u);
        EXPECT_EQ(cipher.octets().size(), 128u);
        Result plain;
        ASSERT_EQ(CSP_RSA_raw_private(nullptr, Value(key.private_der), Value(cipher.octets()), plain.place()), 0u);
        EXPECT_EQ(plain.octets(), Octets(128 - length) + number) << length;
    }
    // What is not below the modulus is reduced; what is longer is refused.
    const RsaTestKey one = identity_key(512);
    Result zero;
    EXPECT_EQ(CSP_RSA_raw_public(nullptr, Value(one.n), Value(one.e), Value(one.n), zero.place()), 0u);
    EXPECT_EQ(zero.octets(), Octets(64));
    Result none;
    EXPECT_EQ(CSP_RSA_raw_public(nullptr, Value(one.n), Value(one.e), Value(Octets(65)), none.place()),
              CSP_ERR_RSA_ENCRYPT);
    EXPECT_EQ(CSP_RSA_raw_private(nullptr, Value(one.private_der), Value(Octets(65)), none.place()),
              CSP_ERR_RSA_DECRYPT);
    EXPECT_TRUE(none.is_null());
}

// ---- blocks, seen through exponents of 1 ---------------------------------------------------------------------------

OwnedRsaKey identity() {
    return OwnedRsaKey(asn1_private_key_to_rsa(Value(identity_key(512).private_der)));
}

TEST(RsaBlock, TakesAtLeastEightOctetsOfPadding) {
    const OwnedRsaKey key = identity();
    ASSERT_EQ(RsaKey_get_size(key.get()), 64u);
    const Octets data(53, 0xDA);
    Octets room(64);
    Bytestring out = {64, room.data()};
    EXPECT_EQ(RSA_private_encrypt(key.get(), Value(data), &out), 64);
    EXPECT_EQ(room, hex("0001") + Octets(8, 0xFF) + Octets{0} + data);
    EXPECT_EQ(RSA_private_encrypt(key.get(), Value(data + Octets{1}), &out), -1);
    EXPECT_EQ(RSA_private_encrypt(key.get(), Value(Octets()), &out), 64);
    EXPECT_EQ(room, hex("0001") + Octets(61, 0xFF) + Octets{0});
    // A zero in random padding is drawn again, as often as it takes.
    {
        const ChosenRandom random(hex("01 02 00 04 00 06 07 08  00 00 AA BB CC"));
        EXPECT_EQ(RSA_public_encrypt(nullptr, key.get(), Value(data), &out), 64);
        EXPECT_EQ(room, hex("0002 0102AA04BB060708 00") + data);
        EXPECT_EQ(random.left(), 1u);
        EXPECT_EQ(RSA_public_encrypt(nullptr, key.get(), Value(data + Octets{1}), &out), -1);
    }
    for (const char *too_few : {"01020304050607", "0102030405060700"}) {
        const ChosenRandom random(hex(too_few));
        EXPECT_EQ(RSA_public_encrypt(nullptr, key.get(), Value(data), &out), -1);
    }
}

TEST(RsaBlock, IsTestedOctetByOctet) {
    const OwnedRsaKey key = identity();
    const struct {
        Octets head;
        int32_t type1, type2;  ///< What either operation gives for the head with D1 up to the block's end.
    } rows[] = {
        {hex("0001 FFFFFFFFFFFFFFFF 00"), 53, -1},
        {hex("0001 FFFFFFFFFFFFFF 00"), -1, -1},
        {hex("0001 FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFF 00"), 45, -1},
        {hex("0001 FFFFFFFFFFFFFFFF FE 00"), -1, -1},
        {hex("0001 FFFFFFFE FFFFFFFFFF 00"), -1, -1},
        {hex("0001 FFFFFFFFFFFFFFFF"), -1, -1},
        {hex("0001 00"), -1, -1},
        {hex("0101 FFFFFFFFFFFFFFFF 00"), -1, -1},
        {hex("0000 FFFFFFFFFFFFFFFF 00"), -1, -1},
        {hex("0002 FFFFFFFFFFFFFFFF 00"), -1, 53},
        {hex("0002 0102030405060708 00"), -1, 53},
        {hex("0002 01020304050607 00"), -1, -1},
        {hex("0002 00"), -1, -1},
        {hex("0002 0102030405060708"), -1, -1},
        {hex("0202 0102030405060708 00"), -1, -1},
        {hex("0001") + Octets(62, 0xFF), -1, -1},
        {hex("0001") + Octets(61, 0xFF) + Octets{0}, 0, -1},
        {hex("0002") + Octets(62, 0x55), -1, -1},
        {hex("0002") + Octets(61, 0x55) + Octets{0}, -1, 0},
    };
    for (const auto &[head, type1, type2] : rows) {
        const Octets block = head + Octets(64 - head.size(), 0xD1);
        Octets room(64);
        Bytestring out = {64, room.data()};
        EXPECT_EQ(RSA_public_decrypt(key.get(), Value(block), &out), type1) << to_hex(head.data(), head.size());
        if (type1 >= 0) {
            EXPECT_EQ(Octets(room.begin(), room.begin() + type1), Octets(static_cast<size_t>(type1), 0xD1));
        }
        EXPECT_EQ(RSA_private_decrypt(key.get(), Value(block), &out), type2) << to_hex(head.data(), head.size());
        // Leading zeros belong to it.
        EXPECT_EQ(RSA_public_decrypt(key.get(), Value(Octets(block.begin() + 1, block.end())), &out), -1);
        EXPECT_EQ(RSA_private_decrypt(key.get(), Value(Octets{0} + block), &out), -1);
    }
}

// A modulus of so few octets has room for no block, and none of them is read beyond its end.
TEST(RsaBlock, MayBeTooSmallForAnything) {
    for (size_t size = 0; size <= 11; ++size) {
        const RsaTestKey key = identity_key(static_cast<uint32_t>(8 * size));
        const Octets block = Octets(size < 2 ? size : 2, 1) + Octets(size < 2 ? 0 : size - 2, 0xFF);
        Result out;
        EXPECT_EQ(CSP_RSA_public_decryption(nullptr, Value(key.n), Value(key.e), Value(block), out.place()),
                  CSP_ERR_RSA_DECRYPT);
        EXPECT_EQ(
            CSP_RSA_private_encryption(nullptr, Value(key.private_der), Value(Octets(size != 11 ? 0 : 1)), out.place()),
            CSP_ERR_RSA_ENCRYPT)
            << size;
        EXPECT_TRUE(out.is_null());
    }
}

// ---- keys ----------------------------------------------------------------------------------------------------------

TEST(RsaKeys, LoseTheirCrtFormWithoutAWord) {
    const RsaTestKey &key = rsa_key(512);
    const Octets text = text_octets("text");
    Result with_all;
    ASSERT_EQ(CSP_RSA_sign(nullptr, CSP_SIG_RSA_SHA1, Value(key.private_der), Value(text), with_all.place()), 0u);
    for (size_t absent = 0; absent <= 5; ++absent) {
        Octets members[] = {key.p, key.q, key.dmp1, key.dmq1, key.iqmp};
        Octets d = key.d;
        if (absent < 5)
            members[absent] = {};
        else
            d = {1};  // With all five there, d is not even used.
        const Octets der_key = der(
            0x30, {der_integer({7}), der_integer(key.n), der_integer(key.e), der_integer(d), der_integer(members[0]),
                   der_integer(members[1]), der_integer(members[2]), der_integer(members[3]), der_integer(members[4])});
        Result signature;
        ASSERT_EQ(CSP_RSA_sign(nullptr, CSP_SIG_RSA_SHA1, Value(der_key), Value(text), signature.place()), 0u);
        EXPECT_EQ(signature.octets(), with_all.octets()) << absent;
        const OwnedRsaKey read(asn1_private_key_to_rsa(Value(der_key)));
        EXPECT_EQ(read->version, 7u);
    }
}

TEST(RsaKeys, HaveASizeThatIgnoresLeadingZeros) {
    const RsaTestKey &key = rsa_key(1024);
    const Octets text = text_octets("text");
    Result signature;
    ASSERT_EQ(CSP_RSA_sign(nullptr, CSP_SIG_RSA_MD5, Value(key.private_der), Value(text), signature.place()), 0u);
    EXPECT_EQ(signature.octets().size(), 128u);
    EXPECT_EQ(CSP_RSA_verify(nullptr, CSP_SIG_RSA_MD5, Value(Octets(800) + key.n), Value(Octets(5) + key.e),
                             Value(text), Value(signature.octets())),
              0u);
}

// Garner's form takes p and q in either order, and of very different sizes.
TEST(RsaKeys, MayHaveTheirPrimesTheOtherWayRound) {
    Context context;
    const Octets e = {3};
    const OwnedRsaKey key(RSA_key_generation(context, 640, e.data(), 8, 128));
    ASSERT_NE(key, nullptr);
    const uint32_t size = RsaKey_get_size(key.get());
    const Value input(Seeded(1).octets(size));
    const auto power = [&] {
        Octets room(size);
        Bytestring out = {size, room.data()};
        EXPECT_EQ(RSA_raw_private(nullptr, key.get(), input, &out), static_cast<int32_t>(size));
        return room;
    };
    const Octets plain = power();
    std::swap(key->p, key->q);
    std::swap(key->dmp1, key->dmq1);
    aauint gcd[AA_BUFFER_WORDS];
    aauint inverse[AA_BUFFER_WORDS];
    ASSERT_EQ(aa_gcd2(key->q, key->p, gcd, inverse), 0);
    aa_free(std::exchange(key->iqmp, csp::copy_of(inverse).release()));
    EXPECT_EQ(power(), plain);
}

// ---- key generation ------------------------------------------------------------------------------------------------

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
        Result modulus, key;
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
        EXPECT_EQ(modulus.octets(), octets_of(OwnedBytestring(csp::octets_of(read->n)).get()));
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
    const Octets drawn = Octets{0xC1} + Octets(7, 0x5B), other = Octets{0xD1} + Octets(7, 0xA5);
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
            Result modulus, key;
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
    Result modulus, key;
    Bytestring *exponent = nullptr;
    Trace::take();
    ASSERT_EQ(CSP_RSA_key_generation(nullptr, 128, 0, 0, modulus.place(), &exponent, key.place()), 0u);
    Bytestring_free(exponent);
    EXPECT_EQ(Trace::take(), (Lines{"32 RSA modulus", "32 =" + to_hex(modulus.octets().data(), 16),
                                    "32 RSA public exponent", "32 =010001"}));
}

}  // namespace
