// What the owner gives a new token.
#ifndef ZELMO_OWNERS_VALUES_H
#define ZELMO_OWNERS_VALUES_H

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "commands.h"
#include "runtime/bytestring.h"
#include "secret.h"
#include "secret_lines.h"

namespace zelmo {

/// The values for a token's first PIN, its PUK and its administration key, as they go to the card.
class OwnersValues {
  public:
    /// Takes the lines of --pin-fd or --pin-file, and of --admin-key-fd or --admin-key-file. Throws Failure for a value
    /// that is malformed, and when there is no PUK without --no-puk.
    explicit OwnersValues(const Options &options);

    /// Lets a person enter the PINs that no line has given; `label` names the token. Throws Failure.
    void ask(const std::string &label);

    /// Refuses values of other lengths than the script wants: throws Failure.
    void requireFit(const Bytestring &script) const;

    /// The values; empty for what the token keeps as the script has made it. Without a PUK its reference is blocked.
    const Secret &pin() const {
        return pin_;
    }
    const Secret &puk() const {
        return puk_;
    }
    const Secret &adminKey() const {
        return adminKey_;
    }

  private:
    Secret pin_, puk_, adminKey_;
    bool isPerson_, wantsPuk_;
};

/// A label of the command line, filled up with blanks to the 32 octets that the library takes; nothing for an empty
/// one. Throws Failure for one that does not fit.
std::optional<std::array<uint8_t, 32>> paddedLabel(const std::string &label);

/// Refuses a serial number that is not 16 hexadecimal digits: throws Failure. An empty one is none.
void requireSerialNumber(const std::string &digits);

}  // namespace zelmo

#endif
