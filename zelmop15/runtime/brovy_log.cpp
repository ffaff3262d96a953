#include "runtime/brovy_log.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <strings.h>
#include <sys/syscall.h>
#include <sys/utsname.h>
#include <unistd.h>

#include "runtime/brovy_log_name.h"
#include "runtime/owned.h"
#include "runtime/stdio_safe.h"
#include "runtime/str_safe.h"
#include "runtime/time_safe.h"

extern "C" const char szLogLevel[8][6] = {"     ", "     ", "Error", " Warn", " Info", "Trace", "Debug", "ASN.1"};

namespace {

constexpr size_t line_size = 240;
/// Bound of a line's text, its terminator included.
constexpr size_t text_bound = 238;
constexpr int32_t dump_width = 16;
constexpr char blank[] = "                                                                                ";
static_assert(sizeof blank - 1 == size_t{dump_width} * 5, "a byte takes at most five characters");

/// What the prefix of a line says.
struct Prefix {
    int process;
    int thread;
    std::tm time{};
    const char *level;

    explicit Prefix(uint32_t message_level)
        : process(static_cast<int>(getpid())),
          thread(static_cast<int>(syscall(SYS_gettid))),
          level(szLogLevel[message_level & 7]) {
        const time_t now = std::time(nullptr);
        localtime_safe(&time, &now);
    }
};

bool passes(const LogHandle *handle, uint32_t level) {
    return handle != nullptr && level <= handle->level;
}

/// Characters that a print has put before the bound.
size_t printed(int result) {
    return std::min(static_cast<size_t>(std::max(result, 0)), text_bound - 1);
}

size_t write_prefix(char *line, const Prefix &p) {
    return printed(snprintf_safeA(line, line_size, text_bound, "%04d:%04d %02i:%02i:%02i %s: ", p.process, p.thread,
                                  p.time.tm_hour, p.time.tm_min, p.time.tm_sec, p.level));
}

size_t write_prefix(wchar_t *line, const Prefix &p) {
    wchar_t level[sizeof szLogLevel[0]] = {};
    std::copy(p.level, p.level + std::size(level), level);
    return printed(snprintf_safeW(line, line_size, text_bound, L"%04d:%04d %02i:%02i:%02i %S: ", p.process, p.thread,
                                  p.time.tm_hour, p.time.tm_min, p.time.tm_sec, level));
}

/// Builds one line in a zeroed buffer; `Print` is the wrapper that takes an argument list.
template <auto Print, class Char>
void build_line(Char (&line)[line_size], const LogHandle *handle, uint32_t level, const Char *format,
                va_list arguments) {
    const bool bare = (handle->flags & LOG_NO_PREFIX) != 0;
    const size_t used = bare ? 0 : write_prefix(line, Prefix(level));
    Print(line + used, line_size - used, text_bound - used, format, arguments);
}

/// A dump line under construction.
class DumpLine {
  public:
    /// Adds text; false when it cannot be formatted or does not fit.
    __attribute__((format(printf, 2, 3))) bool add(const char *format, ...) {
        va_list arguments;
        va_start(arguments, format);
        const size_t room = line_size - used_;
        const int result = vsprintf_safe(text_ + used_, room, format, arguments);
        va_end(arguments);
        if (result < 0 || static_cast<size_t>(result) + 1 >= room)
            return false;
        used_ += static_cast<size_t>(result);
        return true;
    }
    const char *text() const {
        return text_;
    }

  private:
    char text_[line_size] = {};
    size_t used_ = 0;
};

void build_dump_line(DumpLine &line, uint32_t flags, int32_t number, const uint8_t *data, int32_t count) {
    const bool wide = (flags & (LOG_DATA_WIDE | LOG_DATA_NARROW)) == LOG_DATA_WIDE;
    if (!line.add("%s", "      "))
        return;
    if ((flags & LOG_DATA_OFFSET) != 0 && !line.add("0x%04X ", static_cast<unsigned>(number * dump_width)))
        return;
    for (int32_t i = 0; i < count; ++i) {
        if (!(wide ? line.add("%03Xh ", data[i]) : line.add("%02X ", data[i])))
            return;
    }
    if ((flags & LOG_DATA_ASCII) == 0 || !line.add("%.*s", (dump_width - count) * (wide ? 5 : 3), blank))
        return;
    for (int32_t i = 0; i < count; ++i) {
        if (!line.add("%c", std::isprint(data[i]) != 0 ? data[i] : '.'))
            return;
    }
}

void write_system_line(LogHandle *handle) {
    utsname system = {};
    if (uname(&system) != 0)
        logMessageA(handle, LOG_LEVEL_INFO, "Could not get OS version.");
    else
        logMessageA(handle, LOG_LEVEL_INFO, "%s %s %s %s", system.sysname, system.release, system.version,
                    system.machine);
}

void write_header(LogHandle *handle) {
    std::tm local = {};
    const time_t now = std::time(nullptr);
    localtime_safe(&local, &now);
    char text[32];
    asctime_safe(text, sizeof text, &local);
    text[std::strcspn(text, "\n")] = 0;
    logMessageA(handle, LOG_LEVEL_HEADER, "Started %s logging on %s", handle->name, text);
    logMessageA(handle, LOG_LEVEL_HEADER, "Loglevel %d", static_cast<int>(handle->level));
    write_system_line(handle);
}

/// Opens the file that a pattern names, for appending; null on failure.
FILE *open_expanded(const char *pattern) {
    size_t size = 0;
    logExpandFileName(pattern, nullptr, &size);
    OwnedBlock<char> name(allocate<char>(size));
    FILE *stream = nullptr;
    if (name && logExpandFileName(pattern, name.get(), &size) != nullptr)
        fopen_safe(&stream, name.get(), "a+");
    return stream;
}

FILE *standard_stream(const char *name) {
    if (strcasecmp(name, "stderr") == 0)
        return stderr;
    return strcasecmp(name, "stdout") == 0 ? stdout : nullptr;
}

}  // namespace

extern "C" {

int logOpen(const char *name, FILE *stream, uint32_t level, uint16_t flags, LogHandle **handle) {
    if (*handle != nullptr)
        return -1;
    if (level == 0)
        return 0;
    OwnedBlock<LogHandle> log(allocate<LogHandle>());
    if (!log || stream == nullptr)
        return -1;
    strcpy_safe(log->name, 15, name != nullptr ? name : "");
    log->stream = stream;
    log->level = level;
    log->flags = flags;
    write_header(log.get());
    *handle = log.release();
    return 0;
}

int logOpenFile(const char *name, const char *fileName, uint32_t level, uint16_t flags, LogHandle **handle) {
    if (fileName == nullptr)
        return 0;
    if (*handle != nullptr)
        return -1;
    if (level == 0)
        return 0;
    FILE *standard = standard_stream(fileName);
    FILE *stream = standard != nullptr ? standard : open_expanded(fileName);
    if (stream == nullptr)
        return -1;
    if (logOpen(name, stream, level, flags, handle) != 0) {
        if (standard == nullptr)
            std::fclose(stream);
        return -1;
    }
    (*handle)->flags |= LOG_OWNS_STREAM;
    return 0;
}

void logClose(LogHandle *handle) {
    if (handle == nullptr)
        return;
    logMessageA(handle, LOG_LEVEL_HEADER, "End of %s log.", handle->name);
    if ((handle->flags & LOG_OWNS_STREAM) != 0 && handle->stream != nullptr)
        std::fclose(handle->stream);
    std::free(handle);
}

void logMessageA(LogHandle *handle, uint32_t level, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    logMessageVAA(handle, level, format, arguments);
    va_end(arguments);
}

void logMessageW(LogHandle *handle, uint32_t level, const wchar_t *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    logMessageVAW(handle, level, format, arguments);
    va_end(arguments);
}

void logMessageVAA(LogHandle *handle, uint32_t level, const char *format, va_list arguments) {
    if (!passes(handle, level))
        return;
    char line[line_size] = {};
    build_line<vsnprintf_safe>(line, handle, level, format, arguments);
    std::fprintf(handle->stream, "%s\n", line);
    std::fflush(handle->stream);
}

void logMessageVAW(LogHandle *handle, uint32_t level, const wchar_t *format, va_list arguments) {
    if (!passes(handle, level))
        return;
    wchar_t line[line_size] = {};
    build_line<vswnprintf_safe>(line, handle, level, format, arguments);
    // The header lines made the stream a byte stream, which takes no wide print.
    std::fprintf(handle->stream, "%ls\n", line);
    std::fflush(handle->stream);
}

void logDataLine(LogHandle *handle, uint32_t level, int32_t number, const uint8_t *data, int32_t count) {
    DumpLine line;
    build_dump_line(line, handle->flags, number, data, count);
    logMessageA(handle, level, "%s", line.text());
}

void logData(LogHandle *handle, uint32_t level, const uint8_t *data, int32_t length) {
    if (!passes(handle, level) || data == nullptr)
        return;
    for (int32_t number = 0; length > 0; ++number, length -= dump_width, data += dump_width)
        logDataLine(handle, level, number, data, std::min(length, dump_width));
}

void logTimeStart(LogHandle *handle) {
    if (handle == nullptr)
        return;
    handle->ticks = std::clock();
    gettimeofday(&handle->startTime, nullptr);
}

void logTimeStop(LogHandle *handle, uint32_t level) {
    if (handle == nullptr)
        return;
    const double processor = static_cast<double>(std::clock() - handle->ticks) / 1000000;
    timeval now = {};
    gettimeofday(&now, nullptr);
    int64_t seconds = now.tv_sec - handle->startTime.tv_sec;
    int64_t microseconds = now.tv_usec - handle->startTime.tv_usec;
    if (microseconds < 0) {
        --seconds;
        microseconds += 1000000;
    }
    logMessageA(handle, level, "clock: %fs time: %d.%06ds", processor, static_cast<int>(seconds),
                static_cast<int>(microseconds));
}

FILE *logGetFP(LogHandle *handle) {
    return handle != nullptr ? handle->stream : nullptr;
}
}
