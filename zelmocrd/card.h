// An open card: commands with their follow-ups, trace and counters.
#ifndef ZELMOCRD_CARD_H
#define ZELMOCRD_CARD_H

#include <cstdint>
#include <memory>
#include <optional>
#include <span>

#include "zelmocrd/apdu.h"
#include "zelmocrd/atr.h"
#include "zelmocrd/transport.h"
#include "zelmocrd/zelmocrd.h"

namespace zelmocrd {

class Card {
  public:
    explicit Card(std::unique_ptr<Transport> transport);

    /// Runs a command to its end: repeats it with the length that 6Cxx names, once, and fetches what 61xx announces, up
    /// to 64 KB. A card that does not get there is refused with ServiceError.
    Answer run(const Command &command);

    void reset();
    Transport &transport() {
        return *transport_;
    }
    const Bytes &atr() const {
        return atr_;
    }
    const CardAbilities &abilities() const {
        return abilities_;
    }
    /// The greatest Ne of a command to this card.
    uint32_t answerMax() const {
        return extendedLength() ? extendedAnswerMax : shortAnswerMax;
    }
    /// Whether the card, and the way to it, take commands of extended length.
    bool extendedLength() const {
        return abilities_.extendedLength && transport_->takesExtendedLength();
    }

    /// Tells the trace where a script has stopped.
    void reportStop(uint32_t offset);

    void setTrace(zelmocrd_TraceCallback callback, void *context);
    zelmocrd_Counters counters(bool reset);

    /// The model number, once it has been asked for.
    std::optional<uint32_t> model;

  private:
    Answer exchangeOne(const Command &command);
    Answer exchange(Command command);
    Answer exchangeExact(Command command);
    void report(std::span<const uint8_t> command, std::span<const uint8_t> answer, double milliseconds);

    std::unique_ptr<Transport> transport_;
    Bytes atr_;
    CardAbilities abilities_;
    zelmocrd_TraceCallback trace_ = nullptr;
    void *traceContext_ = nullptr;
    zelmocrd_Counters counters_ = {};
};

}  // namespace zelmocrd

#endif
