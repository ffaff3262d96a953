// GET DATA, GET RESPONSE and GET CHALLENGE.
#include <set>
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

// The host looks for references without the bit that makes them specific, of which two may then be the same.
Bytes withoutTopBits(const std::vector<uint8_t> &references) {
    std::set<uint8_t> plain;
    for (const uint8_t reference : references)
        plain.insert(reference & 0x7Fu);
    return {plain.begin(), plain.end()};
}

}  // namespace

VirtualCard::Answer VirtualCard::getData(const Command &command) {
    if (command.ne == 0 || !command.data.empty())
        return sw::wrongLength;
    switch (command.p1 << 8 | command.p2) {
        case provenKeys:
            return withoutTopBits(proven_.references(SecretKind::key));
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
    if (getentropy(challenge.data(), challenge.size()) != 0)
        return sw::noDiagnosis;
    challenge_ = challenge;
    return challenge;
}

}  // namespace virtualcard
