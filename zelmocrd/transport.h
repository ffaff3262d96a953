// The way to a card, whatever is at its end.
#ifndef ZELMOCRD_TRANSPORT_H
#define ZELMOCRD_TRANSPORT_H

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace zelmocrd {

using Bytes = std::vector<uint8_t>;

/// One open card. All calls throw ServiceError with a PC/SC code when the card cannot be reached.
class Transport {
  public:
    Transport() = default;
    Transport(const Transport &) = delete;
    Transport &operator=(const Transport &) = delete;
    virtual ~Transport() = default;

    /// Sends one command APDU and returns what came back, unjudged.
    virtual Bytes transmit(std::span<const uint8_t> command) = 0;
    /// The card's answer to its last reset.
    virtual Bytes atr() = 0;
    virtual void reset() = 0;
    virtual void beginTransaction() = 0;
    virtual void endTransaction() = 0;

    /// Whether the card is spoken to by the protocol T=0, which carries data one way in a command.
    virtual bool byCharacters() const {
        return false;
    }
    /// The most octets that what lies between here and the card takes as data of a command or an answer. Above 256, it
    /// takes commands of extended length.
    virtual uint32_t dataMax() const {
        return 65536;
    }
    /// Whether nobody else has commanded the card since the last command, and nobody can before the next.
    virtual bool isAlone() const {
        return false;
    }
    /// Something has been proven to the card, which must not be left behind for others.
    virtual void resetAtClosing() {}
};

}  // namespace zelmocrd

#endif
