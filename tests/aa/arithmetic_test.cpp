// Numbers in and out, and plain arithmetic beside GMP, in every aliasing that is allowed and around the limits.
#include "number.h"
#include "support/alloc_fault.h"

namespace {

using zelmo_test::Seeded;

TEST(Value, ConstantsHaveTheirValues) {
    // clang-format off
    const std::pair<const aauint *, uint64_t> rows[] = {
        {AA_ZERO, 0}, {AA_ONE, 1}, {AA_TWO, 2}, {AA_THREE, 3}, {AA_FOUR, 4}, {AA_FIVE, 5}, {AA_SIX, 6}, {AA_SEVEN, 7},
        {AA_EIGHT, 8}, {AA_NINE, 9}, {AA_TEN, 10}, {AA_ELEVEN, 11}, {AA_TWELVE, 12}, {AA_THIRTEEN, 13},
        {AA_FOURTEEN, 14}, {AA_FIFTEEN, 15}, {AA_SIXTEEN, 16}, {AA_SEVENTEEN, 17}, {AA_EIGHTEEN, 18},
        {AA_NINETEEN, 19}, {AA_TWENTY, 20}, {AA_TWENTYTHREE, 23}, {AA_TWENTYSEVEN, 27}, {AA_TWENTYNINE, 29},
        {AA_THIRTY, 30}, {AA_THIRTYSIX, 36}, {AA_SIXTY, 60}, {AA_HUNDRED, 100}, {AA_THOUSAND, 1000},
        {AA_TWOTHOUSAND, 2000}, {AA_FIVETHOUSAND, 5000}, {AA_FIFTEENTHOUSANDFIFTEEN, 15015},
        {AA_PRIMEPRODUCT_UP_TO_13, 30030}, {AA_PRIMEPRODUCT_UP_TO_23, 223092870},
        {AA_PRIMEPRODUCT_UP_TO_29, 6469693230}};
    // clang-format on
    Number copy;
    for (const auto &[constant, value] : rows) {
        aa_copy(constant, copy);
        EXPECT_EQ(copy.value(), value);
    }
    mpz_class product = 1;
    for (mpz_class prime = 3; prime <= 293; mpz_nextprime(prime.get_mpz_t(), prime.get_mpz_t()))
        product *= prime;
    aa_copy(AA_PRIMEPRODUCT_3_293, copy);
    EXPECT_EQ(copy.value(), product);
}

TEST(Value, NewNumbersAreZeroAndJustLargeEnough) {
    for (uint32_t bits : {0u, 1u, 32u, 33u, 16448u}) {
        const OwnedNumber number(aa_new(bits));
        for (uint32_t i = 0; i <= (bits + 31) / 32; ++i)
            EXPECT_EQ(number.get()[i], 0u);
    }
    EXPECT_EQ(aa_new(UINT32_MAX - 30), nullptr);
    alloc_fault_arm(1, false);
    EXPECT_EQ(aa_new(32), nullptr);
    EXPECT_TRUE(alloc_fault_disarm());
    aa_free(nullptr);
}

TEST(Value, WordsGoInAndOut) {
    Number number;
    uint32_t value = 7;
    for (uint32_t in : {0u, 1u, UINT32_MAX}) {
        aa_long2aauint(in, number);
        EXPECT_EQ(number.value(), in);
        EXPECT_EQ(aa_aauint2long(number, &value), 0);
        EXPECT_EQ(value, in);
    }
    EXPECT_EQ(aa_aauint2long(Number(power_of_2(32)), &value), -1);
    EXPECT_EQ(value, UINT32_MAX);
}

TEST(Value, SizeAndOrder) {
    for (unsigned bit : {0u, 1u, 31u, 32u, 33u, 16415u}) {
        EXPECT_EQ(aa_lb(Number(power_of_2(bit))), static_cast<int32_t>(bit));
        EXPECT_EQ(aa_lb(Number(power_of_2(bit + 1) - 1)), static_cast<int32_t>(bit));
    }
    EXPECT_EQ(aa_lb(AA_ZERO), -1);
    EXPECT_EQ(aa_even(AA_ZERO), 1);
    EXPECT_EQ(aa_even(AA_TWO), 1);
    EXPECT_EQ(aa_even(AA_ONE), 0);
    // Less is 1, and greater is -1.
    EXPECT_EQ(aa_comp(AA_ONE, AA_TWO), 1);
    EXPECT_EQ(aa_comp(AA_TWO, AA_ONE), -1);
    EXPECT_EQ(aa_comp(AA_ZERO, AA_ZERO), 0);
    EXPECT_EQ(aa_comp(Number(power_of_2(32)), Number(power_of_2(32) - 1)), -1);
    EXPECT_EQ(aa_comp(Number(power_of_2(64) + 1), Number(power_of_2(64) + 2)), 1);
}

TEST(Value, FieldsOfBits) {
    const struct {
        uint32_t bits;
        const char *in;
        mpz_class value;
        const char *out;  // what the value is written as
    } rows[] = {{0, "", 0, ""},
                {24, "000001", 1, "000001"},
                {12, "ABCF", 0xABC, "ABC0"},
                {1, "80", 1, "80"},
                {7, "FF", 0x7F, "FE"},
                {32, "80000000", 0x80000000, "80000000"},
                {33, "FFFFFFFFFF", power_of_2(33) - 1, "FFFFFFFF80"},
                {40, "0000000000", 0, "0000000000"}};
    for (const auto &row : rows) {
        const Octets in = hex(row.in);
        Number number;
        aa_uchar2aauint(number, row.bits, in.data());
        EXPECT_EQ(number.value(), row.value) << row.in;
        Octets out(in.size());
        aa_aauint2uchar(row.bits, out.data(), number);
        EXPECT_EQ(to_hex(out.data(), out.size()), row.out);
    }
}

TEST(Value, FieldsOfEverySizeAgreeWithShifts) {
    Seeded random;
    for (uint32_t bits = 1; bits < 700; ++bits) {
        const Octets in = random.runs((bits + 7) / 8);
        mpz_class expected;
        mpz_import(expected.get_mpz_t(), in.size(), 1, 1, 0, 0, in.data());
        expected >>= static_cast<unsigned>(in.size() * 8 - bits);
        Number number(0, (bits + 31) / 32 + 1);
        aa_uchar2aauint(number, bits, in.data());
        ASSERT_EQ(number.value(), expected) << bits;

        // A field of another size takes the low bits, or has zeros in front.
        const uint32_t other = 1 + random.below(700);
        Octets out((other + 7) / 8);
        aa_aauint2uchar(other, out.data(), number);
        mpz_class written;
        mpz_import(written.get_mpz_t(), out.size(), 1, 1, 0, 0, out.data());
        mpz_class low = expected % power_of_2(other);
        ASSERT_EQ(written, low << static_cast<unsigned>(out.size() * 8 - other)) << bits << " into " << other;
    }
}

struct Binary {
    const char *name;
    int32_t (*operation)(const aauint *, const aauint *, aauint *);
    mpz_class (*expected)(const mpz_class &, const mpz_class &);
    unsigned most_bits;  // of an operand
    bool aliases;        // the result may be an operand
};

const Binary binaries[] = {
    {"aa_add", aa_add, [](const mpz_class &a, const mpz_class &b) { return mpz_class(a + b); }, 16000, true},
    {"aa_sub", aa_sub, [](const mpz_class &a, const mpz_class &b) { return mpz_class(a - b); }, 16416, true},
    {"aa_mult", aa_mult, [](const mpz_class &a, const mpz_class &b) { return mpz_class(a * b); }, 8192, true},
    {"aa_zmult", aa_zmult, [](const mpz_class &a, const mpz_class &b) { return mpz_class(a * b); }, 8192, false},
};

TEST(Arithmetic, AgreesInEveryAliasing) {
    Seeded random;
    for (const Binary &binary : binaries)
        for (int i = 0; i < 1500; ++i) {
            const mpz_class a = random_number_of_any_size(random, binary.most_bits);
            const mpz_class b = i % 50 == 0 ? a : random_number_of_any_size(random, binary.most_bits);
            const mpz_class expected = binary.expected(a, b);
            const int32_t code = expected < 0 ? -1 : 0;
            Number left(a), right(b), result;
            ASSERT_EQ(binary.operation(left, right, result), code) << binary.name;
            if (code != 0)
                continue;
            ASSERT_EQ(result.value(), expected) << binary.name << " of " << a << " and " << b;
            ASSERT_EQ(left.value(), a);
            ASSERT_EQ(right.value(), b);
            if (!binary.aliases)
                continue;
            ASSERT_EQ(binary.operation(left, right, left), 0);
            ASSERT_EQ(left.value(), expected) << binary.name << " over the first";
            Number again(a), twin(a);
            ASSERT_EQ(binary.operation(again, right, right), 0);
            ASSERT_EQ(right.value(), expected) << binary.name << " over the second";
            ASSERT_EQ(binary.operation(twin, twin, twin), 0);
            ASSERT_EQ(twin.value(), binary.expected(a, a)) << binary.name << " of one buffer";
        }
}

TEST(Arithmetic, SumsUpToTheLimit) {
    const mpz_class full = all_ones(513);
    Number result;
    EXPECT_EQ(aa_add(Number(full), Number(full), result), -1);
    EXPECT_EQ(aa_add(Number(full - 1), Number(1), result), 0);
    EXPECT_EQ(result.value(), full);
    EXPECT_EQ(aa_incr(result), -1);
    Number below(full - 1);
    EXPECT_EQ(aa_incr(below), 0);
    EXPECT_EQ(below.value(), full);
    EXPECT_EQ(aa_sub(Number(full), Number(full), result), 0);
    EXPECT_EQ(result.value(), 0);
}

TEST(Arithmetic, StepsByOne) {
    for (const mpz_class &start : {mpz_class(0), mpz_class(1), all_ones(1), power_of_2(32), all_ones(3)}) {
        Number number(start);
        EXPECT_EQ(aa_incr(number), 0);
        EXPECT_EQ(number.value(), start + 1);
        EXPECT_EQ(aa_decr(number), 0);
        EXPECT_EQ(number.value(), start);
    }
    Number zero(0);
    EXPECT_EQ(aa_decr(zero), -1);
    EXPECT_EQ(zero.value(), 0);
}

TEST(Arithmetic, Shifts) {
    Seeded random;
    for (int i = 0; i < 2000; ++i) {
        const mpz_class a = random_number_of_any_size(random, 4000);
        const uint32_t bits = random.below(random.below(2) == 0 ? 70 : 5000);
        Number result;
        ASSERT_EQ(aa_shift(Number(a), static_cast<int32_t>(bits), result), 0);
        ASSERT_EQ(result.value(), a << bits);
        ASSERT_EQ(aa_shift(result, -static_cast<int32_t>(bits), result), 0);
        ASSERT_EQ(result.value(), a);
        Number same(a);
        ASSERT_EQ(aa_shift(same, static_cast<int32_t>(bits), same), 0);
        ASSERT_EQ(same.value(), a << bits);
        ASSERT_EQ(aa_shift(Number(a), -static_cast<int32_t>(bits), same), 0);
        ASSERT_EQ(same.value(), a >> bits);
    }
}

TEST(Arithmetic, ShiftsAreRefusedOneLimbEarly) {
    const struct {
        unsigned limbs;
        int32_t shift, code;
    } rows[] = {{513, 0, -1},      {512, 0, 0},    {512, 31, 0}, {512, 32, -1},    {1, 511 * 32 + 31, 0},
                {1, 512 * 32, -1}, {0, 100000, 0}, {513, -1, 0}, {513, -16416, 0}, {5, INT32_MIN, 0}};
    for (const auto &row : rows) {
        Number result(9);
        EXPECT_EQ(aa_shift(Number(all_ones(row.limbs)), row.shift, result), row.code) << row.limbs << " " << row.shift;
        if (row.code != 0) {
            EXPECT_EQ(result.value(), 9);
        }
    }
}

TEST(Arithmetic, ProductsUpToTheLimit) {
    const struct {
        mpz_class a, b;
        int32_t code;
    } rows[] = {{all_ones(256), all_ones(256), 0},
                {all_ones(257), all_ones(255), 0},
                {power_of_2(32 * 256), all_ones(256), 0},
                {all_ones(257), all_ones(257), -1},
                {all_ones(513), 1, 0},
                {all_ones(513), 2, -1},
                {power_of_2(16415), 2, -1},
                {power_of_2(16414), 2, 0},
                {all_ones(513), 0, 0},
                // The sum of the bits passes, but the product has one limb too many.
                {power_of_2(8224) - 1, power_of_2(8193) - 1, -1}};
    for (const auto &row : rows) {
        Number result(9);
        EXPECT_EQ(aa_mult(Number(row.a), Number(row.b), result), row.code);
        Number a(row.a);
        EXPECT_EQ(aa_multeq(a, Number(row.b)), row.code);
        EXPECT_EQ(result.value(), row.code == 0 ? mpz_class(row.a * row.b) : mpz_class(9));
        EXPECT_EQ(a.value(), row.code == 0 ? mpz_class(row.a * row.b) : row.a);
    }
}

TEST(Arithmetic, SquaresUpToTheLimit) {
    for (unsigned limbs : {0u, 1u, 2u, 255u, 256u, 257u, 300u, 513u}) {
        const mpz_class a = all_ones(limbs);
        const int32_t code = limbs <= 256 ? 0 : -1;
        Number result(9);
        EXPECT_EQ(aa_square(Number(a), result), code);
        EXPECT_EQ(result.value(), code == 0 ? mpz_class(a * a) : mpz_class(9));
        Number one(a);
        EXPECT_EQ(aa_mult(one, one, result), code) << "one buffer is a square";
        EXPECT_EQ(aa_squareeq(one), code);
        EXPECT_EQ(one.value(), code == 0 ? mpz_class(a * a) : a);
    }
}

TEST(Arithmetic, UncheckedFormsInTheirOwnBuffers) {
    Seeded random;
    for (unsigned limbs = 0; limbs < 300; limbs += 1 + random.below(3)) {
        const mpz_class a = random.below(4) == 0 ? all_ones(limbs) : random_number(random, 32 * limbs + 1) >> 1;
        const mpz_class b = random_number_of_any_size(random, 6000);
        Number square(a, 700);
        aa_zsquareeq(square);
        ASSERT_EQ(square.value(), a * a) << a;
        Number plain(0, 700);
        aa_zsquare(Number(a), plain);
        ASSERT_EQ(plain.value(), a * a);
        const size_t words =
            (mpz_sizeinbase(a.get_mpz_t(), 2) + 31) / 32 + (mpz_sizeinbase(b.get_mpz_t(), 2) + 31) / 32;
        Number product(a, words + 1);
        aa_zmulteq(product, Number(b));
        ASSERT_EQ(product.value(), a * b);
    }
}

TEST(Arithmetic, Divides) {
    Seeded random;
    for (int i = 0; i < 3000; ++i) {
        const mpz_class b = 1 + random_number_of_any_size(random, 5000);
        mpz_class a = random_number_of_any_size(random, 16384);
        // Quotients of extreme digits.
        if (i % 3 == 0)
            a = (random_number_of_any_size(random, 5000) * b +
                 (random.below(2) == 0 ? mpz_class(0) : mpz_class(b - 1)));
        const mpz_class q = a / b, r = a % b;
        Number quotient, remainder;
        ASSERT_EQ(aa_div(Number(a), Number(b), quotient, remainder), 0);
        ASSERT_EQ(quotient.value(), q) << a << " / " << b;
        ASSERT_EQ(remainder.value(), r) << a << " mod " << b;
        Number left(a), right(b), other(a), divisor(b), both;
        ASSERT_EQ(aa_div(left, right, left, right), 0);
        ASSERT_EQ(left.value(), q);
        ASSERT_EQ(right.value(), r);
        ASSERT_EQ(aa_div(other, divisor, divisor, other), 0);
        ASSERT_EQ(divisor.value(), q);
        ASSERT_EQ(other.value(), r);
        ASSERT_EQ(aa_div(Number(a), Number(b), both, both), 0);
        ASSERT_EQ(both.value(), r) << "one buffer takes the remainder";
    }
}

TEST(Arithmetic, DivisionLimits) {
    Number quotient(7), remainder(8);
    EXPECT_EQ(aa_div(Number(5), Number(0), quotient, remainder), -1);
    EXPECT_EQ(aa_div(Number(all_ones(513)), Number(3), quotient, remainder), -1);
    EXPECT_EQ(aa_div(Number(all_ones(512)), Number(3), quotient, remainder), 0);
    EXPECT_EQ(aa_div(Number(all_ones(513) - 1), Number(all_ones(513)), quotient, remainder), 0);
    EXPECT_EQ(quotient.value(), 0);
    EXPECT_EQ(remainder.value(), all_ones(513) - 1);
}

}  // namespace
