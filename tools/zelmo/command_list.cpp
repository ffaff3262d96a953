#include <cstdio>

#include "commands.h"
#include "directory.h"
#include "list_text.h"
#include "output.h"
#include "session.h"
#include "text.h"

namespace zelmo {

namespace {

Json listing(const Card &card, const Choice &choice) {
    const Token token = openToken(card, *choice.application);
    Json json = {{"format", "zelmo list 1"}, {"reader", validUtf8(card.reader())}};
    json["application"] = viewApplication(*pkcs15_ScGetDIRRecord(token.get()));
    json["application"]["builtIn"] = choice.builtIn;
    json["tokenInfo"] = viewTokenInfo(*pkcs15_ScGetTokenInfo(token.get()));
    Walk walk = readObjects(card, *token);
    json["objects"] = std::move(walk.objects);
    json["unreadable"] = std::move(walk.unreadable);
    return json;
}

/// What could not be read was shown in its place; the exit code tells scripts of the first of it.
Exit report(const Json &unreadable) {
    if (unreadable.empty())
        return Exit::ok;
    fmt::print(stderr, "zelmo: {} of the token's parts could not be read; they are marked in the listing\n",
               unreadable.size());
    return static_cast<Exit>(unreadable[0]["error"]["exitCode"].get<int>());
}

}  // namespace

Exit runList(const Options &options) {
    const std::vector<uint8_t> aid = wantedAid(options);
    const Card card(options.reader, options.trace);
    const Json json = listing(card, chooseApplication(card, aid));
    Output output;
    if (options.json)
        output.print("{}\n", json.dump(2));
    else
        printListing(output, json);
    output.flush();
    return report(json["unreadable"]);
}

}  // namespace zelmo
