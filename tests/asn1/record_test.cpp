// Records by hand: what each accepts beyond its golden encodings, refuses, and writes back.
#include <gtest/gtest.h>

#include "asn1/asn1_oid.h"
#include "asn1/asn1_pkcs1.h"
#include "asn1/asn1_pkcs7.h"
#include "asn1/record_table.h"
#include "zelmop15/pkcs15.h"

namespace {

const std::string same = "same", refused = "refused";

// Parts of certificates and messages.
const std::string algorithm = "30{06{2A}}", name = "30{31{30{06{550403} 13{41}}}}", validity = "30{17{30} 18{31}}",
                  spki = "30{30{06{2A}} 03{0055}}", extensions = "30{30{06{2A} 04{}}}",
                  middle = algorithm + name + validity + name + spki, list_head = algorithm + name + "17{30}";
const std::string data = "06{2A864886F70D010701}", encrypted = "06{2A864886F70D010706}",
                  signed_ = "06{2A864886F70D010702}", enveloped = "06{2A864886F70D010703}";
const std::string issuer = "30{31{30{06{550405} 13{31}}}}";  // "sn", which no text brings back
const std::string signer_info = "30{020101 30{" + issuer + "020105} 30{06{2A}} 30{06{2A}} 04{AA}}";
const std::string signed_head = "020101 31{} 30{" + data + "}";

const struct {
    const char *type;
    std::string octets, written;  // "same", "refused", or the encoding
    int unread = 0;               // octets left to whoever reads next
} rows[] = {
    {"Path", "3000", refused},
    {"Path", "3009 04023F00 A003020110", "300404023F00", 5},  // constructed length: not taken
    {"Path", "3007 04023F00 0C0141", "300404023F00", 3},      // surplus
    {"Path", "30810404023F00", "300404023F00"},
    {"Path", "1004 04023F00", "300404023F00"},  // primitive form of the tag octet
    {"Path", "3080 04023F00 0000", refused},
    {"CommonObjectAttributes", "3007 030204F0 0C0141", "3004030204F0", 3},  // out of order
    {"CommonObjectAttributes", "3008 020102 3003300100", refused},
    {"AccessControlRule", "3004 03020780", refused},
    {"AccessControlRule", "3006 03020780 0500", refused},  // `always`
    {"SecurityCondition", "A1800401010000", "A103040101"},
    {"SecurityCondition", "A180A28004010100000000", "A105A203040101"},
    {"SecurityCondition", "A180040101000000", refused},
    {"SecurityCondition", "A103050000", refused},
    {"SecurityCondition", "A1", refused},
    {"SecurityCondition", "A180", refused},
    {"SecurityCondition", "A18000", refused},
    {"ReferencedValue", "A102 0500", refused},
    {"ObjectValue", "A002 0500", refused},                     // direct with nothing behind it
    {"ObjectValue", "A0020500 300404023F00", "300404023F00"},  // direct, then a reference in its place
    {"ObjectValue", "A0020500 1302 4142", "13024142"},
    {"ObjectValue", "A0020500 A102 0500", refused},
    {"ObjectValue", "0401 41", refused},
    {"KeyInfo", "040105", refused},
    {"CommonKeyAttributes", "300A 040101 03020520 0101FF", "300704010103020520"},
    {"CommonKeyAttributes", "3003 040101", refused},
    {"CommonCertificateAttributes", "3006 040101 010100", "3003040101"},
    {"CommonAuthenticationObjectAttributes", "3006040101 020105", "3003040101", 3},
    {"DDO", "3006 300404023F00", refused},
    {"RecordInfo", "3008 810140 A6 03 020108", "3006810140860108"},
    {"RecordInfo", "3003 A00140", refused},
    {"AlgorithmInfo", "3008 020101 020106 0500", refused},
    {"TokenInfo", "3006 020100 040101", refused},
    {"TokenInfo", "300C 020100 040101 03020204 9F00", "300A02010004010103020204", 2},
    {"PKCS15Objects", "8006 300404024401", "A006300404024401"},
    {"PKCS15Objects", "2006 300404024401", refused},
    {"FingerPrint", "3003 0A0101", refused},
    {"AuthKeyAttributes", "3006 0101FF 040101", "3003040101"},
    {"PinAttributes", "300A 03020204 0A0101 020104", refused},
    {"PrivateKeyType", "A4 03 020105", refused},
    {"CertificateType", "A6 03 020105", refused},
    {"AuthenticationType", "A3 03 020105", refused},
    {"DataType", "A2 03 020105", refused},
    {"DataType", "301030003000A0023000A106300404023F00", refused},  // no subclass here
    {"DataType", "30043000 3000", refused},
    // A generic secret key is read with B0; the encoder's own form is the one that is refused.
    {"SecretKeyType", "AE{3000 3007 040101 03020520 A108 3006 300404023F00}", refused},
    {"SecretKeyType", "AF{3000 3007 040101 03020520 A108 3006 300404023F00}", refused},
    // Sub-class attributes that are empty are stepped over; others are no record of theirs.
    {"PrivateKeyType", "30{3000 3007 040101 03020520 A000 A10C 300A 300404023F00 02020400}",
     "30{3000 3007 040101 03020520 A10C 300A 300404023F00 02020400}"},
    {"PrivateKeyType", "30{3000 3007 040101 03020520 A0020500 A10C 300A 300404023F00 02020400}", refused},

    {"DigestInfo", "30{30{06{2A}}}", refused},
    {"DigestInfo", "30{04{00}}", refused},
    {"AlgId", "3000", refused},
    {"AlgId", "30{0500}", refused},
    {"AlgId", "30{06{2A}}", same},
    {"AlgId", "30{06{2A} 7F{0102}}", same},
    {"AlgId", "30{06{2A} 30{0500 020105}}", same},
    {"AlgId", "30{06{2A} 05}", refused},
    // What stands behind the parameters is read next: here as the digest, or as none.
    {"DigestInfo", "30{30{06{2A} 0500 04{AA}} 04{BB}}", "300A300506012A05000401AA", 3},
    {"DigestInfo", "30{30{06{2A} 0500 0500} 04{BB}}", refused},

    // Version 1 has no unique identifiers and no extensions, whether it is left out or stands there.
    {"Certificate_TBS", "30{020101" + middle + "}", same},
    {"Certificate_TBS", "30{A0{020100} 020101" + middle + "}", same},
    {"Certificate_TBS", "30{A0{020101} 020101" + middle + "82{0003}}", same},
    {"Certificate_TBS", "30{A0{020102} 020101" + middle + "81{0001} 82{0003} A3{" + extensions + "}}", same},
    {"Certificate_TBS", "30{A0{020102} 020101" + middle + "A3{30{}}}", same},
    {"Certificate_TBS", "30{020101" + middle + "81{0001}}", refused},
    {"Certificate_TBS", "30{020101" + middle + "82{0001}}", refused},
    {"Certificate_TBS", "30{020101" + middle + "A3{" + extensions + "}}", refused},
    {"Certificate_TBS", "30{A0{020100} 020101" + middle + "81{0001}}", refused},
    {"Certificate_TBS", "30{A0{0203000001} 020101" + middle + "82{0001}}", refused},
    {"Certificate_TBS", "30{A0{020102} 020101" + middle + "A3{} }", refused},
    {"Certificate_TBS", "30{020101" + algorithm + "30{}" + validity + name + spki + "}", refused},
    {"Certificate_TBS", "30{020101" + algorithm + name + validity + "30{}" + spki + "}", refused},
    {"Certificate_TBS", "30{02 8101 01" + middle + "}", "30{020101" + middle + "}"},
    {"Certificate", "30{30{020101" + middle + "}" + algorithm + "03{0701}}", same},
    {"Certificate", "30{30{020101" + middle + "}" + algorithm + "03{0801}}", refused},
    {"Certificate", "30{30{020101" + middle + "}" + algorithm + "}", refused},
    {"Certificate", "30{30{020101" + middle + "0500}" + algorithm + "03{00}}", refused},
    {"CertificateList_TBS", "30{" + list_head + "}", same},
    {"CertificateList_TBS", "30{" + list_head + "17{31} 30{} A0{" + extensions + "}}", same},
    {"CertificateList_TBS", "30{" + list_head + "30{30{020101 17{30} 30{}}}}", same},
    {"CertificateList_TBS", "30{" + list_head + "30{30{020101}}}", refused},
    {"CertificateList_TBS", "30{" + algorithm + "30{} 17{30}}", refused},
    {"CertificateList_TBS", "30{" + algorithm + name + "}", refused},
    {"Extension", "30{06{2A} 010101 04{41}}", same},
    {"Extension", "30{06{2A} 010100 04{41}}", "30{06{2A} 04{41}}"},
    {"Extension", "30{06{2A}}", refused},
    {"Extension", "30{06{2A} 0101FF}", refused},
    {"SubjectPKI", "30{" + algorithm + "03{0380}}", "30{" + algorithm + "03{0780}}"},
    {"SubjectPKI", "30{" + algorithm + "03{0050}}", "30{" + algorithm + "03{0450}}"},
    {"Validity", "30{17{30}}", refused},

    {"ContentInfo", "30{" + data + "}", same},
    {"ContentInfo", "30{" + data + "A0{24{04{41} 04{42}}}}", "30{" + data + "A0{04{4142}}}"},
    {"ContentInfo", "30{" + enveloped + "A0{30{0500}}}", same},
    {"ContentInfo", "30{06{2A} A0{7F{}}}", same},
    {"ContentInfo", "30{" + data + "A0{}}", refused},
    {"ContentInfo", "30{" + data + "A0{0500}}", refused},
    {"ContentInfo", "30{" + data + "80{04{41}}}", "30{" + data + "}", 5},
    {"ContentInfo", "30{}", refused},
    {"ContentInfo", "30{0500}", refused},
    // Indefinite lengths end where the span ends, and nowhere else.
    {"ContentInfo", "3080" + data + "A080 04{41} 0000 0000", "30{" + data + "A0{04{41}}}"},
    {"ContentInfo", "3080" + data + "A0{04{41}} 0000", "30{" + data + "A0{04{41}}}"},
    {"ContentInfo", "30{" + data + "A080 04{41} 0000}", "30{" + data + "A0{04{41}}}"},
    {"ContentInfo", "3080" + data + "A080 2480 04{41} 0000 0000 0000", "30{" + data + "A0{04{41}}}"},
    {"ContentInfo", "3080" + data + "0000", "30{" + data + "}"},
    {"ContentInfo", "3080" + data + "A080 04{41} 0000 0000 0000", refused},
    {"ContentInfo", "3080" + data + "A080 04{41} 0000 0000 04{}", refused},
    {"ContentInfo", "3080" + data + "A080 04{41} 0500 0000", refused},
    {"ContentInfo", "3080" + data + "A080 04{41} 0000 0001", refused},
    {"ContentInfo", "3080" + data + "A0{04{41} 0500} 0000", refused},
    {"ContentInfo", "3080" + data + "A0{04{41}}", refused},
    {"ContentInfo", "3080" + data, refused},
    {"ContentInfo", "3080", refused},
    {"ContentInfo", "30800000", refused},
    {"ContentInfo", "30{" + data + "A080}", refused},
    {"ContentInfo", "30{" + signed_ + "A080 30{" + signed_head + "31{}} 0000}",
     "30{" + signed_ + "A0{30{" + signed_head + "31{}}}}"},
    {"ContentInfo", "30{" + signed_ + "A0{3080" + signed_head + "31{} 0000}}", refused},
    {"SignedData", "30{020163 31{30{06{2A}} 30{06{2A} 0500}} 30{" + data + "} A0{} A1{} 31{" + signer_info + "}}",
     same},
    {"SignedData", "30{" + signed_head + "A0{3000 0500} A1{3001FF} 31{}}", same},
    {"SignedData", "30{" + signed_head + "A1{0500} 31{}}", same},
    {"SignedData", "30{" + signed_head + "}", refused},
    {"SignedData", "30{" + signed_head + "A0{}}", refused},
    {"SignedData", "30{" + signed_head + "80{} 31{}}", refused},
    {"SignedData", "30{" + signed_head + "A2{} 31{}}", refused},
    {"SignedData", "30{020101 31{} 31{}}", refused},
    {"SignedData", "30{020101 30{" + data + "} 31{}}", refused},
    {"SignedData", "30{31{} 30{" + data + "} 31{}}", refused},
    {"SignedData", "30{" + signed_head + "3180 " + signer_info + "0000}",
     "30{" + signed_head + "31{" + signer_info + "}}"},
    {"SignerInfo",
     "30{020101 30{" + issuer +
         "020105} 30{06{2A}} A0{30{06{2A} 31{}} 30{06{2B} 31{0500 02{01}}}} 30{06{2A}} 04{}"
         "A1{30{06{2A} 31{0500}}}}",
     same},
    {"SignerInfo", "30{020101 80{0102} 30{06{2A}} 30{06{2A}} 04{AA}}", refused},
    {"SignerInfo", "30{020101 30{" + issuer + "020105} 30{06{2A}} 30{06{2A}}}", refused},
    {"SignerInfo", "30{020101 30{" + issuer + "020105} 30{06{2A}} 04{AA}}", refused},
    {"IssuerAndSerialNumber", "30{30{31{30{06{55042D} 03{0041}}}} 020105}", same},
    {"IssuerAndSerialNumber", "30{30{} 020105}", refused},
    {"IssuerAndSerialNumber", "30{" + issuer + "}", refused},
    {"Attribute", "30{06{2A} 30{}}", refused},
    {"Attribute", "30{06{2A}}", refused},
    {"EncryptedData", "30{020100 30{" + data + "30{06{2A}} 80{AABB}}}", same},
    {"EncryptedData", "30{020100 30{" + data + "30{06{2A}} A0{04{AA} 04{BB}}}}",
     "30{020100 30{" + data + "30{06{2A}} 80{AABB}}}"},
    {"EncryptedData", "3080 020100 3080 " + data + "30{06{2A}} A080 04{AA} 04{BB} 0000 0000 0000",
     "30{020100 30{" + data + "30{06{2A}} 80{AABB}}}"},
    {"EncryptedData", "3080 020100 30{" + data + "30{06{2A}} 80{AA}} 0000 0500", refused},
    {"EncryptedData", "3080 020100 3080 " + data + "30{06{2A}} 80{AA} 0000 0500 0000", refused},
    {"EncryptedData", "30{020100}", refused},
    {"EncryptedContentInfo", "30{" + data + "}", refused},
    {"EncryptedContentInfo", "30{" + data + "30{06{2A}} 80{}}", same},
};

TEST(Records, AcceptRefuseAndWriteBack) {
    for (const auto &row : rows) {
        const testing::ScopedTrace where(__FILE__, __LINE__, row.type + (" " + row.octets));
        const Bytes octets = from_hex(row.octets);
        const Record record(row.type, Input(octets));
        if (row.written == refused) {
            EXPECT_EQ(record.position, -1);
            continue;
        }
        EXPECT_EQ(record.position, static_cast<std::ptrdiff_t>(octets.size()) - row.unread);
        const Bytes expected = row.written == same ? octets : from_hex(row.written);
        EXPECT_EQ(to_hex(record.written()), to_hex(expected));
        if (record.type->clone != nullptr) {
            EXPECT_EQ(record.copy().written(), expected);
        }
    }
}

TEST(Records, KeysAndSignaturesAreWholeOrRefused) {
    const struct {
        const char *type;
        int integers;
    } types[] = {{"RSAPublicKey", 2}, {"RSAPrivateKey", 9}, {"DssParms", 3}, {"DssSigValue", 2}};
    for (const auto &[type, integers] : types) {
        std::string content;
        for (int i = 0; i < integers; ++i, content += "020101")
            EXPECT_EQ(Record(type, "30{" + content + "}").position, -1) << type << i;
        const Bytes whole = from_hex("30{" + content + "}");
        const auto length = static_cast<std::ptrdiff_t>(whole.size());
        for (const auto &[tag, impl_tag, behind] :
             {std::tuple("30{", 0, "}"), {"A0{", 0x80, "}"}, {"30{", 0, "0500}"}}) {
            const Record record(type, tag + content + behind, static_cast<uint8_t>(impl_tag));
            EXPECT_EQ(record.position, length) << type;
            EXPECT_EQ(record.written(), whole) << type;
        }
    }
}

TEST(Records, ApplicationTemplateIsReadWith61AndWrittenWith30) {
    const std::string fields = "{4F{A000} 50{4142} 51{3F00} 73{06032A8648}}";
    const Record full("DIRRecord", "61" + fields);
    EXPECT_EQ(full.written(), from_hex("30" + fields));
    EXPECT_EQ(full.copy().written(), from_hex("30" + fields));
    EXPECT_EQ(Record("DIRRecord", "30" + fields).position, -1);
    EXPECT_EQ(Record("DIRRecord", "30" + fields, 0x30).position, 21);
    EXPECT_EQ(Record("DIRRecord", "A1" + fields, 0x81).position, 21);
    const Record no_path("DIRRecord", "61{4F{A000}}");
    ASSERT_EQ(no_path.position, 6);
    EXPECT_EQ(no_path.as<DIRRecord>()->path, nullptr);
    EXPECT_DEATH(no_path.written(), "`pElement'");
}

TEST(Records, BooleanDefaultsFollowTheirTables) {
    const Record key("CommonKeyAttributes", "3007 040101 03020520");
    EXPECT_EQ(key.as<CommonKeyAttributes>()->native, 0xFFu);
    key.as<CommonKeyAttributes>()->native = 1;
    EXPECT_EQ(to_hex(key.written()), "300704010103020520");
    key.as<CommonKeyAttributes>()->native = 0;
    EXPECT_EQ(to_hex(key.written()), "300A04010103020520010100");
    const Record certificate("CommonCertificateAttributes", "3003 040101");
    certificate.as<CommonCertificateAttributes>()->authority = 1;
    certificate.as<CommonCertificateAttributes>()->implicitTrust = 0x17F;
    EXPECT_EQ(to_hex(certificate.written()), "300904010101010183017F");
}

TEST(Records, DecodedNotHoldsItsOctets) {
    const Record tree("SecurityCondition", "A208 800105 A103 800106");
    const auto *first =
        static_cast<SecurityCondition *>(List_get(static_cast<List *>(tree.as<SecurityCondition>()->value), 0));
    ASSERT_EQ(first->tag, 0u);
    const auto *inner = static_cast<SecurityCondition *>(first->value);
    EXPECT_EQ(inner->tag, 4u);
    EXPECT_EQ(asn1_Identifier_get(static_cast<Identifier *>(inner->value)), 5);
}

TEST(Records, NotIsWrittenImplicitlyAroundWhateverItHolds) {
    // not(and(1)) built in memory: the list's octet keeps its constructed bit.
    const Record made("SecurityCondition", asn1_SecurityCondition_new());
    auto *root = made.as<SecurityCondition>();
    root->value = find_record_type("SecurityCondition")->clone(Record("SecurityCondition", "A103040101").value);
    EXPECT_EQ(to_hex(made.written()), "A003040101");
    asn1_SecurityCondition_free(static_cast<SecurityCondition *>(std::exchange(root->value, nullptr)));
    EXPECT_DEATH(made.written(), "`pElement'");
    root->tag = 1;
    EXPECT_EQ(made.written(), Bytes());  // no list
    root->tag = 5;
    EXPECT_EQ(made.written(), Bytes());
}

TEST(Records, SecretKeysHaveTheNumberOfTheirTag) {
    for (const auto &[octet, tag] : {std::pair("A0", 0u), {"A2", 2u}, {"AD", 13u}, {"B0", 16u}}) {
        const Record key("SecretKeyType", octet + std::string("15 3000 3007 040101 03020520 A108 3006 300404023F00"));
        ASSERT_EQ(key.position, 23);
        EXPECT_EQ(key.as<SecretKeyType>()->tag, tag);
    }
}

TEST(Records, AnotherAlgorithmsKeyIsWrittenAndNotRead) {
    const Record made("SecretKeyType", asn1_SecretKeyType_new());
    auto *other = asn1_OtherKey_new();
    made.as<SecretKeyType>()->tag = 14;
    made.as<SecretKeyType>()->value = other;
    const char *text = "1.2.3";
    other->keyType = asn1_ObjId_parse(&text);
    const Record plain("SecretKeyType", "B015 3000 3007 040101 03020520 A108 3006 300404023F00");
    other->keyAttr = static_cast<PKCS15Object *>(plain.as<SecretKeyType>()->value);
    const Bytes octets = made.written();
    EXPECT_EQ(to_hex(octets).substr(0, 14), "AE1B06022A0330");
    EXPECT_EQ(Record("SecretKeyType", Input(octets)).position, -1);
    other->keyAttr = nullptr;
    EXPECT_EQ(made.written(), Bytes());
}

TEST(Records, AttributesOfAnObjectAreItsFirst) {
    const Record key("PrivateKeyType", "30{3000 3007 040101 03020520 A000 A10C 300A 300404023F00 02020400}");
    const auto *object = static_cast<PKCS15Object *>(key.as<PrivateKeyType>()->value);
    EXPECT_EQ(object->subClassAttributes, nullptr);
    EXPECT_EQ(pkcs15_GetCommonObjectAttributes(key.value), object->commonObjectAttributes);
}

TEST(Records, IrisScanIsWrittenAsWhatIsReadAsFingerPrint) {
    const Record made("BiometricType", asn1_BiometricType_new());
    made.as<BiometricType>()->value = asn1_IrisScan_new();
    EXPECT_EQ(to_hex(made.written()), "30030A0100");
}

TEST(Records, NullMembersAreNotWritten) {
    const Record made("DigestInfo", asn1_DigestInfo_new());
    auto *info = made.as<DigestInfo>();
    EXPECT_EQ(made.written(), Bytes());
    info->digest = asn1_OctetString_new(20);
    EXPECT_EQ(made.written(), Bytes());
    info->digestAlgorithm = asn1_AlgId_new();
    EXPECT_EQ(made.written(), Bytes());
    info->digestAlgorithm->algorithm = asn1_ObjId_clone(asn1_Get_id_SHA1());
    EXPECT_EQ(to_hex(made.written()), "301F300706052B0E03021A0414" + std::string(40, '0'));
}

TEST(Records, ProgrammingErrorsEndTheProcess) {
    PKCS15Object *object = asn1_PKCS15Object_new();
    object->commonObjectAttributes = asn1_CommonObjectAttributes_new();
    object->classAttributes = asn1_CommonDataObjectAttributes_new();
    object->subClassAttributes = object;
    const RecordType *attributes = find_record_type("CommonDataObjectAttributes");
    EXPECT_DEATH(asn1_PKCS15Object_e(nullptr, object, attributes->e, nullptr, attributes->e), "`sca_e'");
    EXPECT_DEATH(asn1_PKCS15Object_free(object, nullptr, nullptr, attributes->free), "`ca_free'");
    EXPECT_DEATH(asn1_PKCS15Object_free(object, attributes->free, nullptr, nullptr), "`ta_free'");
    EXPECT_DEATH(asn1_PKCS15Object_free(object, attributes->free, nullptr, attributes->free), "`sca_free'");
    object->subClassAttributes = nullptr;
    EXPECT_DEATH(asn1_PKCS15Object_e(nullptr, object, attributes->e, nullptr, attributes->e), "`pElement'");
    asn1_PKCS15Object_free(object, attributes->free, nullptr, attributes->free);

    const Record two("CommonAuthenticationObjectAttributes", "30040402 0102");
    EXPECT_DEATH(asn1_Identifier_get(two.as<CommonAuthenticationObjectAttributes>()->authId), "id->len == 1");
    const Record no_octets("EncryptedContentInfo", "30{" + data + "30{06{2A}}}");
    EXPECT_EQ(no_octets.as<EncryptedContentInfo>()->encryptedContent, nullptr);
    EXPECT_DEATH(no_octets.written(), "pElement");
    for (const char *choice : {"SecurityCondition", "ReferencedValue", "ObjectValue", "PathOrObjects", "KeyInfo",
                               "LastUpdate", "PKCS15Objects", "PrivateKeyType", "AuthenticationType", "BiometricType"})
        EXPECT_DEATH(Record(choice, "040101", 0x80), "impl_tag == 0") << choice;
}

TEST(Records, NewIsEmptyAndNullIsHarmless) {
    for (const RecordType &type : record_types()) {
        type.free(nullptr);
        if (type.create != nullptr) {
            type.free(type.create());
        }
        if (type.clone != nullptr) {
            EXPECT_EQ(type.clone(nullptr), nullptr) << type.name;
        }
    }
}

}  // namespace
