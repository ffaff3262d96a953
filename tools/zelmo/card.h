// An open card, and what the card service tells of readers.
#ifndef ZELMO_CARD_H
#define ZELMO_CARD_H

#include <string>
#include <vector>

#include "trace.h"
#include "zelmocrd/zelmocrd.h"

namespace zelmo {

/// Names of all readers that the card service knows.
std::vector<std::string> readerNames();

/// Whether there is a card in the reader; a reader that is not there has none.
bool hasCard(const std::string &reader);

/// A card that is open while this lives.
class Card {
  public:
    /// Opens the card in the named reader; for an empty name, the only card there is. With `trace`, the commands
    /// go to stderr, and their number at the end. Throws Failure.
    Card(const std::string &reader, bool trace);
    ~Card();
    Card(const Card &) = delete;
    Card &operator=(const Card &) = delete;

    CardHandle handle() const {
        return handle_;
    }
    const std::string &reader() const {
        return reader_;
    }

  private:
    std::string reader_;
    CardHandle handle_ = 0;
    CommandTrace trace_;
    bool traced_ = false;
};

}  // namespace zelmo

#endif
