#include "runtime/scdialog_stub.h"

#include <dlfcn.h>

#include "runtime/owned.h"

#if defined(__clang__)
#define NO_FUNCTION_TYPE_CHECK __attribute__((no_sanitize("function")))
#else
#define NO_FUNCTION_TYPE_CHECK
#endif

namespace {

// The library declares its entries with types of its own; here they all take words.
template <class... Words>
NO_FUNCTION_TYPE_CHECK uint32_t call(const char *entry, uint32_t missing, Words... words) {
    // Once loaded it stays: its code must not go while its threads or exit handlers may still run.
    constexpr int flags = RTLD_NOW | RTLD_NODELETE;
    static_assert(flags == 4098);
    const Owned<void, dlclose> library(dlopen("libzelmodlg.so", flags));
    if (library == nullptr)
        return missing;
    void *symbol = dlsym(library.get(), entry);
    return symbol != nullptr ? reinterpret_cast<uint32_t (*)(Words...)>(symbol)(words...) : missing;
}

}  // namespace

extern "C" {

uint32_t scdlg_PinPadMessage(uintptr_t a, uintptr_t b, uintptr_t c, uintptr_t d) {
    return call(static_cast<const char *>(__func__), SCDLG_MISSING, a, b, c, d);
}

uint32_t scdlg_SelectSlot(uintptr_t a, uintptr_t b, uintptr_t c, uintptr_t d, uintptr_t e) {
    return call(static_cast<const char *>(__func__), SCDLG_MISSING, a, b, c, d, e);
}

uint32_t scdlg_ChangePIN(uintptr_t a, uintptr_t b, uintptr_t c, uintptr_t d, uintptr_t e, uintptr_t f, uintptr_t g,
                         uintptr_t h, uintptr_t i) {
    return call(static_cast<const char *>(__func__), SCDLG_MISSING, a, b, c, d, e, f, g, h, i);
}

uint32_t scdlg_GetPIN(uintptr_t reserved, uintptr_t prompt, uintptr_t buffer, uintptr_t capacity, uintptr_t reserved2,
                      uintptr_t reserved3) {
    return call(static_cast<const char *>(__func__), SCDLG_MISSING, reserved, prompt, buffer, capacity, reserved2,
                reserved3);
}

uint32_t scdlg_MessageBox(uintptr_t a, uintptr_t b, uintptr_t c) {
    return call(static_cast<const char *>(__func__), SCDLG_MESSAGE_BOX_MISSING, a, b, c);
}

uint32_t scdlg_InsertCard(uintptr_t a, uintptr_t b, uintptr_t c, uintptr_t d, uintptr_t e) {
    return call(static_cast<const char *>(__func__), SCDLG_MISSING, a, b, c, d, e);
}
}
