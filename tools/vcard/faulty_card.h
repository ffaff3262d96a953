// A virtual card behind faults that a test asks for.
#ifndef ZELMO_VCARD_FAULTY_CARD_H
#define ZELMO_VCARD_FAULTY_CARD_H

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "virtualcard/card.h"

namespace zelmo {

using Bytes = virtualcard::Bytes;

/// What is to go wrong. Commands are counted from 1, from the start of the program on.
struct Faults {
    /// Command at which the card is taken out, and how long it stays away.
    std::map<uint64_t, std::chrono::milliseconds> removals;
    /// Commands before which the card loses its power and gets it back.
    std::map<uint64_t, bool> resets;
    /// Status words that stand in the place of an answer.
    std::map<uint64_t, uint16_t> statuses;
    /// What a command takes at least.
    std::chrono::milliseconds delay{0};
    /// Most octets that one command reads of a file; 0 for no bound.
    uint32_t pieces = 0;
    /// Answers as by the transmission protocol T=0.
    bool characterProtocol = false;

    /// Adds the fault that a text such as "remove@5:200" describes. Throws std::invalid_argument with what is wrong.
    void add(const std::string &text);
};

/// The card, as the reader finds it.
class FaultyCard {
  public:
    FaultyCard(std::unique_ptr<virtualcard::VirtualCard> card, Faults faults);

    /// Power on, or reset. Throws virtualcard::ImageError.
    void reset();
    Bytes atr() const;
    /// How long the card is taken out now, in the place of an answer to the next command; nothing when it stays.
    std::optional<std::chrono::milliseconds> removal();
    Bytes transmit(std::span<const uint8_t> command);
    std::chrono::milliseconds delay() const {
        return faults_.delay;
    }

  private:
    Bytes byCharacters(Bytes command);

    std::unique_ptr<virtualcard::VirtualCard> card_;
    const Faults faults_;
    uint64_t commands_ = 0;
    Bytes held_;     // of an answer that waits for GET RESPONSE or for the exact length, status word included
    Bytes heldFor_;  // header of the command that is to be repeated
};

}  // namespace zelmo

#endif
