// The token layer's log and the one with a callback.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "runtime/log.h"
#include "support/captured_stream.h"
#include "token/pkcs15_log.h"
#include "zelmop15/pkcs15.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

TEST(Pkcs15Log, LivesBetweenInitAndClose) {
    CapturedStream stream;
    pkcs15_LogMessage(2, "before");
    pkcs15_LogClose();
    EXPECT_EQ(pkcs15_LogInit(stream.get(), 0), 0);
    EXPECT_EQ(pkcs15_LogInit(nullptr, 3), 0);
    EXPECT_EQ(pkcs15log, nullptr);
    for (int run = 0; run < 2; ++run) {
        ASSERT_EQ(pkcs15_LogInit(stream.get(), 3), 0);
        EXPECT_EQ(pkcs15log->flags, 22u);
        EXPECT_EQ(pkcs15_LogInit(stream.get(), 5), -1);
        EXPECT_EQ(pkcs15_LogInit(stream.get(), 0), -1);
        pkcs15_LogMessage(3, "message %d", run);
        pkcs15_LogMessage(4, "too high");
        p15asn1LogFlag = 1;
        pkcs15_LogClose();
        pkcs15_LogClose();
        EXPECT_EQ(p15asn1LogFlag, 0);
    }
    EXPECT_THAT(stream.lines(),
                ElementsAre(HasSubstr("Started PKCS#15 logging on "), HasSubstr(": Loglevel 3"),
                            HasSubstr(" Warn: message 0"), HasSubstr("End of PKCS#15 log."), HasSubstr("Started"),
                            HasSubstr(": Loglevel 3"), HasSubstr(" Warn: message 1"), HasSubstr("End of")));
    EXPECT_NE(std::fputs("the stream stays the host's", stream.get()), EOF);
}

TEST(Pkcs15Log, DumpLinesCarryOffsetAndText) {
    CapturedStream stream;
    ASSERT_EQ(pkcs15_LogInit(stream.get(), 1), 0);
    std::vector<uint8_t> bytes(20, 'A');
    logData(pkcs15log, 1, bytes.data(), 20);
    pkcs15_LogClose();
    const auto lines = stream.lines();
    ASSERT_EQ(lines.size(), 5u);
    EXPECT_THAT(lines[2], HasSubstr(":       0x0000 41 41 "));
    EXPECT_THAT(lines[3], HasSubstr(":       0x0010 41 41 41 41 "));
    EXPECT_EQ(lines[2].find("AAAA"), lines[3].find("AAAA")) << "the text column lines up";
}

std::vector<std::string> received;

uint32_t receive(uint32_t level, uint32_t kind, va_list arguments) {
    std::string text = std::to_string(level) + "/" + std::to_string(kind) + " ";
    if (kind == MIREL_LOG_TEXT) {
        const char *format = va_arg(arguments, const char *);
        char line[100];
        std::vsnprintf(line, sizeof line, format, arguments);
        text += line;
    } else {
        const auto *bytes = va_arg(arguments, const uint8_t *);
        const uint32_t length = va_arg(arguments, uint32_t);
        text += std::string(bytes, bytes + length);
    }
    received.push_back(text);
    return 70 + level;
}

TEST(MirelLog, HandsWhatPassesToTheCallback) {
    received.clear();
    EXPECT_EQ(mirel_log(1, MIREL_LOG_TEXT, "off"), 0u);
    EXPECT_EQ(mirel_log_init(5, nullptr), UINT32_MAX);
    EXPECT_EQ(log_flag, 0u);
    EXPECT_EQ(mirel_log_init(5, receive), 75u);
    EXPECT_EQ(mirel_log(5, MIREL_LOG_DATA, "abc", 2u), 75u);
    EXPECT_EQ(mirel_log(6, MIREL_LOG_TEXT, "above"), 0u);
    EXPECT_EQ(mirel_log(0, MIREL_LOG_TEXT, "zero"), 0u);
    EXPECT_EQ(mirel_log(static_cast<uint32_t>(-3), MIREL_LOG_TEXT, "%s", "signed"), 67u);
    EXPECT_EQ(mirel_log_terminate(), 0u);
    EXPECT_EQ(mirel_log(1, MIREL_LOG_TEXT, "off again"), 0u);
    EXPECT_THAT(received, testing::ElementsAre("5/1 Logging started on level 5", "5/2 ab", "4294967293/1 signed"));
}

TEST(MirelLog, AThresholdOf0LogsNothing) {
    received.clear();
    EXPECT_EQ(mirel_log_init(0, receive), 0u);
    EXPECT_EQ(mirel_log(1, MIREL_LOG_TEXT, "x"), 0u);
    EXPECT_TRUE(received.empty());
    mirel_log_terminate();
}

}  // namespace
