// The cipher primitives against what was published.
#include <cstring>
#include <gtest/gtest.h>
#include <memory>

#include "csp/mf.h"
#include "support/vector_file.h"

namespace {

using Schedule = std::unique_ptr<void, void (*)(void *)>;
using zelmo_test::Vector;

/// A block cipher: its schedule of a key, and a run over whole blocks.
struct BlockCipher {
    const char *file;
    uint32_t (*setup)(const Octets &key, void **schedule);
    uint32_t (*turn)(const uint8_t *in, uint8_t *out, uint32_t direction, const void *schedule);
};

constexpr BlockCipher block_ciphers[] = {
    {"rc2.txt",
     [](const Octets &key, void **schedule) {
         return mf_rc2init(key.data(), static_cast<uint8_t>(key.size()), schedule);
     },
     mf_rc2},
    {"des.txt", [](const Octets &key, void **schedule) { return mf_desinit(key.data(), schedule); }, mf_des},
    {"des3.txt",
     [](const Octets &key, void **schedule) {
         return mf_des3init(key.data(), key.data() + 8, key.data() + 16, schedule);
     },
     mf_des3},
    {"idea.txt", [](const Octets &key, void **schedule) { return mf_ideainit(key.data(), schedule); }, mf_idea},
};

class BlockCipherVectors : public testing::TestWithParam<BlockCipher> {};

TEST_P(BlockCipherVectors, BothDirectionsInPlaceToo) {
    zelmo_test::for_each_vector(GetParam().file, [](Vector &vector) {
        const Octets plain = vector.octets("Plain");
        const Octets cipher = vector.octets("Cipher");
        void *made = nullptr;
        ASSERT_EQ(GetParam().setup(vector.octets("Key"), &made), 0u);
        const Schedule schedule(made, std::free);
        for (size_t at = 0; at < plain.size(); at += 8) {
            const Octets block(plain.begin() + static_cast<long>(at), plain.begin() + static_cast<long>(at) + 8);
            Octets turned(8);
            EXPECT_EQ(GetParam().turn(block.data(), turned.data(), 0, made), 0u);
            EXPECT_EQ(to_hex(turned.data(), 8), to_hex(cipher.data() + at, 8));
            EXPECT_EQ(GetParam().turn(turned.data(), turned.data(), 1, made), 0u);
            EXPECT_EQ(turned, block);
        }
    });
}

INSTANTIATE_TEST_SUITE_P(All, BlockCipherVectors, testing::ValuesIn(block_ciphers),
                         [](const auto &row) { return std::string(row.param.file, std::strlen(row.param.file) - 4); });

TEST(ArcfourVectors, StreamsGoOnFromRunToRun) {
    zelmo_test::for_each_vector("arcfour.txt", [](Vector &vector) {
        const Octets key = vector.octets("Key");
        const Octets stream = vector.octets("Stream");
        void *made = nullptr;
        ASSERT_EQ(mf_arcfourinit(key.data(), static_cast<uint8_t>(key.size()), &made), 0u);
        const Schedule schedule(made, std::free);
        Octets skipped(vector.number("Offset"));
        const auto length = static_cast<uint32_t>(skipped.size());
        EXPECT_EQ(mf_arcfour(skipped.data(), length, skipped.data(), 1, made), 0u);
        Octets drawn(stream.size());
        for (uint8_t &octet : drawn)
            EXPECT_EQ(mf_arcfour(&octet, 1, &octet, 0, made), 0u);
        EXPECT_EQ(drawn, stream);
    });
}

TEST(AesVectors, AllSizesOneBlockAndMore) {
    zelmo_test::for_each_vector("aes.txt", [](Vector &vector) {
        const Octets key = vector.octets("Key");
        const Octets plain = vector.octets("Plain");
        const auto block_bits = static_cast<uint32_t>(8 * plain.size());
        const Schedule context(mf_aesinit(static_cast<uint32_t>(8 * key.size()), key.data(), 1, block_bits, nullptr),
                               std::free);
        ASSERT_NE(context, nullptr);
        // Three blocks, and bits of a fourth that are left alone.
        Octets text = plain + plain + plain + Octets{0xAA};
        const Octets expected =
            vector.octets("Cipher") + vector.octets("Cipher") + vector.octets("Cipher") + Octets{0xAA};
        const auto handled = static_cast<int32_t>(3 * block_bits);
        EXPECT_EQ(mf_blockEncrypt(context.get(), text.data(), 3 * block_bits + 8, text.data()), handled);
        EXPECT_EQ(to_hex(text.data(), text.size()), to_hex(expected.data(), expected.size()));
        EXPECT_EQ(mf_blockDecrypt(context.get(), text.data(), 3 * block_bits + 8, text.data()), handled);
        EXPECT_EQ(text, plain + plain + plain + Octets{0xAA});
    });
}

TEST(Aes, RefusesSizesModesAndStates) {
    const Octets key(32, 1);
    for (const uint32_t bits : {0u, 64u, 120u, 129u, 160u, 224u, 257u, 320u, 384u}) {
        EXPECT_EQ(mf_aesinit(bits, key.data(), 1, 128, nullptr), nullptr) << bits;
        EXPECT_EQ(mf_aesinit(128, key.data(), 1, bits, nullptr), nullptr) << bits;
    }
    EXPECT_EQ(mf_aesinit(128, key.data(), 0, 128, nullptr), nullptr);
    EXPECT_EQ(mf_aesinit(128, key.data(), 4, 128, nullptr), nullptr);
    Octets block(16);
    EXPECT_EQ(mf_blockEncrypt(nullptr, block.data(), 128, block.data()), -5);
    for (const uint32_t mode : {2u, 3u}) {
        const Schedule context(mf_aesinit(128, key.data(), mode, 128, key.data()), std::free);
        ASSERT_NE(context, nullptr);
        EXPECT_EQ(mf_blockEncrypt(context.get(), block.data(), 128, block.data()), -5) << mode;
        EXPECT_EQ(mf_blockDecrypt(context.get(), block.data(), 128, block.data()), -5) << mode;
        // The key size is the first word of a context.
        *static_cast<uint32_t *>(context.get()) = 160;
        EXPECT_EQ(mf_blockEncrypt(context.get(), block.data(), 128, block.data()), -2);
        EXPECT_EQ(mf_blockDecrypt(context.get(), block.data(), 128, block.data()), -2);
    }
    EXPECT_EQ(block, Octets(16));
}

TEST(Ciphers, RefuseKeyLengthsThatTheyCannotUse) {
    const Octets key(255, 1);
    void *schedule = nullptr;
    EXPECT_NE(mf_arcfourinit(key.data(), 0, &schedule), 0u);
    EXPECT_NE(mf_rc2init(key.data(), 0, &schedule), 0u);
    EXPECT_NE(mf_rc2init(key.data(), 129, &schedule), 0u);
    EXPECT_EQ(schedule, nullptr);
}

}  // namespace
