// What the crypto service provider tells the trace.
#ifndef ZELMOP15_CSP_CSP_TRACE_H
#define ZELMOP15_CSP_CSP_TRACE_H

#include "runtime/bytestring.h"
#include "runtime/log.h"

namespace csp {

/// Level of the traces of inputs and results.
constexpr uint32_t trace_level = 32;
/// Level of failures that are worth a message.
constexpr uint32_t failure_level = 1;

/// Traces a text, then the octets of each value.
template <class... Values>
void trace(const char *text, const Values *...values) {
    mirel_log(trace_level, MIREL_LOG_TEXT, text);
    (mirel_log(trace_level, MIREL_LOG_DATA, values->data, values->len), ...);
}

}  // namespace csp

#endif
