// What can be told of a script before a card runs it.
#ifndef ZELMO_SCRIPT_CHECK_H
#define ZELMO_SCRIPT_CHECK_H

#include <cstdint>
#include <string>

#include "runtime/bytestring.h"
#include "secret.h"

namespace zelmo {

/// Refuses a script that the library could not run, such as a file that is none: throws Failure. `name` stands for it
/// there.
void requireRunnable(const Bytestring &script, const std::string &name);

/// Refuse a new value for a PIN or key of the script's when it has another length than the card will take: they throw
/// Failure. A value that is empty is none. The script must be runnable; what it makes by commands of its own is not
/// looked at.
void requirePinFits(const Bytestring &script, uint8_t reference, const Secret &value, const char *name);
void requireKeyFits(const Bytestring &script, uint8_t reference, const Secret &value);

}  // namespace zelmo

#endif
