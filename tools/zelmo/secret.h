// A PIN on its way to the card.
#ifndef ZELMO_SECRET_H
#define ZELMO_SECRET_H

#include <array>
#include <cstdint>
#include <span>
#include <string.h>

namespace zelmo {

/// Up to 64 octets, overwritten at the end of their life. Stays where it is: nothing leaves a copy behind.
class Secret {
  public:
    /// The most octets of a PIN, as a person or a file gives it and as the card keeps it.
    static constexpr uint32_t capacity = 64;

    Secret() = default;
    Secret(const Secret &) = delete;
    Secret &operator=(const Secret &) = delete;
    ~Secret() {
        clear();
    }
    void clear() {
        explicit_bzero(octets_.data(), octets_.size());
        length_ = 0;
    }
    /// Adds an octet; false when it is full.
    bool append(uint8_t octet) {
        if (length_ == capacity)
            return false;
        octets_[length_++] = octet;
        return true;
    }
    /// The whole buffer with room for a terminator, for those who fill it themselves and call setLength() then.
    std::span<uint8_t> buffer() {
        return octets_;
    }
    void setLength(uint32_t length) {
        length_ = length < capacity ? length : capacity;
    }
    const uint8_t *data() const {
        return octets_.data();
    }
    uint32_t length() const {
        return length_;
    }
    bool operator==(const Secret &other) const {
        return length_ == other.length_ && memcmp(octets_.data(), other.octets_.data(), length_) == 0;
    }

  private:
    std::array<uint8_t, capacity + 1> octets_{};
    uint32_t length_ = 0;
};

}  // namespace zelmo

#endif
