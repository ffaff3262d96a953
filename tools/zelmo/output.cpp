#include "output.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

#include "failure.h"

namespace zelmo {

namespace {

bool wantsColour() {
    const char *no_color = std::getenv("NO_COLOR");
    const char *terminal = std::getenv("TERM");
    const bool refused = no_color != nullptr && *no_color != 0;
    const bool dumb = terminal == nullptr || std::strcmp(terminal, "dumb") == 0;
    return isatty(STDOUT_FILENO) != 0 && !refused && !dumb;
}

const char *sequence(Style style) {
    switch (style) {
        case Style::heading:
            return "\x1B[1;36m";
        case Style::name:
            return "\x1B[1m";
        case Style::faint:
            return "\x1B[2m";
        case Style::error:
            return "\x1B[31m";
        case Style::plain:
            break;
    }
    return "";
}

}  // namespace

Output::Output() : colour_(wantsColour()) {}

void Output::heading(std::string_view title) {
    print("{}{}\n", text_.empty() ? "" : "\n", styled(Style::heading, title));
}

std::string Output::styled(Style style, std::string_view text) const {
    return colour_ && style != Style::plain ? fmt::format("{}{}\x1B[0m", sequence(style), text) : std::string(text);
}

void Output::flush() {
    errno = 0;
    const bool written = std::fwrite(text_.data(), 1, text_.size(), stdout) == text_.size();
    text_.clear();
    if (!written || std::fflush(stdout) != 0)
        throw Failure(Exit::failure, fmt::format("cannot write the output: {}; free some space or write elsewhere",
                                                 std::strerror(errno)));
}

}  // namespace zelmo
