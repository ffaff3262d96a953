// What makes the command stop: an exit code, and one line that says what failed, why, and what to try.
#ifndef ZELMO_FAILURE_H
#define ZELMO_FAILURE_H

#include <cstdint>
#include <stdexcept>
#include <string>

namespace zelmo {

/// Exit codes of the command. Scripts rely on them: they never change.
enum class Exit : int {
    ok = 0,
    failure = 1,
    usage = 2,
    noCard = 3,
    pinWrong = 4,
    pinBlocked = 5,
    notFound = 6,
    accessDenied = 7,
    malformed = 8,
    signatureRefused = 9
};

/// A failure that ends the command; what() is the whole line for stderr, without the "zelmo: " before it.
class Failure : public std::runtime_error {
  public:
    Failure(Exit exit, const std::string &line) : std::runtime_error(line), exit_(exit) {}
    Exit exit() const {
        return exit_;
    }

  private:
    Exit exit_;
};

/// Name of a library code, such as "PKCS15_E_NO_CARD"; its number in hexadecimal when it has none.
std::string codeName(uint32_t code);

/// A raw code of the card service in words, with the card's status word when it is one: "6982, security status ...".
std::string rawText(uint32_t raw);

/// The exit code that stands for a library code and the raw code behind it (0 when there is none).
Exit exitFor(uint32_t code, uint32_t raw);

/// "PKCS15_E_X (card: 6A82, file not found)": a library code with the raw code behind it.
std::string reasonText(uint32_t code, uint32_t raw);

/// The failure of a call of the token library. `what` is what could not be done: "cannot open the token".
Failure libraryFailure(const std::string &what, uint32_t code, uint32_t raw);

/// The failure of a call of the card service that the token library had no part in.
Failure cardFailure(const std::string &what, uint32_t raw);

}  // namespace zelmo

#endif
