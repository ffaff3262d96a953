// Keys, signatures and digests beyond what their golden encodings show, and the object identifiers.
#include <gtest/gtest.h>
#include <map>
#include <openssl/objects.h>

#include "asn1/asn1_oid.h"
#include "asn1/asn1_pkcs1.h"
#include "asn1/bytes.h"
#include "asn1/record_table.h"

namespace {

using Getter = const asn1_ObjId *(*)();

const std::map<std::string, Getter> &catalogue() {
    static const std::map<std::string, Getter> getters = {
#define ASN1_OID(name, ...) {#name, asn1_Get_##name},
#include "asn1/asn1_oid.def"
#undef ASN1_OID
    };
    return getters;
}

// What OpenSSL calls the identifier; the dotted text for those without a name there (PKCS #9 v2.0, X.520).
struct Known {
    const char *name;
    const char *elsewhere;
};
const Known known[] = {
    {"id_dsa_with_sha1", "DSA-SHA1"},
    {"id_dsa", "DSA"},
    {"dsaWithSha", "DSA-SHA"},
    {"dsaWithSha1", "DSA-SHA1-old"},
    {"dsa", "DSA-old"},
    {"rsaSignatureWithripemd160", "RSA-RIPEMD160"},
    {"ansi_X9_62", "ansi-X9-62"},
    {"id_ecPublicKey", "id-ecPublicKey"},
    {"RIPEMD_160", "RIPEMD160"},
    {"rsaEncryption", "rsaEncryption"},
    {"md2WithRSAEncryption", "RSA-MD2"},
    {"md5WithRSAEncryption", "RSA-MD5"},
    {"sha_1WithRSAEncryption", "RSA-SHA1"},
    {"id_SHA1", "SHA1"},
    {"md2", "MD2"},
    {"md5", "MD5"},
    {"data", "pkcs7-data"},
    {"signedData", "pkcs7-signedData"},
    {"envelopedData", "pkcs7-envelopedData"},
    {"signedAndEnvelopedData", "pkcs7-signedAndEnvelopedData"},
    {"digestedData", "pkcs7-digestData"},
    {"encryptedData", "pkcs7-encryptedData"},
    {"emailAddress", "emailAddress"},
    {"unstructuredName", "unstructuredName"},
    {"contentType", "contentType"},
    {"messageDigest", "messageDigest"},
    {"signingTime", "signingTime"},
    {"counterSignature", "countersignature"},
    {"challengePassword", "challengePassword"},
    {"unstructuredAddress", "unstructuredAddress"},
    {"extendedCertificateAttributes", "extendedCertificateAttributes"},
    {"issuerAndSerialNumber", "1.2.840.113549.1.9.10"},
    {"passwordCheck", "1.2.840.113549.1.9.11"},
    {"publicKey", "1.2.840.113549.1.9.12"},
    {"signingDescription", "1.2.840.113549.1.9.13"},
    {"extensionRequest", "extReq"},
    {"smimeCapabilities", "SMIME-CAPS"},
    {"friendlyName", "friendlyName"},
    {"localKeyId", "localKeyID"},
    {"certTypes", "1.2.840.113549.1.9.22"},
    {"crlTypes", "1.2.840.113549.1.9.23"},
    {"userPKCS12", "2.16.840.1.113730.3.1.216"},
    {"pkcs15Token", "1.2.840.113549.1.9.25.1"},
    {"encryptedPrivateKeyInfo", "1.2.840.113549.1.9.25.2"},
    {"randomNonce", "1.2.840.113549.1.9.25.3"},
    {"sequenceNumber", "1.2.840.113549.1.9.25.4"},
    {"pkcs7PDU", "1.2.840.113549.1.9.25.5"},
    {"dateOfBirth", "id-pda-dateOfBirth"},
    {"placeOfBirth", "id-pda-placeOfBirth"},
    {"gender", "id-pda-gender"},
    {"countryOfCitizenship", "id-pda-countryOfCitizenship"},
    {"countryOfResidence", "id-pda-countryOfResidence"},
    {"id_at", "X509"},
    {"id_at_objectClass", "2.5.4.0"},
    {"id_at_aliasedEntryName", "2.5.4.1"},
    {"id_at_knowledgeInformation", "2.5.4.2"},
    {"id_at_commonName", "CN"},
    {"id_at_surname", "SN"},
    {"id_at_serialNumber", "serialNumber"},
    {"id_at_countryName", "C"},
    {"id_at_localityName", "L"},
    {"id_at_collectiveLocalityName", "2.5.4.7.1"},
    {"id_at_stateOrProvinceName", "ST"},
    {"id_at_collectiveStateOrProvinceName", "2.5.4.8.1"},
    {"id_at_streetAddress", "street"},
    {"id_at_collectiveStreetAddress", "2.5.4.9.1"},
    {"id_at_organizationName", "O"},
    {"id_at_collectiveOrganizationName", "2.5.4.10.1"},
    {"id_at_organizationalUnitName", "OU"},
    {"id_at_collectiveOrganizationalUnitName", "2.5.4.11.1"},
    {"id_at_title", "title"},
    {"id_at_description", "description"},
    {"id_at_name", "name"},
    {"id_at_givenName", "GN"},
    {"id_at_initials", "initials"},
    {"id_at_generationQualifier", "generationQualifier"},
    {"id_at_uniqueIdentifier", "x500UniqueIdentifier"},
    {"id_at_dnQualifier", "dnQualifier"},
};

TEST(ObjectIdentifiers, AreThoseThatOpenSslKnows) {
    EXPECT_EQ(std::size(known), catalogue().size());
    for (const auto &[name, elsewhere] : known) {
        const auto found = catalogue().find(name);
        ASSERT_NE(found, catalogue().end()) << name;
        ASN1_OBJECT *object = OBJ_txt2obj(elsewhere, 0);
        ASSERT_NE(object, nullptr) << elsewhere;
        const Bytes octets = encode([&](uint8_t **cursor) { return asn1_ObjId_e(cursor, found->second()); });
        ASSERT_GT(octets.size(), 2u);
        EXPECT_EQ(to_hex(octets.data() + 2, octets.size() - 2), to_hex(OBJ_get0_data(object), OBJ_length(object)))
            << name;
        EXPECT_EQ(found->second(), found->second()) << "always the same constant";
        ASN1_OBJECT_free(object);
    }
    EXPECT_EQ(asn1_ObjId_cmp(asn1_Get_id_at(), asn1_Get_id_at_commonName()), 1);
}

TEST(ObjectIdentifiers, OursIsNobodyElses) {
    const asn1_ObjId *ours = asn1_Get_quorvanGlobalIdentifier();
    for (const auto &[name, getter] : catalogue())
        EXPECT_EQ(asn1_ObjId_cmp(ours, getter()), 1) << name;
    const Bytes octets = encode([&](uint8_t **cursor) { return asn1_ObjId_e(cursor, ours); });
    asn1_ObjId *read = nullptr;
    ASSERT_NE(asn1_ObjId_d(octets.data(), octets.data() + octets.size(), 0, &read, 0), nullptr);
    EXPECT_EQ(asn1_ObjId_cmp(ours, read), 0);
    asn1_ObjId_free(read);
}

// Position behind what was read, or -1; the value written back.
std::pair<std::ptrdiff_t, std::string> through(const char *name, std::string_view hex, uint8_t impl_tag = 0) {
    const RecordType *type = find_record_type(name);
    const Input input(hex);
    void *value = nullptr;
    const uint8_t *z = type->d(input.begin(), input.end(), impl_tag, &value, 0);
    EXPECT_EQ(z == nullptr, value == nullptr);
    const std::string written = to_hex(encode([&](uint8_t **cursor) { return type->e(cursor, value); }));
    type->free(value);
    return {z != nullptr ? z - input.begin() : -1, written};
}

using Through = std::pair<std::ptrdiff_t, std::string>;

TEST(KeyRecords, EveryMemberIsMandatoryToRead) {
    const struct {
        const char *type;
        int integers;
    } rows[] = {{"RSAPublicKey", 2}, {"RSAPrivateKey", 9}, {"DssParms", 3}, {"DssSigValue", 2}};
    for (const auto &[type, integers] : rows) {
        std::string content;
        for (int i = 0; i < integers; ++i) {
            EXPECT_EQ(through(type, "30{" + content + "}"), Through(-1, "")) << type << i;
            content += "020101";
        }
        const std::string whole = to_hex(from_hex("30{" + content + "}"));
        EXPECT_EQ(through(type, whole), Through(whole.size() / 2, whole));
        EXPECT_EQ(through(type, "A0{" + content + "}", 0x80), Through(whole.size() / 2, whole));
        // Surplus in the SEQUENCE is left to whoever reads next, with the position before it.
        EXPECT_EQ(through(type, "30{" + content + "0500}"), Through(whole.size() / 2, whole));
    }
    EXPECT_EQ(through("DigestInfo", "30{30{06{2A}}}"), Through(-1, ""));
    EXPECT_EQ(through("DigestInfo", "30{04{00}}"), Through(-1, ""));
    EXPECT_EQ(through("AlgId", "3000"), Through(-1, ""));
    EXPECT_EQ(through("AlgId", "30{0500}"), Through(-1, ""));
}

TEST(KeyRecords, ParametersAreOneElementOfAnyKind) {
    for (const char *parameters : {"", "0500", "7F{0102}", "04{}", "30{0500 020105}"}) {
        const std::string whole = to_hex(from_hex("30{06{2A}" + std::string(parameters) + "}"));
        EXPECT_EQ(through("AlgId", whole), Through(whole.size() / 2, whole));
    }
    EXPECT_EQ(through("AlgId", "30{06{2A} 05}"), Through(-1, ""));
    // What stands behind them is read next: here as the digest, or as none.
    EXPECT_EQ(through("DigestInfo", "30{30{06{2A} 0500 04{AA}} 04{BB}}"), Through(12, "300A300506012A05000401AA"));
    EXPECT_EQ(through("DigestInfo", "30{30{06{2A} 0500 0500} 04{BB}}"), Through(-1, ""));
}

TEST(KeyRecords, ANullMemberIsNotWritten) {
    DigestInfo *info = asn1_DigestInfo_new();
    EXPECT_EQ(asn1_DigestInfo_e(nullptr, info), 0u);
    info->digest = asn1_OctetString_new(20);
    EXPECT_EQ(asn1_DigestInfo_e(nullptr, info), 0u);
    info->digestAlgorithm = asn1_AlgId_new();
    EXPECT_EQ(asn1_DigestInfo_e(nullptr, info), 0u);
    info->digestAlgorithm->algorithm = asn1_ObjId_clone(asn1_Get_id_SHA1());
    const auto written = [info] {
        return to_hex(encode([&](uint8_t **cursor) { return asn1_DigestInfo_e(cursor, info); }));
    };
    EXPECT_EQ(written(), "301F300706052B0E03021A0414" + std::string(40, '0'));
    info->digestAlgorithm->parameters = asn1_Any_clone(asn1_Any_NULL());
    EXPECT_EQ(written(), "3021300906052B0E03021A05000414" + std::string(40, '0'));
    asn1_DigestInfo_free(info);
}

}  // namespace
