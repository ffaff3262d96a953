#include <cerrno>
#include <cstring>
#include <gtest/gtest.h>
#include <string>

#include "runtime/stdio_safe.h"
#include "runtime/str_safe.h"
#include "runtime/time_safe.h"

namespace {

constexpr size_t room = 12;
constexpr char source[] = "abcdefgh";  // 8 characters, more than most sizes below

template <class Char>
int print_list(int (*print)(Char *, size_t, const Char *, va_list), Char *dest, size_t size, const Char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int result = print(dest, size, format, arguments);
    va_end(arguments);
    return result;
}

template <class Char>
int print_list_n(int (*print)(Char *, size_t, size_t, const Char *, va_list), Char *dest, size_t size, size_t count,
                 const Char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int result = print(dest, size, count, format, arguments);
    va_end(arguments);
    return result;
}

/// One wrapper on narrow text; wide ones go through narrow buffers.
using Wrapper = int (*)(char *dest, size_t size, size_t count);

template <auto Print>
int widened(char *dest, size_t size, size_t count) {
    wchar_t wide[room + 1];
    for (size_t i = 0; i < room; ++i)
        wide[i] = dest != nullptr ? static_cast<wchar_t>(dest[i]) : L'#';
    const int result = Print(dest != nullptr ? wide : nullptr, size, count);
    for (size_t i = 0; dest != nullptr && i < room; ++i)
        dest[i] = static_cast<char>(wide[i]);
    return result;
}

constexpr auto run_sprintfA = [](char *d, size_t s, size_t) { return sprintf_safeA(d, s, "%s", source); };
constexpr auto run_snprintfA = [](char *d, size_t s, size_t n) { return snprintf_safeA(d, s, n, "%s", source); };
constexpr auto run_vsprintf = [](char *d, size_t s, size_t) { return print_list(vsprintf_safe, d, s, "%s", source); };
constexpr auto run_vsnprintf = [](char *d, size_t s, size_t n) {
    return print_list_n(vsnprintf_safe, d, s, n, "%s", source);
};
constexpr auto run_sprintfW = [](wchar_t *d, size_t s, size_t) { return sprintf_safeW(d, s, L"%s", source); };
constexpr auto run_snprintfW = [](wchar_t *d, size_t s, size_t n) { return snprintf_safeW(d, s, n, L"%s", source); };
constexpr auto run_vswprintf = [](wchar_t *d, size_t s, size_t) {
    return print_list(vswprintf_safe, d, s, L"%s", source);
};
constexpr auto run_vswnprintf = [](wchar_t *d, size_t s, size_t n) {
    return print_list_n(vswnprintf_safe, d, s, n, L"%s", source);
};
constexpr auto run_strcpy = [](char *d, size_t s, size_t) { return strcpy_safe(d, s, source); };
constexpr auto run_strncpy = [](char *d, size_t s, size_t n) { return strncpy_safe(d, s, source, n); };
constexpr auto run_wcscpy = [](wchar_t *d, size_t s, size_t) { return wcscpy_safe(d, s, L"abcdefgh"); };
constexpr auto run_strcat = [](char *d, size_t s, size_t) { return strcat_safe(d, s, source); };

struct Case {
    const char *name;
    Wrapper run;
    size_t size, count;
    const char *before;    // what the destination holds
    const char *expected;  // afterwards; null: untouched
    int result;
};

const Case cases[] = {
    {"sprintf_safeA fits", run_sprintfA, 10, 0, "", source, 8},
    {"sprintf_safeA cuts at size - 2", run_sprintfA, 6, 0, "", "abcd", 8},
    {"sprintf_safeA size 1", run_sprintfA, 1, 0, "#", "", 8},
    {"sprintf_safeA size 0", run_sprintfA, 0, 0, "#", nullptr, 0},
    {"snprintf_safeA cuts at count - 1", run_snprintfA, 10, 4, "", "abc", 8},
    {"snprintf_safeA size 0", run_snprintfA, 0, 4, "#", nullptr, 0},
    {"vsprintf_safe cuts at size - 2", run_vsprintf, 6, 0, "", "abcd", 8},
    {"vsprintf_safe size 0", run_vsprintf, 0, 0, "#", nullptr, EINVAL},
    {"vsnprintf_safe takes the count", run_vsnprintf, 10, 4, "", "abc", 8},
    {"vsnprintf_safe takes the size", run_vsnprintf, 5, 9, "", "abc", 8},
    {"vsnprintf_safe size 0", run_vsnprintf, 0, 9, "#", nullptr, 0},
    {"sprintf_safeW fits", widened<run_sprintfW>, 10, 0, "", source, 8},
    {"sprintf_safeW size 0", widened<run_sprintfW>, 0, 0, "#", nullptr, 0},
    {"snprintf_safeW fits", widened<run_snprintfW>, 11, 9, "", source, 8},
    {"snprintf_safeW size 0", widened<run_snprintfW>, 0, 9, "#", nullptr, 0},
    {"vswprintf_safe fits", widened<run_vswprintf>, 10, 0, "", source, 8},
    {"vswprintf_safe reports an overflow", widened<run_vswprintf>, 6, 0, "", "abcd", -1},
    {"vswprintf_safe size 0", widened<run_vswprintf>, 0, 0, "#", nullptr, EINVAL},
    {"vswnprintf_safe takes the count", widened<run_vswnprintf>, 12, 9, "", source, 8},
    {"vswnprintf_safe size 0", widened<run_vswnprintf>, 0, 9, "#", nullptr, 0},
    {"strcpy_safe fits", run_strcpy, 9, 0, "", source, 0},
    {"strcpy_safe cuts at size - 1", run_strcpy, 4, 0, "", "abc", 0},
    {"strcpy_safe size 1", run_strcpy, 1, 0, "#", "", 0},
    {"strcpy_safe size 0", run_strcpy, 0, 0, "#", nullptr, EINVAL},
    {"strncpy_safe takes the count", run_strncpy, 9, 3, "", "abc", 0},
    {"strncpy_safe count above the size", run_strncpy, 4, 9, "", "abc", 0},
    {"strncpy_safe size 0", run_strncpy, 0, 9, "#", nullptr, EINVAL},
    {"wcscpy_safe cuts at size - 1", widened<run_wcscpy>, 4, 0, "", "abc", 0},
    {"wcscpy_safe size 0", widened<run_wcscpy>, 0, 0, "#", nullptr, EINVAL},
    {"strcat_safe appends", run_strcat, 12, 0, "XY", "XYabcdefgh", EINVAL},
    {"strcat_safe appends at most size - 1", run_strcat, 4, 0, "", "abc", EINVAL},
    {"strcat_safe size 0", run_strcat, 0, 0, "#", nullptr, EINVAL},
};

TEST(BoundedWrappers, LimitsTerminatorsAndResults) {
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        char dest[room];
        std::memset(dest, '#', sizeof dest);
        std::strcpy(dest, c.before);
        EXPECT_EQ(c.run(dest, c.size, c.count), c.result);
        EXPECT_STREQ(std::string(dest).c_str(), c.expected != nullptr ? c.expected : c.before);
        for (size_t i = std::max(c.size, std::strlen(c.before) + 1); i < room; ++i)
            EXPECT_EQ(dest[i], '#') << "written past the size";
    }
}

TEST(BoundedWrappers, RefuseANullDestination) {
    for (const Case &c : cases) {
        if (c.expected == nullptr) {
            EXPECT_EQ(c.run(nullptr, room, 4), c.result) << c.name;
        }
    }
}

TEST(BoundedWrappers, OpenReportsErrnoAndLeavesTheStreamAlone) {
    FILE *const mark = stdin;
    FILE *stream = mark;
    EXPECT_EQ(fopen_safe(&stream, "/nonexistent/file", "r"), ENOENT);
    EXPECT_EQ(stream, mark);
    ASSERT_EQ(fopen_safe(&stream, "/dev/null", "r"), 0);
    EXPECT_NE(stream, mark);
    std::fclose(stream);
}

TEST(BoundedWrappers, Times) {
    const time_t moment = 1234567890;
    std::tm reference{};
    std::tm copied{};
    localtime_r(&moment, &reference);
    ASSERT_EQ(localtime_safe(&copied, &moment), 0);
    EXPECT_EQ(mktime(&copied), moment);
    EXPECT_STREQ(copied.tm_zone, reference.tm_zone);
    EXPECT_EQ(copied.tm_gmtoff, reference.tm_gmtoff);
    EXPECT_EQ(copied.tm_yday, reference.tm_yday);
    EXPECT_EQ(copied.tm_wday, reference.tm_wday);
    const time_t beyond = INT64_MAX;
    EXPECT_EQ(localtime_safe(&copied, &beyond), EINVAL);

    char whole[32];
    char expected[32];
    EXPECT_EQ(asctime_safe(whole, sizeof whole, &reference), 0);
    EXPECT_STREQ(whole, asctime_r(&reference, expected));
    char cut[4];
    EXPECT_EQ(asctime_safe(cut, sizeof cut, &reference), 0);
    EXPECT_EQ(std::string(cut), std::string(expected).substr(0, 3));
}

}  // namespace
