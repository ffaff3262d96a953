// Where PINs come from: a person, or the lines of a file that only its owner can read.
#ifndef ZELMO_PIN_SOURCE_H
#define ZELMO_PIN_SOURCE_H

#include <string>
#include <string_view>

#include "commands.h"
#include "pins.h"
#include "secret.h"
#include "session.h"

namespace zelmo {

/// Gives PINs one after the other. They are never command-line arguments, which other processes can see.
class PinSource {
  public:
    /// Takes the descriptor of --pin-fd, or opens the file of --pin-file; with neither a person is asked. Throws
    /// Failure, also for a terminal, and for a file that is not regular, not ours, or open to others.
    explicit PinSource(const Options &options);
    ~PinSource();
    PinSource(const PinSource &) = delete;
    PinSource &operator=(const PinSource &) = delete;

    /// Whether a person is asked.
    bool isPerson() const {
        return fd_ < 0;
    }
    /// Puts a PIN as the card knows it into `into`: the next line, without its end, or what a person enters. Throws
    /// Failure, also when the person cancels.
    void present(Secret &into, const Pin &pin, TokenContext &token);
    /// The same for a new PIN, which a person has to enter twice.
    void fresh(Secret &into, const Pin &pin, TokenContext &token);

  private:
    /// The next line, read octet by octet: what follows is left to whoever reads on. `what` names it in a failure.
    void readLine(Secret &into, std::string_view what);

    int fd_ = -1;
    bool owned_ = false;
    std::string name_;
};

/// What every command that presents or sets a PIN begins with: where the PIN comes from, the token, and which of its
/// PINs is meant. Throws Failure.
struct ChosenPin {
    explicit ChosenPin(const Options &options);

    PinSource source;
    Session session;
    std::vector<Pin> pins;
    const Pin &pin;  ///< One of them, of a form that is known.
};

}  // namespace zelmo

#endif
