#include <cstdio>

#include "commands.h"
#include "directory.h"
#include "list_text.h"
#include "output.h"
#include "session.h"
#include "text.h"
#include "view.h"

namespace zelmo {

namespace {

Json toJson(const Card &card, const Directory &directory) {
    Json json = {{"format", "zelmo apps 1"}, {"reader", validUtf8(card.reader())}};
    json["applications"] = Json::array();
    for (const Application &application : directory.applications)
        json["applications"].push_back(viewApplication(*application));
    json["unreadable"] = directory.unreadable;
    return json;
}

void printText(Output &output, const Json &json) {
    size_t number = 0;
    for (const Json &application : json["applications"])
        printApplication(output, ++number, application);
    for (const Json &part : json["unreadable"])
        output.print("{}\n", output.styled(Style::error, fmt::format("cannot read {}", part.get<std::string>())));
    if (number == 0 && json["unreadable"].empty())
        output.print("EF.DIR names no application.\n");
}

}  // namespace

Exit runApps(const Options &options) {
    const Card card(options.reader, options.trace);
    const Transaction transaction(card);
    const Directory directory = readDirectory(card);
    if (!directory.present)
        throw Failure(Exit::notFound,
                      "the card has no EF.DIR; 'zelmo list' looks for a token where most cards keep it");
    const Json json = toJson(card, directory);
    Output output;
    if (options.json)
        output.print("{}\n", json.dump(2));
    else
        printText(output, json);
    output.flush();
    if (directory.unreadable.empty())
        return Exit::ok;
    fmt::print(stderr, "zelmo: parts of EF.DIR are malformed; they are marked in the listing\n");
    return Exit::malformed;
}

}  // namespace zelmo
