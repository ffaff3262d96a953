// An open card: commands with their follow-ups, trace and counters.
#ifndef ZELMOCRD_CARD_H
#define ZELMOCRD_CARD_H

#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>

#include "zelmocrd/apdu.h"
#include "zelmocrd/atr.h"
#include "zelmocrd/known_file.h"
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
    void beginTransaction();
    void endTransaction();
    /// Something has been proven to the card, which must not be left behind for others.
    void resetAtClosing();

    /// Whether nobody else can have commanded the card since the last command.
    bool isAlone() const {
        return transport_->isAlone();
    }
    /// What is known of the card's current file; nothing when somebody else may have selected another one.
    KnownFile &knownFile();
    /// Counts commands that were not sent, since there was nothing in them that is not known.
    void spare(uint64_t commands);

    const Bytes &atr() const {
        return atr_;
    }
    const CardAbilities &abilities() const {
        return abilities_;
    }
    /// The greatest Ne of a command to this card.
    uint32_t answerMax() const {
        return extendedLength() ? std::min(transport_->dataMax(), extendedAnswerMax) : shortAnswerMax;
    }
    /// Whether the card, and the way to it, take commands of extended length.
    bool extendedLength() const {
        return abilities_.extendedLength && transport_->dataMax() > shortAnswerMax;
    }

    /// The most octets to read of a file at once: answerMax(), or what the card has been found to give at most.
    uint32_t readMax() const {
        return std::min(readMax_, answerMax());
    }
    void learnReadMax(uint32_t octets) {
        readMax_ = octets;
    }

    /// Tells the trace where a script has stopped.
    void reportStop(uint32_t offset);

    void setTrace(zelmocrd_TraceCallback callback, void *context);
    zelmocrd_Counters counters(bool reset);

    /// The model number, once it has been asked for.
    std::optional<uint32_t> model;

  private:
    void countRecords(const Command &command);
    Answer runToEnd(const Command &command);
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
    KnownFile knownFile_;
    uint32_t readMax_ = extendedAnswerMax;
    unsigned nextRecords_ = 0;  // asked for one after the other
};

}  // namespace zelmocrd

#endif
