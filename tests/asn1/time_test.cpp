// Time texts, seconds and comparisons.
#include <ctime>
#include <gtest/gtest.h>

#include "asn1/asn1_x680.h"

namespace {

constexpr uint32_t utc = 23;
constexpr uint32_t generalized = 24;

std::string seconds_of(uint32_t tag, std::string text) {
    const asn1_Time time = {tag, text.data()};
    uint32_t seconds = 0;
    return asn1_Time2Seconds(&seconds, &time) == 0 ? std::to_string(seconds) : "refused";
}

// True seconds by the C library, good between 1969 and 2100 where the two calendars agree.
std::string true_seconds(const char *text) {
    tm t{};
    strptime(text, "%Y-%m-%d %H:%M:%S", &t);
    return std::to_string(static_cast<uint32_t>(timegm(&t)));
}

TEST(Time, TextsBecomeSeconds) {
    const struct {
        uint32_t tag;
        const char *text;
        std::string seconds;
    } rows[] = {
        {utc, "491231235959Z", true_seconds("2049-12-31 23:59:59")},
        {utc, "700101000000Z", "0"},
        {utc, "0001010000Z", true_seconds("2000-01-01 00:00:00")},
        {utc, "00010100001Z", "refused"},
        {utc, "001231235959Z", true_seconds("2000-12-31 23:59:59")},
        {generalized, "20001231235959Z", true_seconds("2000-12-31 23:59:59")},
        {generalized, "20000229000000Z", true_seconds("2000-02-29 00:00:00")},
        {generalized, "19000229000000Z", "refused"},
        {generalized, "20000101000000+0100", true_seconds("1999-12-31 23:00:00")},
        {generalized, "20000101000000-0130", true_seconds("2000-01-01 01:30:00")},
        {generalized, "20000101000000.5Z", "refused"},
        {generalized, "20000101000000", "refused"},
        {generalized, "20000101000000Zx", "refused"},
        {generalized, "20000101000000+010", "refused"},
        {generalized, "20000101000000+2400", "refused"},
        {generalized, "20000101000000+0060", "refused"},
        {generalized, "2000010100000Z", "refused"},
        {generalized, "", "refused"},
        {utc, "000001000000Z", "refused"},
        {utc, "001301000000Z", "refused"},
        {utc, "000100000000Z", "refused"},
        {utc, "000132000000Z", "refused"},
        {utc, "000431000000Z", "refused"},
        {utc, "000101240000Z", "refused"},
        {utc, "000101006000Z", "refused"},
        {utc, "000101000060Z", "refused"},
        {utc, "0001010000", "refused"},
        {25, "000101000000Z", "refused"},
        // The calendar's own count: one day off before 1969 and after 2100.
        {generalized, "19680301000000Z", std::to_string(static_cast<uint32_t>(-57974400 + 86400))},
        {generalized, "21010101000000Z", std::to_string(static_cast<uint32_t>(4133980800 + 86400))},
        {generalized, "21000301000000Z", true_seconds("2100-03-01 00:00:00")},
    };
    for (const auto &row : rows)
        EXPECT_EQ(seconds_of(row.tag, row.text), row.seconds) << row.text;
    uint32_t seconds = 0;
    EXPECT_EQ(asn1_Time2Seconds(&seconds, nullptr), -1);
    EXPECT_EQ(asn1_UTCTime2Seconds(nullptr, "000101000000Z"), -1);
    EXPECT_EQ(asn1_GeneralizedTime2Seconds(&seconds, nullptr), -1);
}

TEST(Time, EveryDayOfOneHundredYearsAgreesWithTheCLibrary) {
    const auto start = static_cast<time_t>(0);
    for (time_t moment = start; moment < 4102444800; moment += 86400 + 3661) {
        tm t{};
        gmtime_r(&moment, &t);
        char text[32];
        std::strftime(text, sizeof text, "%Y%m%d%H%M%SZ", &t);
        uint32_t seconds = 0;
        ASSERT_EQ(asn1_GeneralizedTime2Seconds(&seconds, text), 0) << text;
        ASSERT_EQ(seconds, static_cast<uint32_t>(moment)) << text;
        char *written = asn1_Seconds2GeneralizedTime(nullptr, seconds);
        ASSERT_STREQ(written, text);
        asn1_GeneralizedTime_free(written);
    }
}

TEST(Time, Compares) {
    const auto cmp = [](uint32_t tag1, std::string a, uint32_t tag2, std::string b) {
        const asn1_Time ta = {tag1, a.data()};
        const asn1_Time tb = {tag2, b.data()};
        return asn1_Time_cmp(&ta, &tb);
    };
    EXPECT_EQ(cmp(utc, "000101000000Z", generalized, "20000101000000Z"), 0);
    EXPECT_EQ(cmp(utc, "000101000001Z", generalized, "20000101000000Z"), 1);
    EXPECT_EQ(cmp(utc, "000101000000Z", generalized, "20000101000000-0001"), 2);
    EXPECT_EQ(cmp(utc, "000101000000", utc, "000101000000Z"), -1);
    EXPECT_EQ(asn1_UTCTime_cmp("000101000000Z", "990101000000Z"), 1);
    EXPECT_EQ(asn1_GeneralizedTime_cmp("19990101000000Z", "20000101000000Z"), 2);
    EXPECT_EQ(asn1_Time_cmp(nullptr, nullptr), -1);
}

TEST(Time, WritesInTheFormOfTheRecord) {
    asn1_Time *time = asn1_Seconds2Time(nullptr, 951782400);
    EXPECT_EQ(time->tag, generalized);
    EXPECT_STREQ(time->text, "20000229000000Z");
    EXPECT_EQ(asn1_Time_get(time), time);
    EXPECT_EQ(time->tag, generalized);
    time->tag = 99;
    EXPECT_EQ(asn1_Seconds2Time(time, 0), nullptr);
    EXPECT_STRNE(time->text, "19700101000000Z");
    asn1_Time_free(time);
    char *text = asn1_Seconds2UTCTime(nullptr, 951782400);
    EXPECT_STREQ(text, "000229000000Z");
    asn1_UTCTime_free(text);
    char *now = asn1_UTCTime_get(nullptr);
    uint32_t seconds = 0;
    EXPECT_EQ(asn1_UTCTime2Seconds(&seconds, now), 0);
    EXPECT_NEAR(static_cast<double>(seconds), static_cast<double>(std::time(nullptr)), 5);
    asn1_UTCTime_free(now);
}

}  // namespace
