#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "runtime/log.h"

namespace {

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
