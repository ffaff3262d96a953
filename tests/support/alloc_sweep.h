// The same call with the 1st, 2nd, 3rd ... allocation failing. The program links zelmo_alloc_fault.
#ifndef ZELMO_TESTS_SUPPORT_ALLOC_SWEEP_H
#define ZELMO_TESTS_SUPPORT_ALLOC_SWEEP_H

#include <gtest/gtest.h>

#include "support/alloc_fault.h"

namespace zelmo_test {

/// Makes the call with the nth allocation failing, for n from 1 until none fails any more or n is `most`. Afterwards
/// `check` is given its result, whether an allocation has failed, and n.
template <class Call, class Check>
void sweep_allocations(bool all_after, Call call, Check check, unsigned most = UINT32_MAX) {
    bool failed = true;
    for (unsigned n = 1; failed && n <= most; ++n) {
        const testing::ScopedTrace where(all_after ? "from this allocation on" : "this allocation", static_cast<int>(n),
                                         "fails");
        alloc_fault_arm(n, all_after);
        auto result = call();
        failed = alloc_fault_disarm();
        check(result, failed, n);
    }
}

/// First with single failures, then with all after the nth.
template <class Call, class Check>
void sweep_allocations(Call call, Check check) {
    for (const bool all_after : {false, true})
        sweep_allocations(all_after, call, check);
}

}  // namespace zelmo_test

#endif
