#include "runtime/fileio.h"

#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <unistd.h>

#include "support/alloc_fault.h"
#include "support/octets.h"
#include "support/seeded.h"
#include "support/temp_directory.h"

namespace {

class FileIo : public testing::Test {
  protected:
    std::string file(const Octets &content) const {
        std::string path = directory_.file("content");
        std::ofstream(path, std::ios::binary)
            .write(reinterpret_cast<const char *>(content.data()), std::ssize(content));
        return path;
    }
    static Octets content(const std::string &path) {
        std::ifstream in(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }

    TempDirectory directory_;
};

TEST_F(FileIo, ReadsWhatIsThere) {
    for (const size_t size : {size_t{0}, size_t{1}, size_t{4096}, size_t{100001}}) {
        const Octets expected = zelmo_test::Seeded(size).octets(size);
        const std::string path = file(expected);
        uint32_t length = 77;
        EXPECT_EQ(file_len(path.c_str(), &length), 0);
        EXPECT_EQ(length, size);
        for (const uint32_t spare : {0u, 9u}) {
            Octets buffer(size + spare, 0xEE);
            length = static_cast<uint32_t>(buffer.size());
            EXPECT_EQ(file_read(path.c_str(), buffer.data(), &length), 0);
            EXPECT_EQ(length, size);
            EXPECT_EQ(buffer, expected + Octets(spare, 0xEE));
        }
        Bytestring *bs = nullptr;
        ASSERT_EQ(file_read_bs(path.c_str(), &bs), 0);
        EXPECT_EQ(Octets(bs->data, bs->data + bs->len), expected);
        EXPECT_EQ(bs->data == nullptr, size == 0);
        Bytestring_free(bs);
    }
}

TEST_F(FileIo, ReadsNothingIntoABufferThatIsTooSmall) {
    Octets buffer(2, 0xEE);
    uint32_t length = 2;
    EXPECT_EQ(file_read(file({1, 2, 3}).c_str(), buffer.data(), &length), -1);
    EXPECT_EQ(length, 2u);
    EXPECT_EQ(buffer, Octets(2, 0xEE));
}

TEST_F(FileIo, RefusesWhatIsNoRegularFile) {
    const std::string directory = directory_.path().string(), missing = directory_.file("missing");
    for (const char *path : {static_cast<const char *>(nullptr), directory.c_str(), missing.c_str(), "/dev/null"}) {
        uint32_t length = 77;
        uint8_t buffer[77] = {};
        Bytestring some = {}, *bs = &some;
        EXPECT_EQ(file_len(path, &length), -1);
        EXPECT_EQ(file_read(path, buffer, &length), -1);
        EXPECT_EQ(length, 77u);
        EXPECT_EQ(file_read_bs(path, &bs), -1);
        EXPECT_EQ(bs, nullptr);
    }
    EXPECT_EQ(file_len(file({1}).c_str(), nullptr), -1);
}

TEST_F(FileIo, RefusesSizesBeyond32Bits) {
    const std::string path = file({});
    uint32_t length = 0;
    std::filesystem::resize_file(path, UINT32_MAX);
    EXPECT_EQ(file_len(path.c_str(), &length), 0);
    EXPECT_EQ(length, UINT32_MAX);
    std::filesystem::resize_file(path, uintmax_t{UINT32_MAX} + 1);
    EXPECT_EQ(file_len(path.c_str(), &length), -1);
    uint8_t octet = 0;
    EXPECT_EQ(file_read(path.c_str(), &octet, &length), -1);
}

TEST_F(FileIo, RefusesAFileThatGivesLessThanItsSize) {
    const char *const path = "/sys/devices/system/cpu/online";  // says 4096 octets, and has a few
    uint32_t length = 0;
    if (file_len(path, &length) != 0 || length < 100)
        GTEST_SKIP() << "no such file on this system";
    Octets buffer(length);
    EXPECT_EQ(file_read(path, buffer.data(), &length), -1);
    EXPECT_EQ(length, buffer.size());
    Bytestring *bs = nullptr;
    EXPECT_EQ(file_read_bs(path, &bs), -1);
    EXPECT_EQ(bs, nullptr);
}

TEST_F(FileIo, WritesOverWhatWasThere) {
    const std::string path = file(Octets(1000, 1));
    for (const Octets &expected : {Octets{1, 0, 2}, Octets(), Octets(100001, 7)}) {
        const Bytestring bs = {static_cast<uint32_t>(expected.size()), const_cast<uint8_t *>(expected.data())};
        EXPECT_EQ(file_write_bs(path.c_str(), &bs), 0);
        EXPECT_EQ(content(path), expected);
    }
    EXPECT_EQ(file_write(path.c_str(), nullptr, 0), 0);
    EXPECT_EQ(content(path), Octets());
}

TEST_F(FileIo, TellsWhenItCannotWrite) {
    const Octets much(1 << 20);
    EXPECT_EQ(file_write(directory_.path().c_str(), much.data(), 1), -1);
    EXPECT_EQ(file_write(directory_.file("missing/x").c_str(), much.data(), 1), -1);
    // The little is noticed at the close only.
    EXPECT_EQ(file_write("/dev/full", much.data(), 1), -1);
    EXPECT_EQ(file_write("/dev/full", much.data(), static_cast<uint32_t>(much.size())), -1);
}

TEST_F(FileIo, WritesToStandardOutputWithoutAPath) {
    const std::string path = directory_.file("output");
    std::fflush(stdout);
    const int kept = dup(STDOUT_FILENO), target = open(path.c_str(), O_WRONLY | O_CREAT, 0600);
    dup2(target, STDOUT_FILENO);
    const Bytestring bs = {2, const_cast<uint8_t *>(reinterpret_cast<const uint8_t *>("cd"))};
    const int32_t first = file_write(nullptr, reinterpret_cast<const uint8_t *>("ab"), 2),
                  second = file_write_bs(nullptr, &bs);
    const int flushed = std::fflush(stdout);
    dup2(kept, STDOUT_FILENO);
    close(kept);
    close(target);
    EXPECT_EQ(first, 0);
    EXPECT_EQ(second, 0);
    EXPECT_EQ(flushed, 0);
    EXPECT_EQ(content(path), (Octets{'a', 'b', 'c', 'd'}));
}

TEST_F(FileIo, ShortMemoryIsAFailure) {
    const std::string path = file({1, 2, 3});
    for (unsigned n = 1; n <= 2; ++n) {
        Bytestring some = {}, *bs = &some;
        alloc_fault_arm(n, true);
        EXPECT_EQ(file_read_bs(path.c_str(), &bs), -1);
        EXPECT_TRUE(alloc_fault_disarm());
        EXPECT_EQ(bs, nullptr);
    }
}

TEST_F(FileIo, ANullValueIsAProgrammingError) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(file_write_bs(directory_.file("x").c_str(), nullptr),
                 "Assertion `bs != \\(\\(void \\*\\)0\\)' failed");
}

}  // namespace
