#include "runtime/str_safe.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <cwchar>

extern "C" {

int strcpy_safe(char *dest, size_t size, const char *source) {
    return strncpy_safe(dest, size, source, size);
}

int strncpy_safe(char *dest, size_t size, const char *source, size_t count) {
    if (dest == nullptr || size == 0)
        return EINVAL;
    const size_t limit = std::min(size - 1, count);
    std::strncpy(dest, source, limit);
    dest[limit] = 0;
    return 0;
}

int wcscpy_safe(wchar_t *dest, size_t size, const wchar_t *source) {
    if (dest == nullptr || size == 0)
        return EINVAL;
    std::wcsncpy(dest, source, size - 1);
    dest[size - 1] = 0;
    return 0;
}

int strcat_safe(char *dest, size_t size, const char *source) {
    if (dest != nullptr && size != 0) {
        std::strncat(dest, source, size - 1);
        dest[size - 1] = 0;
    }
    return EINVAL;
}
}
