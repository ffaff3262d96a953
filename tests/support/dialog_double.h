// A dialog library for tests: it notes what it is asked and answers as the test wants. The test program finds it by the
// name under which the real one is found, see zelmo_use_dialog_double() in CMakeLists.txt.
#ifndef ZELMO_TESTS_SUPPORT_DIALOG_DOUBLE_H
#define ZELMO_TESTS_SUPPORT_DIALOG_DOUBLE_H

#include <cstdint>

/// What passed between the double and its callers; all zero at first.
struct DialogDouble {
    unsigned calls;       ///< Of any entry.
    const char *entry;    ///< The entry last called.
    unsigned words;       ///< Number of its words.
    uintptr_t word[9];    ///< Its words.
    char prompt[512];     ///< What scdlg_GetPIN() was to show.
    bool buffer_is_zero;  ///< Whether its buffer and the octet behind it held zeros.
    uint32_t result;      ///< To be set by the test: what all entries answer.
    char pin[128];        ///< To be set by the test: what scdlg_GetPIN() stores, up to its capacity.
};

/// The double that dlopen() finds; null without one.
DialogDouble *find_dialog_double();

#endif
