#include "pins.h"

#include <algorithm>
#include <fmt/format.h>

#include "asn1/asn1_x680.h"
#include "text.h"

namespace zelmo {

namespace {

constexpr uint32_t greatest_pin_type = 4;
constexpr uint32_t wrong_value = 0xA0116300;

std::optional<Pin> asPin(const AuthenticationType &object) {
    if ((object.tag & 0xFFu) != P15_TAG_PIN || object.value == nullptr)
        return std::nullopt;
    const auto &parts = *static_cast<const PKCS15Object *>(object.value);
    const auto *authentication = static_cast<const CommonAuthenticationObjectAttributes *>(parts.classAttributes);
    Pin pin;
    pin.object = &object;
    pin.attributes = static_cast<const PinAttributes *>(parts.typeAttributes);
    pin.id = authentication != nullptr ? authentication->authId : nullptr;
    if (pin.attributes == nullptr || pin.id == nullptr)
        return std::nullopt;
    pin.name.id = hex({pin.id->data, pin.id->len});
    if (const CommonObjectAttributes *common = parts.commonObjectAttributes) {
        pin.authId = common->authId;
        if (common->label != nullptr)
            pin.name.label = view::text(*common->label);
    }
    return pin;
}

/// What to try with a PIN that no longer takes any value.
std::string blockedAdvice(const Pin &pin) {
    if (pin.has(PinFlag::unblockingPin))
        return "nothing sets it free again, ask the issuer of the card";
    if (pin.has(PinFlag::unblockDisabled))
        return "it cannot be unblocked, ask the issuer of the card";
    return fmt::format("unblock it with 'zelmo pin unblock {}'", pin.name.id);
}

Failure withAdvice(const Pin &pin, const std::string &outcome, uint32_t code, uint32_t raw, const std::string &advice) {
    return {exitFor(code, raw), fmt::format("{} {}: {}; {}", pin.text(), outcome, reasonText(code, raw), advice)};
}

}  // namespace

bool Pin::has(PinFlag flag) const {
    return attributes->pinFlags != nullptr && asn1_BitString_test(attributes->pinFlags, static_cast<uint32_t>(flag));
}

std::string Pin::text() const {
    return fmt::format("{} {}", has(PinFlag::unblockingPin) ? "PUK" : "PIN", nameOf(name));
}

std::vector<Pin> readPins(const TokenContext &token) {
    std::vector<Pin> pins;
    uint32_t cursor = 0;
    AuthenticationType *object = nullptr;
    for (uint32_t mode = ENUM_FIRST; pkcs15_EnumerateAODF(&token, mode, &cursor, &object) == 0; mode = ENUM_NEXT) {
        if (const std::optional<Pin> pin = object != nullptr ? asPin(*object) : std::nullopt)
            pins.push_back(*pin);
    }
    return pins;
}

const Pin &choosePin(const std::vector<Pin> &pins, const std::string &word) {
    std::vector<Name> names(pins.size());
    std::transform(pins.begin(), pins.end(), names.begin(), [](const Pin &pin) { return pin.name; });
    return pins[choose(names, word, "PIN")];
}

const Pin *findPin(const std::vector<Pin> &pins, const asn1_OctetString *id) {
    for (const Pin &pin : pins) {
        if (id != nullptr && asn1_OctetString_cmp(pin.id, id) == 0)
            return &pin;
    }
    return nullptr;
}

PinState pinState(const Card &card, TokenContext &token, const Pin &pin) {
    PinState state;
    state.code =
        pkcs15_ScVerify(card.handle(), &token, pin.object, nullptr, 0, P15_VERIFY_QUERY, &state.tries, &state.raw);
    if (state.code == PKCS15_E_NOT_INITIALIZED)
        state.kind = PinState::Kind::notInitialized;
    else if (state.code == PKCS15_E_AUTH_BLOCKED || (state.code == 0 && state.tries == 0))
        state.kind = PinState::Kind::blocked;
    else if (state.code == 0)
        state.kind = state.tries == noTriesTold ? PinState::Kind::verified : PinState::Kind::usable;
    return state;
}

std::string triesText(uint8_t tries) {
    return fmt::format("{} {} left", tries, tries == 1 ? "try" : "tries");
}

void requireKnownForm(const Pin &pin) {
    if (pin.attributes->pinType > greatest_pin_type)
        throw Failure(Exit::malformed, fmt::format("{} is of type {}, which is none; nothing was presented", pin.text(),
                                                   pin.attributes->pinType));
}

void requireUsable(const Card &card, TokenContext &token, const Pin &pin) {
    const PinState state = pinState(card, token, pin);
    if (state.kind == PinState::Kind::blocked)
        throw pinFailure(pin, PKCS15_E_AUTH_BLOCKED, state.raw, state.tries);
    if (state.kind == PinState::Kind::notInitialized)
        throw pinFailure(pin, state.code, state.raw, state.tries);
}

Failure pinFailure(const Pin &pin, uint32_t code, uint32_t raw, uint8_t tries) {
    if (code == PKCS15_E_AUTH_BLOCKED)
        return withAdvice(pin, "is blocked", code, raw, blockedAdvice(pin));
    if (code == PKCS15_E_NOT_INITIALIZED)
        return withAdvice(pin, "has not been set yet", code, raw,
                          fmt::format("set it with 'zelmo pin set {}'", pin.name.id));
    if (raw == wrong_value && tries == 0)
        return withAdvice(pin, "is wrong, no tries left", code, raw, blockedAdvice(pin));
    if (raw == wrong_value)
        return libraryFailure(
            fmt::format("{} is wrong{}", pin.text(), tries != noTriesTold ? ", " + triesText(tries) : ""), code, raw);
    return libraryFailure(fmt::format("{} cannot be presented", pin.text()), code, raw);
}

Failure noDialog() {
    return {Exit::failure,
            "cannot ask for the PIN, the dialog failed or there is none; run this at a terminal with "
            "pinentry, or give the PIN with --pin-fd or --pin-file"};
}

Failure cancelled() {
    return {Exit::failure, "cancelled; nothing was sent to the card"};
}

void presentPin(const Card &card, TokenContext &token, const Pin &pin, const Secret &value, uint32_t flags) {
    uint8_t tries = noTriesTold;
    uint32_t raw = 0;
    const uint32_t code =
        pkcs15_ScVerify(card.handle(), &token, pin.object, value.data(), value.length(), flags, &tries, &raw);
    if (code != 0)
        throw pinFailure(pin, code, raw, tries);
}

}  // namespace zelmo
