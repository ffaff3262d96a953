// Bounded forms of the standard copy calls. `size` is the destination's capacity in characters; a terminator is always
// written at the limit. EINVAL for a null destination or size 0, otherwise 0; a cut text is not reported.
#ifndef ZELMOP15_RUNTIME_STR_SAFE_H
#define ZELMOP15_RUNTIME_STR_SAFE_H

#include <cstddef>

extern "C" {

/// Copies at most size - 1 characters and fills the rest of the destination with zeros.
int strcpy_safe(char *dest, size_t size, const char *source);
/// Copies at most the smaller of size - 1 and `count` characters.
int strncpy_safe(char *dest, size_t size, const char *source, size_t count);
/// Copies at most size - 1 wide characters and fills the rest of the destination with zeros.
int wcscpy_safe(wchar_t *dest, size_t size, const wchar_t *source);
/// Appends at most size - 1 characters, whatever the destination holds already: the caller must know that there is
/// room. The result is always EINVAL and says nothing.
int strcat_safe(char *dest, size_t size, const char *source);
}

#endif
