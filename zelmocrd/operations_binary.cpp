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
        card.run({.ins = insReadBinaryOdd, .data = data, .ne = std::min(wanted + headerMax, card.answerMax())});
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
Answer readPiece(Card &card, std::optional<uint8_t> sfi, uint32_t offset, size_t room) {
    const auto wanted = static_cast<uint32_t>(std::min<size_t>(room, card.answerMax()));
    if (!sfi && offset > shortOffsetMax)
        return readFar(card, offset, wanted);
    const auto high = static_cast<uint8_t>(sfi ? 0x80u | *sfi : offset >> 8u);
    return card.run({.ins = insReadBinary, .p1 = high, .p2 = static_cast<uint8_t>(offset & 0xFFu), .ne = wanted});
}

// A file ends with a warning, with nothing more delivered, or with an offset that has just passed its end. A piece that
// is shorter than asked for says nothing: cards deliver what suits them.
uint32_t readBinary(Card &card, std::optional<uint8_t> sfi, uint32_t offset, Output &out) {
    constexpr uint16_t complete = 0x9000;
    constexpr uint16_t endOfFile = 0x6282;
    constexpr uint16_t outsideFile = 0x6B00;
    while (out.room() != 0) {
        const auto at = static_cast<uint32_t>(offset + out.size());
        const Answer piece = readPiece(card, std::exchange(sfi, std::nullopt), at, out.room());
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

// The header of the first object says how long it is; no need to read the rest.
uint32_t derLength(Card &card, uint32_t *length) {
    require(length != nullptr);
    uint8_t buffer[8];
    uint32_t delivered = sizeof buffer;
    Output out(buffer, &delivered);
    *length = 0;
    if (const uint32_t result = readBinary(card, std::nullopt, 0, out); result != code::ok)
        return result;
    const std::optional<TlvHeader> header = parseTlvHeader({buffer, delivered});
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
