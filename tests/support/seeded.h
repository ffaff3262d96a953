// Random test data that can be had again: the seed is printed, and ZELMO_TEST_SEED sets it.
#ifndef ZELMO_TESTS_SUPPORT_SEEDED_H
#define ZELMO_TESTS_SUPPORT_SEEDED_H

#include <cstdlib>
#include <iostream>
#include <random>

#include "support/octets.h"

namespace zelmo_test {

class Seeded {
  public:
    Seeded() : Seeded(choose()) {
        std::cout << "repeat with ZELMO_TEST_SEED=" << seed_ << '\n';
    }
    explicit Seeded(uint64_t seed) : seed_(seed), engine_(seed) {}

    /// A number from 0 to `limit` - 1.
    uint32_t below(uint32_t limit) {
        return static_cast<uint32_t>(engine_() % limit);
    }
    Octets octets(size_t count) {
        Octets result(count);
        for (uint8_t &octet : result)
            octet = static_cast<uint8_t>(engine_());
        return result;
    }
    /// Octets with long runs of 0 and 1 bits, which find lost carries.
    Octets runs(size_t count) {
        Octets result(count);
        bool one = (engine_() & 1) != 0;
        for (size_t bit = 0; bit < 8 * count; one = !one)
            for (size_t left = 1 + below(below(4) == 0 ? 200 : 12); left > 0 && bit < 8 * count; --left, ++bit)
                result[bit / 8] = static_cast<uint8_t>(result[bit / 8] | (one ? 0x80u >> bit % 8 : 0u));
        return result;
    }

  private:
    static uint64_t choose() {
        const char *given = std::getenv("ZELMO_TEST_SEED");
        return given != nullptr ? std::strtoull(given, nullptr, 10) : std::random_device()();
    }

    uint64_t seed_;
    std::mt19937_64 engine_;
};

}  // namespace zelmo_test

#endif
