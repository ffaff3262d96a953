// Reading and writing of transparent files.
#include <algorithm>
#include <optional>
#include <utility>

#include "zelmocrd/boundary.h"
#include "zelmocrd/operations.h"
#include "zelmocrd/tlv.h"

namespace zelmocrd {

namespace {

using Octets = std::span<const uint8_t>;

constexpr uint8_t insReadBinary = 0xB0;
constexpr uint8_t insReadBinaryOdd = 0xB1;
constexpr uint8_t insUpdateBinary = 0xD6;
constexpr uint8_t insUpdateBinaryOdd = 0xD7;

// Offsets of 15 bits fit P1 and P2; the odd commands carry greater ones as an object, here of three octets.
constexpr uint32_t shortOffsetMax = 0x7FFF;
constexpr uint32_t offsetMax = 0xFFFFFF;
constexpr uint32_t tagData = 0x53;

constexpr uint16_t complete = 0x9000;
constexpr uint16_t endOfFile = 0x6282;
constexpr uint16_t wrongLength = 0x6700;
constexpr uint16_t outsideFile = 0x6B00;

Bytes offsetObject(uint32_t offset) {
    require(offset <= offsetMax);
    return {0x54, 0x03, static_cast<uint8_t>(offset >> 16u), static_cast<uint8_t>(offset >> 8u & 0xFFu),
            static_cast<uint8_t>(offset & 0xFFu)};
}

// The odd READ BINARY wraps what it reads into an object, whose header counts in the wanted length.
Answer readFar(Card &card, uint32_t offset, uint32_t wanted) {
    constexpr uint32_t headerMax = 4;
    const Bytes data = offsetObject(offset);
    Answer answer =
        card.run({.ins = insReadBinaryOdd, .data = data, .ne = std::min(wanted + headerMax, card.readMax())});
    if (answer.data.empty())
        return answer;
    Octets octets = answer.data;
    const std::optional<Tlv> object = takeTlv(octets);
    if (!object || object->tag != tagData)
        throw ServiceError(code::communication);
    answer.data = Bytes(object->value.begin(), object->value.end());
    return answer;
}

// Reads from the current file, or from the one that `sfi` names, which becomes the current one.
Answer readPiece(Card &card, std::optional<uint8_t> sfi, uint32_t offset, uint32_t wanted) {
    if (!sfi && offset > shortOffsetMax)
        return readFar(card, offset, wanted);
    const auto high = static_cast<uint8_t>(sfi ? 0x80u | *sfi : offset >> 8u);
    return card.run({.ins = insReadBinary, .p1 = high, .p2 = static_cast<uint8_t>(offset & 0xFFu), .ne = wanted});
}

// How much a card gives at a time, when that is less than it is asked for: it names the length, or refuses lengths
// until one is small enough. The end of a file looks the same, so a length counts for other files when the card has
// given as much twice: it had more than the length refused before, which is about twice as great at most.
class PieceSize {
  public:
    explicit PieceSize(Card &card) : card_(card), most_(card.readMax()) {}

    uint32_t fit(size_t room) const {
        return static_cast<uint32_t>(std::min<size_t>(room, most_));
    }
    /// Goes down to the next length to try below `refused`; false when there is none.
    bool shrink(uint32_t refused) {
        while (most_ >= refused && most_ != 0)
            most_ = nextBelow(most_);
        full_ = 0;
        return most_ != 0;
    }
    void note(const Answer &piece) {
        if (piece.corrected != 0 && piece.corrected < most_) {
            most_ = piece.corrected;
            full_ = 0;
        }
        full_ = piece.data.size() == most_ ? full_ + 1 : 0;
        if (full_ == 2 && most_ < card_.readMax())
            card_.learnReadMax(most_);
    }

  private:
    // Half of what is long; then, as cards' buffers are 256 octets less some for headers, 255, 254, 252, 248 ... 128;
    // then halves again.
    static uint32_t nextBelow(uint32_t length) {
        if (length > shortAnswerMax)
            return std::max(length / 2, shortAnswerMax);
        const uint32_t missing = shortAnswerMax - length;
        return missing < length ? shortAnswerMax - std::max(1U, 2 * missing) : length / 2;
    }

    Card &card_;
    uint32_t most_;
    int full_ = 0;  // pieces of just that length, one after the other
};

// Puts in what is known of the file's start. Returns whether that is the whole file.
bool takeKnownStart(Card &card, Output &out) {
    const KnownFile &known = card.knownFile();
    if (known.start().empty())
        return false;
    card.spare(1);
    out.append(known.start());
    return known.startIsWhole();
}

// A file ends with a warning, with nothing more delivered, or with an offset that has just passed its end. A piece that
// is shorter than asked for says nothing: cards deliver what suits them.
uint32_t readBinary(Card &card, std::optional<uint8_t> sfi, uint32_t offset, Output &out) {
    if (!sfi && offset == 0 && takeKnownStart(card, out))
        return code::ok;
    PieceSize size(card);
    while (out.room() != 0) {
        const auto at = static_cast<uint32_t>(offset + out.size());
        const uint32_t wanted = size.fit(out.room());
        const Answer piece = readPiece(card, sfi, at, wanted);
        if (piece.sw == wrongLength && size.shrink(wanted))
            continue;
        sfi.reset();
        size.note(piece);
        out.append(piece.data);
        if (piece.sw == endOfFile || (piece.sw == outsideFile && (out.size() != 0 || offset == 0)))
            return code::ok;
        if (piece.sw != complete)
            return statusCode(piece.sw);
        if (piece.data.empty())
            return code::ok;
    }
    return code::ok;
}

std::optional<uint8_t> shortIdentifier(const uint8_t *fileReference, uint32_t offset) {
    if (fileReference == nullptr)
        return std::nullopt;
    require(*fileReference >= 1 && *fileReference <= 30 && offset <= 0xFF);
    return *fileReference;
}

Answer writePiece(Card &card, uint32_t offset, Octets data) {
    if (offset <= shortOffsetMax)
        return card.run({.ins = insUpdateBinary,
                         .p1 = static_cast<uint8_t>(offset >> 8u),
                         .p2 = static_cast<uint8_t>(offset & 0xFFu),
                         .data = data});
    Bytes objects = offsetObject(offset);
    objects.push_back(tagData);
    if (data.size() > 0x7F)
        objects.push_back(0x81);
    objects.push_back(static_cast<uint8_t>(data.size()));
    objects.insert(objects.end(), data.begin(), data.end());
    return card.run({.ins = insUpdateBinaryOdd, .data = objects});
}

uint32_t updateFile(Card &card, Octets fileId, uint32_t offset, Octets data) {
    constexpr uint8_t efOfCurrentDf = 0x02;
    constexpr uint8_t answerNothing = 0x0C;
    const Answer answer = card.run({.ins = 0xA4, .p1 = efOfCurrentDf, .p2 = answerNothing, .data = fileId});
    const uint32_t result = statusCode(answer.sw);
    return result == code::ok ? writeBinary(card, offset, data) : result;
}

// Reads the start of the current file, as much as shows an object's header. From a card that is ours alone it takes a
// whole piece, and keeps it for the reading that follows.
uint32_t readStart(Card &card, Wiped &start) {
    constexpr uint32_t headerMax = 8, keptMax = 2048;
    const uint32_t wanted = card.isAlone() ? std::min(card.readMax(), keptMax) : headerMax;
    start.octets().resize(wanted);
    uint32_t length = wanted;
    Output out(start.octets().data(), &length);
    const uint32_t result = readBinary(card, std::nullopt, 0, out);
    start.octets().resize(length);
    if (result == code::ok && wanted != headerMax)
        card.knownFile().keepStart(start.span(), length < wanted);
    return result;
}

// The header of the first object says how long it is.
uint32_t derLength(Card &card, uint32_t *length) {
    require(length != nullptr);
    *length = 0;
    Wiped start(Bytes{});
    if (const uint32_t result = readStart(card, start); result != code::ok)
        return result;
    const std::optional<TlvHeader> header = parseTlvHeader(start.span());
    if (!header || header->tag == 0 || header->valueSize > offsetMax)
        return code::invalidValue;
    *length = static_cast<uint32_t>(header->headerSize + header->valueSize);
    return code::ok;
}

}  // namespace

// Pieces stay short: how much a card with extended length takes at once it does not say, and a file half written is
// worse than some more commands.
uint32_t writeBinary(Card &card, uint32_t offset, Octets data) {
    constexpr size_t objectHeaders = 8;
    while (!data.empty()) {
        const size_t most = offset <= shortOffsetMax ? shortDataMax : shortDataMax - objectHeaders;
        const size_t count = std::min(data.size(), most);
        const Answer answer = writePiece(card, offset, data.first(count));
        if (const uint32_t result = statusCode(answer.sw); result != code::ok)
            return result;
        data = data.subspan(count);
        offset += static_cast<uint32_t>(count);
    }
    return code::ok;
}

}  // namespace zelmocrd

using namespace zelmocrd;

uint32_t scard_ReadEFBinary(CardHandle card, const uint8_t *fileReference, uint32_t offset, uint8_t *buffer,
                            uint32_t *length, uint32_t /*reserved*/) {
    return onCard(card, [&](Card &it) {
        Output out(buffer, length);
        return readBinary(it, shortIdentifier(fileReference, offset), offset, out);
    });
}

uint32_t scard_GetDERContentLength(CardHandle card, uint32_t /*reserved*/, uint32_t *length) {
    return onCard(card, [&](Card &it) { return derLength(it, length); });
}

uint32_t scard_ReadEFCertificate(CardHandle card, uint32_t /*reserved*/, uint32_t offset, uint8_t *buffer,
                                 uint32_t *length, uint32_t /*reserved2*/, uint32_t /*kind*/) {
    return scard_ReadEFBinary(card, nullptr, offset, buffer, length, 0);
}

uint32_t scard_UpdateEF(CardHandle card, const uint8_t *fileId, uint32_t offset, const uint8_t *data,
                        uint32_t dataLength) {
    return onCard(card, [&](Card &it) {
        require(fileId != nullptr && offset <= offsetMax && dataLength <= offsetMax - offset);
        return updateFile(it, {fileId, 2}, offset, input(data, dataLength));
    });
}
