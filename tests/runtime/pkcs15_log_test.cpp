#include "token/pkcs15_log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "captured_stream.h"
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

}  // namespace
