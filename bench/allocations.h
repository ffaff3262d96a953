// Counts the heap requests of the code that is linked statically: the token library's, not the card service's.
#ifndef ZELMOP15_BENCH_ALLOCATIONS_H
#define ZELMOP15_BENCH_ALLOCATIONS_H

#include <cstddef>

namespace bench {

struct Allocations {
    size_t count = 0;     ///< Calls of malloc, calloc and realloc.
    size_t greatest = 0;  ///< Octets of the greatest request.
    size_t octets = 0;    ///< Octets of all requests.
};

/// Starts counting anew.
void reset_allocations();
/// What has been requested since then.
Allocations allocations();

}  // namespace bench

#endif
