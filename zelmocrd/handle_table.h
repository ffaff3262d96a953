// What handles stand for. Safe for any number of threads.
#ifndef ZELMOCRD_HANDLE_TABLE_H
#define ZELMOCRD_HANDLE_TABLE_H

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <utility>

#include "zelmocrd/error.h"

namespace zelmocrd {

/// Gives values handles that are never 0. A value lives on while somebody still works with it.
template <class Value>
class HandleTable {
  public:
    uint32_t add(std::shared_ptr<Value> value) {
        const std::lock_guard lock(mutex_);
        do
            last_++;
        while (last_ == 0 || values_.count(last_) != 0);
        values_.emplace(last_, std::move(value));
        return last_;
    }
    /// Throws ServiceError (invalidHandle), as does remove(), which ends the handle's life.
    std::shared_ptr<Value> find(uint32_t handle) {
        const std::lock_guard lock(mutex_);
        return entry(handle)->second;
    }
    std::shared_ptr<Value> remove(uint32_t handle) {
        const std::lock_guard lock(mutex_);
        const auto found = entry(handle);
        std::shared_ptr<Value> value = std::move(found->second);
        values_.erase(found);
        return value;
    }

  private:
    auto entry(uint32_t handle) {
        const auto found = values_.find(handle);
        if (found == values_.end())
            throw ServiceError(code::invalidHandle);
        return found;
    }

    std::mutex mutex_;
    std::map<uint32_t, std::shared_ptr<Value>> values_;
    uint32_t last_ = 0;
};

}  // namespace zelmocrd

#endif
