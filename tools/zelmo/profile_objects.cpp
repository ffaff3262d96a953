#include "profile_objects.h"

#include <string_view>

#include "arena.h"
#include "demo_pki.h"
#include "der.h"

namespace zelmo {

namespace {

using virtualcard::AccessCondition;
using virtualcard::File;
using virtualcard::FileKind;
using virtualcard::Operation;

constexpr uint32_t sequence_tag = 16;
constexpr uint32_t auth_key_tag = 1;
constexpr uint32_t triple_des_tag = 4;
constexpr std::initializer_list<uint8_t> admin_id = {0x03};
constexpr std::initializer_list<uint8_t> admin_key_id = {0xAD};
constexpr uint16_t admin_key_fid = 0x4B21;
// The keys of the examples in NIST SP 800-67.
constexpr std::array<uint8_t, 24> admin_key = {0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF, 0x23, 0x45, 0x67, 0x89,
                                               0xAB, 0xCD, 0xEF, 0x01, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF, 0x01, 0x23};
constexpr uint8_t stored_length = 8;
constexpr std::initializer_list<uint8_t> pin_id = {0x01};
constexpr std::initializer_list<uint8_t> puk_id = {0x02};

/// A key pair with its certificate. The id is the SHA-1 digest of the public key.
struct DemoKey {
    std::string_view name;
    std::array<uint8_t, 20> id;
    uint8_t reference;
    uint16_t privateFid, publicFid, certificateFid;
    std::initializer_list<uint32_t> privateUsage, publicUsage;
    Octets publicKey;
    Octets certificate;
    bool guarded;  // whether the certificate is read behind the PIN
};

const std::array<DemoKey, 2> key_pairs = {{
    {"Signature",
     {0x04, 0xB7, 0x77, 0xF8, 0xA1, 0x4F, 0xEA, 0x65, 0x55, 0xF7,
      0x7F, 0x4B, 0x5D, 0x6A, 0xD4, 0x47, 0xA3, 0xC2, 0x26, 0xF8},
     0x84,
     0x4B01,
     0x4B11,
     0x4301,
     {2, 9},
     {6},
     demo::signature_public,
     demo::signature,
     true},
    {"Authentication",
     {0x5E, 0xF9, 0x8E, 0x26, 0xE9, 0x2C, 0x04, 0xDC, 0x5A, 0x90,
      0x5E, 0x37, 0xCA, 0x74, 0xE9, 0x08, 0xC2, 0xD2, 0xED, 0x54},
     0x85,
     0x4B02,
     0x4B12,
     0x4302,
     {1, 2, 5},
     {0, 4, 6},
     demo::authentication_public,
     demo::authentication,
     false},
}};
constexpr std::array<uint8_t, 20> ca_id = {0x9C, 0x4E, 0xFF, 0x78, 0xC9, 0x59, 0x7A, 0x75, 0x6C, 0x8B,
                                           0x8A, 0x8C, 0x43, 0x19, 0x42, 0x6E, 0x89, 0xC2, 0xD4, 0xBD};
constexpr uint16_t ca_fid = 0x4303;
constexpr uint16_t data_fid = 0x4D01;
constexpr std::string_view data_content = "Ann Example, 1 Example Street";

/// Makes the objects in one arena.
class Objects {
  public:
    Bytes privateKey(const DemoKey &key) {
        auto *common = arena_.make(CommonObjectAttributes{});
        common->label = labelled(key.name, " key");
        common->flags = arena_.bits({0});
        common->authId = arena_.octets(pin_id);
        auto *attributes = keyAttributes(key, key.privateUsage);
        attributes->native = 1;
        attributes->accessFlags = arena_.bits({0, 2, 3, 4});
        attributes->keyReference = arena_.integer(key.reference);
        auto *type = arena_.make(PrivateRSAKeyAttributes{indirect(key.privateFid), arena_.integer(2048), nullptr});
        return object<PrivateKeyType>(asn1_PrivateKeyType_e, common, attributes, type);
    }
    Bytes publicKey(const DemoKey &key) {
        auto *type = arena_.make(PublicRSAKeyAttributes{indirect(key.publicFid), arena_.integer(2048), nullptr});
        return object<PublicKeyType>(asn1_PublicKeyType_e, named(key.name, " public key"),
                                     keyAttributes(key, key.publicUsage), type);
    }
    Bytes certificate(const DemoKey &key) {
        auto *attributes = arena_.make(CommonCertificateAttributes{});
        attributes->iD = arena_.octets(key.id);
        auto *type = arena_.make(X509CertificateAttributes{indirect(key.certificateFid), nullptr, nullptr, nullptr});
        addSubject(*type, key.certificate);
        auto *common = named(key.name, " certificate");
        if (key.guarded) {
            common->flags = arena_.bits({0});
            common->authId = arena_.octets(pin_id);
        }
        return object<CertificateType>(asn1_CertificateType_e, common, attributes, type);
    }
    Bytes caCertificate() {
        auto *attributes = arena_.make(CommonCertificateAttributes{});
        attributes->iD = arena_.octets(ca_id);
        attributes->authority = 0xFF;
        auto *type = arena_.make(X509CertificateAttributes{indirect(ca_fid), nullptr, nullptr, nullptr});
        addSubject(*type, demo::ca);
        return object<CertificateType>(asn1_CertificateType_e, named("Demo CA", ""), attributes, type);
    }
    Bytes dataObject() {
        auto *common = named("Address", "");
        common->flags = arena_.bits({0, 1});
        common->authId = arena_.octets(pin_id);
        auto *attributes = arena_.make(CommonDataObjectAttributes{arena_.text("Zelmop demo"), nullptr});
        return object<DataType>(asn1_DataType_e, common, attributes, indirect(data_fid));
    }
    Bytes pin() {
        auto *common = named("PIN", "");
        common->flags = arena_.bits({0, 1});
        common->authId = arena_.octets(puk_id);
        return pinObject(common, pin_id, {.flags = {1, 4, 5}, .least = 4, .most = 8, .reference = pin_reference});
    }
    Bytes puk() {
        auto *common = named("PUK", "");
        common->flags = arena_.bits({0});
        return pinObject(common, puk_id, {.flags = {1, 2, 4, 5, 6}, .least = 8, .most = 8, .reference = puk_reference});
    }
    Bytes adminKey() {
        auto *attributes = arena_.make(CommonKeyAttributes{});
        attributes->iD = arena_.octets(admin_key_id);
        attributes->usage = arena_.bits({0});
        attributes->native = 1;
        attributes->accessFlags = arena_.bits({0, 2, 3});
        attributes->keyReference = arena_.integer(admin_key_reference);
        auto *common = arena_.make(CommonSecretKeyAttributes{arena_.integer(8 * admin_key.size())});
        auto *type = arena_.make(GenericSecretKeyAttributes{indirect(admin_key_fid)});
        auto *made = arena_.make(PKCS15Object{named("Administration key", ""), attributes, common, type});
        return encoded(asn1_SecretKeyType_e, SecretKeyType{triple_des_tag, made});
    }
    Bytes adminAuthentication() {
        auto *attributes = arena_.make(CommonAuthenticationObjectAttributes{arena_.octets(admin_id)});
        auto *type = arena_.make(AuthKeyAttributes{0, arena_.octets(admin_key_id)});
        auto *made = arena_.make(PKCS15Object{named("Administration", ""), attributes, nullptr, type});
        return encoded(asn1_AuthenticationType_e, AuthenticationType{auth_key_tag, made});
    }

  private:
    struct PinFacts {
        std::initializer_list<uint32_t> flags;
        uint32_t least, most;
        uint8_t reference;
    };

    template <class Choice>
    Bytes object(uint32_t (*encode)(uint8_t **, const Choice *), CommonObjectAttributes *common, void *attributes,
                 void *type) {
        auto *made = arena_.make(PKCS15Object{common, attributes, nullptr, type});
        return encoded(encode, Choice{sequence_tag, made});
    }
    Label *labelled(std::string_view name, std::string_view what) {
        return arena_.text(std::string(name).append(what));
    }
    CommonObjectAttributes *named(std::string_view name, std::string_view what) {
        auto *common = arena_.make(CommonObjectAttributes{});
        common->label = labelled(name, what);
        return common;
    }
    CommonKeyAttributes *keyAttributes(const DemoKey &key, std::initializer_list<uint32_t> usage) {
        auto *attributes = arena_.make(CommonKeyAttributes{});
        attributes->iD = arena_.octets(key.id);
        attributes->usage = arena_.bits(usage);
        return attributes;
    }
    ObjectValue *indirect(uint16_t fid) {
        Path *path = arena_.path({static_cast<uint8_t>(fid >> 8), static_cast<uint8_t>(fid & 0xFF)});
        return arena_.make(ObjectValue{sequence_tag, arena_.make(ReferencedValue{sequence_tag, path})});
    }
    Bytes pinObject(CommonObjectAttributes *common, std::initializer_list<uint8_t> id, const PinFacts &facts) {
        auto *attributes = arena_.make(CommonAuthenticationObjectAttributes{arena_.octets(id)});
        auto *type = arena_.make(PinAttributes{});
        type->pinFlags = arena_.bits(facts.flags);
        type->pinType = 1;
        type->minLength = arena_.integer(facts.least);
        type->storedLength = arena_.integer(stored_length);
        type->maxLength = arena_.integer(facts.most);
        type->pinReference = arena_.integer(facts.reference);
        type->padChar = arena_.octets({0x00});
        type->path = arena_.path({0x3F, 0x00, 0x50, 0x15});
        return object<AuthenticationType>(asn1_AuthenticationType_e, common, attributes, type);
    }
    /// The subject's name and the serial number, as they stand in the certificate.
    void addSubject(X509CertificateAttributes &attributes, Octets certificate) {
        Octets fields = takeElement(certificate)->content;
        fields = takeElement(fields)->content;
        takeElement(fields);  // version
        const Octets serial = takeElement(fields)->content;
        for (int skipped = 0; skipped < 3; ++skipped)  // signature algorithm, issuer, validity
            takeElement(fields);
        attributes.subject = arena_.octets(takeElement(fields)->whole);
        auto *number = arena_.octets(serial);
        attributes.serialNumber = arena_.make(asn1_Integer{number->len, number->data, 0});
    }

    Arena arena_;
};

File transparentFile(uint16_t fid, Octets data, AccessCondition::Kind read) {
    File file;
    file.fid = fid;
    file.kind = FileKind::transparent;
    file.data.assign(data.begin(), data.end());
    file.access[Operation::read] = {read, read == AccessCondition::Kind::pin ? pin_reference : uint8_t{0}, {}};
    file.access[Operation::update] = {AccessCondition::Kind::never, 0, {}};
    return file;
}

/// A PIN as its object says: digits, padded to the stored length.
virtualcard::Secret secret(uint8_t reference, std::string_view digits, uint8_t tries) {
    virtualcard::Secret pin;
    pin.reference = reference;
    pin.value.assign(stored_length, 0);
    std::copy(digits.begin(), digits.end(), pin.value.begin());
    pin.minLength = stored_length;
    pin.maxLength = stored_length;
    pin.maxTries = tries;
    pin.triesLeft = tries;
    return pin;
}

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

}  // namespace

std::vector<ObjectDirectory> objectDirectories() {
    Objects make;
    return {{PKCS15_PRIVATE_KEYS, 0x4401, {make.privateKey(key_pairs[0]), make.privateKey(key_pairs[1])}},
            {PKCS15_PUBLIC_KEYS, 0x4402, {make.publicKey(key_pairs[0]), make.publicKey(key_pairs[1])}},
            {PKCS15_SECRET_KEYS, 0x4407, {make.adminKey()}},
            {PKCS15_CERTIFICATES, 0x4403, {make.certificate(key_pairs[0]), make.certificate(key_pairs[1])}},
            {PKCS15_TRUSTED_CERTIFICATES, 0x4404, {make.caCertificate()}},
            {PKCS15_DATA_OBJECTS, 0x4405, {make.dataObject()}},
            {PKCS15_AUTH_OBJECTS, 0x4406, {make.pin(), make.puk(), make.adminAuthentication()}}};
}

std::vector<File> objectFiles() {
    using Kind = AccessCondition::Kind;
    std::vector<File> files;
    for (const DemoKey &key : key_pairs) {
        files.push_back(transparentFile(key.privateFid, {}, Kind::never));
        files.push_back(transparentFile(key.publicFid, key.publicKey, Kind::always));
        files.push_back(transparentFile(key.certificateFid, key.certificate, key.guarded ? Kind::pin : Kind::always));
    }
    files.push_back(transparentFile(admin_key_fid, {}, Kind::never));
    files.push_back(transparentFile(ca_fid, demo::ca, Kind::always));
    const Octets content(reinterpret_cast<const uint8_t *>(data_content.data()), data_content.size());
    files.push_back(transparentFile(data_fid, content, Kind::pin));
    return files;
}

std::vector<virtualcard::Secret> pins() {
    std::vector<virtualcard::Secret> all = {secret(pin_reference, "1234", 3), secret(puk_reference, "12345678", 10)};
    all.front().unblockedBy = puk_reference;
    all.front().access[Operation::unblock] = {AccessCondition::Kind::key, admin_key_reference, {}};
    return all;
}

std::vector<virtualcard::Secret> keys() {
    virtualcard::Secret key;
    key.reference = admin_key_reference;
    key.algorithm = virtualcard::KeyAlgorithm::tripleDes;
    key.value.assign(admin_key.begin(), admin_key.end());
    return {key};
}

Bytes tokenInfo(const Bytes &serial, bool records) {
    Arena arena;
    TokenInfo info{};
    info.version = arena.integer(0);
    info.serialNumber = arena.octets(serial);
    info.manufacturerID = arena.text("Zelmop");
    info.label = arena.text(records ? "Zelmop demo token" : "Zelmop demo eID");
    info.tokenflags = records ? arena.bits({1, 2, 3}) : arena.bits({0, 1, 2, 3});
    info.recordInfo = records ? arena.make(recordInfo(arena)) : nullptr;
    info.supportedAlgorithms =
        arena.list({arena.make(algorithm(arena, 1, 0x0001, {1, 5}, {1, 2, 840, 113549, 1, 1, 1})),
                    arena.make(algorithm(arena, 2, 0x0006, {1, 6}, {1, 2, 840, 113549, 1, 1, 5})),
                    arena.make(algorithm(arena, 3, 0x0040, {1, 6}, {1, 2, 840, 113549, 1, 1, 11}))});
    info.lastUpdate = arena.make(LastUpdate{24, arena.time("20261122120000Z")});
    info.preferredLanguage = arena.text("en");
    return encoded(asn1_TokenInfo_e, info);
}

Bytes objectDirectoryFile(std::span<const ObjectDirectory> directories) {
    Arena arena;
    Bytes file;
    for (const ObjectDirectory &directory : directories) {
        Path *path = arena.path({static_cast<uint8_t>(directory.fid >> 8), static_cast<uint8_t>(directory.fid & 0xFF)});
        PathOrObjects where{sequence_tag, path};
        const Bytes entry = encoded(asn1_PKCS15Objects_e, PKCS15Objects{directory.objectType, &where});
        file.insert(file.end(), entry.begin(), entry.end());
    }
    return file;
}

Bytes applicationTemplate(std::string_view label) {
    Arena arena;
    DIRRecord record{};
    record.aid = arena.octets({0xA0, 0x00, 0x00, 0x00, 0x63, 0x50, 0x4B, 0x43, 0x53, 0x2D, 0x31, 0x35});
    record.label = arena.text(label);
    record.path = arena.octets({0x3F, 0x00, 0x50, 0x15});
    Bytes entry = encoded(asn1_DIRRecord_e, record);
    entry[0] = 0x61;  // cards name the template by its own tag, the encoder writes that of a SEQUENCE
    return entry;
}

}  // namespace zelmo
