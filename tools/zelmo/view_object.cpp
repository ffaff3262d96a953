#include <array>
#include <cstring>

#include "der.h"
#include "text.h"
#include "view.h"

namespace zelmo {

namespace {

using view::array;
using view::bits;
using view::integer;
using view::member;
using view::objectId;
using view::octets;
using view::path;
using view::text;

/// Every object type is a CHOICE with these two members.
using Choice = AuthenticationType;

constexpr uint32_t sequence_tag = 16;

Json boolean(uint32_t value) {
    return value != 0;
}

Json time(const char &value) {
    return validUtf8(&value);
}

Json name(uint32_t value, std::initializer_list<std::string_view> names) {
    return value < names.size() ? Json(names.begin()[value]) : Json(value);
}

// ---- access rules ---------------------------------------------------------------------------------------------------

/// A card can nest conditions as deep as its file is long; nobody reads beyond this.
constexpr int deepest_condition = 32;

Json viewCondition(const SecurityCondition &condition, int depth);

Json viewConditions(const SecurityCondition &condition, int depth) {
    return array<SecurityCondition>(*static_cast<const List *>(condition.value),
                                    [depth](const SecurityCondition &c) { return viewCondition(c, depth + 1); });
}

Json viewCondition(const SecurityCondition &condition, int depth) {
    if (condition.value == nullptr || depth > deepest_condition)
        return {{"unknown", true}};
    switch (condition.tag) {
        case 0:
            return {{"not", viewCondition(*static_cast<const SecurityCondition *>(condition.value), depth + 1)}};
        case 1:
            return {{"and", viewConditions(condition, depth)}};
        case 2:
            return {{"or", viewConditions(condition, depth)}};
        default:
            return {{"authId", octets(*static_cast<const Identifier *>(condition.value))}};
    }
}

Json viewRule(const AccessControlRule &rule) {
    Json json = Json::object();
    member(json, "accessMode", rule.accessMode, [](const asn1_BitString &value) {
        return bits(value, {"read", "update", "execute"});
    });
    member(json, "condition", rule.securityCondition,
           [](const SecurityCondition &condition) { return viewCondition(condition, 0); });
    return json;
}

// ---- class and subclass attributes ----------------------------------------------------------------------------------

void addKey(Json &json, const CommonKeyAttributes &key) {
    member(json, "id", key.iD, octets);
    member(json, "usage", key.usage, [](const asn1_BitString &value) {
        return bits(value, {"encrypt", "decrypt", "sign", "signRecover", "wrap", "unwrap", "verify", "verifyRecover",
                            "derive", "nonRepudiation"});
    });
    json["native"] = boolean(key.native);
    member(json, "accessFlags", key.accessFlags, [](const asn1_BitString &value) {
        return bits(value, {"sensitive", "extractable", "alwaysSensitive", "neverExtractable", "local"});
    });
    member(json, "keyReference", key.keyReference, integer);
    member(json, "startDate", key.startDate, time);
    member(json, "endDate", key.endDate, time);
}

void addCertificate(Json &json, const CommonCertificateAttributes &certificate) {
    member(json, "id", certificate.iD, octets);
    json["authority"] = boolean(certificate.authority);
    member(json, "identifier", certificate.identifier, octets);
    member(json, "certHash", certificate.certHash, octets);
    member(json, "trustedUsage", certificate.trustedUsage, octets);
    member(json, "identifiers", certificate.identifiers,
           [](const List &list) { return array<asn1_Any>(list, octets); });
    json["implicitTrust"] = boolean(certificate.implicitTrust);
}

void addData(Json &json, const CommonDataObjectAttributes &data) {
    member(json, "applicationName", data.applicationName, text);
    member(json, "applicationOID", data.applicationOID, objectId);
}

void addAuthentication(Json &json, const CommonAuthenticationObjectAttributes &authentication) {
    member(json, "id", authentication.authId, octets);
}

void addPrivateKey(Json &json, const CommonPrivateKeyAttributes &key) {
    member(json, "subjectName", key.subjectName, octets);
    member(json, "keyIdentifiers", key.keyIdentifiers, [](const List &list) { return array<asn1_Any>(list, octets); });
}

void addPublicKey(Json &json, const CommonPublicKeyAttributes &key) {
    member(json, "subjectName", key.subjectName, octets);
    member(json, "trustedUsage", key.trustedUsage, octets);
}

void addSecretKey(Json &json, const CommonSecretKeyAttributes &key) {
    member(json, "keyLen", key.keyLen, integer);
}

// ---- type attributes ------------------------------------------------------------------------------------------------

void addValue(Json &json, const ObjectValue &value) {
    if (const Path *indirect = pkcs15_GetIndirectValuePath(&value))
        json["path"] = path(*indirect);
    else
        json["value"] = value.tag == 3 || value.tag == 19 || value.tag == 22 ? "url" : "direct";
}

void addOptionalValue(Json &json, const ObjectValue *value) {
    if (value != nullptr)
        addValue(json, *value);
}

Json viewKeyInfo(const KeyInfo &info) {
    if (info.tag == 2)
        return {{"reference", integer(*static_cast<const Reference *>(info.value))}};
    return {{"paramsAndOps", octets(*static_cast<const asn1_Any *>(info.value))}};
}

void addPrivateRsa(Json &json, const PrivateRSAKeyAttributes &key) {
    addOptionalValue(json, key.value);
    member(json, "modulusLength", key.modulusLength, integer);
    member(json, "keyInfo", key.keyInfo, viewKeyInfo);
}

void addPublicRsa(Json &json, const PublicRSAKeyAttributes &key) {
    addOptionalValue(json, key.value);
    member(json, "modulusLength", key.modulusLength, integer);
    member(json, "keyInfo", key.keyInfo, viewKeyInfo);
}

void addSecretValue(Json &json, const GenericSecretKeyAttributes &key) {
    addOptionalValue(json, key.value);
}

/// Without the [0] that the field has around it.
Json issuerName(const asn1_Any &value) {
    Octets input(value.data, value.len);
    const auto wrapper = takeElement(input);
    return wrapper && wrapper->tag == 0xA0 ? Json(hex(wrapper->content)) : octets(value);
}

void addX509(Json &json, const X509CertificateAttributes &certificate) {
    addOptionalValue(json, certificate.value);
    member(json, "subject", certificate.subject, octets);
    member(json, "issuer", certificate.issuer, issuerName);
    member(json, "serialNumber", certificate.serialNumber, integer);
}

void addPin(Json &json, const PinAttributes &pin) {
    member(json, "pinFlags", pin.pinFlags, [](const asn1_BitString &value) {
        return bits(value, {"caseSensitive", "local", "changeDisabled", "unblockDisabled", "initialized",
                            "needsPadding", "unblockingPin", "soPin", "disableAllowed", "integrityProtected",
                            "confidentialityProtected", "exchangeRefData"});
    });
    json["pinType"] = name(pin.pinType, {"bcd", "asciiNumeric", "utf8", "halfNibbleBcd", "iso9564-1"});
    member(json, "minLength", pin.minLength, integer);
    member(json, "storedLength", pin.storedLength, integer);
    member(json, "maxLength", pin.maxLength, integer);
    member(json, "pinReference", pin.pinReference, integer);
    member(json, "padChar", pin.padChar, octets);
    member(json, "lastPinChange", pin.lastPinChange, time);
    member(json, "path", pin.path, path);
}

Json viewBiometricType(const BiometricType &type) {
    if (type.tag == 0)
        return {{"irisScan", {{"eye", name(static_cast<const IrisScan *>(type.value)->eye, {"left", "right"})}}}};
    const auto *print = static_cast<const FingerPrint *>(type.value);
    return {
        {"fingerPrint",
         {{"hand", name(print->hand, {"left", "right"})},
          {"finger", name(print->finger, {"thumb", "pointerFinger", "middleFinger", "ringFinger", "littleFinger"})}}}};
}

void addBiometric(Json &json, const BiometricAttributes &biometric) {
    member(json, "bioFlags", biometric.bioFlags, [](const asn1_BitString &value) {
        return bits(value, {"caseSensitive", "local", "changeDisabled", "unblockDisabled", "initialized"});
    });
    member(json, "templateId", biometric.templateId, objectId);
    member(json, "bioType", biometric.bioType, viewBiometricType);
    member(json, "bioReference", biometric.bioReference, integer);
    member(json, "lastChange", biometric.lastChange, time);
    member(json, "path", biometric.path, path);
}

void addAuthKey(Json &json, const AuthKeyAttributes &key) {
    json["derivedKey"] = boolean(key.derivedKey);
    member(json, "authKeyId", key.authKeyId, octets);
}

// ---- objects --------------------------------------------------------------------------------------------------------

template <class T>
void addAs(Json &json, const void *attributes, void (*add)(Json &json, const T &attributes)) {
    if (attributes != nullptr)
        add(json, *static_cast<const T *>(attributes));
}

/// Adds an attribute record whose type the kind of object decides.
using AddAttributes = void (*)(Json &json, const void *attributes);

template <auto Add>
struct Adder;

template <class T, void (*Add)(Json &json, const T &attributes)>
struct Adder<Add> {
    static void run(Json &json, const void *attributes) {
        addAs<T>(json, attributes, Add);
    }
};

template <auto Add>
constexpr AddAttributes adder = Adder<Add>::run;

/// Decodes the class attributes of an alternative that the library keeps as bytes, and adds them.
using AddCarriedClass = void (*)(Json &json, Octets element);

template <class T, const uint8_t *(*Decode)(const uint8_t *, const uint8_t *, uint8_t, T **, uint16_t),
          void (*Free)(T *), void (*Add)(Json &, const T &)>
void addDecoded(Json &json, Octets element) {
    T *record = nullptr;
    if (Decode(element.data(), element.data() + element.size(), 0, &record, 0) != nullptr)
        Add(json, *record);
    Free(record);
}

/// What an object type is made of.
struct Kind {
    std::string_view name;
    std::span<const std::string_view> numbered;  // alternatives 0, 1, ...
    std::string_view sequence;                   // the alternative that is a plain SEQUENCE
    AddAttributes addClass;
    AddAttributes addSubClass;
    AddAttributes addType;
    uint32_t carriedFirst, carriedCount;  // numbers of the alternatives kept as bytes
    AddCarriedClass addCarriedClass;
};

constexpr auto carried_key =
    addDecoded<CommonKeyAttributes, asn1_CommonKeyAttributes_d, asn1_CommonKeyAttributes_free, addKey>;
constexpr auto carried_certificate = addDecoded<CommonCertificateAttributes, asn1_CommonCertificateAttributes_d,
                                                asn1_CommonCertificateAttributes_free, addCertificate>;
constexpr auto carried_data = addDecoded<CommonDataObjectAttributes, asn1_CommonDataObjectAttributes_d,
                                         asn1_CommonDataObjectAttributes_free, addData>;
constexpr auto carried_authentication =
    addDecoded<CommonAuthenticationObjectAttributes, asn1_CommonAuthenticationObjectAttributes_d,
               asn1_CommonAuthenticationObjectAttributes_free, addAuthentication>;

constexpr std::string_view private_keys[] = {"privateECKey", "privateDHKey", "privateDSAKey", "privateKEAKey"};
constexpr std::string_view public_keys[] = {"publicECKey", "publicDHKey", "publicDSAKey", "publicKEAKey"};
constexpr std::string_view secret_keys[] = {"rc2Key",      "rc4Key",   "desKey",     "des2Key", "des3Key",
                                            "castKey",     "cast3Key", "cast128Key", "rc5Key",  "ideaKey",
                                            "skipjackKey", "batonKey", "juniperKey", "rc6Key",  "otherKey"};
constexpr std::string_view certificates[] = {"x509AttributeCertificate", "spkiCertificate",  "pgpCertificate",
                                             "wtlsCertificate",          "x9-68Certificate", "cvCertificate"};
constexpr std::string_view data_objects[] = {"externalIDO", "oidDO"};
constexpr std::string_view auth_objects[] = {"biometricTemplate", "authKey", "external"};

constexpr Kind certificateKind(std::string_view type) {
    return {type, certificates,       "x509Certificate", adder<addCertificate>, nullptr, adder<addX509>, 0,
            6,    carried_certificate};
}

constexpr Kind publicKeyKind(std::string_view type) {
    return {type, public_keys, "publicRSAKey", adder<addKey>, adder<addPublicKey>, adder<addPublicRsa>,
            0,    4,           carried_key};
}

const std::array<Kind, 9> kinds = {{
    {"privateKeys", private_keys, "privateRSAKey", adder<addKey>, adder<addPrivateKey>, adder<addPrivateRsa>, 0, 4,
     carried_key},
    publicKeyKind("publicKeys"),
    publicKeyKind("trustedPublicKeys"),
    {"secretKeys", secret_keys, "genericSecretKey", adder<addKey>, adder<addSecretKey>, adder<addSecretValue>, 0, 0,
     carried_key},
    certificateKind("certificates"),
    certificateKind("trustedCertificates"),
    certificateKind("usefulCertificates"),
    {"dataObjects", data_objects, "opaqueDO", adder<addData>, nullptr, adder<addValue>, 0, 2, carried_data},
    {"authObjects", auth_objects, "pin", adder<addAuthentication>, nullptr, adder<addPin>, 2, 1,
     carried_authentication},
}};

/// The type attributes of an authentication object depend on its alternative.
AddAttributes typeAdder(const Kind &kind, uint32_t objectType, uint32_t tag) {
    if (objectType != PKCS15_AUTH_OBJECTS || tag == sequence_tag)
        return kind.addType;
    return tag == 0 ? adder<addBiometric> : adder<addAuthKey>;
}

/// Adds what can be had of an object that the library keeps as bytes: it begins like every other.
void addCarried(Json &json, const Kind &kind, const asn1_Any &any) {
    json["encoding"] = octets(any);
    Octets input(any.data, any.len);
    const auto object = takeElement(input);
    if (!object)
        return;
    Octets fields = object->content;
    if (const auto common = takeElement(fields)) {
        addDecoded<CommonObjectAttributes, asn1_CommonObjectAttributes_d, asn1_CommonObjectAttributes_free,
                   addCommonAttributes>(json, common->whole);
        if (const auto own = takeElement(fields))
            kind.addCarriedClass(json, own->whole);
    }
}

void addObject(Json &json, const Kind &kind, AddAttributes addType, const PKCS15Object &object) {
    if (object.commonObjectAttributes != nullptr)
        addCommonAttributes(json, *object.commonObjectAttributes);
    kind.addClass(json, object.classAttributes);
    if (kind.addSubClass != nullptr)
        kind.addSubClass(json, object.subClassAttributes);
    addType(json, object.typeAttributes);
}

}  // namespace

void addCommonAttributes(Json &json, const CommonObjectAttributes &attributes) {
    member(json, "label", attributes.label, text);
    member(json, "flags", attributes.flags, [](const asn1_BitString &value) {
        return bits(value, {"private", "modifiable"});
    });
    member(json, "authId", attributes.authId, octets);
    member(json, "userConsent", attributes.userConsent, integer);
    member(json, "accessControlRules", attributes.accessControlRules,
           [](const List &list) { return array<AccessControlRule>(list, viewRule); });
}

std::string_view objectTypeName(uint32_t objectType) {
    return kinds.at(objectType).name;
}

Json viewObject(uint32_t objectType, uint32_t objectId, const void *object) {
    const Kind &kind = kinds.at(objectType);
    const auto *choice = static_cast<const Choice *>(object);
    const bool numbered = choice->tag < kind.numbered.size();
    const bool carried = choice->tag - kind.carriedFirst < kind.carriedCount;
    Json json = {{"type", kind.name}, {"objectType", objectType}, {"objectId", objectId}};
    json["alternative"] = numbered ? kind.numbered[choice->tag] : kind.sequence;
    json["carried"] = carried;
    const bool other = objectType == PKCS15_SECRET_KEYS && choice->tag == 14;  // made up differently, and never read
    if (choice->value == nullptr || other)
        return json;
    if (carried)
        addCarried(json, kind, *static_cast<const asn1_Any *>(choice->value));
    else
        addObject(json, kind, typeAdder(kind, objectType, choice->tag),
                  *static_cast<const PKCS15Object *>(choice->value));
    return json;
}

}  // namespace zelmo
