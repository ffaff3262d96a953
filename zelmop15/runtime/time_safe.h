// Copies of the standard calls' static results. Two threads must not call them at the same time.
#ifndef ZELMOP15_RUNTIME_TIME_SAFE_H
#define ZELMOP15_RUNTIME_TIME_SAFE_H

#include <cstddef>
#include <ctime>

extern "C" {

/// Local broken-down time of `*value`. 0, or EINVAL with `*out` left alone when the time cannot be represented.
int localtime_safe(std::tm *out, const time_t *value);
/// The text of asctime, newline included, cut to size - 1 characters. `dest` must not be null, nor `size` 0. Always 0.
int asctime_safe(char *dest, size_t size, const std::tm *value);
}

#endif
