// A text that the person typed and nobody else may see.
#ifndef ZELMODLG_SECRET_H
#define ZELMODLG_SECRET_H

#include <algorithm>
#include <cstring>
#include <new>
#include <string_view>

#include "zelmodlg/locked.h"

namespace zelmodlg {

/// Up to 1000 octets in locked memory. What does not fit is dropped and remembered as overflow, never cut silently.
class Secret {
  public:
    static constexpr size_t capacity = 1000;

    Secret() : octets_(static_cast<char *>(lockedAllocate(capacity))) {
        if (octets_ == nullptr)
            throw std::bad_alloc();
    }
    Secret(const Secret &) = delete;
    Secret &operator=(const Secret &) = delete;
    ~Secret() {
        lockedFree(octets_);
    }
    void clear() {
        explicit_bzero(octets_, capacity);
        size_ = 0;
        overflowed_ = false;
    }
    void append(std::string_view octets) {
        const size_t count = std::min(octets.size(), capacity - size_);
        std::copy_n(octets.begin(), count, octets_ + size_);
        size_ += count;
        overflowed_ = overflowed_ || count < octets.size();
    }
    /// More was appended than there is room for.
    bool overflowed() const {
        return overflowed_;
    }
    std::string_view view() const {
        return {octets_, size_};
    }

  private:
    char *octets_;
    size_t size_ = 0;
    bool overflowed_ = false;
};

}  // namespace zelmodlg

#endif
