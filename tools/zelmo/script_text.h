// A personalisation script for people.
#ifndef ZELMO_SCRIPT_TEXT_H
#define ZELMO_SCRIPT_TEXT_H

#include <span>

#include "output.h"

namespace zelmo {

/// Prints the instructions, each with its offset, without the values of PINs and keys. Throws Failure for what is no
/// script.
void printScript(Output &output, std::span<const uint8_t> script);

}  // namespace zelmo

#endif
