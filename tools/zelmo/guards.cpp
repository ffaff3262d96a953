#include "guards.h"

#include <bit>
#include <memory>

#include "asn1/asn1_x680.h"

namespace zelmo {

namespace {

constexpr uint32_t read_bit = 0;
constexpr uint8_t or_tag = 2;
constexpr uint8_t auth_id_tag = 4;

struct FreeRules {
    void operator()(List *rules) const {
        List_free(rules, [](void *rule) { asn1_AccessControlRule_free(static_cast<AccessControlRule *>(rule)); });
    }
};
using Rules = std::unique_ptr<List, FreeRules>;

int grants(const AccessControlRule &rule) {
    const asn1_BitString *mode = rule.accessMode;
    return mode != nullptr && mode->bits != 0 ? std::popcount(mode->data[0]) : 0;
}

/// The first of the rules that allow reading and the least beyond.
const AccessControlRule *readRule(const List &rules) {
    const AccessControlRule *best = nullptr;
    for (int32_t i = 0; i < List_len(&rules); ++i) {
        const auto *rule = static_cast<const AccessControlRule *>(List_get(&rules, i));
        const bool allows = asn1_BitString_test(rule->accessMode, read_bit) != 0;
        if (allows && (best == nullptr || grants(*rule) < grants(*best)))
            best = rule;
    }
    return best;
}

void addPin(const SecurityCondition &condition, const std::vector<Pin> &pins, std::vector<const Pin *> &guards) {
    const Pin *pin =
        condition.tag == auth_id_tag ? findPin(pins, static_cast<const asn1_OctetString *>(condition.value)) : nullptr;
    if (pin != nullptr)
        guards.push_back(pin);
}

}  // namespace

std::vector<const Pin *> readGuards(const CommonObjectAttributes *attributes, const std::vector<Pin> &pins) {
    List *found = nullptr;
    if (attributes == nullptr || pkcs15_GetObjectACRs(attributes, &found) != 0 || found == nullptr)
        return {};
    const Rules rules(found);
    const AccessControlRule *rule = readRule(*rules);
    std::vector<const Pin *> guards;
    if (rule == nullptr || rule->securityCondition == nullptr)
        return guards;
    const SecurityCondition &condition = *rule->securityCondition;
    addPin(condition, pins, guards);
    if (condition.tag == or_tag && condition.value != nullptr) {
        const auto &members = *static_cast<const List *>(condition.value);
        for (int32_t i = 0; i < List_len(&members); ++i)
            addPin(*static_cast<const SecurityCondition *>(List_get(&members, i)), pins, guards);
    }
    return guards;
}

}  // namespace zelmo
