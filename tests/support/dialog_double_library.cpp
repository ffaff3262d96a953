// The library itself. With DIALOG_DOUBLE_HOLLOW it lacks every entry.
#include <algorithm>
#include <cstring>

#include "support/dialog_double.h"

extern "C" {
DialogDouble dialog_double = {};
}

#ifndef DIALOG_DOUBLE_HOLLOW

namespace {

template <class... Words>
uint32_t note(const char *entry, Words... words) {
    ++dialog_double.calls;
    dialog_double.entry = entry;
    dialog_double.words = sizeof...(words);
    unsigned i = 0;
    ((dialog_double.word[i++] = words), ...);
    return dialog_double.result;
}

}  // namespace

extern "C" {

uint32_t scdlg_PinPadMessage(uintptr_t a, uintptr_t b, uintptr_t c, uintptr_t d) {
    return note(__func__, a, b, c, d);
}

uint32_t scdlg_SelectSlot(uintptr_t a, uintptr_t b, uintptr_t c, uintptr_t d, uintptr_t e) {
    return note(__func__, a, b, c, d, e);
}

uint32_t scdlg_ChangePIN(uintptr_t a, uintptr_t b, uintptr_t c, uintptr_t d, uintptr_t e, uintptr_t f, uintptr_t g,
                         uintptr_t h, uintptr_t i) {
    return note(__func__, a, b, c, d, e, f, g, h, i);
}

uint32_t scdlg_GetPIN(uintptr_t a, const char *prompt, char *buffer, uintptr_t capacity, uintptr_t e, uintptr_t f) {
    std::strncpy(dialog_double.prompt, prompt, sizeof dialog_double.prompt - 1);
    dialog_double.buffer_is_zero = std::all_of(buffer, buffer + capacity + 1, [](char c) { return c == '\0'; });
    std::copy_n(dialog_double.pin, std::min<size_t>(capacity, std::strlen(dialog_double.pin)), buffer);
    return note(__func__, a, uintptr_t{0}, uintptr_t{0}, capacity, e, f);
}

uint32_t scdlg_MessageBox(uintptr_t a, uintptr_t b, uintptr_t c) {
    return note(__func__, a, b, c);
}

uint32_t scdlg_InsertCard(uintptr_t a, uintptr_t b, uintptr_t c, uintptr_t d, uintptr_t e) {
    return note(__func__, a, b, c, d, e);
}
}

#endif
