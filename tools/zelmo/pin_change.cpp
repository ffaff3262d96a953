#include "pin_change.h"

#include <fmt/format.h>

#include "asn1/asn1_x680.h"

namespace zelmo {

namespace {

/// "4 to 8 characters".
std::string lengthsText(const PinAttributes &attributes) {
    const uint32_t least = attributes.minLength != nullptr ? asn1_Integer_get(attributes.minLength) : 0;
    return attributes.maxLength != nullptr
               ? fmt::format("{} to {} characters", least, asn1_Integer_get(attributes.maxLength))
               : fmt::format("{} characters or more", least);
}

}  // namespace

void refuseIf(bool refused, const Pin &pin, const char *what) {
    if (refused)
        throw Failure(
            Exit::accessDenied,
            fmt::format("{} cannot be {}: the card's issuer does not allow it; see its flags in 'zelmo pin list'",
                        pin.text(), what));
}

bool toCardForm(const Secret &value, const Pin &pin, Secret &form) {
    uint32_t length = Secret::capacity;
    const bool fits =
        pkcs15_TransformPIN(value.data(), value.length(), pin.attributes, form.buffer().data(), &length) != nullptr;
    form.setLength(fits ? length : 0);
    return fits;
}

Failure unfit(const Pin &pin, uint32_t code) {
    constexpr std::string_view types[] = {"digits", "digits", "text", "digits", "digits"};
    return {Exit::failure, fmt::format("the new {} does not fit: {}; it takes {}, {}", pin.text(), codeName(code),
                                       types[pin.attributes->pinType], lengthsText(*pin.attributes))};
}

Failure changeFailure(const Pin &pin, const char *what, uint32_t code, uint32_t raw, uint8_t tries) {
    if (code == PKCS15_E_PIN_LENGTH || code == PKCS15_E_PIN_FORMAT)
        return unfit(pin, code);
    if (tries != noTriesTold || code == PKCS15_E_AUTH_BLOCKED || code == PKCS15_E_NOT_INITIALIZED)
        return pinFailure(pin, code, raw, tries);
    return libraryFailure(fmt::format("{} cannot be {}", pin.text(), what), code, raw);
}

void selectHome(const Session &session, const Pin &pin) {
    const Path *path = pin.attributes->path;
    const asn1_OctetString *ids = path != nullptr ? path->path : nullptr;
    uint32_t raw = 0;
    const uint32_t code =
        pkcs15_ScSelectFile(session.card().handle(), &session.token(), ids != nullptr ? ids->data : nullptr,
                            ids != nullptr ? ids->len : 0, nullptr, &raw);
    if (code != 0)
        throw libraryFailure(fmt::format("{} cannot be reached", pin.text()), code, raw);
}

uint32_t cardReference(const Pin &pin) {
    const Reference *number = pin.attributes->pinReference;
    return number != nullptr && number->len != 0 ? number->data[0] : 0;
}

}  // namespace zelmo
