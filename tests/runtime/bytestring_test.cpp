#include "runtime/bytestring.h"

#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/alloc_fault.h"
#include "support/octets.h"
#include "support/seeded.h"

namespace {

const void *watched_block = nullptr;
Octets watched_octets;
bool watched_went = false;

Octets octets(const Bytestring *bs) {
    EXPECT_EQ(bs->data == nullptr, bs->len == 0);
    return {bs->data, bs->data + bs->len};
}

OwnedBytestring made(const Octets &content) {
    return OwnedBytestring(Bytestring_new(static_cast<uint32_t>(content.size()), content.data()));
}

}  // namespace

// What a block holds when it is released.
extern "C" {
void __real_free(void *block);
void __wrap_free(void *block);
void __wrap_free(void *block) {
    if (block != nullptr && block == watched_block) {
        std::memcpy(watched_octets.data(), block, watched_octets.size());
        watched_went = true;
        watched_block = nullptr;
    }
    __real_free(block);
}
}

namespace {

const uint8_t *text(const char *letters) {
    return reinterpret_cast<const uint8_t *>(letters);
}

TEST(Bytestring, IsMadeOfACountAndASource) {
    const struct {
        uint32_t count;
        const char *source;
        Octets expected;
    } cases[] = {
        {0, nullptr, {}},        {0, "ab", {'a', 'b', 0}}, {0, "", {0}},
        {4, nullptr, Octets(4)}, {1, "ab", {'a'}},         {5, "a\0b\0c", {'a', 0, 'b', 0, 'c'}},
    };
    for (const auto &c : cases) {
        const OwnedBytestring bs(Bytestring_new(c.count, text(c.source)));
        EXPECT_EQ(octets(bs.get()), c.expected);
        const OwnedBytestring copy(Bytestring_clone(bs.get()));
        EXPECT_NE(copy, bs);
        EXPECT_TRUE(copy->data == nullptr || copy->data != bs->data);
        EXPECT_EQ(octets(copy.get()), c.expected);
    }
    Bytestring_free(nullptr);
}

TEST(Bytestring, EraseLeavesZerosBehind) {
    Bytestring_erase(nullptr);
    Bytestring_erase(Bytestring_new(0, nullptr));
    for (const bool erased : {false, true}) {
        Bytestring *bs = Bytestring_new(5, text("abcde"));
        watched_octets = Octets(5);
        watched_block = bs->data;
        watched_went = false;
        (erased ? Bytestring_erase : Bytestring_free)(bs);
        EXPECT_TRUE(watched_went);
        EXPECT_EQ(watched_octets, erased ? Octets(5) : Octets({'a', 'b', 'c', 'd', 'e'}));
    }
}

TEST(Bytestring, Compares) {
    const struct {
        Octets left, right;
        int32_t expected;
    } cases[] = {
        {{}, {}, 0},         {{1, 2}, {1, 2}, 0},  {{1, 2}, {1, 2, 3}, 1}, {{1, 2, 3}, {1, 2}, 1},
        {{}, {1}, 1},        {{1}, {}, 1},         {{9, 9}, {1, 1, 1}, 1}, {{1, 2}, {1, 3}, -1},
        {{1, 3}, {1, 2}, 1}, {{0x7F}, {0x80}, -1}, {{0xFF}, {0}, 1},       {{0, 255}, {1, 0}, -1},
    };
    for (const auto &c : cases)
        EXPECT_EQ(Bytestring_cmp(made(c.left).get(), made(c.right).get()), c.expected)
            << testing::PrintToString(c.left) << testing::PrintToString(c.right);
}

TEST(Bytestring, AppendsAndShiftsLikeAVector) {
    zelmo_test::Seeded seeded;
    OwnedBytestring bs(Bytestring_new(0, nullptr));
    Octets expected;
    for (int step = 0; step < 5000; ++step) {
        const Octets more = seeded.octets(seeded.below(20));
        const auto count = static_cast<uint32_t>(more.size());
        Bytestring *result = nullptr;
        switch (seeded.below(expected.size() < 500 ? 5 : 4)) {
            case 0:
                result = Bytestring_append(bs.get(), count, more.data());
                expected = expected + more;
                break;
            case 1:
                result = Bytestring_concat(bs.get(), made(more).get());
                expected = expected + more;
                break;
            case 2: {  // room to be filled
                result = Bytestring_append(bs.get(), count, nullptr);
                ASSERT_EQ(bs->len, expected.size() + count);
                if (count != 0)
                    std::memset(bs->data + expected.size(), 0xA5, count);
                expected = expected + Octets(count, 0xA5);
                break;
            }
            case 3: {
                const uint32_t gone = seeded.below(8) == 0 ? UINT32_MAX : seeded.below(40);
                result = Bytestring_shift(bs.get(), gone);
                expected.erase(expected.begin(), expected.begin() + std::min<long>(gone, std::ssize(expected)));
                break;
            }
            default:
                result = Bytestring_concat(bs.get(), bs.get());
                expected = expected + expected;
        }
        ASSERT_EQ(result, bs.get());
        ASSERT_EQ(octets(bs.get()), expected);
    }
}

TEST(Bytestring, AppendsAPartOfItself) {
    const OwnedBytestring bs = made(Octets(4000, 7));
    bs->data[3999] = 8;
    EXPECT_EQ(Bytestring_append(bs.get(), 2, bs->data + 3998), bs.get());
    EXPECT_EQ(octets(bs.get()), Octets(3999, 7) + Octets({8, 7, 8}));
}

TEST(Bytestring, ConcatWithoutAFirstIsACopy) {
    const OwnedBytestring second = made({1, 2}), copy(Bytestring_concat(nullptr, second.get()));
    EXPECT_NE(copy, second);
    EXPECT_EQ(octets(copy.get()), (Octets{1, 2}));
}

TEST(Bytestring, RefusesALengthBeyond32Bits) {
    const OwnedBytestring bs = made({1, 2, 3});
    uint8_t *const data = bs->data;
    for (const uint32_t count : {UINT32_MAX - 2, UINT32_MAX})
        EXPECT_EQ(Bytestring_append(bs.get(), count, nullptr), nullptr);
    EXPECT_EQ(bs->data, data);
    EXPECT_EQ(octets(bs.get()), (Octets{1, 2, 3}));
}

TEST(Bytestring, ShortMemoryLosesNothing) {
    for (unsigned n = 1; n <= 2; ++n) {
        const OwnedBytestring source = made({1, 2});
        alloc_fault_arm(n, false);
        EXPECT_EQ(Bytestring_new(3, nullptr), nullptr);
        EXPECT_TRUE(alloc_fault_disarm());
        alloc_fault_arm(n, false);
        EXPECT_EQ(Bytestring_clone(source.get()), nullptr);
        EXPECT_TRUE(alloc_fault_disarm());
    }
    const OwnedBytestring bs = made({1, 2, 3});
    alloc_fault_arm(1, false);
    EXPECT_EQ(Bytestring_append(bs.get(), 1, text("x")), nullptr);
    EXPECT_EQ(octets(bs.get()), (Octets{1, 2, 3}));
    alloc_fault_arm(1, false);
    EXPECT_EQ(Bytestring_shift(bs.get(), 1), nullptr);
    EXPECT_EQ(octets(bs.get()), (Octets{2, 3}));
    // To empty a value takes no memory.
    alloc_fault_arm(1, false);
    EXPECT_EQ(Bytestring_shift(bs.get(), 9), bs.get());
    EXPECT_FALSE(alloc_fault_disarm());
    EXPECT_EQ(octets(bs.get()), Octets());
}

TEST(Bytestring, NullsAreProgrammingErrors) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const OwnedBytestring bs = made({1});
    const char *null_bs = "Assertion `bs != \\(\\(void \\*\\)0\\)' failed";
    EXPECT_DEATH(Bytestring_clone(nullptr), null_bs);
    EXPECT_DEATH(Bytestring_append(nullptr, 0, nullptr), null_bs);
    EXPECT_DEATH(Bytestring_shift(nullptr, 0), null_bs);
    EXPECT_DEATH(Bytestring_cmp(nullptr, bs.get()), "Assertion `bs1 != ");
    EXPECT_DEATH(Bytestring_cmp(bs.get(), nullptr), "Assertion `bs2 != ");
    EXPECT_DEATH(Bytestring_concat(bs.get(), nullptr), "Assertion `bs2 != ");
}

}  // namespace
