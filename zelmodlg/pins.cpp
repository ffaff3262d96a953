#include "zelmodlg/pins.h"

#include <string>

namespace zelmodlg {

namespace {

constexpr int attempts = 3;

/// Why `pin` is none; empty when it is one.
std::string complaint(const Secret &pin, PinLimits limits) {
    const size_t size = pin.view().size();
    if (pin.overflowed() || size > limits.most)
        return "This PIN is too long: at most " + std::to_string(limits.most) + " characters.";
    if (size == 0)
        return "No PIN was entered.";
    if (size < limits.least)
        return "This PIN is too short: at least " + std::to_string(limits.least) + " characters.";
    // The text ends there for whoever gets it.
    if (pin.view().find('\0') != std::string_view::npos)
        return "This PIN has a character that cannot be used.";
    return {};
}

}  // namespace

Outcome askPin(Dialog &dialog, std::string_view text, std::string_view field, PinLimits limits, Secret &pin) {
    std::string why;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        const Outcome outcome = dialog.askSecret({text, field, why}, pin);
        if (outcome != Outcome::done)
            return outcome;
        why = complaint(pin, limits);
        if (why.empty())
            return Outcome::done;
    }
    return Outcome::unusable;
}

Outcome askNewPin(Dialog &dialog, std::string_view text, PinLimits limits, Secret &pin) {
    std::string why;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        Outcome outcome = dialog.askSecret({text, "New PIN:", why}, pin);
        if (outcome != Outcome::done)
            return outcome;
        why = complaint(pin, limits);
        if (!why.empty())
            continue;
        Secret again;
        outcome = dialog.askSecret({text, "New PIN again:"}, again);
        if (outcome != Outcome::done || (again.view() == pin.view() && !again.overflowed()))
            return outcome;
        why = "The two new PINs differ.";
    }
    return Outcome::unusable;
}

}  // namespace zelmodlg
