#include "zelmodlg/programs.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <fcntl.h>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace zelmodlg {

namespace {

std::string_view variable(const char *name) {
    const char *value = secure_getenv(name);
    return value != nullptr ? value : "";
}

bool isProgram(const std::string &path) {
    struct stat status;
    return stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) && access(path.c_str(), X_OK) == 0;
}

/// The program's path; empty when it is not on PATH. Folders that depend on the working directory are passed over.
std::string onPath(std::string_view name) {
    std::string_view folders = variable("PATH");
    if (folders.empty())
        folders = "/usr/bin:/bin";
    while (!folders.empty()) {
        const size_t end = std::min(folders.find(':'), folders.size());
        const std::string_view folder = folders.substr(0, end);
        folders.remove_prefix(std::min(end + 1, folders.size()));
        if (!folder.starts_with('/'))
            continue;
        std::string path = std::string(folder) + "/" + std::string(name);
        if (isProgram(path))
            return path;
    }
    return {};
}

enum class Terminal { none, background, foreground };

Terminal terminal() {
    const int descriptor = open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (descriptor < 0)
        return Terminal::none;
    const bool foreground = tcgetpgrp(descriptor) == getpgrp();
    close(descriptor);
    return foreground ? Terminal::foreground : Terminal::background;
}

/// The names to look for, best first.
std::vector<std::string_view> fittingNames() {
    const Terminal where = terminal();
    const bool display = !variable("DISPLAY").empty() || !variable("WAYLAND_DISPLAY").empty();
    if (display && where != Terminal::foreground)
        return {"pinentry", "pinentry-gnome3", "pinentry-qt", "pinentry-gtk-2"};
    if (where == Terminal::none)
        return {};
    const std::string_view type = variable("TERM");
    if (type.empty() || type == "dumb")
        return {"pinentry-tty", "pinentry"};
    return {"pinentry-curses", "pinentry-tty", "pinentry"};
}

/// The same program may have several names.
std::string identity(const std::string &path) {
    char *resolved = realpath(path.c_str(), nullptr);
    std::string result = resolved != nullptr ? resolved : path;
    free(resolved);
    return result;
}

}  // namespace

Programs findPrograms() {
    const std::string named(variable("ZELMODLG_PINENTRY"));
    if (!named.empty())
        return {{named.find('/') != std::string::npos ? named : onPath(named)}, true};
    Programs programs;
    std::vector<std::string> known;
    for (const std::string_view name : fittingNames()) {
        const std::string path = onPath(name);
        if (path.empty() || std::find(known.begin(), known.end(), identity(path)) != known.end())
            continue;
        known.push_back(identity(path));
        programs.paths.push_back(path);
    }
    return programs;
}

}  // namespace zelmodlg
