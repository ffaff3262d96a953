// The card service with the virtual card behind it.
#include <gtest/gtest.h>
#include <numeric>
#include <sys/wait.h>
#include <unistd.h>

#include "support/temp_directory.h"
#include "virtualcard/hex.h"
#include "virtualcard/image.h"
#include "zelmocrd/zelmocrd.h"

namespace {

using Bytes = std::vector<uint8_t>;
using virtualcard::File;
using virtualcard::FileKind;

// Content in which no two pieces of equal length are alike.
Bytes pattern(size_t size) {
    Bytes data(size);
    for (size_t i = 0; i < size; i++)
        data[i] = static_cast<uint8_t>(i * 7 + i / 251);
    return data;
}

File transparent(uint16_t fid, size_t size) {
    File file;
    file.fid = fid;
    file.kind = FileKind::transparent;
    file.data = pattern(size);
    return file;
}

virtualcard::CardImage testImage(bool extendedLength) {
    virtualcard::CardImage image;
    image.extendedLength = extendedLength;
    image.root.files.push_back(transparent(0x0100, 256));
    image.root.files.push_back(transparent(0x0101, 257));
    image.root.files.push_back(transparent(0x0102, 65535));
    image.root.files.push_back(transparent(0x0103, 0));
    image.root.files.push_back(transparent(0x0104, 10));
    virtualcard::Secret pin;
    pin.reference = 1;
    pin.value = fromHex("31 32 33 34");
    image.pins.push_back(pin);
    return image;
}

class VirtualReader : public testing::TestWithParam<bool> {
  protected:
    void SetUp() override {
        virtualcard::writeImage(file, testImage(GetParam()));
        ASSERT_EQ(zelmocrd_OpenCard(("virtual:" + file).c_str(), 0, &card), 0u);
    }
    void TearDown() override {
        EXPECT_EQ(zelmocrd_CloseCard(card), 0u);
    }
    uint32_t select(uint16_t fid, FileInfo *info = nullptr) const {
        const uint8_t path[] = {0x3F, 0x00, static_cast<uint8_t>(fid >> 8), static_cast<uint8_t>(fid)};
        return scard_SelectFile(card, nullptr, 0, path, sizeof path, info);
    }
    Bytes read(uint32_t capacity, uint32_t offset = 0, uint32_t expected = 0) const {
        Bytes buffer(capacity);
        uint32_t length = capacity;
        EXPECT_EQ(scard_ReadEFBinary(card, nullptr, offset, buffer.data(), &length, 0), expected);
        buffer.resize(length);
        return buffer;
    }
    uint64_t commands() const {
        zelmocrd_Counters counters = {};
        EXPECT_EQ(zelmocrd_GetCounters(card, &counters, 1), 0u);
        return counters.commands;
    }

    const TempDirectory directory;
    const std::string file = directory.file("a.card");
    CardHandle card = 0;
};

TEST_P(VirtualReader, ReadsFilesOfAnySize) {
    const bool extended = GetParam();
    struct {
        uint16_t fid;
        size_t size;
        uint64_t shortReads;
        uint64_t longReads;
    } const cases[] = {
        // A file that fills its last piece takes one more command to see its end, but for the greatest piece.
        {0x0100, 256, 2, 1}, {0x0101, 257, 2, 1}, {0x0102, 65535, 258, 1}, {0x0103, 0, 1, 1}, {0x0104, 10, 1, 1},
    };
    for (const auto &one : cases) {
        SCOPED_TRACE(one.size);
        ASSERT_EQ(select(one.fid), 0u);
        commands();
        EXPECT_EQ(read(66000), pattern(one.size));
        EXPECT_EQ(commands(), extended ? one.longReads : one.shortReads);
        EXPECT_EQ(read(static_cast<uint32_t>(one.size)), pattern(one.size)) << "capacity just enough";
    }
}

TEST_P(VirtualReader, ReadsFromAnOffset) {
    const Bytes all = pattern(65535);
    ASSERT_EQ(select(0x0102), 0u);
    for (const uint32_t offset : {1u, 255u, 256u, 32766u, 32767u, 32768u, 40000u, 65534u})
        EXPECT_EQ(read(66000, offset), Bytes(all.begin() + offset, all.end())) << offset;
    EXPECT_TRUE(read(10, 65535, 0xE0116B00).empty());
}

TEST_P(VirtualReader, WritesAndKeeps) {
    const uint8_t fileId[] = {0x01, 0x02};
    Bytes data(33000);
    std::iota(data.begin(), data.end(), uint8_t{3});
    ASSERT_EQ(scardcmd_SelectFile(card, 0, nullptr, 0, nullptr), 0u);
    ASSERT_EQ(scard_UpdateEF(card, fileId, 32000, data.data(), 1000), 0u);
    Bytes expected = pattern(65535);
    std::copy_n(data.begin(), 1000, expected.begin() + 32000);
    EXPECT_EQ(read(66000), expected);
    const virtualcard::CardImage kept = virtualcard::readImage(file);
    EXPECT_EQ(std::next(kept.root.files.begin(), 2)->data, expected);
    EXPECT_EQ(scard_UpdateEF(card, fileId, 65530, data.data(), 6), 0xE0116A84u);
    EXPECT_EQ(scard_UpdateEF(card, fileId, 65536, data.data(), 1), 0xE0116B00u);
}

TEST_P(VirtualReader, ResetEndsAVerification) {
    const Bytes right = fromHex("31 32 33 34");
    uint8_t retries = 77;
    EXPECT_EQ(scardcmd_VerifyPIN(card, 1, right.data(), 4, &retries, 0), 0u);
    EXPECT_EQ(scardcmd_QueryRetryCounter(card, 1, &retries, 0), 0u);
    EXPECT_EQ(retries, 255);
    EXPECT_EQ(scard_ResetCard(card), 0u);
    EXPECT_EQ(scardcmd_QueryRetryCounter(card, 1, &retries, 0), 0u);
    EXPECT_EQ(retries, 3);
}

/// What another process gets from the card in `file`: the results of a command, a reset and a transaction.
std::vector<uint32_t> resultsElsewhere(const std::string &file) {
    std::vector<uint32_t> results(3);
    int ends[2];
    if (pipe(ends) != 0)
        return {};
    const pid_t process = fork();
    if (process == 0) {
        CardHandle other = 0;
        zelmocrd_OpenCard(("virtual:" + file).c_str(), 0, &other);
        results = {scardcmd_SelectFile(other, 0, nullptr, 0, nullptr), scard_ResetCard(other),
                   scard_BeginTransaction(other)};
        _exit(write(ends[1], results.data(), 12) == 12 ? 0 : 1);
    }
    close(ends[1]);
    if (read(ends[0], results.data(), 12) != 12)
        results.clear();
    close(ends[0]);
    waitpid(process, nullptr, 0);
    return results;
}

TEST_P(VirtualReader, TransactionKeepsOtherProcessesOut) {
    const std::vector<uint32_t> busy(3, 0x8010000B);
    const std::vector<uint32_t> fine(3, 0);
    EXPECT_EQ(resultsElsewhere(file), fine);
    EXPECT_EQ(scard_EndTransaction(card, 0), 0x80100016u) << "none was begun";
    ASSERT_EQ(scard_BeginTransaction(card), 0u);
    EXPECT_EQ(resultsElsewhere(file), busy);
    ASSERT_EQ(scard_BeginTransaction(card), 0u);
    // Each write replaces the file.
    const uint8_t id[] = {0x01, 0x04};
    ASSERT_EQ(scard_UpdateEF(card, id, 0, id, sizeof id), 0u);
    EXPECT_EQ(resultsElsewhere(file), busy);
    EXPECT_EQ(scard_ResetCard(card), 0u);
    EXPECT_EQ(scard_EndTransaction(card, 0), 0u);
    EXPECT_EQ(resultsElsewhere(file), busy) << "begun twice, ended once";
    EXPECT_EQ(scard_EndTransaction(card, 0), 0u);
    EXPECT_EQ(resultsElsewhere(file), fine);
    CardHandle other = 0;
    ASSERT_EQ(zelmocrd_OpenCard(("virtual:" + file).c_str(), 0, &other), 0u);
    ASSERT_EQ(scard_BeginTransaction(other), 0u);
    EXPECT_EQ(scardcmd_SelectFile(card, 0, nullptr, 0, nullptr), 0x8010000Bu) << "within one process as well";
    EXPECT_EQ(zelmocrd_CloseCard(other), 0u);
    EXPECT_EQ(scardcmd_SelectFile(card, 0, nullptr, 0, nullptr), 0u) << "closing ends it";
}

TEST_P(VirtualReader, TransactionWaitsForAnotherAndSeesWhatItHasDone) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const uint8_t id[] = {0x01, 0x04};
    const pid_t process = fork();
    if (process == 0) {
        CardHandle other = 0;
        bool fine = zelmocrd_OpenCard(("virtual:" + file).c_str(), 0, &other) == 0 &&
                    scard_BeginTransaction(other) == 0 && write(ends[1], "!", 1) == 1;
        usleep(200 * 1000);
        fine = fine && scard_UpdateEF(other, id, 0, id, sizeof id) == 0 && scard_EndTransaction(other, 0) == 0;
        _exit(fine ? 0 : 1);
    }
    char begun = 0;
    ASSERT_EQ(::read(ends[0], &begun, 1), 1);
    EXPECT_EQ(scard_BeginTransaction(card), 0u);
    EXPECT_EQ(select(0x0104), 0u);
    EXPECT_EQ(toHex(read(2)), "01 04");
    EXPECT_EQ(scard_UpdateEF(card, id, 0, id + 1, 1), 0u) << "what others have changed is no hindrance";
    EXPECT_EQ(scard_EndTransaction(card, 0), 0u);
    int status = 1;
    waitpid(process, &status, 0);
    EXPECT_EQ(status, 0);
    close(ends[0]);
    close(ends[1]);
}

INSTANTIATE_TEST_SUITE_P(Lengths, VirtualReader, testing::Bool(),
                         [](const auto &test) { return test.param ? "Extended" : "Short"; });

}  // namespace
