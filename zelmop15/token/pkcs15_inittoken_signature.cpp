// The proof that a script is genuine: PKCS #7 signed data around a digest of the script and the name of an API version,
// by a signer whose certificate is one step below the built-in key.
#include "token/pkcs15_inittoken_signature.h"

#include <cstring>

#include "asn1/asn1_oid.h"
#include "asn1/asn1_pkcs7.h"
#include "asn1/asn1_x509v1.h"
#include "csp/csp.h"
#include "token/pkcs15_exception.h"
#include "token/pkcs15_inittoken_root.h"
#include "token/pkcs15_log.h"
#include "zelmop15/pkcs15.h"

namespace {

using OwnedContentInfo = Owned<ContentInfo, asn1_ContentInfo_free>;
using OwnedCertificate = Owned<Certificate, asn1_Certificate_free>;
using OwnedIa5String = Owned<asn1_IA5String, asn1_IA5String_free>;

constexpr char api_version[] = "Tessor API V5.0 (Build 7)";
constexpr uint32_t digest_length = 20;
constexpr uint8_t octet_string_header[] = {0x04, digest_length};

enum : uint32_t { error_level = 2, warning_level = 3, debug_level = 6 };

/// Why a script is refused: a line of the log, or none where memory was short.
struct Refusal {
    uint32_t level = 0;
    const char *text = nullptr;
};
constexpr Refusal accepted = {};

/// Decodes what stands at the start of the octets; null on failure.
template <class T>
T *decode(const uint8_t *(*d)(const uint8_t *, const uint8_t *, uint8_t, T **, uint16_t), const uint8_t *octets,
          uint32_t length) {
    T *value = nullptr;
    // There may be no octets to point to.
    if (length != 0)
        d(octets, octets + length, 0, &value, p15asn1LogFlag);
    return value;
}

template <class T>
const T *first_of(const List *list) {
    return list != nullptr && List_len(list) > 0 ? static_cast<const T *>(List_get(list, 0)) : nullptr;
}

const SignedData *signed_data_in(const ContentInfo &info) {
    const bool is_signed = asn1_ObjId_cmp(info.contentType, asn1_Get_signedData()) == 0;
    return is_signed && info.content != nullptr ? static_cast<const SignedData *>(info.content->value) : nullptr;
}

/// The first value of the last attribute of this type; null when there is none.
const asn1_Any *last_value(const List *attributes, const asn1_ObjId *type) {
    const Attribute *found = nullptr;
    for (int32_t i = 0; attributes != nullptr && i < List_len(attributes); ++i) {
        const auto *attribute = static_cast<const Attribute *>(List_get(attributes, i));
        if (asn1_ObjId_cmp(attribute->type, type) == 0)
            found = attribute;
    }
    return found != nullptr ? first_of<asn1_Any>(found->values) : nullptr;
}

bool has_attribute(const List *attributes, const asn1_ObjId *type) {
    return attributes != nullptr && asn1_Attributes_getAttribute(attributes, type) != nullptr;
}

/// The digest must stand there as an encoded OCTET STRING.
Refusal check_digest(const List *attributes, const uint8_t *digest) {
    if (!has_attribute(attributes, asn1_Get_messageDigest()))
        return {debug_level, "Could not retrieve message digest from PKCS#7 structure."};
    const asn1_Any *value = last_value(attributes, asn1_Get_messageDigest());
    const bool holds = value != nullptr && value->len == sizeof octet_string_header + digest_length &&
                       std::memcmp(value->data, octet_string_header, sizeof octet_string_header) == 0 &&
                       std::memcmp(value->data + sizeof octet_string_header, digest, digest_length) == 0;
    return holds ? accepted : Refusal{debug_level, "Invalid message digest."};
}

/// There is no range of versions: the text must be the very same.
Refusal check_version(const List *attributes) {
    if (!has_attribute(attributes, asn1_Get_signingDescription()))
        return {debug_level, "Could not retrieve signing description from PKCS#7 structure."};
    const asn1_Any *value = last_value(attributes, asn1_Get_signingDescription());
    const OwnedIa5String text(value != nullptr ? decode(asn1_IA5String_d, value->data, value->len) : nullptr);
    if (text == nullptr)
        return {debug_level, "Invalid signing description."};
    constexpr uint32_t length = sizeof api_version - 1;
    const bool same = text->len == length && std::memcmp(text->data, api_version, length) == 0;
    return same ? accepted : Refusal{debug_level, "Script file version is incompatible with API version."};
}

/// Octets of a bit string as they are, its bits divided by 8.
Bytestring whole_octets(const asn1_BitString &bits) {
    return {bits.bits / 8, bits.data};
}

Bytestring octets_of(const asn1_ASN1String &string) {
    return {string.len, string.data};
}

uint32_t encode_attribute(uint8_t **cursor, const void *attribute) {
    return asn1_Attribute_e(cursor, static_cast<const Attribute *>(attribute));
}

/// The attributes as they were signed: as a SET, not under the tag that they carry in the file. False, with the reason,
/// when they cannot be had.
bool encode_attributes(const List *attributes, OwnedBytestring &encoded, Refusal &refusal) {
    constexpr uint8_t implicit = 0x80;
    const uint32_t length = asn1_List_e(nullptr, implicit, attributes, encode_attribute);
    if (length == 0) {
        refusal = {debug_level, "ASN.1 encoding of authenticated attributes failed."};
        return false;
    }
    encoded.reset(Bytestring_new(length, nullptr));
    if (encoded == nullptr)
        return false;
    uint8_t *cursor = encoded->data;
    asn1_SetOf_e(&cursor, attributes, encode_attribute);
    return true;
}

bool verify(const Bytestring &key, const Bytestring &text, const Bytestring &signature) {
    return CSP_verify(nullptr, CSP_SIG_RSA_SHA1, &key, nullptr, &text, &signature) == 0;
}

/// The signer's signature over the attributes, and the built-in key's over the signer's certificate.
uint32_t check_signatures(const SignedData &message, const SignerInfo &signer, Refusal &refusal) {
    const asn1_Any *const element = first_of<asn1_Any>(message.certificates);
    const OwnedCertificate certificate(element != nullptr ? decode(asn1_Certificate_d, element->data, element->len)
                                                          : nullptr);
    if (certificate == nullptr) {
        refusal = {debug_level, "ASN.1 decoding of signer certificate failed."};
        return PKCS15_E_FAILED;
    }
    OwnedBytestring attributes;
    if (!encode_attributes(signer.authenticatedAttributes, attributes, refusal))
        return refusal.text != nullptr ? PKCS15_E_FAILED : PKCS15_E_NO_MEMORY;
    if (!verify(whole_octets(*certificate->tbs->subjectPKI->subjectPublicKey), *attributes,
                octets_of(*signer.encryptedDigest)))
        refusal = {warning_level, "Invalid PKCS#7 signature."};
    else if (!verify(trustedPuK, octets_of(*certificate->tbsDER), whole_octets(*certificate->signature)))
        refusal = {warning_level, "Signature verification failed."};
    return refusal.text != nullptr ? PKCS15_E_FAILED : 0;
}

uint32_t check(const Bytestring &script, const Bytestring &signature, Refusal &refusal) {
    const OwnedContentInfo info(decode(asn1_ContentInfo_d, signature.data, signature.len));
    if (info == nullptr) {
        refusal = {debug_level, "ASN.1 decoding of PKCS#7 structure failed."};
        return PKCS15_E_FAILED;
    }
    const SignedData *const message = signed_data_in(*info);
    const auto *const signer = message != nullptr ? first_of<SignerInfo>(message->signerInfos) : nullptr;
    if (signer == nullptr) {
        refusal = {debug_level, "Could not retrieve signerInfo from PKCS#7 structure."};
        return PKCS15_E_FAILED;
    }
    uint8_t octets[digest_length];
    Bytestring digest = {sizeof octets, octets};
    if (CSP_hash(nullptr, CSP_ALG_SHA1, &script, &digest) != 0)
        refusal = {debug_level, "Message digest calculation failed."};
    if (refusal.text == nullptr)
        refusal = check_digest(signer->authenticatedAttributes, octets);
    if (refusal.text == nullptr)
        refusal = check_version(signer->authenticatedAttributes);
    return refusal.text == nullptr ? check_signatures(*message, *signer, refusal) : PKCS15_E_FAILED;
}

}  // namespace

uint32_t token::verify_script(const Bytestring &script, const Bytestring &signature) {
    Refusal refusal;
    const uint32_t code = check(script, signature, refusal);
    if (code == 0)
        return 0;
    if (refusal.text != nullptr)
        pkcs15_LogMessage(refusal.level, "%s", refusal.text);
    raise(code);
    pkcs15_LogMessage(error_level, "Script file signature invalid.");
    return raise(code);
}
