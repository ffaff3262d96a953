// Where PINs come from: a person, or the lines of a file that only its owner can read.
#ifndef ZELMO_PIN_SOURCE_H
#define ZELMO_PIN_SOURCE_H

#include <vector>

#include "commands.h"
#include "pins.h"
#include "secret.h"
#include "secret_lines.h"
#include "session.h"

namespace zelmo {

/// What the lines of PINs are for.
inline constexpr SecretUse pin_lines = {"a PIN", "nothing was sent to the card"};

/// Lets a person enter a new PIN twice; the labels, which may be null, name it and its token. Throws Failure, also when
/// the person cancels.
void askFresh(Secret &into, const Label *pin, const Label *token);

/// Gives PINs one after the other.
class PinSource {
  public:
    /// Takes the lines of --pin-fd or --pin-file; with neither a person is asked. Throws Failure.
    explicit PinSource(const Options &options) : lines_(options.pinFd, options.pinFile, pin_lines) {}

    /// Whether a person is asked.
    bool isPerson() const {
        return !lines_.given();
    }
    /// Puts a PIN as the card knows it into `into`: the next line, without its end, or what a person enters. Throws
    /// Failure, also when the person cancels.
    void present(Secret &into, const Pin &pin, TokenContext &token);
    /// The same for a new PIN, which a person has to enter twice.
    void fresh(Secret &into, const Pin &pin, TokenContext &token);

  private:
    SecretLines lines_;
};

/// Has values entered by `enter`, from the source. While a person does that, other programs may have the session's
/// card.
template <class Enter>
void enterValues(const PinSource &source, Session &session, Enter enter) {
    if (source.isPerson())
        session.letGo();
    enter();
    session.take();
}

/// What every command that presents or sets a PIN begins with: where the PIN comes from, the token, and which of its
/// PINs is meant. Throws Failure.
struct ChosenPin {
    explicit ChosenPin(const Options &options);

    /// Has values entered by `enter`. While a person does that, other programs may have the card.
    template <class Enter>
    void enter(Enter enter) {
        enterValues(source, session, enter);
    }

    PinSource source;
    Session session;
    std::vector<Pin> pins;
    const Pin &pin;  ///< One of them, of a form that is known.
};

}  // namespace zelmo

#endif
