// What must not be null, and the numbers between DER and arithmetic.
#include <gtest/gtest.h>

#include "csp/csp_asn1.h"
#include "csp/csp_key.h"
#include "csp/key_support.h"
#include "csp/rsa.h"

namespace {

using namespace zelmo_test;

TEST(Misuse, NullIsAWrongArgument) {
    const Value value("value");
    const Bytestring *const some = value;
    const Bytestring *const none = nullptr;
    Bytestring *place = nullptr;
    Bytestring **const out = &place;
    CspContext context = {};
    CspContext *const ctx = &context;
    // Calls with each of the arguments null in turn: `a` gives the ones that are read, `to` the places of results.
    size_t absent = 0;
    const auto a = [&](size_t i) { return i == absent ? none : some; };
    const auto to = [&](size_t i) { return i == absent ? nullptr : out; };
    const auto each = [&](const char *what, size_t count, auto call) {
        for (absent = 0; absent < count; ++absent)
            EXPECT_EQ(call(), CSP_ERR_PARAM) << what << " " << absent;
    };
    each("verify", 3, [&] { return CSP_verify(nullptr, 6, a(0), some, a(1), a(2)); });
    each("RSA verify", 4, [&] { return CSP_RSA_verify(nullptr, 6, a(0), a(1), a(2), a(3)); });
    each("DSS verify", 6, [&] { return CSP_DSS_verify(nullptr, 18, a(0), a(1), a(2), a(3), a(4), a(5)); });
    for (const auto operation : {CSP_RSA_public_decryption, CSP_RSA_raw_public, CSP_RSA_public_encryption})
        each("public", 4, [&] { return operation(ctx, a(0), a(1), a(2), to(3)); });
    for (const auto operation : {CSP_RSA_private_encryption, CSP_RSA_private_decryption, CSP_RSA_raw_private})
        each("private", 3, [&] { return operation(ctx, a(0), a(1), to(2)); });
    each("RSA sign", 3, [&] { return CSP_RSA_sign(ctx, 6, a(0), a(1), to(2)); });
    each("DSS sign", 6, [&] { return CSP_DSS_sign(ctx, 18, a(0), a(1), a(2), a(3), a(4), to(5)); });
    EXPECT_EQ(CSP_DSS_sign(nullptr, 18, some, some, some, some, some, out), CSP_ERR_PARAM);
    each("DSS keys", 5, [&] { return CSP_DSS_key_generation(ctx, a(0), a(1), a(2), to(3), to(4)); });
    each("DSS parameters", 3, [&] { return CSP_DSS_params_generation(ctx, 512, to(0), to(1), to(2)); });
    EXPECT_EQ(CSP_RSA_key_generation(ctx, 512, 512, 0, out, out, nullptr), CSP_ERR_PARAM);
    EXPECT_EQ(place, nullptr);
}

TEST(Misuse, SigningKnowsFewerSchemesThanVerifying) {
    for (const int32_t alg : {-6, 0, 2, 3, 7, 9, 17, 18, -1, INT32_MIN}) {
        Result out;
        EXPECT_EQ(CSP_RSA_sign(nullptr, alg, Value(rsa_key(512).private_der), Value("text"), out.place()),
                  CSP_ERR_PARAM)
            << alg;
        EXPECT_TRUE(out.is_null());
    }
    // A key that is too small for the scheme, and no key at all.
    for (const auto &[key, failure] :
         {std::pair(identity_key(256).private_der, CSP_ERR_RSA_ENCRYPT),
          std::pair(text_octets("no key"), CSP_ERR_ENCODING), std::pair(Octets(), CSP_ERR_ENCODING)}) {
        Result out;
        EXPECT_EQ(CSP_RSA_sign(nullptr, CSP_SIG_RSA_SHA1, Value(key), Value("text"), out.place()), failure);
        EXPECT_TRUE(out.is_null());
    }
}

// The numbers of RSA are held to 1025 octets, and nothing is cleared before.
TEST(Misuse, NumbersMayBeTooLong) {
    const Value fits(Octets(1025, 1)), long_one(Octets(1026, 1)), text("text");
    CspContext context = {};
    CspContext *const ctx = &context;
    const Trace trace;
    const auto each = [&](auto call, size_t count) {
        for (size_t which = 0; which < count; ++which) {
            Result out;
            Trace::take();
            EXPECT_EQ(call([&](size_t i) -> const Bytestring * { return i == which ? long_one : fits; }, out.place()),
                      CSP_ERR_PARAM);
            EXPECT_EQ(Trace::take(), Lines{"1 Maximal length of 8200 bits exceeded"});
            EXPECT_FALSE(out.is_null());
        }
    };
    for (const auto operation : {CSP_RSA_public_decryption, CSP_RSA_raw_public, CSP_RSA_public_encryption})
        each([&](auto a, Bytestring **out) { return operation(ctx, a(0), a(1), text, out); }, 2);
    each([&](auto a, Bytestring **) { return CSP_RSA_verify(ctx, 6, a(0), a(1), text, text); }, 2);
}

// Those of DSA are held to nothing but what the arithmetic can take.
TEST(Misuse, NumbersOfDsaMayBeBeyondTheArithmetic) {
    const Value fits(Octets(20, 1)), text(Octets(20, 2));
    const Value signature(der(0x30, {der(0x02, {{1}}), der(0x02, {{1}})}));
    CspContext context = {nullptr, PTHREAD_MUTEX_INITIALIZER};
    ASSERT_EQ(CSP_RNG_set_state(&context, fits), 0u);
    // 257 limbs give wrong powers and 258 none; 513 are the most of any number.
    for (const size_t octets : {size_t{1028}, size_t{1032}, size_t{2052}, size_t{2056}, size_t{10000}}) {
        const Value long_one(Octets(octets, 0xA5));
        for (size_t which = 0; which < 4; ++which) {
            const auto number = [&](size_t i) -> const Bytestring * { return i == which ? long_one : fits; };
            Result out, y, x;
            EXPECT_EQ(CSP_DSS_verify(&context, 17, number(0), number(1), number(2), number(3), text, signature),
                      CSP_ERR_BAD_SIGNATURE);
            const uint32_t signed_with =
                CSP_DSS_sign(&context, 17, number(0), number(1), number(2), number(3), text, out.place());
            const uint32_t made =
                CSP_DSS_key_generation(&context, number(0), number(1), number(2), y.place(), x.place());
            if (octets > 2052 || (which == 0 && octets > 1028)) {
                EXPECT_EQ(signed_with, CSP_ERR_MEMORY) << which << " " << octets;
                EXPECT_EQ(made, which < 3 ? CSP_ERR_MEMORY : 0u) << which << " " << octets;
            }
        }
    }
    Bytestring_free(context.state);
}

TEST(Misuse, OfTheNumbersBelowEndsTheProcess) {
    const RsaTestKey test_key = identity_key(512);
    const OwnedRsaKey owned(asn1_private_key_to_rsa(Value(test_key.private_der)));
    const RsaKey *const key = owned.get();
    const Value value("in");
    const Bytestring *const in = value;
    Octets room(64);
    Bytestring out = {64, room.data()};
    aauint *numbers[1] = {};
    Bytestring *place = nullptr;
    const std::string no_key = not_null("key"), no_plain = not_null("plain"), no_cipher = not_null("cipher"),
                      no_context = not_null("ctx");
    for (const auto operation : {RSA_public_decrypt, RSA_private_decrypt}) {
        EXPECT_DEATH(operation(nullptr, in, &out), no_key);
        EXPECT_DEATH(operation(key, nullptr, &out), no_cipher);
        EXPECT_DEATH(operation(key, in, nullptr), no_plain);
    }
    for (const auto operation : {RSA_raw_public, RSA_public_encrypt}) {
        EXPECT_DEATH(operation(nullptr, nullptr, in, &out), no_key);
        EXPECT_DEATH(operation(nullptr, key, nullptr, &out), no_plain);
        EXPECT_DEATH(operation(nullptr, key, in, nullptr), no_cipher);
    }
    EXPECT_DEATH(RSA_private_encrypt(nullptr, in, &out), no_key);
    EXPECT_DEATH(RSA_private_encrypt(key, nullptr, &out), no_plain);
    EXPECT_DEATH(RSA_private_encrypt(key, in, nullptr), no_cipher);
    EXPECT_DEATH(RSA_raw_private(nullptr, nullptr, in, &out), no_key);
    EXPECT_DEATH(RSA_raw_private(nullptr, key, nullptr, &out), no_cipher);
    EXPECT_DEATH(RSA_raw_private(nullptr, key, in, nullptr), no_plain);
    EXPECT_DEATH(RSA_public_encrypt(nullptr, key, in, &out), no_context);
    EXPECT_DEATH(CSP_RSA_key_generation(nullptr, 512, 0, 0, nullptr, nullptr, &place), no_context);
    EXPECT_DEATH(CSP_DSS_key_generation(nullptr, in, in, in, &place, &place), no_context);
    EXPECT_DEATH(CSP_DSS_params_generation(nullptr, 512, &place, &place, &place), no_context);
    EXPECT_DEATH(asn1_to_aa(nullptr, numbers, 1), not_null("asn1_key"));
    EXPECT_DEATH(asn1_to_aa(in, nullptr, 1), not_null("aa"));
    EXPECT_DEATH(asn1_to_aa(in, numbers, 0), "`n != 0'");
    EXPECT_DEATH(aa_to_asn1(nullptr, 1), not_null("aa"));
    EXPECT_DEATH(aa_to_asn1(numbers, 0), "`n != 0'");
    RsaKey_free(nullptr);
}

// ---- DER and numbers -----------------------------------------------------------------------------------------------

TEST(DerNumbers, AreWrittenAsPositive) {
    for (const auto &[value, expected] : {std::pair(0u, "020100"),
                                          {1u, "020101"},
                                          {127u, "02017F"},
                                          {128u, "02020080"},
                                          {255u, "020200FF"},
                                          {256u, "02020100"},
                                          {32768u, "0203008000"},
                                          {0xFFFFFFFFu, "020500FFFFFFFF"},
                                          {0x7FFFFFFFu, "02047FFFFFFF"}}) {
        aauint number[2];
        aa_long2aauint(value, number);
        const aauint *const numbers[] = {number, number};
        const OwnedBytestring one(aa_to_asn1(numbers, 1));
        EXPECT_EQ(to_hex(one->data, one->len), expected);
        const OwnedBytestring two(aa_to_asn1(numbers, 2));
        const Octets element = hex(expected);
        EXPECT_EQ(octets_of(two.get()), der(0x30, {element, element}));
        aauint *read[2];
        ASSERT_EQ(asn1_to_aa(two.get(), read, 2), 0);
        EXPECT_EQ(aa_comp(read[0], number), 0);
        EXPECT_EQ(aa_comp(read[1], number), 0);
        aa_free(read[0]);
        aa_free(read[1]);
    }
}

TEST(DerNumbers, AreReadAsUnsignedAndAllOrNone) {
    const Octets one = der_integer({1});
    const struct {
        const char *what;
        Octets der;
        uint32_t count;
        int64_t last;  ///< The last number, or -1 for a failure.
    } rows[] = {
        {"a bare one", hex("020105"), 1, 5},
        {"octets behind it", hex("020105FF"), 1, 5},
        {"a set top bit", hex("0201FF"), 1, 255},
        {"leading zeros", hex("02040000000A"), 1, 10},
        {"no content", hex("0200"), 1, 0},
        {"two", der(0x30, {one, hex("020107")}), 2, 7},
        {"a third", der(0x30, {one, hex("020107"), one}), 2, 7},
        {"octets behind them", der(0x30, {one, one}) + hex("00"), 2, 1},
        {"another header", der(0x31, {one, one}), 2, -1},
        {"one of two", der(0x30, {one}), 2, -1},
        {"the second behind the end", der(0x30, {one}) + one, 2, -1},
        {"one in a SEQUENCE", der(0x30, {one}), 1, -1},
        {"another type", hex("040105"), 1, -1},
        {"cut off", hex("0202"), 1, -1},
        {"cut off in the length", hex("0281"), 1, -1},
        {"a lone octet", hex("02"), 1, -1},
        {"nothing", {}, 1, -1},
        {"nothing in a SEQUENCE", hex("3000"), 2, -1},
        {"1026 octets", der(0x02, {Octets(1026)}), 1, -1},
        {"1025 octets", der(0x02, {Octets(1024) + Octets{9}}), 1, 9},
    };
    for (const auto &row : rows) {
        aauint *numbers[2] = {reinterpret_cast<aauint *>(&numbers), reinterpret_cast<aauint *>(&numbers)};
        const int32_t result = asn1_to_aa(Value(row.der), numbers, row.count);
        EXPECT_EQ(result, row.last < 0 ? -1 : 0) << row.what;
        uint32_t last = 0;
        if (result == 0) {
            EXPECT_EQ(aa_aauint2long(numbers[row.count - 1], &last), 0);
        }
        EXPECT_EQ(last, row.last < 0 ? 0 : row.last) << row.what;
        for (uint32_t i = 0; i < row.count; ++i) {
            if (result != 0) {
                EXPECT_EQ(numbers[i], nullptr) << row.what;
            }
            aa_free(numbers[i]);
        }
    }
}

}  // namespace
