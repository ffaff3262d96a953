// Texts for people: untrusted octets made harmless, and put into the terminal's character set.
#ifndef ZELMODLG_TEXT_H
#define ZELMODLG_TEXT_H

#include <string>
#include <string_view>

#include "zelmodlg/secret.h"

namespace zelmodlg {

/// `text` (null: empty) as valid UTF-8 of at most 900 octets that can neither move a terminal's cursor nor turn the
/// direction of writing: what is not is replaced by U+FFFD, a tabulator by a blank, and what is cut off by an ellipsis.
/// Line feeds stay.
std::string cleanText(const char *text);

/// Clean text for a command of the pinentry protocol: "%" and line feeds as %25 and %0A. Of a text that its line of
/// 1000 octets cannot hold the end is left out.
std::string percentEscaped(std::string_view text);

/// Name of the character set of the environment's locale, such as "UTF-8".
std::string localCharset();

/// UTF-8 text in `charset`; characters that it lacks are transliterated, or "?".
std::string toCharset(std::string_view text, const std::string &charset);

/// What was typed in `charset`, as UTF-8. Typed ASCII and UTF-8 stay as they are, and so does what is not valid.
void fromCharset(Secret &typed, const std::string &charset);

}  // namespace zelmodlg

#endif
