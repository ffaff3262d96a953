#include "profile_objects.h"

#include <string_view>

#include "arena.h"
#include "demo_pki.h"
#include "der.h"
#include "object_maker.h"

namespace zelmo {

namespace {

using virtualcard::AccessCondition;
using virtualcard::File;
using virtualcard::FileKind;
using virtualcard::Operation;

constexpr uint32_t sequence_tag = 16;
constexpr std::initializer_list<uint8_t> admin_id = {0x03};
constexpr std::initializer_list<uint8_t> admin_key_id = {0xAD};
constexpr uint16_t admin_key_fid = 0x4B21;
// The keys of the examples in NIST SP 800-67.
constexpr std::array<uint8_t, 24> admin_key = {0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF, 0x23, 0x45, 0x67, 0x89,
                                               0xAB, 0xCD, 0xEF, 0x01, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF, 0x01, 0x23};
constexpr uint8_t stored_length = 8;
constexpr uint8_t padding = 0x00;
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

/// The key pairs, besides what any token has.
class Objects : public ObjectMaker {
  public:
    Bytes privateKey(const DemoKey &key) {
        auto *attributes = keyAttributes(key, key.privateUsage);
        attributes->native = 1;
        attributes->accessFlags = arena_.bits({0, 2, 3, 4});
        attributes->keyReference = arena_.integer(key.reference);
        auto *type = arena_.make(PrivateRSAKeyAttributes{indirect(key.privateFid), arena_.integer(2048), nullptr});
        return object<PrivateKeyType>(asn1_PrivateKeyType_e, common({std::string(key.name) + " key", {0}, pin_id}),
                                      attributes, type);
    }
    Bytes publicKey(const DemoKey &key) {
        auto *type = arena_.make(PublicRSAKeyAttributes{indirect(key.publicFid), arena_.integer(2048), nullptr});
        return object<PublicKeyType>(asn1_PublicKeyType_e, common({std::string(key.name) + " public key"}),
                                     keyAttributes(key, key.publicUsage), type);
    }
    Bytes certificateOf(const DemoKey &key) {
        CommonFacts facts = {std::string(key.name) + " certificate"};
        if (key.guarded)
            facts = {facts.label, {0}, pin_id};
        return certificate({facts, {key.id.begin(), key.id.end()}, key.certificateFid, false, key.certificate});
    }

  private:
    CommonKeyAttributes *keyAttributes(const DemoKey &key, std::initializer_list<uint32_t> usage) {
        auto *attributes = arena_.make(CommonKeyAttributes{});
        attributes->iD = arena_.octets(key.id);
        attributes->usage = arena_.bits(usage);
        return attributes;
    }
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

}  // namespace

std::vector<ObjectDirectory> objectDirectories() {
    Objects make;
    const Bytes pin =
        make.pin({{"PIN", {0, 1}, puk_id}, pin_id, {1, 4, 5}, 4, stored_length, stored_length, pin_reference, padding});
    const Bytes puk =
        make.pin({{"PUK", {0}, {}}, puk_id, {1, 2, 4, 5, 6}, 8, stored_length, stored_length, puk_reference, padding});
    const Bytes admin = make.secretKey(
        {{"Administration key", {}, {}}, admin_key_id, admin_key_reference, 8 * admin_key.size(), admin_key_fid});
    const Bytes authority =
        make.certificate({{"Demo CA", {}, {}}, {ca_id.begin(), ca_id.end()}, ca_fid, true, demo::ca});
    const Bytes data = make.data({{"Address", {0, 1}, pin_id}, "Zelmop demo", data_fid});
    const Bytes administration = make.authKey({{"Administration", {}, {}}, admin_id, admin_key_id});
    return {{PKCS15_PRIVATE_KEYS, 0x4401, {make.privateKey(key_pairs[0]), make.privateKey(key_pairs[1])}},
            {PKCS15_PUBLIC_KEYS, 0x4402, {make.publicKey(key_pairs[0]), make.publicKey(key_pairs[1])}},
            {PKCS15_SECRET_KEYS, 0x4407, {admin}},
            {PKCS15_CERTIFICATES, 0x4403, {make.certificateOf(key_pairs[0]), make.certificateOf(key_pairs[1])}},
            {PKCS15_TRUSTED_CERTIFICATES, 0x4404, {authority}},
            {PKCS15_DATA_OBJECTS, 0x4405, {data}},
            {PKCS15_AUTH_OBJECTS, 0x4406, {pin, puk, administration}}};
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
    const std::vector<uint32_t> changeable = {1, 2, 3};
    const std::vector<uint32_t> fixed = {0, 1, 2, 3};
    return ObjectMaker().tokenInfo(
        {serial, "Zelmop", records ? "Zelmop demo token" : "Zelmop demo eID", records ? changeable : fixed, records});
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
