#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "commands.h"
#include "output.h"
#include "script_build.h"
#include "script_text.h"
#include "text.h"

namespace zelmo {

Exit runScriptBuild(const Options &options) {
    const virtualcard::Bytes script = buildScript(readProfile(options.file), options.file);
    writeFile(options.output, {reinterpret_cast<const char *>(script.data()), script.size()});
    fmt::print(stderr, "Made {}: {} octets.\n", printable(options.output), script.size());
    return Exit::ok;
}

Exit runScriptShow(const Options &options) {
    std::ifstream input(options.file, std::ios::binary);
    const std::vector<char> content{std::istreambuf_iterator<char>(input), {}};
    if (!input.is_open() || input.bad())
        throw Failure(Exit::notFound,
                      fmt::format("cannot read {}; make a script with 'zelmo script build'", printable(options.file)));
    Output output;
    printScript(output, {reinterpret_cast<const uint8_t *>(content.data()), content.size()});
    output.flush();
    return Exit::ok;
}

}  // namespace zelmo
