#include "object_maker.h"

#include <array>

namespace zelmo {

namespace {

constexpr uint32_t sequence_tag = 16;
constexpr uint32_t auth_key_tag = 1;
constexpr uint32_t triple_des_tag = 4;

AlgorithmInfo algorithm(Arena &arena, uint32_t reference, uint32_t mechanism,
                        std::initializer_list<uint32_t> operations, std::initializer_list<uint32_t> oid) {
    return {arena.integer(reference), arena.integer(mechanism), arena.octets({0x05, 0x00}),
            arena.bits(operations),   arena.objectId(oid),      arena.integer(0x10 + reference)};
}

/// The length that every kind of directory file has when it is kept as records.
RecordInfo recordInfo(Arena &arena) {
    asn1_Integer *length = arena.integer(PKCS15_MAX_RECORD);
    return {nullptr, length, length, length, length, length, length};
}

/// The subject's name and the serial number, as they stand in the certificate; nothing when it is none.
void addSubject(Arena &arena, X509CertificateAttributes &attributes, Octets certificate) {
    const auto enter = [](Octets &octets) {
        const std::optional<DerElement> element = takeElement(octets);
        octets = element ? element->content : Octets();
    };
    enter(certificate);
    enter(certificate);
    constexpr size_t version = 0, serial = 1, subject = 5;
    std::array<DerElement, subject + 1> fields;
    for (size_t i = version; i <= subject; ++i) {
        const std::optional<DerElement> field = takeElement(certificate);
        if (!field)
            return;
        fields[i] = *field;
    }
    attributes.subject = arena.octets(fields[subject].whole);
    auto *number = arena.octets(fields[serial].content);
    attributes.serialNumber = arena.make(asn1_Integer{number->len, number->data, 0});
}

}  // namespace

CommonObjectAttributes *ObjectMaker::common(const CommonFacts &facts) {
    auto *made = arena_.make(CommonObjectAttributes{});
    made->label = arena_.text(facts.label);
    if (!facts.flags.empty())
        made->flags = arena_.bits(facts.flags);
    if (!facts.authId.empty())
        made->authId = arena_.octets(facts.authId);
    return made;
}

ObjectValue *ObjectMaker::indirect(uint16_t fid) {
    Path *path = arena_.path({static_cast<uint8_t>(fid >> 8), static_cast<uint8_t>(fid & 0xFF)});
    return arena_.make(ObjectValue{sequence_tag, arena_.make(ReferencedValue{sequence_tag, path})});
}

Bytes ObjectMaker::pin(const PinFacts &facts) {
    auto *attributes = arena_.make(CommonAuthenticationObjectAttributes{arena_.octets(facts.id)});
    auto *type = arena_.make(PinAttributes{});
    type->pinFlags = arena_.bits(facts.flags);
    type->pinType = 1;
    type->minLength = arena_.integer(facts.least);
    type->storedLength = arena_.integer(facts.stored);
    type->maxLength = arena_.integer(facts.most);
    type->pinReference = arena_.integer(facts.reference);
    if (facts.padding)
        type->padChar = arena_.octets({*facts.padding});
    type->path = arena_.path({0x3F, 0x00, 0x50, 0x15});
    return object<AuthenticationType>(asn1_AuthenticationType_e, common(facts.common), attributes, type);
}

Bytes ObjectMaker::certificate(const CertificateFacts &facts) {
    auto *attributes = arena_.make(CommonCertificateAttributes{});
    attributes->iD = arena_.octets(facts.id);
    attributes->authority = facts.authority ? 0xFF : 0;
    auto *type = arena_.make(X509CertificateAttributes{indirect(facts.fid), nullptr, nullptr, nullptr});
    addSubject(arena_, *type, facts.der);
    return object<CertificateType>(asn1_CertificateType_e, common(facts.common), attributes, type);
}

Bytes ObjectMaker::data(const DataFacts &facts) {
    auto *attributes = arena_.make(CommonDataObjectAttributes{arena_.text(facts.application), nullptr});
    return object<DataType>(asn1_DataType_e, common(facts.common), attributes, indirect(facts.fid));
}

Bytes ObjectMaker::secretKey(const SecretKeyFacts &facts) {
    auto *attributes = arena_.make(CommonKeyAttributes{});
    attributes->iD = arena_.octets(facts.id);
    attributes->usage = arena_.bits({0});
    attributes->native = 1;
    attributes->accessFlags = arena_.bits({0, 2, 3});
    attributes->keyReference = arena_.integer(facts.reference);
    auto *length = arena_.make(CommonSecretKeyAttributes{arena_.integer(facts.bits)});
    auto *type = arena_.make(GenericSecretKeyAttributes{indirect(facts.fid)});
    auto *made = arena_.make(PKCS15Object{common(facts.common), attributes, length, type});
    return encoded(asn1_SecretKeyType_e, SecretKeyType{triple_des_tag, made});
}

Bytes ObjectMaker::authKey(const AuthKeyFacts &facts) {
    auto *attributes = arena_.make(CommonAuthenticationObjectAttributes{arena_.octets(facts.id)});
    auto *type = arena_.make(AuthKeyAttributes{0, arena_.octets(facts.keyId)});
    auto *made = arena_.make(PKCS15Object{common(facts.common), attributes, nullptr, type});
    return encoded(asn1_AuthenticationType_e, AuthenticationType{auth_key_tag, made});
}

Bytes ObjectMaker::tokenInfo(const TokenFacts &facts) {
    TokenInfo info{};
    info.version = arena_.integer(0);
    info.serialNumber = arena_.octets(facts.serial);
    info.manufacturerID = arena_.text(facts.manufacturer);
    info.label = arena_.text(facts.label);
    info.tokenflags = arena_.bits(facts.flags);
    info.recordInfo = facts.records ? arena_.make(recordInfo(arena_)) : nullptr;
    info.supportedAlgorithms =
        arena_.list({arena_.make(algorithm(arena_, 1, 0x0001, {1, 5}, {1, 2, 840, 113549, 1, 1, 1})),
                     arena_.make(algorithm(arena_, 2, 0x0006, {1, 6}, {1, 2, 840, 113549, 1, 1, 5})),
                     arena_.make(algorithm(arena_, 3, 0x0040, {1, 6}, {1, 2, 840, 113549, 1, 1, 11}))});
    info.lastUpdate = arena_.make(LastUpdate{24, arena_.time("20261122120000Z")});
    info.preferredLanguage = arena_.text("en");
    return encoded(asn1_TokenInfo_e, info);
}

}  // namespace zelmo
