// What the PIN dialogs of the command say, in the languages of the token library.
#ifndef ZELMO_PROMPTS_H
#define ZELMO_PROMPTS_H

#include <cstdint>
#include <string>

#include "zelmop15/pkcs15.h"

namespace zelmo {

/// Makes a language current for all prompts, the library's own included: a code such as "de", or empty for the one that
/// LANG asks for. Throws Failure for a code that is none of the eight.
void setLanguage(const std::string &code);

/// What a dialog asks for.
enum class Prompt : uint32_t {
    present = 79,  ///< A PIN as the card knows it; the text is the library's own.
    fresh,         ///< A new PIN.
    repeated       ///< The new PIN once more.
};

/// The prompt in the current language, naming a PIN and its token; either label may be null.
std::string promptText(Prompt prompt, const Label *pin, const Label *token);

}  // namespace zelmo

#endif
