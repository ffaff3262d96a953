// From a card's description to the script that makes such a card.
#ifndef ZELMO_SCRIPT_BUILD_H
#define ZELMO_SCRIPT_BUILD_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "virtualcard/image.h"

namespace zelmo {

/// A card as a script is to leave it.
struct TokenPlan {
    virtualcard::CardImage image;  ///< Root, PINs and keys count.
    std::optional<uint8_t>
        phase;  ///< The phase that the card enters at the end; nothing: it stays in the one it is in.
};

/// Reads a profile (docs/script-format.md). Files that it names lie beside it. Throws Failure.
TokenPlan readProfile(const std::string &file);
/// The same with the profile's text, where `file` tells where it would lie.
TokenPlan parseProfile(std::string_view text, const std::string &file);

/// The script that makes the card of a blank one. Throws Failure for what no script can make; `name` stands for the
/// profile there.
virtualcard::Bytes buildScript(const TokenPlan &plan, const std::string &name);

}  // namespace zelmo

#endif
