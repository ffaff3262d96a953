// Times as seconds: reading a time text, writing one, and comparing two.
#include <cctype>
#include <cstring>
#include <ctime>

#include "asn1/asn1_x680.h"
#include "runtime/owned.h"
#include "runtime/stdio_safe.h"

namespace {

constexpr uint32_t utc_time = 23;
constexpr uint32_t generalized_time = 24;
constexpr size_t utc_text = 18;          // buffer of asn1_UTCTime_new
constexpr size_t generalized_text = 27;  // buffer of asn1_GeneralizedTime_new

// A row for a common year, a row for a leap year.
constexpr uint16_t days_before_month[2][12] = {{0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334},
                                               {0, 31, 60, 91, 121, 152, 182, 213, 244, 274, 305, 335}};
constexpr uint16_t days_in_month[2][12] = {{31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31},
                                           {31, 29, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31}};

struct Moment {
    int year, month, day, hour, minute, second;
    int offset_sign, offset_hours, offset_minutes;
};

// Reads numbers from a text; one that is not there leaves the reader failed.
class DigitReader {
  public:
    explicit DigitReader(const char *text) : text_(text) {}
    int number(int digits) {
        int value = 0;
        for (int i = 0; i < digits; ++i) {
            if (!at_digit()) {
                failed_ = true;
                return 0;
            }
            value = value * 10 + (*text_++ - '0');
        }
        return value;
    }
    bool at_digit() const {
        return std::isdigit(static_cast<unsigned char>(*text_)) != 0;
    }
    char character() {
        return *text_ != '\0' ? *text_++ : '\0';
    }
    bool finished() const {
        return !failed_ && *text_ == '\0';
    }

  private:
    const char *text_;
    bool failed_ = false;
};

bool read_zone(DigitReader &reader, Moment &moment) {
    switch (reader.character()) {
        case 'Z':
            return true;
        case '+':
            moment.offset_sign = 1;
            break;
        case '-':
            moment.offset_sign = -1;
            break;
        default:
            return false;
    }
    moment.offset_hours = reader.number(2);
    moment.offset_minutes = reader.number(2);
    return true;
}

bool read_text(const asn1_Time *time, Moment &moment) {
    DigitReader reader(time->text);
    const bool utc = time->tag == utc_time;
    moment.year = reader.number(utc ? 2 : 4);
    if (utc)
        moment.year += moment.year < 50 ? 2000 : 1900;
    moment.month = reader.number(2);
    moment.day = reader.number(2);
    moment.hour = reader.number(2);
    moment.minute = reader.number(2);
    if (!utc || reader.at_digit())
        moment.second = reader.number(2);
    return read_zone(reader, moment) && reader.finished();
}

int leap_row(int year) {
    return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0) ? 1 : 0;
}

bool in_range(const Moment &m) {
    return m.month >= 1 && m.month <= 12 && m.day >= 1 && m.day <= days_in_month[leap_row(m.year)][m.month - 1] &&
           m.hour <= 23 && m.minute <= 59 && m.second <= 59 && m.offset_hours <= 23 && m.offset_minutes <= 59;
}

// Every fourth year counts as leap here, centuries included, and division truncates towards zero, while the choice of
// the row follows the full rule: seconds are compared with each other and never shown.
uint32_t count_seconds(const Moment &m) {
    const int days =
        (m.year - 1970) * 365 + (m.year - 1969) / 4 + days_before_month[leap_row(m.year)][m.month - 1] + m.day - 1;
    const uint32_t local =
        ((static_cast<uint32_t>(days) * 24 + static_cast<uint32_t>(m.hour)) * 60 + static_cast<uint32_t>(m.minute)) *
            60 +
        static_cast<uint32_t>(m.second);
    const int offset = m.offset_sign * (m.offset_hours * 60 + m.offset_minutes) * 60;
    return local - static_cast<uint32_t>(offset);
}

tm broken_down(uint32_t seconds) {
    const auto moment = static_cast<time_t>(seconds);
    tm utc{};
    gmtime_r(&moment, &utc);
    return utc;
}

uint32_t now() {
    return static_cast<uint32_t>(std::time(nullptr));
}

asn1_Time borrowed(uint32_t tag, const char *text) {
    return {tag, const_cast<char *>(text)};  // read only by what follows
}

}  // namespace

extern "C" {

int asn1_Time2Seconds(uint32_t *seconds, const asn1_Time *time) {
    if (seconds == nullptr || time == nullptr || (time->tag != utc_time && time->tag != generalized_time) ||
        time->text == nullptr)
        return -1;
    Moment moment{};
    if (!read_text(time, moment) || !in_range(moment))
        return -1;
    *seconds = count_seconds(moment);
    return 0;
}

int asn1_UTCTime2Seconds(uint32_t *seconds, const char *text) {
    const asn1_Time time = borrowed(utc_time, text);
    return asn1_Time2Seconds(seconds, &time);
}

int asn1_GeneralizedTime2Seconds(uint32_t *seconds, const char *text) {
    const asn1_Time time = borrowed(generalized_time, text);
    return asn1_Time2Seconds(seconds, &time);
}

char *asn1_Seconds2UTCTime(char *buffer, uint32_t seconds) {
    if (buffer == nullptr && (buffer = asn1_UTCTime_new()) == nullptr)
        return nullptr;
    const tm t = broken_down(seconds);
    sprintf_safeA(buffer, utc_text, "%.2d%.2d%.2d%.2d%.2d%.2dZ", t.tm_year % 100, t.tm_mon + 1, t.tm_mday, t.tm_hour,
                  t.tm_min, t.tm_sec);
    return buffer;
}

char *asn1_Seconds2GeneralizedTime(char *buffer, uint32_t seconds) {
    if (buffer == nullptr && (buffer = asn1_GeneralizedTime_new()) == nullptr)
        return nullptr;
    const tm t = broken_down(seconds);
    sprintf_safeA(buffer, generalized_text, "%.4d%.2d%.2d%.2d%.2d%.2dZ", t.tm_year + 1900, t.tm_mon + 1, t.tm_mday,
                  t.tm_hour, t.tm_min, t.tm_sec);
    return buffer;
}

asn1_Time *asn1_Seconds2Time(asn1_Time *time, uint32_t seconds) {
    if (time == nullptr) {
        Owned<asn1_Time, asn1_Time_free> fresh(asn1_Time_new());
        if (fresh == nullptr)
            return nullptr;
        fresh->tag = generalized_time;
        fresh->text = asn1_Seconds2GeneralizedTime(nullptr, seconds);
        return fresh->text != nullptr ? fresh.release() : nullptr;
    }
    if (time->tag != utc_time && time->tag != generalized_time)
        return nullptr;
    char *const text = time->tag == utc_time ? asn1_Seconds2UTCTime(time->text, seconds)
                                             : asn1_Seconds2GeneralizedTime(time->text, seconds);
    if (text == nullptr)
        return nullptr;
    time->text = text;
    return time;
}

char *asn1_UTCTime_get(char *buffer) {
    return asn1_Seconds2UTCTime(buffer, now());
}

char *asn1_GeneralizedTime_get(char *buffer) {
    return asn1_Seconds2GeneralizedTime(buffer, now());
}

asn1_Time *asn1_Time_get(asn1_Time *time) {
    return asn1_Seconds2Time(time, now());
}

int asn1_Time_cmp(const asn1_Time *a, const asn1_Time *b) {
    uint32_t first = 0;
    uint32_t second = 0;
    if (asn1_Time2Seconds(&first, a) != 0 || asn1_Time2Seconds(&second, b) != 0)
        return -1;
    const auto difference = static_cast<int32_t>(first - second);
    return difference == 0 ? 0 : difference > 0 ? 1 : 2;
}

int asn1_UTCTime_cmp(const char *a, const char *b) {
    const asn1_Time first = borrowed(utc_time, a);
    const asn1_Time second = borrowed(utc_time, b);
    return asn1_Time_cmp(&first, &second);
}

int asn1_GeneralizedTime_cmp(const char *a, const char *b) {
    const asn1_Time first = borrowed(generalized_time, a);
    const asn1_Time second = borrowed(generalized_time, b);
    return asn1_Time_cmp(&first, &second);
}
}
