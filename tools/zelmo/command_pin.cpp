#include <cstdio>

#include "commands.h"
#include "list_text.h"
#include "output.h"
#include "pin_source.h"
#include "pins.h"
#include "prompts.h"
#include "session.h"
#include "text.h"

namespace zelmo {

namespace {

std::string_view stateName(PinState::Kind kind) {
    switch (kind) {
        case PinState::Kind::usable:
            return "usable";
        case PinState::Kind::verified:
            return "verified";
        case PinState::Kind::blocked:
            return "blocked";
        case PinState::Kind::notInitialized:
            return "notInitialized";
        case PinState::Kind::unknown:
            break;
    }
    return "unknown";
}

/// What 'zelmo list' shows of a PIN, and how it stands.
Json viewPin(const Pin &pin, const PinState &state) {
    Json json = viewObject(PKCS15_AUTH_OBJECTS, 0, pin.object);
    json.erase("objectId");
    json["state"] = stateName(state.kind);
    if (state.tries != noTriesTold)
        json["triesLeft"] = state.tries;
    if (state.kind == PinState::Kind::unknown)
        json["error"] = errorJson(state.code, state.raw);
    return json;
}

PinState stateOf(const Session &session, const Pin &pin) {
    PinState state = pinState(session.card(), session.token(), pin);
    throwIfCardGone(state.code, state.raw);
    return state;
}

std::string stateText(const PinState &state) {
    const std::string tries = state.tries != noTriesTold ? ", " + triesText(state.tries) : "";
    if (state.kind == PinState::Kind::unknown)
        return reasonText(state.code, state.raw);
    return words(stateName(state.kind)) + tries;
}

/// The exit code tells scripts what they may do with the PIN.
Exit stateExit(const PinState &state) {
    if (state.kind == PinState::Kind::blocked)
        return Exit::pinBlocked;
    return state.code == 0 ? Exit::ok : exitFor(state.code, state.raw);
}

}  // namespace

Exit runPinList(const Options &options) {
    const Session session(options);
    Json json = {{"format", "zelmo pins 1"}, {"reader", validUtf8(session.card().reader())}};
    json["pins"] = Json::array();
    Exit exit = Exit::ok;
    for (const Pin &pin : readPins(session.token())) {
        const PinState state = stateOf(session, pin);
        json["pins"].push_back(viewPin(pin, state));
        if (exit == Exit::ok && state.kind == PinState::Kind::unknown)
            exit = stateExit(state);
    }
    Output output;
    if (options.json)
        output.print("{}\n", json.dump(2));
    else
        printPins(output, json["pins"]);
    output.flush();
    if (exit != Exit::ok)
        fmt::print(stderr, "zelmo: the card does not tell how all of the PINs stand; they are marked in the listing\n");
    return exit;
}

Exit runPinStatus(const Options &options) {
    const Session session(options);
    const std::vector<Pin> pins = readPins(session.token());
    const Pin &pin = choosePin(pins, options.id);
    const PinState state = stateOf(session, pin);
    Output output;
    if (options.json) {
        Json json = {{"format", "zelmo pin 1"}, {"reader", validUtf8(session.card().reader())}};
        json["pin"] = viewPin(pin, state);
        output.print("{}\n", json.dump(2));
    } else {
        output.print("{}: {}\n", pin.text(), stateText(state));
    }
    output.flush();
    return stateExit(state);
}

Exit runPinVerify(const Options &options) {
    setLanguage(options.language);
    ChosenPin chosen(options);
    auto &[source, session, pins, pin] = chosen;
    if (source.isPerson())
        requireUsable(session.card(), session.token(), pin);
    Secret value;
    chosen.enter([&] { chosen.source.present(value, chosen.pin, chosen.session.token()); });
    presentPin(session.card(), session.token(), pin, value, 0);
    fmt::print(stderr, "{} is right.\n", pin.text());
    return Exit::ok;
}

}  // namespace zelmo
