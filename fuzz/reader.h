// Taking fuzz inputs apart.
#ifndef ZELMOP15_FUZZ_READER_H
#define ZELMOP15_FUZZ_READER_H

#include <algorithm>

#include "codec.h"

namespace fuzz {

/// Takes an input apart; what is missing at its end reads as zeros.
class Reader {
  public:
    explicit Reader(Octets octets) : rest_(octets) {}

    uint8_t octet() {
        const Octets one = take(1);
        return one.empty() ? uint8_t{0} : one[0];
    }
    uint16_t pair() {
        const unsigned high = octet();
        return static_cast<uint16_t>(high << 8 | octet());
    }
    Octets take(size_t count) {
        const Octets taken = rest_.first(std::min(count, rest_.size()));
        rest_ = rest_.subspan(taken.size());
        return taken;
    }
    [[nodiscard]] bool empty() const {
        return rest_.empty();
    }

  private:
    Octets rest_;
};

}  // namespace fuzz

#endif
