// A random generator that looks after itself.
#ifndef ZELMO_TESTS_CSP_RAND_CASE_H
#define ZELMO_TESTS_CSP_RAND_CASE_H

#include <gtest/gtest.h>

#include "csp/csp_support.h"

namespace zelmo_test {

struct Generator : CspContext {
    Generator() : CspContext{nullptr, PTHREAD_MUTEX_INITIALIZER} {}
    explicit Generator(const Octets &seed) : Generator() {
        EXPECT_EQ(this->seed(seed), 0u);
    }
    /// One with the same state.
    Generator(const Generator &other) : Generator() {
        state = Bytestring_clone(other.state);
    }
    Generator &operator=(const Generator &) = delete;
    ~Generator() {
        Bytestring_free(state);
    }
    uint32_t seed(const Octets &octets) {
        const Bytestring given = view(octets);
        return CSP_RNG_set_state(this, &given);
    }
    Octets bytes(size_t count) {
        Octets octets(count);
        Bytestring out = view(octets);
        EXPECT_EQ(CSP_RNG_get_bytes(this, &out), 0u);
        return octets;
    }
    [[nodiscard]] Octets now() const {
        return octets_of(state);
    }
    /// Whether the mutex is free.
    bool is_free() {
        if (pthread_mutex_trylock(&lock) != 0)
            return false;
        pthread_mutex_unlock(&lock);
        return true;
    }
};

}  // namespace zelmo_test

#endif
