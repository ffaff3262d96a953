#include "asn1/record_table.h"

#include "asn1/asn1_dsa.h"
#include "asn1/asn1_pkcs1.h"
#include "asn1/asn1_pkcs7.h"
#include "asn1/asn1_x509v1.h"

namespace {

template <class T, auto E, auto D, auto Free, auto Clone = nullptr, auto New = nullptr>
constexpr RecordType row(const char *name) {
    RecordType r{};
    r.name = name;
    r.e = [](uint8_t **cursor, const void *value) { return E(cursor, static_cast<const T *>(value)); };
    r.d = [](const uint8_t *z, const uint8_t *end, uint8_t impl_tag, void **value, uint16_t level) {
        T *typed = static_cast<T *>(*value);
        z = D(z, end, impl_tag, &typed, level);
        *value = typed;
        return z;
    };
    r.free = [](void *value) { Free(static_cast<T *>(value)); };
    if constexpr (!std::is_null_pointer_v<decltype(Clone)>)
        r.clone = [](const void *value) { return static_cast<void *>(Clone(static_cast<const T *>(value))); };
    if constexpr (!std::is_null_pointer_v<decltype(New)>)
        r.create = [] { return static_cast<void *>(New()); };
    return r;
}

#define BASIC(T, NAME) row<T, asn1_##NAME##_e, asn1_##NAME##_d, asn1_##NAME##_free, asn1_##NAME##_clone>(#NAME)
#define PLAIN(T)       row<T, asn1_##T##_e, asn1_##T##_d, asn1_##T##_free, nullptr, asn1_##T##_new>(#T)
#define CLONED(T)      row<T, asn1_##T##_e, asn1_##T##_d, asn1_##T##_free, asn1_##T##_clone, asn1_##T##_new>(#T)

// clang-format off
constexpr RecordType table[] = {
    BASIC(asn1_OctetString, OctetString), BASIC(asn1_UTF8String, UTF8String),
    BASIC(asn1_PrintableString, PrintableString), BASIC(asn1_IA5String, IA5String), BASIC(asn1_Any, Any),
    BASIC(asn1_BitString, BitString), BASIC(asn1_Integer, Integer), BASIC(asn1_ObjId, ObjId), BASIC(char, UTCTime),
    BASIC(char, GeneralizedTime), BASIC(asn1_Time, Time),
    CLONED(Path), CLONED(CommonObjectAttributes), CLONED(AccessControlRule), CLONED(SecurityCondition),
    PLAIN(ReferencedValue), PLAIN(ObjectValue), PLAIN(PathOrObjects), PLAIN(KeyInfo), PLAIN(CommonKeyAttributes),
    PLAIN(CommonPrivateKeyAttributes), PLAIN(CommonPublicKeyAttributes), PLAIN(CommonSecretKeyAttributes),
    PLAIN(CommonCertificateAttributes), PLAIN(CommonDataObjectAttributes),
    PLAIN(CommonAuthenticationObjectAttributes), CLONED(DIRRecord), CLONED(DDO), PLAIN(TokenInfo),
    PLAIN(SecurityEnvironmentInfo), PLAIN(RecordInfo), PLAIN(AlgorithmInfo), PLAIN(LastUpdate),
    PLAIN(PKCS15Objects), PLAIN(PrivateKeyType), PLAIN(PublicKeyType), PLAIN(SecretKeyType), PLAIN(CertificateType),
    PLAIN(DataType), PLAIN(AuthenticationType), PLAIN(OtherKey), PLAIN(PinAttributes), PLAIN(BiometricAttributes),
    PLAIN(BiometricType), PLAIN(IrisScan), PLAIN(FingerPrint), PLAIN(AuthKeyAttributes),
    PLAIN(X509CertificateAttributes), PLAIN(GenericSecretKeyAttributes), PLAIN(PublicRSAKeyAttributes),
    PLAIN(PrivateRSAKeyAttributes), CLONED(AlgId), CLONED(DigestInfo), CLONED(RSAPublicKey), CLONED(RSAPrivateKey),
    CLONED(DssParms), CLONED(DssSigValue),
    row<Opaque, asn1_Opaque_e, asn1_Opaque_d, asn1_Opaque_free, nullptr, asn1_ObjectValue_new>("Opaque"),
    BASIC(char, Name), CLONED(AttributeValueAssertion), CLONED(Validity), CLONED(Extension), CLONED(SubjectPKI),
    CLONED(Certificate_TBS), CLONED(Certificate), CLONED(CRLEntry), CLONED(CertificateList_TBS),
    CLONED(CertificateRevocationList), CLONED(Attribute), CLONED(ContentInfo), CLONED(SignedData),
    CLONED(SignerInfo), CLONED(IssuerAndSerialNumber), CLONED(EncryptedData), CLONED(EncryptedContentInfo),
};
// clang-format on

}  // namespace

std::span<const RecordType> record_types() {
    return table;
}

const RecordType *find_record_type(std::string_view name) {
    for (const RecordType &type : table)
        if (name == type.name)
            return &type;
    return nullptr;
}
