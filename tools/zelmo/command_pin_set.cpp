#include <cstdio>
#include <fmt/format.h>

#include "asn1/asn1_x680.h"
#include "commands.h"
#include "pin_change.h"
#include "pin_source.h"
#include "prompts.h"

namespace zelmo {

namespace {

/// Sets the bit that says that the PIN is set. False for what is no PIN, and when memory is short.
bool setInitialized(const AuthenticationType &object) {
    if ((object.tag & 0xFFu) != P15_TAG_PIN || object.value == nullptr)
        return false;
    const auto *attributes =
        static_cast<const PinAttributes *>(static_cast<PKCS15Object *>(object.value)->typeAttributes);
    return attributes != nullptr && attributes->pinFlags != nullptr &&
           asn1_BitString_set(attributes->pinFlags, static_cast<uint32_t>(PinFlag::initialized), 1) != nullptr;
}

/// Writes the PIN's entry in the token's directory, with the bit set.
uint32_t writeEntry(const Session &session, const Pin &pin, uint32_t &raw) {
    const CardHandle card = session.card().handle();
    if (asn1_BitString_test(pkcs15_ScGetTokenInfo(&session.token())->tokenflags, 0) != 0)
        return PKCS15_E_UNSUPPORTED;
    ObjectReference *found = nullptr;
    uint32_t code =
        pkcs15_ScFindObject(card, &session.token(), PKCS15_AUTH_OBJECTS, pin.id, FLAG_REFRESH_CACHE, &found, &raw);
    const OwnedReference reference(code == 0 ? found : nullptr);
    void *entry = nullptr;
    if (code == 0)
        code = pkcs15_ScGetDFEntry(card, &session.token(), reference.get(), FLAG_USE_CACHE, &entry, &raw);
    if (code != 0)
        return code;
    const bool set = setInitialized(*static_cast<const AuthenticationType *>(entry));
    code = pkcs15_ScReleaseDFEntry(card, &session.token(), reference.get(), set ? RELEASE_COMMIT : RELEASE_DISCARD,
                                   entry, &raw);
    return set ? code : PKCS15_E_FAILED;
}

/// The library does not present a PIN whose entry says that it has not been set: the entry has to follow the card.
void markInitialized(const Session &session, const Pin &pin, const Secret &value) {
    uint32_t raw = 0;
    uint32_t code = writeEntry(session, pin, raw);
    if (code == PKCS15_E_SECURITY_STATUS && setInitialized(*pin.object)) {
        // The entry may be guarded by the very PIN.
        presentPin(session.card(), session.token(), pin, value, 0);
        code = writeEntry(session, pin, raw);
    }
    if (code != 0)
        throw Failure(Exit::failure,
                      fmt::format("{} is set on the card, but its entry on the token still says that it is not: {}; "
                                  "have the card's issuer correct the entry",
                                  pin.text(), reasonText(code, raw)));
}

/// The library sends a first value as it was typed, which is the card's own form for some PINs only.
uint32_t setValue(const Session &session, const Pin &pin, const Secret &value, const Secret &form, uint32_t &raw) {
    const CardHandle card = session.card().handle();
    selectHome(session, pin);
    if (form == value)
        return pkcs15_ScInitAuthenticationObject(card, &session.token(), pin.object, value.data(), value.length(),
                                                 &raw);
    raw = scardcmd_ChangeReferenceData(card, 1, cardReference(pin), nullptr, 0, form.data(), form.length(), 0);
    return raw != 0 ? pkcs15_SCardException(raw) : 0;
}

Failure setFailure(const Pin &pin, uint32_t code, uint32_t raw) {
    if (code != PKCS15_E_SECURITY_STATUS || !pin.has(PinFlag::initialized))
        return changeFailure(pin, "set", code, raw, noTriesTold);
    return {Exit::accessDenied,
            fmt::format("{} cannot be set: {}; it is set already, change it with 'zelmo pin change {}'", pin.text(),
                        reasonText(code, raw), pin.name.id)};
}

}  // namespace

Exit runPinSet(const Options &options) {
    setLanguage(options.language);
    ChosenPin chosen(options);
    auto &[source, session, pins, pin] = chosen;
    Secret value;
    Secret form;
    chosen.enter([&] { chosen.source.fresh(value, chosen.pin, chosen.session.token()); });
    if (!toCardForm(value, pin, form))
        throw unfit(pin, PKCS15_E_PIN_FORMAT);
    uint32_t raw = 0;
    if (const uint32_t code = setValue(session, pin, value, form, raw); code != 0)
        throw setFailure(pin, code, raw);
    if (!pin.has(PinFlag::initialized))
        markInitialized(session, pin, value);
    fmt::print(stderr, "{} is set.\n", pin.text());
    return Exit::ok;
}

}  // namespace zelmo
