#include "number.h"
#include "support/alloc_fault.h"

namespace {

TEST(Value, ConstantsHaveTheirValues) {
    const struct {
        const aauint *constant;
        mpz_class value;
    } rows[] = {{AA_ZERO, 0},
                {AA_ONE, 1},
                {AA_TWO, 2},
                {AA_THREE, 3},
                {AA_FOUR, 4},
                {AA_FIVE, 5},
                {AA_SIX, 6},
                {AA_SEVEN, 7},
                {AA_EIGHT, 8},
                {AA_NINE, 9},
                {AA_TEN, 10},
                {AA_ELEVEN, 11},
                {AA_TWELVE, 12},
                {AA_THIRTEEN, 13},
                {AA_FOURTEEN, 14},
                {AA_FIFTEEN, 15},
                {AA_SIXTEEN, 16},
                {AA_SEVENTEEN, 17},
                {AA_EIGHTEEN, 18},
                {AA_NINETEEN, 19},
                {AA_TWENTY, 20},
                {AA_TWENTYTHREE, 23},
                {AA_TWENTYSEVEN, 27},
                {AA_TWENTYNINE, 29},
                {AA_THIRTY, 30},
                {AA_THIRTYSIX, 36},
                {AA_SIXTY, 60},
                {AA_HUNDRED, 100},
                {AA_THOUSAND, 1000},
                {AA_TWOTHOUSAND, 2000},
                {AA_FIVETHOUSAND, 5000},
                {AA_FIFTEENTHOUSANDFIFTEEN, 15015},
                {AA_PRIMEPRODUCT_UP_TO_13, 30030},
                {AA_PRIMEPRODUCT_UP_TO_23, 223092870},
                {AA_PRIMEPRODUCT_UP_TO_29, 6469693230}};
    for (const auto &row : rows) {
        Number copy;
        aa_copy(row.constant, copy);
        EXPECT_EQ(copy.value(), row.value);
    }
    mpz_class product = 1;
    unsigned count = 0;
    for (mpz_class prime = 3; prime <= 293; mpz_nextprime(prime.get_mpz_t(), prime.get_mpz_t()), ++count)
        product *= prime;
    Number copy;
    aa_copy(AA_PRIMEPRODUCT_3_293, copy);
    EXPECT_EQ(copy.value(), product);
    EXPECT_EQ(count, 61u);
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
    zelmo_test::Seeded random;
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

}  // namespace
