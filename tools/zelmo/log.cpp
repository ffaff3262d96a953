#include "log.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fmt/format.h>
#include <string_view>

#include "asn1/asn1_x680.h"
#include "failure.h"
#include "text.h"
#include "token/pkcs15_log.h"
#include "zelmop15/pkcs15.h"

namespace zelmo {

namespace {

/// Names of the levels 0 to 7.
constexpr std::array<std::string_view, 8> level_names = {"off",  "log",   "error", "warn",
                                                         "info", "trace", "debug", "asn1"};

uint32_t parseLevel(std::string_view text) {
    const auto named = std::find(level_names.begin(), level_names.end(), text);
    if (named != level_names.end())
        return static_cast<uint32_t>(named - level_names.begin());
    if (text.size() == 1 && text[0] >= '0' && text[0] <= '7')
        return static_cast<uint32_t>(text[0] - '0');
    throw Failure(Exit::usage, fmt::format("--log {}: no such level; give 0 to 7 or one of {}", printable(text),
                                           fmt::join(level_names, ", ")));
}

}  // namespace

Log::Log(const std::string &log, bool trace) {
    if (!log.empty()) {
        const size_t colon = log.find(':');
        const uint32_t level = parseLevel(std::string_view(log).substr(0, colon));
        if (colon != std::string::npos) {
            const std::string name = log.substr(colon + 1);
            file_.reset(std::fopen(name.c_str(), "a"));
            if (!file_)
                throw Failure(Exit::failure,
                              fmt::format("cannot open the log file {}: {}; name one that can be written",
                                          printable(name), std::strerror(errno)));
        }
        pkcs15_LogInit(file_ ? file_.get() : stderr, level);
    }
    if (trace) {
        asn1_LogStart(stderr);
        p15asn1LogFlag = 1;
    }
}

Log::~Log() {
    asn1_LogStart(nullptr);
    pkcs15_LogClose();
}

}  // namespace zelmo
