// Facts about the card, its random numbers, life cycle, resets and transactions.
#include <algorithm>
#include <cstddef>

#include "zelmocrd/boundary.h"
#include "zelmocrd/tlv.h"

// Others reserve memory for these records and read them by offset.
static_assert(sizeof(FileInfo) == 24 && offsetof(FileInfo, fileType) == 0);
static_assert(sizeof(CardInfo) == 96 && offsetof(CardInfo, lifeCycle) == 92);

namespace zelmocrd {

namespace {

using Octets = std::span<const uint8_t>;

// The card description: a data object of our cards that holds model, serial number and life cycle phase. Other cards
// do not know it, and remain undescribed.
constexpr uint8_t descriptionHigh = 0x01;
constexpr uint8_t descriptionLow = 0x00;
constexpr uint32_t tagModel = 0x80;
constexpr uint32_t tagSerial = 0x81;
constexpr uint32_t tagLifeCycle = 0x82;

Bytes description(Card &card) {
    Answer answer = card.run({.ins = 0xCA, .p1 = descriptionHigh, .p2 = descriptionLow, .ne = shortAnswerMax});
    return statusCode(answer.sw) == code::ok ? std::move(answer.data) : Bytes();
}

uint32_t numberIn(Octets objects, uint32_t tag) {
    return bigEndian(findTlv(objects, tag).value_or(Octets())).value_or(0);
}

template <size_t Size>
uint32_t copyInto(uint8_t (&target)[Size], Octets octets) {
    const size_t count = std::min(octets.size(), Size);
    std::copy_n(octets.begin(), count, target);
    return static_cast<uint32_t>(count);
}

CardInfo cardInfo(Card &card) {
    const Bytes objects = description(card);
    CardInfo info = {};
    info.model = numberIn(objects, tagModel);
    card.model = info.model;
    info.atrLength = copyInto(info.atr, card.atr());
    info.serialLength = copyInto(info.serial, findTlv(objects, tagSerial).value_or(Octets()));
    info.extendedLength = card.extendedLength() ? 1 : 0;
    info.chaining = card.abilities().chaining ? 1 : 0;
    info.lifeCycle = numberIn(objects, tagLifeCycle);
    return info;
}

// What no standard has is a command of our own cards.
uint32_t runProprietary(Card &card, Command command) {
    constexpr uint8_t proprietary = 0x80;
    command.cla = proprietary;
    return statusCode(card.run(command).sw);
}

// A card may deliver less at a time than it is asked for.
uint32_t getRandom(Card &card, Output &out) {
    while (out.room() != 0) {
        const auto wanted = static_cast<uint32_t>(std::min<size_t>(out.room(), shortAnswerMax));
        const Answer answer = card.run({.ins = 0x84, .ne = wanted});
        if (const uint32_t result = statusCode(answer.sw); result != code::ok)
            return result;
        if (answer.data.empty())
            return code::communication;
        out.append(answer.data);
    }
    return code::ok;
}

}  // namespace

}  // namespace zelmocrd

using namespace zelmocrd;

uint32_t scard_GetCardInfo(CardHandle card, CardInfo *info) {
    return onCard(card, [&](Card &it) {
        require(info != nullptr);
        *info = cardInfo(it);
        return code::ok;
    });
}

uint32_t scard_GetCardModel(CardHandle card) {
    uint32_t model = 0;
    onCard(card, [&](Card &it) {
        model = it.model ? *it.model : cardInfo(it).model;
        return code::ok;
    });
    return model;
}

uint32_t scard_GetRandom(CardHandle card, uint8_t *buffer, uint32_t count) {
    return onCard(card, [&](Card &it) {
        Output out(buffer, &count);
        return getRandom(it, out);
    });
}

uint32_t scard_LifeCycleAdministration(CardHandle card) {
    return onCard(card, [](Card &it) {
        constexpr uint8_t initialised = 32;
        return runProprietary(it, {.ins = 0x10, .p2 = initialised});
    });
}

uint32_t scardcmd_EraseFiles(CardHandle card, uint32_t /*reserved*/) {
    return onCard(card, [](Card &it) { return runProprietary(it, {.ins = 0xE4}); });
}

uint32_t scard_ResetCard(CardHandle card) {
    return onCard(card, [](Card &it) {
        it.reset();
        return code::ok;
    });
}

uint32_t scard_BeginTransaction(CardHandle card) {
    return onCard(card, [](Card &it) {
        it.beginTransaction();
        return code::ok;
    });
}

uint32_t scard_EndTransaction(CardHandle card, uint32_t /*reserved*/) {
    return onCard(card, [](Card &it) {
        it.endTransaction();
        return code::ok;
    });
}
