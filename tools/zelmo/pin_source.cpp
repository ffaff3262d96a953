#include "pin_source.h"

#include <cstring>

#include "prompts.h"
#include "runtime/scdialog_stub.h"

namespace zelmo {

namespace {

void ask(Secret &into, Prompt prompt, const Label *pin, const Label *token) {
    const std::string text = promptText(prompt, pin, token);
    into.clear();
    auto *buffer = reinterpret_cast<char *>(into.buffer().data());
    const uint32_t result = scdlg_GetPIN(0, reinterpret_cast<uintptr_t>(text.c_str()),
                                         reinterpret_cast<uintptr_t>(buffer), Secret::capacity, 0, 0);
    if (result == SCDLG_CANCELLED)
        throw cancelled();
    if (result != 0)
        throw noDialog();
    into.setLength(static_cast<uint32_t>(strnlen(buffer, Secret::capacity)));
    if (into.length() == 0)
        throw Failure(Exit::failure, "an empty PIN was entered, which is none; nothing was sent to the card");
}

const Label *labelOf(const Pin &pin) {
    const auto *object = static_cast<const PKCS15Object *>(pin.object->value);
    return object->commonObjectAttributes != nullptr ? object->commonObjectAttributes->label : nullptr;
}

}  // namespace

void askFresh(Secret &into, const Label *pin, const Label *token) {
    Secret again;
    ask(into, Prompt::fresh, pin, token);
    ask(again, Prompt::repeated, pin, token);
    if (!(into == again))
        throw Failure(Exit::failure, "the two new PINs differ; nothing was changed, try again");
}

void PinSource::present(Secret &into, const Pin &pin, TokenContext &token) {
    if (isPerson())
        ask(into, Prompt::present, labelOf(pin), pkcs15_ScGetTokenInfo(&token)->label);
    else
        lines_.require(into, pin.text());
}

void PinSource::fresh(Secret &into, const Pin &pin, TokenContext &token) {
    if (isPerson())
        askFresh(into, labelOf(pin), pkcs15_ScGetTokenInfo(&token)->label);
    else
        lines_.require(into, "the new " + pin.text());
}

ChosenPin::ChosenPin(const Options &options)
    : source(options), session(options), pins(readPins(session.token())), pin(choosePin(pins, options.id)) {
    requireKnownForm(pin);
}

}  // namespace zelmo
