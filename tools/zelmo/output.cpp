#include "output.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

#include "failure.h"
#include "text.h"
#include "virtualcard/replace_file.h"

namespace zelmo {

namespace {

constexpr std::string_view make_room = "free some space or write elsewhere";

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

/// To a device or a pipe, whose place no file may take.
void writeThrough(const std::string &file, std::string_view content) {
    errno = 0;
    std::FILE *stream = std::fopen(file.c_str(), "we");
    const bool written = stream != nullptr && std::fwrite(content.data(), 1, content.size(), stream) == content.size();
    const bool closed = stream != nullptr && std::fclose(stream) == 0;
    if (!written || !closed)
        throw Failure(Exit::failure, fmt::format("cannot write the output: {}: {}; {}", printable(file),
                                                 std::strerror(errno), make_room));
}

}  // namespace

Output::Output() : colour_(wantsColour()) {}

void Output::heading(std::string_view title) {
    print("{}{}\n", begun_ ? "\n" : "", styled(Style::heading, title));
    begun_ = true;
}

std::string Output::styled(Style style, std::string_view text) const {
    return colour_ && style != Style::plain ? fmt::format("{}{}\x1B[0m", sequence(style), text) : std::string(text);
}

void Output::flush() {
    errno = 0;
    const bool written = std::fwrite(text_.data(), 1, text_.size(), stdout) == text_.size();
    text_.clear();
    if (!written || std::fflush(stdout) != 0)
        throw Failure(Exit::failure, fmt::format("cannot write the output: {}; {}", std::strerror(errno), make_room));
}

void writeFile(const std::string &file, std::string_view content) {
    struct stat status = {};
    if (stat(file.c_str(), &status) == 0 && !S_ISREG(status.st_mode))
        return writeThrough(file, content);
    try {
        virtualcard::replaceFile(virtualcard::resolvedFile(file), content);
    } catch (const virtualcard::FileError &error) {
        throw Failure(Exit::failure,
                      fmt::format("cannot write the output: {}; {}", printable(error.what()), make_room));
    }
}

}  // namespace zelmo
