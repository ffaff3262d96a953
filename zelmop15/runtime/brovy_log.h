// Line-oriented log on a stream: levels, a fixed line prefix, a hexadecimal dump, timing.
//
// A message passes when its level is not above the log's. Everything of a message that does not pass is skipped. Every
// call takes a null handle and then does nothing. No lock is taken: a line goes out in one write, so that threads do
// not mix their lines, but opening and closing must not run beside writers.
#ifndef ZELMOP15_RUNTIME_BROVY_LOG_H
#define ZELMOP15_RUNTIME_BROVY_LOG_H

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <cwchar>
#include <sys/time.h>

/// Bits of LogHandle::flags.
enum LogFlags : uint32_t {
    LOG_NO_PREFIX = 1,            ///< Lines are the bare message.
    LOG_DATA_OFFSET = 2,          ///< Dump lines carry an offset column.
    LOG_DATA_NARROW = 4,          ///< Dump bytes print as "%02X ", whatever LOG_DATA_WIDE says.
    LOG_DATA_WIDE = 8,            ///< Dump bytes print as "%03Xh ".
    LOG_DATA_ASCII = 16,          ///< Dump lines end with a text column.
    LOG_OWNS_STREAM = 0x80000000  ///< logClose closes the stream.
};

/// Levels of messages.
enum LogLevel : uint32_t {
    LOG_LEVEL_HEADER = 1,  ///< The log's own lines.
    LOG_LEVEL_ERROR = 2,
    LOG_LEVEL_WARN = 3,
    LOG_LEVEL_INFO = 4,
    LOG_LEVEL_TRACE = 5,
    LOG_LEVEL_DEBUG = 6,
    LOG_LEVEL_ASN1 = 7
};

/// An open log.
struct LogHandle {
    char name[16];      ///< At most 14 characters, terminated.
    FILE *stream;       ///< Where lines go.
    uint32_t level;     ///< Highest level that passes.
    uint32_t flags;     ///< LogFlags.
    clock_t ticks;      ///< Processor time at logTimeStart.
    timeval startTime;  ///< Time of day at logTimeStart.
};

extern "C" {

/// Names of the levels as lines show them, indexed by a level's low three bits.
extern const char szLogLevel[8][6];

/// Opens a log on a stream that stays the caller's and writes its header lines. `*handle` must be null. 0, also for
/// level 0, which opens nothing; -1 when `*handle` is open already, the stream is null, or memory is short.
int logOpen(const char *name, FILE *stream, uint32_t level, uint16_t flags, LogHandle **handle);
/// Opens a log on a file, appending: "stderr", "stdout" (in any case), or a name as logExpandFileName() takes it. The
/// log owns the stream, so closing a log on a standard stream closes that stream. 0, also for level 0 or a null name,
/// which open nothing; -1 as logOpen(), or when the file cannot be opened.
int logOpenFile(const char *name, const char *fileName, uint32_t level, uint16_t flags, LogHandle **handle);
/// Writes the last line, closes an owned stream and releases the handle.
void logClose(LogHandle *handle);
/// Write one line of at most 237 characters, prefix included; what is longer is cut.
void logMessageA(LogHandle *handle, uint32_t level, const char *format, ...) __attribute__((format(printf, 3, 4)));
void logMessageW(LogHandle *handle, uint32_t level, const wchar_t *format, ...);
void logMessageVAA(LogHandle *handle, uint32_t level, const char *format, va_list arguments)
    __attribute__((format(printf, 3, 0)));
void logMessageVAW(LogHandle *handle, uint32_t level, const wchar_t *format, va_list arguments);
/// Writes `length` octets as lines of 16. Nothing for null data or a length below 1.
void logData(LogHandle *handle, uint32_t level, const uint8_t *data, int32_t length);
/// Writes one line of a dump: 1 to 16 octets, whose first has the offset `number` times 16.
void logDataLine(LogHandle *handle, uint32_t level, int32_t number, const uint8_t *data, int32_t count);
/// Remembers the present moment and processor time.
void logTimeStart(LogHandle *handle);
/// Writes what passed of both since logTimeStart().
void logTimeStop(LogHandle *handle, uint32_t level);
/// The log's stream, or null.
FILE *logGetFP(LogHandle *handle);
}

#endif
