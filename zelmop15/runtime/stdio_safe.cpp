#include "runtime/stdio_safe.h"

#include <algorithm>
#include <cerrno>

namespace {

int print(char *dest, size_t limit, const char *format, va_list arguments) __attribute__((format(printf, 3, 0)));

int print(char *dest, size_t limit, const char *format, va_list arguments) {
    return std::vsnprintf(dest, limit, format, arguments);
}

int print(wchar_t *dest, size_t limit, const wchar_t *format, va_list arguments) {
    const int result = std::vswprintf(dest, limit, format, arguments);
    // A wide text that is cut is left without the call's own terminator.
    if (result < 0 && limit != 0)
        dest[limit - 1] = 0;
    return result;
}

/// Prints with `limit` and terminates at `terminator`, or returns `refusal` where there is no room at all.
template <class Char>
int print_bounded(Char *dest, size_t size, size_t limit, size_t terminator, int refusal, const Char *format,
                  va_list arguments) {
    if (dest == nullptr || size == 0)
        return refusal;
    const int result = print(dest, limit, format, arguments);
    dest[terminator] = 0;
    return result;
}

}  // namespace

extern "C" {

int sprintf_safeA(char *dest, size_t size, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int result = print_bounded(dest, size, size - 1, size - 1, 0, format, arguments);
    va_end(arguments);
    return result;
}

int sprintf_safeW(wchar_t *dest, size_t size, const wchar_t *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int result = print_bounded(dest, size, size - 1, size - 1, 0, format, arguments);
    va_end(arguments);
    return result;
}

int vsprintf_safe(char *dest, size_t size, const char *format, va_list arguments) {
    return print_bounded(dest, size, size - 1, size - 1, EINVAL, format, arguments);
}

int vswprintf_safe(wchar_t *dest, size_t size, const wchar_t *format, va_list arguments) {
    return print_bounded(dest, size, size - 1, size - 1, EINVAL, format, arguments);
}

int snprintf_safeA(char *dest, size_t size, size_t count, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int result = print_bounded(dest, size, count, std::min(size, count), 0, format, arguments);
    va_end(arguments);
    return result;
}

int snprintf_safeW(wchar_t *dest, size_t size, size_t count, const wchar_t *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int result = print_bounded(dest, size, count, std::min(size, count), 0, format, arguments);
    va_end(arguments);
    return result;
}

int vsnprintf_safe(char *dest, size_t size, size_t count, const char *format, va_list arguments) {
    const size_t limit = std::min(size - 1, count);
    return print_bounded(dest, size, limit, limit, 0, format, arguments);
}

int vswnprintf_safe(wchar_t *dest, size_t size, size_t count, const wchar_t *format, va_list arguments) {
    const size_t limit = std::min(size - 1, count);
    return print_bounded(dest, size, limit, limit, 0, format, arguments);
}

int fopen_safe(FILE **stream, const char *path, const char *mode) {
    FILE *opened = std::fopen(path, mode);
    if (opened == nullptr)
        return errno;
    *stream = opened;
    return 0;
}
}
