// What an answer to reset tells of a card's abilities.
#ifndef ZELMOCRD_ATR_H
#define ZELMOCRD_ATR_H

#include <cstdint>
#include <span>

namespace zelmocrd {

struct CardAbilities {
    bool extendedLength = false;
    bool chaining = false;
};

/// Reads the card capabilities among the historical bytes; a card that does not give them has none of these.
CardAbilities abilitiesFromAtr(std::span<const uint8_t> atr);

}  // namespace zelmocrd

#endif
