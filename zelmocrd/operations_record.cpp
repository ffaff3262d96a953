// Reading and writing of records.
#include "zelmocrd/boundary.h"

namespace zelmocrd {

namespace {

using Octets = std::span<const uint8_t>;

// P2 of the record commands: a mode on the current file.
uint8_t recordMode(uint32_t mode) {
    require(mode <= 7);
    return static_cast<uint8_t>(mode);
}

// The whole record is asked for, however little of it is wanted: a shorter length might be answered with an error, and
// the scan would stand still.
uint32_t readRecord(Card &card, uint8_t recordId, uint8_t mode, Output &out) {
    constexpr uint16_t endOfRecord = 0x6282;
    const Answer answer = card.run({.ins = 0xB2, .p1 = recordId, .p2 = mode, .ne = shortAnswerMax});
    out.append(answer.data);
    return answer.sw == endOfRecord ? code::ok : statusCode(answer.sw);
}

uint32_t writeRecord(Card &card, uint8_t ins, uint8_t recordId, uint8_t mode, Octets data) {
    require(!data.empty());
    return statusCode(card.run({.ins = ins, .p1 = recordId, .p2 = mode, .data = data}).sw);
}

}  // namespace

}  // namespace zelmocrd

using namespace zelmocrd;

uint32_t scardcmd_ReadRecord(CardHandle card, uint32_t recordId, uint32_t /*reserved*/, uint32_t mode,
                             uint32_t /*reserved2*/, uint8_t *buffer, uint32_t *length) {
    return onCard(card, [&](Card &it) {
        Output out(buffer, length);
        return readRecord(it, octet(recordId), recordMode(mode), out);
    });
}

uint32_t scardcmd_UpdateRecord(CardHandle card, uint32_t recordId, uint32_t /*reserved*/, uint32_t mode,
                               const uint8_t *data, uint32_t dataLength, uint32_t /*reserved2*/) {
    constexpr uint8_t updateRecord = 0xDC;
    return onCard(card, [&](Card &it) {
        return writeRecord(it, updateRecord, octet(recordId), recordMode(mode), input(data, dataLength));
    });
}

uint32_t scardcmd_AppendRecord(CardHandle card, uint32_t /*reserved*/, const uint8_t *data, uint32_t dataLength,
                               uint32_t /*reserved2*/) {
    constexpr uint8_t appendRecord = 0xE2;
    return onCard(card, [&](Card &it) { return writeRecord(it, appendRecord, 0, 0, input(data, dataLength)); });
}
