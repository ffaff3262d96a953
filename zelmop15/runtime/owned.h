// Ownership of C heap blocks: unique_ptr with the matching release, and zero-filled allocation that may fail.
#ifndef ZELMOP15_RUNTIME_OWNED_H
#define ZELMOP15_RUNTIME_OWNED_H

#include <cstdint>
#include <cstdlib>
#include <memory>

/// Deleter that calls `Release` on the block.
template <auto Release>
struct ReleaseWith {
    template <class T>
    void operator()(T *block) const {
        Release(block);
    }
};

/// A block of type T that `Release` gives back: `Owned<Path, asn1_Path_free>`.
template <class T, auto Release>
using Owned = std::unique_ptr<T, ReleaseWith<Release>>;

/// A raw block.
template <class T>
using OwnedBlock = Owned<T, std::free>;

/// Zero-filled array of `count` (at least one) T from the C heap, or null.
template <class T>
T *allocate(size_t count = 1) {
    return static_cast<T *>(std::calloc(count != 0 ? count : 1, sizeof(T)));
}

#endif
