#include "runtime/brovy_log.h"

#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <sys/utsname.h>
#include <thread>
#include <unistd.h>

#include "runtime/brovy_log_name.h"
#include "support/alloc_fault.h"
#include "support/captured_stream.h"
#include "support/temp_directory.h"

namespace {

using testing::ContainsRegex;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::SizeIs;

constexpr uint16_t bare = LOG_NO_PREFIX;
const char *const prefix = "[0-9]{4,}:[0-9]{4,} [0-2][0-9]:[0-5][0-9]:[0-6][0-9] ";

/// A log on a stream in memory.
struct TestLog {
    CapturedStream stream;
    LogHandle *handle = nullptr;

    TestLog(uint32_t level, uint16_t flags, const char *name = "test") {
        EXPECT_EQ(logOpen(name, stream.get(), level, flags, &handle), 0);
    }
    ~TestLog() {
        logClose(handle);
    }
    /// Lines behind the header of a log of level `level`.
    std::vector<std::string> messages() const {
        auto lines = stream.lines();
        lines.erase(lines.begin(), lines.begin() + (handle->level >= LOG_LEVEL_INFO ? 3 : 2));
        return lines;
    }
};

TEST(BrovyLog, HeaderAndEndLines) {
    CapturedStream stream;
    LogHandle *handle = nullptr;
    ASSERT_EQ(logOpen("a name of more than 14", stream.get(), 4, 0, &handle), 0);
    logClose(handle);
    utsname system{};
    uname(&system);
    EXPECT_THAT(stream.lines(), ElementsAre(MatchesRegex(std::string(prefix) +
                                                         "     : Started a name of more logging on "
                                                         "[A-Z][a-z]{2} [A-Z][a-z]{2} [ 1-3][0-9] [0-9:]{8} [0-9]{4}"),
                                            MatchesRegex(std::string(prefix) + "     : Loglevel 4"),
                                            HasSubstr(std::string(" Info: ") + system.sysname + " " + system.release +
                                                      " " + system.version + " " + system.machine),
                                            MatchesRegex(std::string(prefix) + "     : End of a name of more log\\.")));
}

TEST(BrovyLog, ThePrefixNamesProcessThreadAndLevel) {
    TestLog log(6, 0);
    long thread_id = 0;
    std::thread([&] {
        thread_id = syscall(SYS_gettid);
        logMessageA(log.handle, 3, "hello %d", 7);
    }).join();
    char start[64];
    std::snprintf(start, sizeof start, "%04d:%04ld ", getpid(), thread_id);
    ASSERT_THAT(log.messages(), SizeIs(1));
    EXPECT_THAT(log.messages()[0], testing::StartsWith(start));
    EXPECT_THAT(log.messages()[0], MatchesRegex(std::string(prefix) + " Warn: hello 7"));
}

TEST(BrovyLog, LevelsFilterAndNameLines) {
    const char *const names[] = {"     ", "     ", "Error", " Warn", " Info", "Trace", "Debug", "ASN.1", "     "};
    for (uint32_t threshold = 1; threshold <= 9; ++threshold) {
        TestLog log(threshold, 0);
        for (uint32_t level = 1; level <= 8; ++level) {
            const size_t before = log.messages().size();
            logMessageA(log.handle, level, "m");
            ASSERT_EQ(log.messages().size(), before + (level <= threshold ? 1 : 0));
            if (level <= threshold) {
                EXPECT_THAT(log.messages().back(), testing::EndsWith(std::string(" ") + names[level] + ": m"));
            }
        }
    }
}

TEST(BrovyLog, LinesAreCutAt237Characters) {
    const std::string text(300, 'x');
    const std::wstring wide(300, L'x');
    TestLog with_prefix(2, 0);
    logMessageA(with_prefix.handle, 2, "%s", text.c_str());
    logMessageW(with_prefix.handle, 2, L"%ls", wide.c_str());
    const auto lines = with_prefix.messages();
    ASSERT_THAT(lines, SizeIs(2));
    EXPECT_EQ(lines[0].size(), 237u);
    EXPECT_EQ(lines[1].size(), 237u);
    EXPECT_THAT(lines[0], ContainsRegex("Error: xxx"));
    EXPECT_THAT(lines[1], MatchesRegex(std::string(prefix) + "Error: x+"));

    TestLog without(2, bare);
    logMessageA(without.handle, 2, "%s", text.c_str());
    logMessageA(without.handle, 2, "%s", text.substr(0, 237).c_str());
    logMessageW(without.handle, 2, L"%s %d", "wide", 5);
    EXPECT_THAT(without.messages(), ElementsAre(text.substr(0, 237), text.substr(0, 237), "wide 5"));
}

TEST(BrovyLog, Dumps) {
    std::vector<uint8_t> bytes;
    for (int i = 0; i < 40; ++i)
        bytes.push_back(static_cast<uint8_t>(0x38 + i));
    bytes[1] = '%';
    bytes[2] = 0x00;
    bytes[3] = 0xFF;
    struct Case {
        uint16_t flags;
        int32_t length;
        std::vector<std::string> lines;
    };
    const std::string row0 = "38 25 00 FF 3C 3D 3E 3F 40 41 42 43 44 45 46 47 ";
    const Case cases[] = {
        {0, 0, {}},
        {0, -1, {}},
        {0, 1, {"      38 "}},
        {0, 16, {"      " + row0}},
        {0, 17, {"      " + row0, "      48 "}},
        {LOG_DATA_OFFSET, 17, {"      0x0000 " + row0, "      0x0010 48 "}},
        {LOG_DATA_ASCII, 2, {"      38 25 " + std::string(14 * 3, ' ') + "8%"}},
        {LOG_DATA_ASCII, 17, {"      " + row0 + "8%..<=>?@ABCDEFG", "      48 " + std::string(15 * 3, ' ') + "H"}},
        {LOG_DATA_WIDE, 2, {"      038h 025h "}},
        {LOG_DATA_WIDE | LOG_DATA_ASCII, 1, {"      038h " + std::string(15 * 5, ' ') + "8"}},
        {LOG_DATA_WIDE | LOG_DATA_NARROW, 1, {"      38 "}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(testing::Message() << "flags " << c.flags << " length " << c.length);
        TestLog log(5, static_cast<uint16_t>(c.flags | LOG_NO_PREFIX));
        logData(log.handle, 5, bytes.data(), c.length);
        logData(log.handle, 6, bytes.data(), c.length);
        logData(log.handle, 5, nullptr, c.length);
        EXPECT_EQ(log.messages(), c.lines);
    }
}

TEST(BrovyLog, Timing) {
    TestLog log(5, bare);
    logTimeStart(log.handle);
    logTimeStop(log.handle, 5);
    // A start 1.5 seconds ago, whose microseconds may be above the present ones.
    timeval now{};
    gettimeofday(&now, nullptr);
    const int64_t start = now.tv_sec * 1000000LL + now.tv_usec - 1500000;
    log.handle->startTime = {start / 1000000, start % 1000000};
    log.handle->ticks = clock() - 2500000;
    logTimeStop(log.handle, 5);
    // One whose microseconds are above them for sure.
    do
        gettimeofday(&now, nullptr);
    while (now.tv_usec > 900000);
    log.handle->startTime = {now.tv_sec - 3, 999999};
    logTimeStop(log.handle, 5);
    EXPECT_THAT(log.messages(), ElementsAre(MatchesRegex("clock: [0-9]+\\.[0-9]{6}s time: 0\\.[0-9]{6}s"),
                                            MatchesRegex("clock: 2\\.5[0-9]{5}s time: 1\\.5[0-9]{5}s"),
                                            ContainsRegex("time: 2\\.[0-9]{6}s$")));
}

TEST(BrovyLog, NothingOpenNothingHappens) {
    logClose(nullptr);
    logMessageA(nullptr, 1, "x");
    logMessageW(nullptr, 1, L"x");
    logData(nullptr, 1, reinterpret_cast<const uint8_t *>("x"), 1);
    logTimeStart(nullptr);
    logTimeStop(nullptr, 1);
    EXPECT_EQ(logGetFP(nullptr), nullptr);
}

TEST(BrovyLog, OpenRefusals) {
    CapturedStream stream;
    LogHandle *handle = nullptr;
    EXPECT_EQ(logOpen("x", stream.get(), 0, 0, &handle), 0);
    EXPECT_EQ(handle, nullptr);
    EXPECT_EQ(logOpen("x", nullptr, 3, 0, &handle), -1);
    EXPECT_EQ(handle, nullptr);
    alloc_fault_arm(1, false);
    EXPECT_EQ(logOpen("x", stream.get(), 3, 0, &handle), -1);
    EXPECT_TRUE(alloc_fault_disarm());
    EXPECT_EQ(stream.text(), "");
    ASSERT_EQ(logOpen("x", stream.get(), 3, 0, &handle), 0);
    EXPECT_EQ(logGetFP(handle), stream.get());
    LogHandle *const first = handle;
    EXPECT_EQ(logOpen("y", stream.get(), 3, 0, &handle), -1);
    EXPECT_EQ(logOpen("y", stream.get(), 0, 0, &handle), -1) << "an open log comes before the level";
    EXPECT_EQ(handle, first);
    logClose(handle);
}

class LogFileTest : public testing::Test {
  protected:
    std::vector<std::string> files() const {
        std::vector<std::string> names;
        for (const auto &entry : std::filesystem::directory_iterator(folder))
            names.push_back(entry.path().filename());
        return names;
    }

    const TempDirectory directory;
    const std::string folder = directory.path();
};

TEST_F(LogFileTest, AppendsToAFileThatItOwns) {
    const std::string pattern = folder + "/a&p-&p.log";
    char expected[64];
    std::snprintf(expected, sizeof expected, "a%04d-&p.log", getpid());
    for (int run = 0; run < 2; ++run) {
        LogHandle *handle = nullptr;
        ASSERT_EQ(logOpenFile("file", pattern.c_str(), 2, 0, &handle), 0);
        EXPECT_NE(handle->flags & LOG_OWNS_STREAM, 0u);
        EXPECT_EQ(logOpenFile("file", pattern.c_str(), 2, 0, &handle), -1);
        logClose(handle);
    }
    EXPECT_THAT(files(), ElementsAre(expected));
    std::ifstream in(folder + "/" + expected);
    std::string line;
    int lines = 0;
    while (std::getline(in, line))
        ++lines;
    EXPECT_EQ(lines, 6);
}

TEST_F(LogFileTest, OpensNothingForNoNameNoLevelOrABadFolder) {
    LogHandle *handle = nullptr;
    EXPECT_EQ(logOpenFile("x", nullptr, 2, 0, &handle), 0);
    EXPECT_EQ(logOpenFile("x", (folder + "/f").c_str(), 0, 0, &handle), 0);
    EXPECT_EQ(logOpenFile("x", (folder + "/none/f").c_str(), 2, 0, &handle), -1);
    EXPECT_EQ(handle, nullptr);
    EXPECT_THAT(files(), IsEmpty());
}

TEST_F(LogFileTest, AFailedAllocationClosesTheFileButNoStandardStream) {
    LogHandle *handle = nullptr;
    for (const std::string &name : {folder + "/f", std::string("StdErr")}) {
        for (unsigned allowed = 1;; ++allowed) {
            alloc_fault_arm(allowed, false);
            const int result = logOpenFile("x", name.c_str(), 2, 0, &handle);
            if (!alloc_fault_disarm())
                break;
            ASSERT_EQ(result, -1) << name << ", allocation " << allowed;
            ASSERT_EQ(handle, nullptr);
            ASSERT_GE(fileno(stderr), 0);
        }
        ASSERT_NE(handle, nullptr);
        handle->flags &= ~static_cast<uint32_t>(LOG_OWNS_STREAM);  // or the test's own stderr would be closed
        FILE *stream = logGetFP(handle);
        logClose(handle);
        handle = nullptr;
        if (stream != stderr)
            std::fclose(stream);
    }
}

TEST(LogFileName, Expansion) {
    const char *login = getlogin();
    const std::string user = login != nullptr ? login : "unknown";
    char process[32];
    std::snprintf(process, sizeof process, "%04d", getpid());
    const struct {
        const char *pattern;
        std::string expected;
    } cases[] = {
        {"", ""},
        {"plain", "plain"},
        {"&u", user},
        {"&p", process},
        {"x&p-&u.log", std::string("x") + process + "-" + user + ".log"},
        {"&p&p&u&u", std::string(process) + "&p" + user + "&u"},
        {"&", "&"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.pattern);
        size_t size = 0;
        EXPECT_EQ(logExpandFileName(c.pattern, nullptr, &size), nullptr);
        ASSERT_GE(size, c.expected.size() + 1);
        std::vector<char> buffer(size, '#');
        ASSERT_EQ(logExpandFileName(c.pattern, buffer.data(), &size), buffer.data());
        EXPECT_EQ(std::string(buffer.data()), c.expected);
        EXPECT_EQ(size, c.expected.size() + 1);
    }
    size_t size = 7;
    char untouched = '#';
    EXPECT_EQ(logExpandFileName(nullptr, &untouched, &size), &untouched);
    EXPECT_EQ(size, 0u);
    EXPECT_EQ(untouched, '#');
    char small[6];
    size = sizeof small;
    EXPECT_EQ(logExpandFileName("abc&p", small, &size), nullptr) << "the process id does not fit";
}

TEST(LogFileName, Substitution) {
    const struct {
        const char *text, *pattern, *replacement;
        size_t capacity, needed;
        const char *expected;  // null: refused
    } cases[] = {
        {"a&ub", "&u", "long", 7, 7, "alongb"}, {"a&ub", "&u", "long", 6, 7, nullptr},
        {"a&ub", "&u", "", 8, 3, "ab"},         {"a&ub", "&u", nullptr, 8, 5, "a&ub"},
        {"abc", "&u", "x", 4, 4, "abc"},        {"abc", "&u", "x", 3, 4, nullptr},
        {"&u&u", "&u", "1234", 8, 7, "1234&u"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.text);
        char separate[16] = "#";
        size_t size = c.capacity;
        EXPECT_EQ(strsubst(c.text, c.pattern, c.replacement, separate, &size),
                  c.expected != nullptr ? separate : nullptr);
        EXPECT_EQ(size, c.needed);
        EXPECT_STREQ(separate, c.expected != nullptr ? c.expected : "#");
        char in_place[16];
        std::snprintf(in_place, sizeof in_place, "%s", c.text);
        size = c.capacity;
        strsubst(in_place, c.pattern, c.replacement, in_place, &size);
        EXPECT_STREQ(in_place, c.expected != nullptr ? c.expected : c.text);
    }
}

}  // namespace
