// Access conditions of files and the security status they are held against.
#ifndef VIRTUALCARD_ACCESS_H
#define VIRTUALCARD_ACCESS_H

#include <cstdint>
#include <set>
#include <vector>

namespace virtualcard {

/// A condition, possibly built from others.
struct AccessCondition {
    enum class Kind : uint8_t { always, never, pin, key, all, any };
    Kind kind = Kind::always;
    uint8_t reference = 0;                  ///< pin, key: which one.
    std::vector<AccessCondition> operands;  ///< all, any: the conditions that are joined.
};

/// What has been proven to the card since its last reset.
struct SecurityStatus {
    std::set<uint8_t> pins;
    std::set<uint8_t> keys;
};

/// Whether `status` meets `condition`. An `all` of nothing is met, an `any` of nothing is not.
bool satisfied(const AccessCondition &condition, const SecurityStatus &status);

}  // namespace virtualcard

#endif
