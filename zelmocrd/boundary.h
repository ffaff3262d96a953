// Between C arguments and C++: nothing is thrown to the caller, no null is followed.
#ifndef ZELMOCRD_BOUNDARY_H
#define ZELMOCRD_BOUNDARY_H

#include <algorithm>
#include <new>
#include <span>

#include "zelmocrd/error.h"
#include "zelmocrd/handles.h"

namespace zelmocrd {

/// Runs `work`, which returns a result code, and turns what it throws into one.
template <class Work>
uint32_t guarded(Work work) noexcept {
    try {
        return work();
    } catch (const ServiceError &error) {
        return error.code;
    } catch (const std::bad_alloc &) {
        return code::noMemory;
    } catch (...) {
        return code::unknownError;
    }
}

/// The same with the card behind a handle as argument.
template <class Work>
uint32_t onCard(CardHandle handle, Work work) noexcept {
    return guarded([&] {
        const std::shared_ptr<Card> card = findCard(handle);
        return work(*card);
    });
}

/// Octets that the caller passes; null stands for none only with a length of 0.
inline std::span<const uint8_t> input(const uint8_t *data, uint32_t length) {
    require(data != nullptr || length == 0);
    return {data, length};
}

/// A number that a command carries in one octet.
inline uint8_t octet(uint32_t value) {
    require(value <= 0xFF);
    return static_cast<uint8_t>(value);
}

/// A buffer that the caller wants filled; its length pointer says 0 until something has been put in.
class Output {
  public:
    Output(uint8_t *buffer, uint32_t *length) : length_(length) {
        require(length != nullptr && (buffer != nullptr || *length == 0));
        buffer_ = {buffer, *length};
        *length = 0;
    }
    size_t room() const {
        return buffer_.size() - *length_;
    }
    size_t size() const {
        return *length_;
    }
    /// Puts in what fits.
    void append(std::span<const uint8_t> octets) {
        const size_t count = std::min(octets.size(), room());
        std::copy_n(octets.begin(), count, buffer_.begin() + *length_);
        *length_ += static_cast<uint32_t>(count);
    }
    /// Throws ServiceError (insufficientBuffer) unless the buffer takes `size` octets; the length then says so.
    void demand(size_t size) {
        if (size <= buffer_.size())
            return;
        *length_ = static_cast<uint32_t>(size);
        throw ServiceError(code::insufficientBuffer);
    }
    /// Puts in everything; otherwise nothing, and the length says what it takes. Throws ServiceError
    /// (insufficientBuffer).
    void replace(std::span<const uint8_t> octets) {
        demand(octets.size());
        *length_ = 0;
        append(octets);
    }

  private:
    std::span<uint8_t> buffer_;
    uint32_t *length_;
};

}  // namespace zelmocrd

#endif
