// PINs, keys and what has been proven to the card.
#include <optional>
#include <utility>

#include "zelmocrd/boundary.h"
#include "zelmocrd/wiped.h"

namespace zelmocrd {

namespace {

using Octets = std::span<const uint8_t>;

constexpr uint8_t insVerify = 0x20;

// How many tries a status word tells of, if it does.
std::optional<uint8_t> triesLeft(uint16_t sw) {
    constexpr uint16_t blocked = 0x6983;
    if ((sw & 0xFFF0u) == 0x63C0)
        return static_cast<uint8_t>(sw & 0x0Fu);
    return sw == blocked ? std::optional<uint8_t>(0) : std::nullopt;
}

// The result of a command by which something may have been proven.
uint32_t proofResult(Card &card, uint16_t sw) {
    const uint32_t result = statusCode(sw);
    if (result == code::ok)
        card.resetAtClosing();
    return result;
}

uint32_t verify(Card &card, uint8_t reference, Octets pin, uint8_t *retries) {
    // Without data the command would only ask, and its success say nothing about the PIN.
    require(!pin.empty());
    const Answer answer = card.run({.ins = insVerify, .p2 = reference, .data = pin});
    const std::optional<uint8_t> left = triesLeft(answer.sw);
    if (left && retries != nullptr)
        *retries = *left;
    return proofResult(card, answer.sw);
}

uint32_t queryRetries(Card &card, uint8_t reference, uint8_t *retries) {
    constexpr uint16_t verified = 0x9000;
    constexpr uint16_t blocked = 0x6983;
    constexpr uint8_t notTold = 255;
    require(retries != nullptr);
    const Answer answer = card.run({.ins = insVerify, .p2 = reference});
    const std::optional<uint8_t> left = triesLeft(answer.sw);
    if (!left && answer.sw != verified)
        return statusCode(answer.sw);
    *retries = left.value_or(notTold);
    return answer.sw == blocked ? statusCode(answer.sw) : code::ok;
}

// Two values as one command's data, overwritten when it has been sent.
uint32_t sendPair(Card &card, uint8_t ins, uint8_t p1, uint8_t reference, Octets first, Octets second) {
    Bytes data;
    data.reserve(first.size() + second.size());
    data.insert(data.end(), first.begin(), first.end());
    data.insert(data.end(), second.begin(), second.end());
    const Wiped pair(std::move(data));
    return proofResult(card, card.run({.ins = ins, .p1 = p1, .p2 = reference, .data = pair.span()}).sw);
}

uint32_t changeReferenceData(Card &card, uint32_t mode, uint8_t reference, Octets oldData, Octets newData) {
    constexpr uint32_t newOnly = 1;
    require(mode <= newOnly && !newData.empty() && oldData.empty() == (mode == newOnly));
    return sendPair(card, 0x24, static_cast<uint8_t>(mode), reference, oldData, newData);
}

// P1 says which of the two values are there.
uint32_t resetRetryCounter(Card &card, uint8_t reference, Octets authData, Octets newData) {
    const uint8_t withoutAuth = authData.empty() ? 2 : 0;
    const uint8_t withoutNew = newData.empty() ? 1 : 0;
    return sendPair(card, 0x2C, withoutAuth | withoutNew, reference, authData, newData);
}

// PUT KEY as our cards have it: no standard says how a key is replaced.
uint32_t changeKeyData(Card &card, uint8_t reference, Octets key) {
    constexpr uint8_t proprietary = 0x80;
    require(!key.empty());
    return statusCode(card.run({.cla = proprietary, .ins = 0xD8, .p2 = reference, .data = key}).sw);
}

uint32_t externalAuthenticate(Card &card, uint8_t reference, Octets answer) {
    // As with VERIFY, the command without data would only ask.
    require(!answer.empty());
    return proofResult(card, card.run({.ins = 0x82, .p2 = reference, .data = answer}).sw);
}

uint32_t resetSecurityStatus(Card &card, uint32_t mode) {
    constexpr uint8_t notVerified = 0xFF;
    constexpr uint32_t everything = 0;
    constexpr uint32_t currentApplication = 128;
    require(mode == everything || mode == currentApplication);
    return statusCode(card.run({.ins = insVerify, .p1 = notVerified, .p2 = octet(mode)}).sw);
}

uint32_t getData(Card &card, uint32_t tag, Output &out) {
    require(tag <= 0xFFFF);
    const Answer answer = card.run({.ins = 0xCA,
                                    .p1 = static_cast<uint8_t>(tag >> 8u),
                                    .p2 = static_cast<uint8_t>(tag & 0xFFu),
                                    .ne = shortAnswerMax});
    if (const uint32_t result = statusCode(answer.sw); result != code::ok)
        return result;
    out.replace(answer.data);
    return code::ok;
}

}  // namespace

}  // namespace zelmocrd

using namespace zelmocrd;

uint32_t scardcmd_VerifyPIN(CardHandle card, uint32_t reference, const uint8_t *data, uint32_t dataLength,
                            uint8_t *retries, uint32_t /*reserved*/) {
    return onCard(card, [&](Card &it) { return verify(it, octet(reference), input(data, dataLength), retries); });
}

uint32_t scardcmd_QueryRetryCounter(CardHandle card, uint32_t reference, uint8_t *retries, uint32_t /*reserved*/) {
    return onCard(card, [&](Card &it) { return queryRetries(it, octet(reference), retries); });
}

uint32_t scardcmd_ChangeReferenceData(CardHandle card, uint32_t mode, uint32_t reference, const uint8_t *oldData,
                                      uint32_t oldLength, const uint8_t *newData, uint32_t newLength,
                                      uint32_t /*reserved*/) {
    return onCard(card, [&](Card &it) {
        return changeReferenceData(it, mode, octet(reference), input(oldData, oldLength), input(newData, newLength));
    });
}

uint32_t scardcmd_ResetRetryCounter(CardHandle card, uint32_t /*reserved*/, uint32_t reference, const uint8_t *authData,
                                    uint32_t authLength, const uint8_t *newData, uint32_t newLength,
                                    uint32_t /*reserved2*/) {
    return onCard(card, [&](Card &it) {
        return resetRetryCounter(it, octet(reference), input(authData, authLength), input(newData, newLength));
    });
}

uint32_t scardcmd_ExternalAuthenticate(CardHandle card, uint32_t keyReference, const uint8_t *data, uint32_t dataLength,
                                       uint32_t /*reserved*/) {
    return onCard(card,
                  [&](Card &it) { return externalAuthenticate(it, octet(keyReference), input(data, dataLength)); });
}

uint32_t scardcmd_ChangeKeyData(CardHandle card, uint32_t /*reserved*/, uint32_t keyReference, const uint8_t *data,
                                uint32_t dataLength, uint32_t /*reserved2*/) {
    return onCard(card, [&](Card &it) { return changeKeyData(it, octet(keyReference), input(data, dataLength)); });
}

uint32_t scardcmd_ResetSecurityStatus(CardHandle card, uint32_t mode) {
    return onCard(card, [&](Card &it) { return resetSecurityStatus(it, mode); });
}

uint32_t scardcmd_GetData(CardHandle card, uint32_t tag, uint8_t *buffer, uint32_t *length) {
    return onCard(card, [&](Card &it) {
        Output out(buffer, length);
        return getData(it, tag, out);
    });
}
