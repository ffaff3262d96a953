// GET DATA, GET RESPONSE, GET CHALLENGE and VERIFY.
#include <algorithm>
#include <sys/random.h>
#include <utility>

#include "virtualcard/card.h"
#include "virtualcard/fcp.h"

namespace virtualcard {

namespace {

// P1 P2 of GET DATA.
constexpr uint16_t provenKeys = 0x0084;
constexpr uint16_t cardDescription = 0x0100;

// Tags inside the card description.
constexpr uint8_t tagModel = 0x80;
constexpr uint8_t tagSerial = 0x81;
constexpr uint8_t tagLifeCycle = 0x82;

Bytes description(const CardImage &image) {
    Bytes out;
    appendObject(out, tagModel, {static_cast<uint8_t>(image.model >> 8u), static_cast<uint8_t>(image.model & 0xFFu)});
    appendObject(out, tagSerial, image.serial);
    appendObject(out, tagLifeCycle, {image.lifeCycle});
    return out;
}

uint16_t triesStatus(const Secret &secret) {
    if (secret.maxTries == 0)
        return sw::verificationFailed;
    return static_cast<uint16_t>(sw::triesLeft | std::min<unsigned>(secret.triesLeft, 15));
}

}  // namespace

VirtualCard::Answer VirtualCard::getData(const Command &command) {
    if (command.ne == 0 || !command.data.empty())
        return sw::wrongLength;
    switch (command.p1 << 8 | command.p2) {
        case provenKeys:
            return Bytes(proven_.keys.begin(), proven_.keys.end());
        case cardDescription:
            return description(image_);
        default:
            return sw::referenceNotFound;
    }
}

VirtualCard::Answer VirtualCard::getResponse(const Command &command) {
    if (command.p1 != 0 || command.p2 != 0)
        return sw::wrongParameters;
    if (command.ne == 0 || !command.data.empty())
        return sw::wrongLength;
    if (held_.empty())
        return sw::conditionsOfUse;
    if (command.ne > held_.size() && !command.everything)
        return static_cast<uint16_t>(sw::exactLength | (held_.size() < 256 ? held_.size() : 0));
    return {std::exchange(held_, {}), heldStatus_};
}

VirtualCard::Answer VirtualCard::getChallenge(const Command &command) {
    if (command.p1 != 0 || command.p2 != 0)
        return sw::wrongParameters;
    if (command.ne == 0 || command.ne > 256 || !command.data.empty())
        return sw::wrongLength;
    Bytes challenge(command.ne);
    return getentropy(challenge.data(), challenge.size()) == 0 ? Answer(std::move(challenge)) : sw::memoryFailure;
}

// Without data it asks for the tries left.
VirtualCard::Answer VirtualCard::verify(const Command &command) {
    if (command.p1 != 0)
        return sw::wrongParameters;
    const auto pin = std::find_if(image_.pins.begin(), image_.pins.end(),
                                  [&command](const Secret &secret) { return secret.reference == command.p2; });
    if (pin == image_.pins.end())
        return sw::referenceNotFound;
    const bool counted = pin->maxTries != 0;
    if (counted && pin->triesLeft == 0)
        return sw::blocked;
    if (command.data.empty())
        return proven_.pins.count(pin->reference) != 0 ? sw::ok : triesStatus(*pin);
    const bool right = std::equal(pin->value.begin(), pin->value.end(), command.data.begin(), command.data.end());
    const uint8_t before = pin->triesLeft;
    if (counted)
        pin->triesLeft = right ? pin->maxTries : static_cast<uint8_t>(before - 1);
    changed_ = pin->triesLeft != before;
    if (!right) {
        proven_.pins.erase(pin->reference);
        return triesStatus(*pin);
    }
    proven_.pins.insert(pin->reference);
    return sw::ok;
}

}  // namespace virtualcard
