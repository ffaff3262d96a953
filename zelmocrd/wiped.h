// Octets that may hold a PIN or a key and are overwritten at the end of their life.
#ifndef ZELMOCRD_WIPED_H
#define ZELMOCRD_WIPED_H

#include <span>
#include <string.h>
#include <utility>

#include "zelmocrd/transport.h"

namespace zelmocrd {

class Wiped {
  public:
    explicit Wiped(Bytes octets) : octets_(std::move(octets)) {}
    /// None yet, with room for `capacity`: those put in must be no more, so that they stay in one place.
    explicit Wiped(size_t capacity) {
        octets_.reserve(capacity);
    }
    Wiped(const Wiped &) = delete;
    Wiped &operator=(const Wiped &) = delete;
    ~Wiped() {
        if (!octets_.empty())
            explicit_bzero(octets_.data(), octets_.size());
    }
    std::span<const uint8_t> span() const {
        return octets_;
    }
    Bytes &octets() {
        return octets_;
    }

  private:
    Bytes octets_;
};

}  // namespace zelmocrd

#endif
