#include <cstdio>
#include <fmt/format.h>

#include "commands.h"
#include "pin_change.h"
#include "pin_source.h"
#include "prompts.h"

namespace zelmo {

Exit runPinChange(const Options &options) {
    setLanguage(options.language);
    ChosenPin chosen(options);
    auto &[source, session, pins, pin] = chosen;
    refuseIf(pin.has(PinFlag::changeDisabled), pin, "changed");
    if (source.isPerson())
        requireUsable(session.card(), session.token(), pin);
    Secret present;
    Secret fresh;
    chosen.enter([&] {
        chosen.source.present(present, chosen.pin, chosen.session.token());
        chosen.source.fresh(fresh, chosen.pin, chosen.session.token());
    });
    uint8_t tries = noTriesTold;
    uint32_t raw = 0;
    const uint32_t code =
        pkcs15_ScSetAuthenticationObject(session.card().handle(), &session.token(), pin.object, present.data(),
                                         present.length(), fresh.data(), fresh.length(), 0, &tries, &raw);
    if (code != 0)
        throw changeFailure(pin, "changed", code, raw, tries);
    fmt::print(stderr, "{} is changed.\n", pin.text());
    return Exit::ok;
}

}  // namespace zelmo
