// The trace of the crypto layer: it writes nothing itself but hands each message to a callback.
#ifndef ZELMOP15_RUNTIME_LOG_H
#define ZELMOP15_RUNTIME_LOG_H

#include <cstdarg>
#include <cstdint>

/// What follows a message's kind: a format and its arguments; or octets (const uint8_t *) and their count (uint32_t).
enum MirelLogKind : uint32_t { MIREL_LOG_TEXT = 1, MIREL_LOG_DATA = 2 };

extern "C" {

/// Receives each message that passes the threshold and decides everything about the output.
using mirel_log_callback = uint32_t (*)(uint32_t level, uint32_t kind, va_list arguments);

/// Highest level that passes, compared as a signed number; 0 while the trace is off.
extern uint32_t log_flag;
/// Receiver of the messages, or null.
extern mirel_log_callback log_callback;

/// Switches the trace on and logs a first line at the level of the threshold, whose result is returned. A null callback
/// changes nothing and gives -1. Must not run beside other calls.
uint32_t mirel_log_init(uint32_t threshold, mirel_log_callback callback);
/// Hands the arguments behind `kind` to the callback and returns its result; 0 for level 0 and what does not pass.
uint32_t mirel_log(uint32_t level, uint32_t kind, ...);
/// Switches the trace off; always 0.
uint32_t mirel_log_terminate(void);
}

#endif
