// Memory for PINs: kept out of swap and core files where the system allows it, overwritten before it is released.
#ifndef ZELMODLG_LOCKED_H
#define ZELMODLG_LOCKED_H

#include <cstddef>

namespace zelmodlg {

/// Zeroed memory in pages of its own; null when there is none. Given back with lockedFree().
void *lockedAllocate(size_t size) noexcept;

/// lockedAllocate() with the octets of `block`, which is released; null, with `block` as it was, when there is none.
void *lockedReallocate(void *block, size_t size) noexcept;

/// Overwrites and releases; null is allowed.
void lockedFree(void *block) noexcept;

}  // namespace zelmodlg

#endif
