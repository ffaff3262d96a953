// The bridge to the dialog library, which is opened anew at each call, so that a process runs without it as well. Each
// argument is one word, handed on unchanged; pointers are words too.
#ifndef ZELMOP15_RUNTIME_SCDIALOG_STUB_H
#define ZELMOP15_RUNTIME_SCDIALOG_STUB_H

#include <cstdint>

extern "C" {

/// What the entries answer when the dialog library or the entry is missing; scdlg_MessageBox() has an answer of its
/// own. A dialog library may answer the same numbers.
enum : uint32_t { SCDLG_MISSING = 120, SCDLG_MESSAGE_BOX_MISSING = 3 };
/// What scdlg_GetPIN() answers when the user cancels.
inline constexpr uint32_t SCDLG_CANCELLED = 0x8010006E;

uint32_t scdlg_PinPadMessage(uintptr_t a, uintptr_t b, uintptr_t c, uintptr_t d);
uint32_t scdlg_SelectSlot(uintptr_t a, uintptr_t b, uintptr_t c, uintptr_t d, uintptr_t e);
uint32_t scdlg_ChangePIN(uintptr_t a, uintptr_t b, uintptr_t c, uintptr_t d, uintptr_t e, uintptr_t f, uintptr_t g,
                         uintptr_t h, uintptr_t i);
/// Asks for a PIN. `prompt` is terminated UTF-8, `buffer` has room for `capacity` octets and a terminator and holds
/// zeros; the first and the last two words are 0. 0: the buffer holds the PIN as terminated text; SCDLG_CANCELLED;
/// anything else is a failure. Blocks until the dialog ends.
uint32_t scdlg_GetPIN(uintptr_t reserved, uintptr_t prompt, uintptr_t buffer, uintptr_t capacity, uintptr_t reserved2,
                      uintptr_t reserved3);
uint32_t scdlg_MessageBox(uintptr_t a, uintptr_t b, uintptr_t c);
uint32_t scdlg_InsertCard(uintptr_t a, uintptr_t b, uintptr_t c, uintptr_t d, uintptr_t e);
}

#endif
