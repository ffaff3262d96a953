#include "runtime/log.h"

extern "C" {

uint32_t log_flag = 0;
mirel_log_callback log_callback = nullptr;

uint32_t mirel_log_init(uint32_t threshold, mirel_log_callback callback) {
    if (callback == nullptr)
        return UINT32_MAX;
    log_flag = threshold;
    log_callback = callback;
    return mirel_log(threshold, MIREL_LOG_TEXT, "Logging started on level %i", static_cast<int32_t>(threshold));
}

uint32_t mirel_log(uint32_t level, uint32_t kind, ...) {
    const bool passes = static_cast<int32_t>(level) <= static_cast<int32_t>(log_flag);
    if (level == 0 || !passes || log_callback == nullptr)
        return 0;
    va_list arguments;
    va_start(arguments, kind);
    const uint32_t result = log_callback(level, kind, arguments);
    va_end(arguments);
    return result;
}

uint32_t mirel_log_terminate(void) {
    log_flag = 0;
    log_callback = nullptr;
    return 0;
}
}
