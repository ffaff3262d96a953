// A smart card in software: one command in, one answer out, as ISO/IEC 7816-4 has it.
#ifndef VIRTUALCARD_CARD_H
#define VIRTUALCARD_CARD_H

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "virtualcard/command.h"
#include "virtualcard/image.h"
#include "virtualcard/status_words.h"

namespace virtualcard {

/// A card at work: its image, what is selected, what has been proven. One thread at a time; different cards share
/// nothing.
class VirtualCard {
  public:
    /// A card in memory only.
    explicit VirtualCard(CardImage image);
    /// A card that is kept in `file`: each command that changes it is written there before it is answered, and is
    /// answered 6581 when that fails, as it does after somebody else has changed the file. Throws ImageError.
    static std::unique_ptr<VirtualCard> load(const std::string &file);

    ~VirtualCard();
    VirtualCard(const VirtualCard &) = delete;
    VirtualCard &operator=(const VirtualCard &) = delete;

    /// Writes the image to the file it came from; nothing for a card in memory. Throws ImageError.
    void save();
    /// Runs one command of any content and returns the answer's data and status word. Throws std::bad_alloc alone.
    Bytes transmit(std::span<const uint8_t> command);
    /// What the reader does to a card: the root is selected and nothing is proven any more. An image that somebody else
    /// has changed is read anew; throws ImageError when it cannot be.
    void reset();
    /// Keeps everybody else from the image file until letGo() or the card's end; nothing for a card in memory. If
    /// somebody else has changed the image before, this is a reset as well. Throws ImageError, of which ImageBusy when
    /// somebody else holds it.
    void hold();
    void letGo();
    /// Whether another opening of the image file holds it.
    bool heldByAnother() const;
    /// The answer to reset.
    const Bytes &atr() const {
        return atr_;
    }
    const CardImage &image() const {
        return image_;
    }

  private:
    struct Answer {
        // Implicit on purpose: a handler returns a status word, data, or both.
        Answer(uint16_t word) : status(word) {}
        Answer(Bytes octets, uint16_t word = sw::ok) : data(std::move(octets)), status(word) {}
        Bytes data;
        uint16_t status;
    };
    using Handler = Answer (VirtualCard::*)(const Command &);
    struct Instruction {
        uint8_t ins;
        Handler handler;
        bool proprietary = false;  // of class 80
    };
    // The place of a record in the current EF, or why there is none.
    struct RecordPlace {
        uint16_t status = sw::ok;
        size_t index = 0;
    };

    static const Instruction instructions[];

    Answer execute(std::span<const uint8_t> octets);
    Answer dispatch(const Command &command);
    Answer fit(Answer answer, const Command &command);
    Answer keep(Answer answer);
    bool persist();
    void refresh();

    // card_select.cpp
    Answer select(const Command &command);
    std::vector<File *> locate(const Command &command, uint16_t &status);
    std::vector<File *> locateByIdentifier(uint16_t fid);
    std::vector<File *> locateByPath(std::vector<File *> from, std::span<const uint8_t> path);
    void makeCurrent(std::vector<File *> chain);
    uint16_t selectShort(uint8_t sfi);
    const File *application() const;

    // card_binary.cpp
    Answer readBinary(const Command &command);
    Answer updateBinary(const Command &command);
    Answer readBinaryOdd(const Command &command);
    Answer updateBinaryOdd(const Command &command);
    uint16_t openBinary(const Command &command, Operation operation, size_t &offset);
    uint16_t openBinaryOdd(const Command &command, Operation operation, size_t &offset, std::span<const uint8_t> &data);
    uint16_t overwrite(size_t offset, std::span<const uint8_t> data);

    // card_record.cpp
    Answer readRecord(const Command &command);
    Answer updateRecord(const Command &command);
    Answer appendRecord(const Command &command);
    uint16_t openRecords(uint8_t sfi, Operation operation);
    RecordPlace findRecord(uint8_t p1, uint8_t mode);

    // card_data.cpp
    Answer getData(const Command &command);
    Answer getResponse(const Command &command);
    Answer getChallenge(const Command &command);

    // card_secret.cpp
    Answer verify(const Command &command);
    Answer forget(uint8_t reference);
    Answer changeReferenceData(const Command &command);
    Answer resetRetryCounter(const Command &command);
    Answer externalAuthenticate(const Command &command);
    Answer putKey(const Command &command);
    Secret *findPin(uint8_t reference);
    Secret *findKey(uint8_t reference);
    bool allowed(const Secret &secret, Operation operation, const AccessCondition &otherwise) const;
    bool keepTries(Secret &secret, uint8_t tries);
    uint16_t compare(Secret &secret, std::span<const uint8_t> expected, std::span<const uint8_t> presented);
    uint16_t prove(SecretKind kind, Secret &secret, std::span<const uint8_t> expected,
                   std::span<const uint8_t> presented);
    uint16_t setValue(Secret &secret, std::span<const uint8_t> value);
    uint16_t unblockWithCode(const Secret &pin, std::span<const uint8_t> &data, bool newValueFollows);

    // card_create.cpp
    Answer createFile(const Command &command);
    Answer activateFile(const Command &command);
    Answer createSecret(const Command &command);
    Answer eraseFiles(const Command &command);
    Answer enterPhase(const Command &command);
    uint16_t mayCreateIn(const File &df) const;
    uint16_t placeFor(const File &file) const;

    uint16_t usable(const File &file, Operation operation) const;

    CardImage image_;
    Bytes atr_;
    std::string file_;  // empty for a card in memory
    FileIdentity identity_;
    std::unique_ptr<ImageHold> hold_;
    bool changed_ = false;

    std::vector<File *> dfs_;  // from the root to the current DF
    File *ef_ = nullptr;       // the current EF
    std::optional<size_t> record_;
    SecurityStatus proven_;
    Bytes challenge_;  // that a key may answer once
    // The rest of an answer that GET RESPONSE is to fetch.
    Bytes held_;
    uint16_t heldStatus_ = sw::ok;
};

}  // namespace virtualcard

#endif
