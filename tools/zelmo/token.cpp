#include "token.h"

#include <fmt/format.h>

#include "failure.h"

namespace zelmo {

namespace {

constexpr int most_objects = 1000;  // a card that lists more does not come to an end

/// One walk over the objects of a type; closes its cursor.
class Enumeration {
  public:
    Enumeration(const Card &card, TokenContext &token, uint32_t type) : card_(card), token_(token), type_(type) {}
    Enumeration(const Enumeration &) = delete;
    Enumeration &operator=(const Enumeration &) = delete;
    ~Enumeration() {
        if (cursor_ != 0)
            pkcs15_ScEnumerateObjects(card_.handle(), &token_, type_, ENUM_CLOSE, 0, &cursor_, nullptr, nullptr);
    }
    /// The next reference, with the result of the call.
    uint32_t next(OwnedReference &reference, uint32_t &raw) {
        ObjectReference *found = nullptr;
        const uint32_t code = pkcs15_ScEnumerateObjects(card_.handle(), &token_, type_, mode_, FLAG_REFRESH_CACHE,
                                                        &cursor_, &found, &raw);
        mode_ = ENUM_NEXT;
        reference.reset(code == 0 ? found : nullptr);
        return code;
    }

  private:
    const Card &card_;
    TokenContext &token_;
    uint32_t type_;
    uint32_t mode_ = ENUM_FIRST;
    uintptr_t cursor_ = 0;
};

Json unreadableJson(uint32_t type, const OwnedReference &reference, uint32_t code, uint32_t raw) {
    Json json = {{"type", objectTypeName(type)}, {"objectType", type}};
    if (reference)
        json["objectId"] = pkcs15_GetObjectId(reference.get());
    json["error"] = errorJson(code, raw);
    return json;
}

void readObject(const Card &card, TokenContext &token, OwnedReference &reference, Walk &walk) {
    const uint32_t type = pkcs15_GetObjectType(reference.get());
    void *object = nullptr;
    uint32_t raw = 0;
    const uint32_t code = pkcs15_ScGetDFEntry(card.handle(), &token, reference.get(), FLAG_USE_CACHE, &object, &raw);
    throwIfCardGone(code, raw);
    if (code != 0) {
        walk.unreadable.push_back(unreadableJson(type, reference, code, raw));
        return;
    }
    walk.objects.push_back(viewObject(type, pkcs15_GetObjectId(reference.get()), object));
    pkcs15_ScReleaseDFEntry(card.handle(), &token, reference.get(), RELEASE_DISCARD, object, &raw);
    walk.references.push_back(std::move(reference));
}

void readType(const Card &card, TokenContext &token, uint32_t type, Walk &walk) {
    Enumeration enumeration(card, token, type);
    for (int count = 0; count < most_objects; ++count) {
        OwnedReference reference;
        uint32_t raw = 0;
        const uint32_t code = enumeration.next(reference, raw);
        if (code == PKCS15_S_END_OF_ENUMERATION)
            return;
        throwIfCardGone(code, raw);
        if (code != 0) {
            walk.unreadable.push_back(unreadableJson(type, reference, code, raw));
            return;
        }
        readObject(card, token, reference, walk);
    }
    walk.unreadable.push_back(unreadableJson(type, nullptr, PKCS15_E_INVALID_TOKEN, 0));
}

}  // namespace

Json errorJson(uint32_t code, uint32_t raw) {
    Json error = {{"code", fmt::format("{:08X}", code)}, {"name", codeName(code)}};
    if (raw != 0) {
        error["cardError"] = fmt::format("{:08X}", raw);
        error["cardErrorText"] = rawText(raw);
    }
    error["exitCode"] = static_cast<int>(exitFor(code, raw));
    return error;
}

void throwIfCardGone(uint32_t code, uint32_t raw) {
    if (code == PKCS15_E_NO_CARD || code == PKCS15_E_CARD_REMOVED)
        throw libraryFailure("cannot read the token", code, raw);
}

Token openToken(const Card &card, const DIRRecord &application) {
    TokenContext *context = nullptr;
    uint32_t raw = 0;
    const uint32_t code = pkcs15_ScAcquireTokenContext(card.handle(), &application, &context, &raw);
    if (code != 0)
        throw libraryFailure("cannot open the token", code, raw);
    return Token(context);
}

Json authObjects(const TokenContext &token) {
    Json objects = Json::array();
    uint32_t cursor = 0;
    AuthenticationType *object = nullptr;
    for (uint32_t mode = ENUM_FIRST; pkcs15_EnumerateAODF(&token, mode, &cursor, &object) == 0; mode = ENUM_NEXT)
        if (object != nullptr)
            objects.push_back(viewObject(PKCS15_AUTH_OBJECTS, 0, object));
    return objects;
}

Walk readObjects(const Card &card, TokenContext &token, std::initializer_list<uint32_t> types) {
    Walk walk;
    for (const uint32_t type : types.size() != 0 ? types : allTypes)
        readType(card, token, type, walk);
    return walk;
}

}  // namespace zelmo
