#include "csp/csp_support.h"

#include <cstdarg>
#include <utility>

#include "runtime/log.h"

namespace zelmo_test {

namespace {

Lines trace_lines;

uint32_t collect(uint32_t level, uint32_t kind, va_list arguments) {
    std::string line = std::to_string(level) + " ";
    if (kind == MIREL_LOG_TEXT) {
        const char *format = va_arg(arguments, const char *);
        char text[200];
        std::vsnprintf(text, sizeof text, format, arguments);
        line += text;
    } else {
        const auto *octets = va_arg(arguments, const uint8_t *);
        line += "=" + to_hex(octets, va_arg(arguments, uint32_t));
    }
    trace_lines.push_back(line);
    return 0;
}

}  // namespace

Trace::Trace() {
    mirel_log_init(32, collect);
    trace_lines.clear();
}

Trace::~Trace() {
    mirel_log_terminate();
}

Lines Trace::take() {
    return std::exchange(trace_lines, {});
}

}  // namespace zelmo_test
