// The assertion that stays in the product, whatever the build type.
#ifndef ZELMOP15_RUNTIME_ASSERTION_H
#define ZELMOP15_RUNTIME_ASSERTION_H

/// Writes "FILE:LINE: FUNCTION: Assertion `TEXT' failed." to stderr and aborts.
[[noreturn]] void assertion_failed(const char *text, const char *file, int line, const char *function);

/// Ends the process when `condition` does not hold; `text` is the condition as it is to be reported. For programming
/// errors only: what a card, a file or a user sends gets a result instead.
#define ZELMO_ASSERT(condition, text)                                                        \
    do {                                                                                     \
        if (!(condition)) [[unlikely]]                                                       \
            assertion_failed(text, __FILE__, __LINE__, static_cast<const char *>(__func__)); \
    } while (false)

/// Ends the process for a null argument.
#define ZELMO_ASSERT_GIVEN(argument) ZELMO_ASSERT((argument) != nullptr, #argument " != ((void *)0)")

#endif
