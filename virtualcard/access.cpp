#include "virtualcard/access.h"

#include <algorithm>

namespace virtualcard {

bool satisfied(const AccessCondition &condition, const SecurityStatus &status) {
    const auto met = [&status](const AccessCondition &operand) { return satisfied(operand, status); };
    switch (condition.kind) {
        case AccessCondition::Kind::always:
            return true;
        case AccessCondition::Kind::never:
            return false;
        case AccessCondition::Kind::pin:
            return status.pins.count(condition.reference) != 0;
        case AccessCondition::Kind::key:
            return status.keys.count(condition.reference) != 0;
        case AccessCondition::Kind::all:
            return std::all_of(condition.operands.begin(), condition.operands.end(), met);
        case AccessCondition::Kind::any:
            return std::any_of(condition.operands.begin(), condition.operands.end(), met);
    }
    return false;
}

}  // namespace virtualcard
