#include "support/alloc_fault.h"

#include <cstdlib>
#include <cstring>

namespace {

thread_local unsigned countdown = 0;  // 0: not armed
thread_local bool keep_failing = false;
thread_local bool fired = false;

bool fails() {
    if (fired && keep_failing)
        return true;
    if (countdown == 0 || --countdown != 0)
        return false;
    fired = true;
    return true;
}

}  // namespace

void alloc_fault_arm(unsigned n, bool all_after) {
    countdown = n;
    keep_failing = all_after;
    fired = false;
}

bool alloc_fault_disarm() {
    const bool had_fired = fired;
    countdown = 0;
    keep_failing = false;
    fired = false;
    return had_fired;
}

extern "C" {
void *__real_malloc(size_t size);
void *__real_calloc(size_t count, size_t size);
void *__real_realloc(void *block, size_t size);
void *__wrap_malloc(size_t size);
void *__wrap_calloc(size_t count, size_t size);
void *__wrap_realloc(void *block, size_t size);

void *__wrap_malloc(size_t size) {
    return fails() ? nullptr : __real_malloc(size);
}

void *__wrap_calloc(size_t count, size_t size) {
    return fails() ? nullptr : __real_calloc(count, size);
}

void *__wrap_realloc(void *block, size_t size) {
    return fails() ? nullptr : __real_realloc(block, size);
}
}
