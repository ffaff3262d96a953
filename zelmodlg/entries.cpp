#include <algorithm>
#include <charconv>
#include <string>

#include "zelmodlg/conversation.h"
#include "zelmodlg/pins.h"
#include "zelmodlg/terminal.h"
#include "zelmodlg/text.h"
#include "zelmodlg/zelmodlg.h"

using namespace zelmodlg;

namespace {

template <class Type>
Type *pointer(uintptr_t word) {
    return reinterpret_cast<Type *>(word);
}

std::string text(uintptr_t word) {
    return cleanText(pointer<const char>(word));
}

/// Gives the PIN to the caller, whose buffer has room for it.
void deliver(const Secret &pin, uintptr_t buffer) {
    auto *end = std::copy(pin.view().begin(), pin.view().end(), pointer<char>(buffer));
    *end = '\0';
}

PinLimits limits(uintptr_t least, uintptr_t most) {
    return {std::max<size_t>(least, 1), std::min<size_t>(most, Secret::capacity)};
}

uint32_t code(Outcome outcome) {
    switch (outcome) {
        case Outcome::done:
            return ZELMODLG_OK;
        case Outcome::cancelled:
            return ZELMODLG_CANCELLED;
        default:
            return ZELMODLG_FAILED;
    }
}

/// The number of a line, counted from 1 to `count`; 0 for another text.
size_t choice(std::string_view line, size_t count) {
    size_t number = 0;
    const auto [end, error] = std::from_chars(line.data(), line.data() + line.size(), number);
    return error == std::errc() && end == line.data() + line.size() && number <= count ? number : 0;
}

Outcome choose(Interruptions &interruptions, const std::string &list, size_t count, size_t &selected) {
    Terminal terminal(interruptions);
    for (int attempt = 0; attempt < 3; ++attempt) {
        Secret line;
        const Outcome outcome = terminal.askLine(list + "Number (1 to " + std::to_string(count) + "): ", line);
        if (outcome != Outcome::done)
            return outcome;
        selected = choice(line.view(), count);
        if (selected != 0)
            return Outcome::done;
    }
    return Outcome::unusable;
}

}  // namespace

uint32_t scdlg_GetPIN(uintptr_t, uintptr_t prompt, uintptr_t buffer, uintptr_t capacity, uintptr_t, uintptr_t) {
    if (buffer == 0 || capacity == 0)
        return ZELMODLG_FAILED;
    return code(runCall([=](Interruptions &interruptions) {
        Secret pin;
        const std::string shown = text(prompt);
        const Outcome outcome = withDialog(
            interruptions, [&](Dialog &dialog) { return askPin(dialog, shown, "PIN:", limits(1, capacity), pin); });
        if (outcome == Outcome::done)
            deliver(pin, buffer);
        return outcome;
    }));
}

uint32_t scdlg_ChangePIN(uintptr_t, uintptr_t prompt, uintptr_t oldPin, uintptr_t oldCapacity, uintptr_t newPin,
                         uintptr_t newCapacity, uintptr_t minLength, uintptr_t, uintptr_t) {
    if ((oldPin != 0 && oldCapacity == 0) || newPin == 0 || newCapacity == 0 || minLength > newCapacity)
        return ZELMODLG_FAILED;
    return code(runCall([=](Interruptions &interruptions) {
        Secret present, fresh;
        const std::string shown = text(prompt);
        const Outcome outcome = withDialog(interruptions, [&](Dialog &dialog) {
            if (oldPin != 0) {
                const Outcome first = askPin(dialog, shown, "Present PIN:", limits(1, oldCapacity), present);
                if (first != Outcome::done)
                    return first;
            }
            return askNewPin(dialog, shown, limits(minLength, newCapacity), fresh);
        });
        if (outcome == Outcome::done) {
            if (oldPin != 0)
                deliver(present, oldPin);
            deliver(fresh, newPin);
        }
        return outcome;
    }));
}

uint32_t scdlg_MessageBox(uintptr_t, uintptr_t message, uintptr_t caption) {
    const Outcome outcome = runCall([=](Interruptions &interruptions) {
        const std::string shown = text(message), title = text(caption);
        return withDialog(interruptions, [&](Dialog &dialog) { return dialog.tell({shown, title}); });
    });
    switch (outcome) {
        case Outcome::done:
            return ZELMODLG_BOX_OK;
        case Outcome::cancelled:
            return ZELMODLG_BOX_CANCELLED;
        default:
            return ZELMODLG_BOX_FAILED;
    }
}

uint32_t scdlg_InsertCard(uintptr_t, uintptr_t prompt, uintptr_t reader, uintptr_t, uintptr_t) {
    return code(runCall([=](Interruptions &interruptions) {
        std::string shown = text(prompt);
        if (reader != 0)
            shown += "\n" + text(reader);
        return withDialog(interruptions, [&](Dialog &dialog) { return dialog.confirm({shown}); });
    }));
}

uint32_t scdlg_SelectSlot(uintptr_t, uintptr_t prompt, uintptr_t names, uintptr_t count, uintptr_t selected) {
    if (names == 0 || count == 0 || count > 99 || selected == 0)
        return ZELMODLG_FAILED;
    return code(runCall([=](Interruptions &interruptions) {
        size_t number = 1;
        if (count > 1) {
            std::string list = text(prompt) + "\n";
            for (size_t i = 0; i < count; ++i)
                list += std::to_string(i + 1) + "  " + cleanText(pointer<const char *const>(names)[i]) + "\n";
            const Outcome outcome = choose(interruptions, list, count, number);
            if (outcome != Outcome::done)
                return outcome;
        }
        *pointer<uint32_t>(selected) = static_cast<uint32_t>(number - 1);
        return Outcome::done;
    }));
}

uint32_t scdlg_PinPadMessage(uintptr_t, uintptr_t message, uintptr_t, uintptr_t) {
    return code(runCall([=](Interruptions &interruptions) { return Terminal(interruptions).write(text(message)); }));
}
