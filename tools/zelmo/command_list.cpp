#include <cstdio>

#include "commands.h"
#include "directory.h"
#include "list_text.h"
#include "output.h"
#include "session.h"
#include "text.h"

namespace zelmo {

namespace {

/// All of a listing but its objects.
Json viewToken(const Card &card, const TokenContext &token, const Choice &choice) {
    Json json = {{"format", "zelmo list 1"}, {"reader", validUtf8(card.reader())}};
    json["application"] = viewApplication(*pkcs15_ScGetDIRRecord(&token));
    json["application"]["builtIn"] = choice.builtIn;
    json["tokenInfo"] = viewTokenInfo(*pkcs15_ScGetTokenInfo(&token));
    return json;
}

/// Prints each part of the token as soon as it has been read, since cards take their time. Returns what could not be
/// read.
Json printAsRead(const Card &card, TokenContext &token, const Json &listing) {
    Output output;
    printToken(output, listing);
    output.flush();
    const Json guards = authObjects(token);
    Json unreadable = Json::array();
    bool empty = true;
    for (const uint32_t type : allTypes) {
        const Walk walk = readObjects(card, token, {type});
        const Json found = {{"objects", walk.objects}, {"unreadable", walk.unreadable}};
        printObjects(output, type, found, guards);
        output.flush();
        unreadable.insert(unreadable.end(), walk.unreadable.begin(), walk.unreadable.end());
        empty = empty && walk.objects.empty() && walk.unreadable.empty();
    }
    if (empty)
        output.print("The token holds no objects.\n");
    output.flush();
    return unreadable;
}

Json printJson(const Card &card, TokenContext &token, Json listing) {
    Walk walk = readObjects(card, token);
    listing["objects"] = std::move(walk.objects);
    listing["unreadable"] = walk.unreadable;
    Output output;
    output.print("{}\n", listing.dump(2));
    output.flush();
    return walk.unreadable;
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
    const Transaction transaction(card);
    const Choice choice = chooseApplication(card, aid);
    const Token token = openToken(card, *choice.application);
    const Json listing = viewToken(card, *token, choice);
    return report(options.json ? printJson(card, *token, listing) : printAsRead(card, *token, listing));
}

}  // namespace zelmo
