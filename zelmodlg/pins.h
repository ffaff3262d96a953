// Questions for PINs, with what makes an answer a PIN.
#ifndef ZELMODLG_PINS_H
#define ZELMODLG_PINS_H

#include <string_view>

#include "zelmodlg/dialog.h"

namespace zelmodlg {

/// Bounds of a PIN in octets.
struct PinLimits {
    size_t least;
    size_t most;
};

/// Asks until the answer is a PIN within its limits, three times at most. `field` is what stands in front of the input.
Outcome askPin(Dialog &dialog, std::string_view text, std::string_view field, PinLimits limits, Secret &pin);

/// The same for a new PIN, which is typed twice.
Outcome askNewPin(Dialog &dialog, std::string_view text, PinLimits limits, Secret &pin);

}  // namespace zelmodlg

#endif
