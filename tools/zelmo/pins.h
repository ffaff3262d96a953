// The PINs of a token.
#ifndef ZELMO_PINS_H
#define ZELMO_PINS_H

#include <optional>
#include <string>
#include <vector>

#include "choice.h"
#include "failure.h"
#include "secret.h"
#include "token.h"

namespace zelmo {

/// Bits of pinFlags (PKCS #15, 6.8.2).
enum class PinFlag : uint32_t {
    changeDisabled = 2,
    unblockDisabled = 3,
    initialized = 4,
    unblockingPin = 6,
    soPin = 7
};

/// A PIN object. Everything is borrowed from the token and there; `authId` is null when the PIN names no guard.
struct Pin {
    const AuthenticationType *object = nullptr;
    const PinAttributes *attributes = nullptr;
    const asn1_OctetString *id = nullptr;
    const asn1_OctetString *authId = nullptr;
    Name name;

    bool has(PinFlag flag) const;
    /// "PUK 'PUK' (02)": what it is and what it is called.
    std::string text() const;
};

/// The PINs, in file order. Authentication objects of other kinds are passed over.
std::vector<Pin> readPins(const TokenContext &token);

/// The PIN that a word of the command line means. Throws Failure.
const Pin &choosePin(const std::vector<Pin> &pins, const std::string &word);

/// The PIN with this id; null when there is none, or `id` is null.
const Pin *findPin(const std::vector<Pin> &pins, const asn1_OctetString *id);

/// What stands for a number of tries that the card does not tell.
inline constexpr uint8_t noTriesTold = 255;

/// How a PIN stands on the card.
struct PinState {
    enum class Kind : uint8_t { usable, verified, blocked, notInitialized, unknown };
    Kind kind = Kind::unknown;
    uint8_t tries = noTriesTold;  ///< Tries left.
    uint32_t code = 0, raw = 0;   ///< What the question gave.
};

/// Asks the card, which spends no try.
PinState pinState(const Card &card, TokenContext &token, const Pin &pin);

/// "3 tries left".
std::string triesText(uint8_t tries);

/// Refuses a PIN whose form the library does not know and would not survive: throws Failure.
void requireKnownForm(const Pin &pin);

/// Spares a person the dialog for a PIN that is blocked or not set: throws Failure.
void requireUsable(const Card &card, TokenContext &token, const Pin &pin);

/// The failure of presenting a PIN: what became of it, with the tries that are left when they are known.
Failure pinFailure(const Pin &pin, uint32_t code, uint32_t raw, uint8_t tries);

/// The failure that stands for there being no dialog.
Failure noDialog();

/// The failure that stands for a cancelled dialog.
Failure cancelled();

/// Presents a PIN once, by pkcs15_ScVerify() with `flags`. Throws Failure.
void presentPin(const Card &card, TokenContext &token, const Pin &pin, const Secret &value, uint32_t flags);

}  // namespace zelmo

#endif
