#include <cstdio>
#include <fmt/format.h>

#include "commands.h"
#include "pin_change.h"
#include "pin_source.h"
#include "prompts.h"

namespace zelmo {

namespace {

const Pin &pukOf(const std::vector<Pin> &pins, const Pin &pin, const std::string &wanted) {
    if (!wanted.empty())
        return choosePin(pins, wanted);
    if (const Pin *named = findPin(pins, pin.authId); named != nullptr && named->has(PinFlag::unblockingPin))
        return *named;
    std::vector<const Pin *> puks;
    for (const Pin &candidate : pins) {
        if (candidate.has(PinFlag::unblockingPin))
            puks.push_back(&candidate);
    }
    if (puks.empty())
        throw Failure(
            Exit::notFound,
            fmt::format("the token names no PUK for {}; name the PIN that unblocks it with --puk-id", pin.text()));
    if (puks.size() > 1)
        throw Failure(Exit::notFound, fmt::format("{} may be unblocked by {} or {}; choose one with --puk-id",
                                                  pin.text(), puks[0]->text(), puks[1]->text()));
    return *puks[0];
}

void unblock(const Session &session, const Pin &pin, const Secret &pin_form, const Pin &puk, const Secret &puk_form) {
    selectHome(session, pin);
    const uint32_t raw = scardcmd_ResetRetryCounter(session.card().handle(), 0, cardReference(pin), puk_form.data(),
                                                    puk_form.length(), pin_form.data(), pin_form.length(), 0);
    const uint32_t code = raw != 0 ? pkcs15_SCardException(raw) : 0;
    if (code == 0)
        return;
    if (code == PKCS15_E_VERIFICATION_FAILED || code == PKCS15_E_AUTH_BLOCKED)
        throw pinFailure(puk, code, raw, pinState(session.card(), session.token(), puk).tries);
    throw libraryFailure(fmt::format("{} cannot be unblocked", pin.text()), code, raw);
}

}  // namespace

Exit runPinUnblock(const Options &options) {
    setLanguage(options.language);
    ChosenPin chosen(options);
    auto &[source, session, pins, pin] = chosen;
    refuseIf(pin.has(PinFlag::unblockDisabled), pin, "unblocked");
    const Pin &puk = pukOf(pins, pin, options.pukId);
    requireKnownForm(puk);
    if (source.isPerson())
        requireUsable(session.card(), session.token(), puk);
    Secret puk_value;
    Secret pin_value;
    chosen.enter([&] {
        chosen.source.present(puk_value, puk, chosen.session.token());
        chosen.source.fresh(pin_value, chosen.pin, chosen.session.token());
    });
    Secret puk_form;
    Secret pin_form;
    if (!toCardForm(pin_value, pin, pin_form))
        throw unfit(pin, PKCS15_E_PIN_FORMAT);
    if (!toCardForm(puk_value, puk, puk_form))
        throw Failure(Exit::failure, fmt::format("{} has another form than what was entered; nothing was sent to the "
                                                 "card, so no try is lost",
                                                 puk.text()));
    unblock(session, pin, pin_form, puk, puk_form);
    fmt::print(stderr, "{} is unblocked and has its new value.\n", pin.text());
    return Exit::ok;
}

}  // namespace zelmo
