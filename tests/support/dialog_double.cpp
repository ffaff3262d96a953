#include "support/dialog_double.h"

#include <dlfcn.h>

DialogDouble *find_dialog_double() {
    void *library = dlopen("libzelmodlg.so", RTLD_NOW);
    return library != nullptr ? static_cast<DialogDouble *>(dlsym(library, "dialog_double")) : nullptr;
}
