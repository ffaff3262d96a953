// Room on the stack for what must not stay behind there.
#ifndef ZELMOP15_RUNTIME_WIPED_H
#define ZELMOP15_RUNTIME_WIPED_H

#include <cstddef>
#include <cstdint>
#include <cstring>

/// `N` octets, zero at first and overwritten at the end of their life.
template <size_t N>
struct WipedBuffer {
    WipedBuffer() = default;
    WipedBuffer(const WipedBuffer &) = delete;
    WipedBuffer &operator=(const WipedBuffer &) = delete;
    ~WipedBuffer() {
        explicit_bzero(octets, N);
    }
    uint8_t octets[N] = {};
};

#endif
