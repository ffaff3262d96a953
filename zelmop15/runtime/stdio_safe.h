// Bounded forms of the standard print and open calls. `size` is the destination's capacity in characters. The limit
// handed to the standard call includes that call's own terminator, so `size` n stores at most n - 2 characters. Another
// terminator is always written at the limit. Truncation is told by nothing but the standard call's own result.
#ifndef ZELMOP15_RUNTIME_STDIO_SAFE_H
#define ZELMOP15_RUNTIME_STDIO_SAFE_H

#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cwchar>

extern "C" {

/// vsnprintf with the limit size - 1. 0, with nothing looked at, for a null destination or size 0.
int sprintf_safeA(char *dest, size_t size, const char *format, ...) __attribute__((format(printf, 3, 4)));
int sprintf_safeW(wchar_t *dest, size_t size, const wchar_t *format, ...);
/// The same from an argument list; EINVAL for a null destination or size 0.
int vsprintf_safe(char *dest, size_t size, const char *format, va_list arguments) __attribute__((format(printf, 3, 0)));
int vswprintf_safe(wchar_t *dest, size_t size, const wchar_t *format, va_list arguments);
/// vsnprintf with the limit `count`, which must be below `size`: it is not checked. 0 for a null destination or size 0.
int snprintf_safeA(char *dest, size_t size, size_t count, const char *format, ...)
    __attribute__((format(printf, 4, 5)));
int snprintf_safeW(wchar_t *dest, size_t size, size_t count, const wchar_t *format, ...);
/// vsnprintf with the smaller of size - 1 and `count` as the limit. 0 for a null destination or size 0.
int vsnprintf_safe(char *dest, size_t size, size_t count, const char *format, va_list arguments)
    __attribute__((format(printf, 4, 0)));
int vswnprintf_safe(wchar_t *dest, size_t size, size_t count, const wchar_t *format, va_list arguments);
/// fopen. 0, or errno with `*stream` left alone.
int fopen_safe(FILE **stream, const char *path, const char *mode);
}

#endif
