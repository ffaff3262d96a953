// A stack of plain values with room for a few inside and the heap behind it, so that nesting costs no C stack and the
// usual shallow case costs no allocation.
#ifndef ZELMOP15_RUNTIME_SMALL_STACK_H
#define ZELMOP15_RUNTIME_SMALL_STACK_H

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <type_traits>

template <class T, size_t Inline = 8>
class SmallStack {
    static_assert(std::is_trivially_copyable_v<T>);

  public:
    SmallStack() = default;
    SmallStack(const SmallStack &) = delete;
    SmallStack &operator=(const SmallStack &) = delete;
    ~SmallStack() {
        if (items_ != inline_)
            std::free(items_);
    }

    bool empty() const {
        return count_ == 0;
    }
    size_t size() const {
        return count_;
    }
    /// Valid until the next push.
    T &top() {
        return items_[count_ - 1];
    }
    /// Valid until the next push.
    T &operator[](size_t index) {
        return items_[index];
    }
    void pop() {
        --count_;
    }
    /// False, with the stack unchanged, when memory is short.
    [[nodiscard]] bool push(const T &item) {
        if (count_ == capacity_ && !grow())
            return false;
        items_[count_++] = item;
        return true;
    }

  private:
    bool grow() {
        if (capacity_ > SIZE_MAX / (2 * sizeof(T)))
            return false;
        auto *items = static_cast<T *>(std::malloc(2 * capacity_ * sizeof(T)));
        if (items == nullptr)
            return false;
        std::memcpy(items, items_, count_ * sizeof(T));
        if (items_ != inline_)
            std::free(items_);
        items_ = items;
        capacity_ *= 2;
        return true;
    }

    T inline_[Inline];
    T *items_ = inline_;
    size_t count_ = 0;
    size_t capacity_ = Inline;
};

#endif
