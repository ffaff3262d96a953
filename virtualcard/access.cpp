#include "virtualcard/access.h"

#include <algorithm>

namespace virtualcard {

namespace {

bool isSpecific(uint8_t reference) {
    return (reference & 0x80u) != 0;
}

}  // namespace

bool SecurityStatus::holds(SecretKind kind, uint8_t reference) const {
    return proofs_.count({kind, reference}) != 0;
}

void SecurityStatus::add(SecretKind kind, uint8_t reference, const File *application) {
    proofs_[{kind, reference}].insert(application);
}

void SecurityStatus::drop(SecretKind kind, uint8_t reference) {
    proofs_.erase({kind, reference});
}

void SecurityStatus::enter(const File *application) {
    std::erase_if(proofs_, [application](const auto &proof) {
        return isSpecific(proof.first.second) && proof.second.count(application) == 0;
    });
}

void SecurityStatus::dropProvenIn(const std::function<bool(const File *application)> &affects) {
    std::erase_if(proofs_, [&affects](const auto &proof) {
        return std::any_of(proof.second.begin(), proof.second.end(), affects);
    });
}

std::vector<uint8_t> SecurityStatus::references(SecretKind kind) const {
    std::vector<uint8_t> found;
    for (const auto &[secret, applications] : proofs_)
        if (secret.first == kind)
            found.push_back(secret.second);
    return found;
}

bool satisfied(const AccessCondition &condition, const SecurityStatus &status) {
    const auto met = [&status](const AccessCondition &operand) { return satisfied(operand, status); };
    switch (condition.kind) {
        case AccessCondition::Kind::always:
            return true;
        case AccessCondition::Kind::never:
            return false;
        case AccessCondition::Kind::pin:
            return status.holds(SecretKind::pin, condition.reference);
        case AccessCondition::Kind::key:
            return status.holds(SecretKind::key, condition.reference);
        case AccessCondition::Kind::all:
            return std::all_of(condition.operands.begin(), condition.operands.end(), met);
        case AccessCondition::Kind::any:
            return std::any_of(condition.operands.begin(), condition.operands.end(), met);
    }
    return false;
}

}  // namespace virtualcard
