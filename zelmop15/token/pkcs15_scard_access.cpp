// Access rules: which one counts, and satisfying its condition.
#include "asn1/asn1_pkcs15_coders.h"
#include "asn1/asn1_x680.h"
#include "runtime/owned.h"
#include "token/pkcs15_accessors.h"
#include "token/pkcs15_exception.h"
#include "token/pkcs15_scard_verify.h"

using token::raise;

namespace {

constexpr uint32_t private_flag = 0;

void free_rules(List *rules) {
    List_free(rules, asn1::AccessControlRule::free_thunk);
}
using OwnedRules = Owned<List, free_rules>;

// Kinds of access; only the first octet counts.
uint8_t kinds(const asn1_BitString *bits) {
    return bits != nullptr && bits->bits != 0 ? bits->data[0] : 0;
}

// The condition of the first rule among those that allow the wanted access and the least beyond it. Null when no rule
// speaks of it.
const SecurityCondition *choose(const List *rules, uint8_t wanted) {
    const SecurityCondition *condition = nullptr;
    uint8_t best = 255;
    const int32_t count = List_len(rules);
    for (int32_t i = 0; i < count; ++i) {
        const auto *rule = static_cast<const AccessControlRule *>(List_get(rules, i));
        const uint8_t granted = kinds(rule->accessMode);
        if ((granted & wanted) != wanted || bitcount(granted) >= best)
            continue;
        best = bitcount(granted);
        condition = rule->securityCondition;
    }
    return condition;
}

struct Evaluation {
    CardHandle card;
    TokenContext *context;
    int32_t depth;
    uint8_t *retries;
    uint32_t *cardError;
};

// Tries the members in order up to the first that is satisfied; otherwise the last one's failure.
uint32_t try_members(const Evaluation &evaluation, const List *members, uint32_t flags) {
    uint32_t code = 0;
    const int32_t count = members != nullptr ? List_len(members) : 0;
    for (int32_t i = 0; i < count; ++i) {
        const auto *member = static_cast<const SecurityCondition *>(List_get(members, i));
        code = pkcs15_ScVerifySecurityCondition(evaluation.card, evaluation.context, member, flags,
                                                evaluation.depth + 1, evaluation.retries, evaluation.cardError);
        if (code == 0)
            return 0;
    }
    return code;
}

// What is remembered or stands verified is tried first, so that no person is asked in vain.
uint32_t satisfy_any(const Evaluation &evaluation, const List *members, uint32_t flags) {
    if ((flags & P15_VERIFY_NO_PROMPT) == 0 && try_members(evaluation, members, flags | P15_VERIFY_NO_PROMPT) == 0)
        return 0;
    return try_members(evaluation, members, flags);
}

uint32_t satisfy_auth_id(const Evaluation &evaluation, const Identifier *authId, uint32_t flags) {
    const AuthenticationType *object = pkcs15_GetAuthenticationType(evaluation.context, authId);
    if (object == nullptr)
        return PKCS15_E_UNSUPPORTED;
    return pkcs15_ScVerify(evaluation.card, evaluation.context, object, nullptr, 0, flags | P15_VERIFY_NO_SELECT,
                           evaluation.retries, evaluation.cardError);
}

}  // namespace

extern "C" {

uint32_t pkcs15_ScVerifySecurityCondition(CardHandle card, TokenContext *tokenContext,
                                          const SecurityCondition *condition, uint32_t flags, int32_t depth,
                                          uint8_t *retries, uint32_t *cardError) {
    constexpr uint8_t or_choice = 2;
    constexpr uint8_t auth_id_choice = 4;
    if (depth < -1 || depth > 1)
        return raise(PKCS15_E_UNSUPPORTED);
    if (condition == nullptr)
        return 0;
    const Evaluation evaluation = {card, tokenContext, depth, retries, cardError};
    uint32_t code = PKCS15_E_UNSUPPORTED;
    if (token::selector(*condition) == auth_id_choice)
        code = satisfy_auth_id(evaluation, static_cast<const Identifier *>(condition->value), flags);
    else if (token::selector(*condition) == or_choice)
        code = satisfy_any(evaluation, static_cast<const List *>(condition->value), flags);
    return code != 0 ? raise(code) : 0;
}

uint32_t pkcs15_ScAuthenticateObject(CardHandle card, TokenContext *tokenContext,
                                     const CommonObjectAttributes *commonAttributes, const asn1_BitString *access,
                                     uint32_t flags, uint8_t *retries, uint32_t *cardError) {
    constexpr uint32_t warning_level = 3;
    List *found = nullptr;
    if (const uint32_t code = pkcs15_GetObjectACRs(commonAttributes, &found); code != 0)
        return raise(code);
    const OwnedRules rules(found);
    const SecurityCondition *condition = nullptr;
    if (rules != nullptr) {
        if (asn1_BitString_test(commonAttributes->flags, private_flag) != 0)
            condition = choose(rules.get(), kinds(access));
        else
            pkcs15_LogMessage(warning_level, "Authentication information of public object discarded.");
    }
    const uint32_t code = pkcs15_ScVerifySecurityCondition(card, tokenContext, condition, flags, 0, retries, cardError);
    return code != 0 ? raise(code) : 0;
}
}
