// What the commands that give a PIN a new value have in common.
#ifndef ZELMO_PIN_CHANGE_H
#define ZELMO_PIN_CHANGE_H

#include "pins.h"
#include "secret.h"
#include "session.h"

namespace zelmo {

/// Throws Failure when the token's issuer has ruled out `what` ("changed", "unblocked").
void refuseIf(bool refused, const Pin &pin, const char *what);

/// Puts a value into the form in which the card keeps this PIN; false when it does not fit.
bool toCardForm(const Secret &value, const Pin &pin, Secret &form);

/// The failure that stands for a new value that does not fit.
Failure unfit(const Pin &pin, uint32_t code);

/// The failure of a call that was to give a PIN a new value: PIN "cannot be `what`". `tries` are those of the PIN, 255
/// when the card has not told them.
Failure changeFailure(const Pin &pin, const char *what, uint32_t code, uint32_t raw, uint8_t tries);

/// Selects the directory in which the card knows the PIN. Throws Failure.
void selectHome(const Session &session, const Pin &pin);

/// The number by which the card knows the PIN.
uint32_t cardReference(const Pin &pin);

}  // namespace zelmo

#endif
