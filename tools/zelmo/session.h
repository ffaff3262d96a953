// The card and the token that a command works on.
#ifndef ZELMO_SESSION_H
#define ZELMO_SESSION_H

#include <cstdint>
#include <optional>
#include <vector>

#include "card.h"
#include "commands.h"
#include "token.h"

namespace zelmo {

/// The AID that --aid gives; empty for none. Throws Failure.
std::vector<uint8_t> wantedAid(const Options &options);

/// The card taken from all other programs, for as long as this lives.
class Transaction {
  public:
    /// Throws Failure.
    explicit Transaction(const Card &card) : Transaction(card.handle()) {}
    ~Transaction();
    Transaction(const Transaction &) = delete;
    Transaction &operator=(const Transaction &) = delete;

  private:
    explicit Transaction(CardHandle card);

    const CardHandle card_;
};

/// An open card and the token on it that the options ask for. The card is ours alone from before the token is looked
/// for, so that what is read of it belongs together.
class Session {
  public:
    /// Throws Failure.
    explicit Session(const Options &options) : Session(options, wantedAid(options)) {}
    const Card &card() const {
        return card_;
    }
    TokenContext &token() const {
        return *token_;
    }
    /// Lets other programs have the card, such as while a person is thinking.
    void letGo() {
        transaction_.reset();
    }
    /// Takes it again, if it was let go. Throws Failure.
    void take() {
        if (!transaction_)
            transaction_.emplace(card_);
    }

  private:
    Session(const Options &options, std::vector<uint8_t> aid);

    // Outlives the card, whose closing ends it: what was proven to the card is gone before others have their turn.
    std::optional<Transaction> transaction_;
    Card card_;
    Token token_;
};

}  // namespace zelmo

#endif
