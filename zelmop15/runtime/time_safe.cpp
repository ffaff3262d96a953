#include "runtime/time_safe.h"

#include <cerrno>
#include <cstring>

extern "C" {

int localtime_safe(std::tm *out, const time_t *value) {
    const std::tm *local = std::localtime(value);
    if (local == nullptr)
        return EINVAL;
    out->tm_sec = local->tm_sec;
    out->tm_min = local->tm_min;
    out->tm_hour = local->tm_hour;
    out->tm_mday = local->tm_mday;
    out->tm_mon = local->tm_mon;
    out->tm_year = local->tm_year;
    out->tm_wday = local->tm_wday;
    out->tm_yday = local->tm_yday;
    out->tm_isdst = local->tm_isdst;
    out->tm_gmtoff = local->tm_gmtoff;
    out->tm_zone = local->tm_zone;
    return 0;
}

int asctime_safe(char *dest, size_t size, const std::tm *value) {
    const char *text = std::asctime(value);
    // A year beyond the range of int has no text.
    std::strncpy(dest, text != nullptr ? text : "", size - 1);
    dest[size - 1] = 0;
    return 0;
}
}
