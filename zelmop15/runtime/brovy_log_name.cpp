#include "runtime/brovy_log_name.h"

#include <algorithm>
#include <cstring>
#include <unistd.h>

#include "runtime/stdio_safe.h"
#include "runtime/str_safe.h"

namespace {

constexpr const char user_mark[] = "&u";
constexpr const char process_mark[] = "&p";

/// What the two marks stand for.
struct Replacements {
    char user[256];
    char process[32];

    Replacements() {
        // Processes without a terminal or a login have no login name.
        const char *login = getlogin();
        sprintf_safeA(user, sizeof user, "%s", login != nullptr ? login : "unknown");
        sprintf_safeA(process, sizeof process, "%04d", static_cast<int>(getpid()));
    }

    /// Enough for any pattern of this length: a mark takes two characters, and what replaces it may take none.
    size_t upper_bound(size_t pattern_length) const {
        const size_t mark = sizeof user_mark - 1;
        return pattern_length + std::max(std::strlen(user), mark) + std::max(std::strlen(process), mark) + 1;
    }
};

}  // namespace

extern "C" {

char *strsubst(const char *text, const char *pattern, const char *replacement, char *output, size_t *size) {
    const size_t capacity = *size;
    const size_t text_length = std::strlen(text);
    const char *found = replacement != nullptr ? std::strstr(text, pattern) : nullptr;
    const size_t pattern_length = found != nullptr ? std::strlen(pattern) : 0;
    const size_t replacement_length = found != nullptr ? std::strlen(replacement) : 0;
    *size = text_length - pattern_length + replacement_length + 1;
    if (output == nullptr || *size > capacity)
        return nullptr;

    const size_t head = found != nullptr ? static_cast<size_t>(found - text) : text_length;
    const size_t tail = text_length - head - pattern_length + 1;
    // The tail goes first: in place, the head stands where it is and the tail would be overwritten.
    std::memmove(output + head + replacement_length, text + head + pattern_length, tail);
    std::memmove(output, text, head);
    if (replacement_length != 0)
        std::memcpy(output + head, replacement, replacement_length);
    return output;
}

char *logExpandFileName(const char *pattern, char *buffer, size_t *size) {
    if (pattern == nullptr) {
        *size = 0;
        return buffer;
    }
    const Replacements replacements;
    if (buffer == nullptr) {
        *size = replacements.upper_bound(std::strlen(pattern));
        return nullptr;
    }
    const size_t capacity = *size;
    if (strcpy_safe(buffer, capacity, pattern) != 0)
        return nullptr;
    // The capacity stays the caller's: each substitution reports the size of its own result.
    if (strsubst(buffer, user_mark, replacements.user, buffer, size) == nullptr)
        return nullptr;
    *size = capacity;
    return strsubst(buffer, process_mark, replacements.process, buffer, size);
}
}
