// File names of logs: "&u" stands for the login name, "&p" for the process id.
#ifndef ZELMOP15_RUNTIME_BROVY_LOG_NAME_H
#define ZELMOP15_RUNTIME_BROVY_LOG_NAME_H

#include <cstddef>

extern "C" {

/// Expands the first "&u" and the first "&p" of `pattern`. Without a buffer only `*size` is set, to octets that
/// suffice. With one, `*size` is its capacity on entry and the size of the result, terminator included, on return. The
/// result is the buffer, or null when a substitution did not fit. A null pattern sets `*size` to 0 and leaves the
/// buffer alone.
char *logExpandFileName(const char *pattern, char *buffer, size_t *size);

/// Writes `text` with the first `pattern` in it replaced to `output`, which may be `text` itself or null. A null
/// replacement replaces nothing. `*size` is the capacity of `output` on entry and the size needed on return. Null when
/// that does not fit, with `output` as it was.
char *strsubst(const char *text, const char *pattern, const char *replacement, char *output, size_t *size);
}

#endif
