#include "allocations.h"

#include <algorithm>

// The linker sends the calls here (--wrap, see CMakeLists.txt); the benchmarks have one thread.
extern "C" {
void *__real_malloc(size_t size);
void *__real_calloc(size_t count, size_t size);
void *__real_realloc(void *block, size_t size);
void *__wrap_malloc(size_t size);
void *__wrap_calloc(size_t count, size_t size);
void *__wrap_realloc(void *block, size_t size);
}

namespace {

bench::Allocations counted;

void note(size_t octets) {
    counted.count++;
    counted.greatest = std::max(counted.greatest, octets);
    counted.octets += octets;
}

}  // namespace

void *__wrap_malloc(size_t size) {
    note(size);
    return __real_malloc(size);
}

void *__wrap_calloc(size_t count, size_t size) {
    note(count * size);
    return __real_calloc(count, size);
}

void *__wrap_realloc(void *block, size_t size) {
    note(size);
    return __real_realloc(block, size);
}

namespace bench {

void reset_allocations() {
    counted = {};
}

Allocations allocations() {
    return counted;
}

}  // namespace bench
