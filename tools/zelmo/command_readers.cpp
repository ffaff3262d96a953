#include "card.h"
#include "commands.h"
#include "output.h"
#include "text.h"

namespace zelmo {

Exit runReaders(const Options &) {
    const std::vector<std::string> names = readerNames();
    if (names.empty())
        throw Failure(Exit::noCard, "no reader found; connect one, or use a virtual card: --reader virtual:FILE");
    Output output;
    for (const std::string &name : names)
        output.print("{}\n", printable(name));
    output.flush();
    return Exit::ok;
}

}  // namespace zelmo
