#include "zelmodlg/locked.h"

#include <algorithm>
#include <cstdint>
#include <string.h>
#include <sys/mman.h>

namespace zelmodlg {

namespace {

/// Stands in front of every block.
struct alignas(std::max_align_t) Header {
    size_t total;  ///< Octets mapped, the header's among them.
};

Header *headerOf(void *block) {
    return static_cast<Header *>(block) - 1;
}

}  // namespace

void *lockedAllocate(size_t size) noexcept {
    if (size > SIZE_MAX - sizeof(Header))
        return nullptr;
    const size_t total = sizeof(Header) + size;
    void *pages = mmap(nullptr, total, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (pages == MAP_FAILED)
        return nullptr;
    // Each is a bonus: a process may have used up what it may lock.
    mlock(pages, total);
    madvise(pages, total, MADV_DONTDUMP);
    madvise(pages, total, MADV_WIPEONFORK);
    auto *header = static_cast<Header *>(pages);
    header->total = total;
    return header + 1;
}

void *lockedReallocate(void *block, size_t size) noexcept {
    void *moved = lockedAllocate(size);
    if (moved != nullptr && block != nullptr) {
        memcpy(moved, block, std::min(size, headerOf(block)->total - sizeof(Header)));
        lockedFree(block);
    }
    return moved;
}

void lockedFree(void *block) noexcept {
    if (block == nullptr)
        return;
    Header *header = headerOf(block);
    const size_t total = header->total;
    explicit_bzero(header, total);
    munmap(header, total);
}

}  // namespace zelmodlg
