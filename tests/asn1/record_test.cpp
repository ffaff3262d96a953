// The PKCS#15 records: what each accepts, refuses and writes back.
#include <gtest/gtest.h>

#include "asn1/bytes.h"
#include "asn1/record_table.h"
#include "zelmop15/pkcs15.h"

namespace {

struct Decoded {
    const RecordType *type;
    void *value = nullptr;
    long position = -1;

    Decoded(const char *name, std::string_view hex, uint8_t impl_tag = 0) : type(find_record_type(name)) {
        const Input input(hex);
        const uint8_t *z = type->d(input.begin(), input.end(), impl_tag, &value, 0);
        position = z == nullptr ? -1 : z - input.begin();
        EXPECT_EQ(z == nullptr, value == nullptr) << name << " " << hex;
    }
    Decoded(const Decoded &) = delete;
    Decoded &operator=(const Decoded &) = delete;
    ~Decoded() {
        type->free(value);
    }
    std::string encoded() const {
        return to_hex(encode([this](uint8_t **cursor) { return type->e(cursor, value); }));
    }
    template <class T>
    T *as() const {
        return static_cast<T *>(value);
    }
};

TEST(Records, AcceptRefuseAndWriteBack) {
    constexpr const char *same = "same";
    const struct {
        const char *type;
        const char *octets;
        int position;         // -1: refused
        const char *written;  // "same", or the encoding, empty for none
    } rows[] = {
        {"Path", "300A 04023F00 020100 800110", 12, same},
        {"Path", "3004 04023F00", 6, same},
        {"Path", "3000", -1, ""},
        {"Path", "3009 04023F00 A003020110", 6, "300404023F00"},  // constructed length: not taken
        {"Path", "3007 04023F00 0C0141", 6, "300404023F00"},      // surplus is left to the caller
        {"Path", "30810404023F00", 7, "300404023F00"},
        {"Path", "1004 04023F00", 6, "300404023F00"},  // primitive form of the tag octet
        {"Path", "3080 04023F00 0000", -1, ""},
        {"Path", "3005 04023F00", -1, ""},
        {"CommonObjectAttributes", "3000", 2, same},
        {"CommonObjectAttributes", "3003 0C0141", 5, same},
        {"CommonObjectAttributes", "3007 0C0141 030204F0", 9, same},
        {"CommonObjectAttributes", "3007 030204F0 0C0141", 6, "3004030204F0"},  // out of order: left standing
        {"CommonObjectAttributes", "3008 020102 3003300100", -1, ""},
        {"AccessControlRule", "3007 03020780 040101", 9, same},
        {"AccessControlRule", "3004 03020780", -1, ""},
        {"AccessControlRule", "3006 03020780 0500", -1, ""},  // `always`
        {"SecurityCondition", "0500", -1, ""},
        {"SecurityCondition", "3003040101", -1, ""},  // authReference
        {"SecurityCondition", "040101", 3, same},
        {"SecurityCondition", "800101", 3, same},  // not, primitive
        {"SecurityCondition", "A003040101", 5, "800101"},
        {"SecurityCondition", "A106040101040102", 8, same},
        {"SecurityCondition", "A207800101A1020400", 9, same},
        {"SecurityCondition", "A100", 2, same},
        {"SecurityCondition", "A1800401010000", 7, "A103040101"},
        {"SecurityCondition", "A180A28004010100000000", 11, "A105A203040101"},
        {"SecurityCondition", "A180040101000000", -1, ""},
        {"SecurityCondition", "A103050000", -1, ""},
        {"SecurityCondition", "A1", -1, ""},
        {"SecurityCondition", "A180", -1, ""},
        {"SecurityCondition", "A18000", -1, ""},
        {"ReferencedValue", "300404023F00", 6, same},
        {"ReferencedValue", "1302 4142", 4, same},
        {"ReferencedValue", "1602 4142", 4, same},
        {"ReferencedValue", "A302 0500", 4, same},
        {"ReferencedValue", "A102 0500", -1, ""},
        {"ObjectValue", "300404023F00", 6, same},
        {"ObjectValue", "A202 0500", 4, same},
        {"ObjectValue", "A302 0500", 4, same},
        {"ObjectValue", "A102 0500", -1, ""},
        {"ObjectValue", "A002 0500", -1, ""},                          // direct with nothing behind it
        {"ObjectValue", "A0020500 300404023F00", 10, "300404023F00"},  // direct, then a reference in its place
        {"ObjectValue", "A0020500 A102 0500", -1, ""},
        {"ObjectValue", "0401 41", -1, ""},
        {"PathOrObjects", "300404023F00", 6, same},
        {"PathOrObjects", "A0{0500 020105}", 7, same},
        {"PathOrObjects", "A000", 2, same},
        {"PathOrObjects", "A2020500", 4, same},
        {"PathOrObjects", "A1020500", -1, ""},
        {"KeyInfo", "020105", 3, same},
        {"KeyInfo", "30020500", 4, same},
        {"KeyInfo", "040105", -1, ""},
        {"CommonKeyAttributes", "3007 040101 03020520", 9, same},
        {"CommonKeyAttributes", "300A 040101 03020520 0101FF", 12, "300704010103020520"},
        {"CommonKeyAttributes", "300A 040101 03020520 010100", 12, same},
        {"CommonKeyAttributes", "30{040101 03020520 010100 030203B8 020181 180130 800131}", 25, same},
        {"CommonKeyAttributes", "3003 040101", -1, ""},
        {"CommonPrivateKeyAttributes", "3000", 2, same},
        {"CommonPrivateKeyAttributes", "3007 3000 A003 020101", 9, same},
        {"CommonPublicKeyAttributes", "30063000A0020500", 8, same},
        {"CommonSecretKeyAttributes", "3004 02020080", 6, same},
        {"CommonCertificateAttributes", "3003 040101", 5, same},
        {"CommonCertificateAttributes", "3006 040101 010100", 8, "3003040101"},
        {"CommonCertificateAttributes", "30{040101 0101FF 3000 A000 A100 A2{0500} 8301FF}", 21, same},
        {"CommonDataObjectAttributes", "3000", 2, same},
        {"CommonDataObjectAttributes", "3008 0C0141 06032A8648", 10, same},
        {"CommonAuthenticationObjectAttributes", "3003040101", 5, same},
        {"CommonAuthenticationObjectAttributes", "3006040101 020105", 5, "3003040101"},  // nothing else is known
        {"DDO", "3009 06012A 300404023F00", 11, same},
        {"DDO", "3006 300404023F00", -1, ""},
        {"DDO", "300F06012AA00404025032A10404025033", 17, same},
        {"SecurityEnvironmentInfo", "3009 020101 06012A 0401AA", 11, same},
        {"RecordInfo", "3000", 2, same},
        {"RecordInfo", "3005 A003 020140", 7, "3003800140"},
        {"RecordInfo", "3003 800140", 5, same},
        {"RecordInfo", "3008 810140 A6 03 020108", 10, "3006810140860108"},
        {"RecordInfo", "3003 A00140", -1, ""},
        {"AlgorithmInfo", "300F020101020106050003020640020111", 17, same},
        {"AlgorithmInfo", "3008 020101 020106 0500", -1, ""},
        {"LastUpdate", "180130", 3, same},
        {"LastUpdate", "300404023F00", 6, same},
        {"LastUpdate", "160130", -1, ""},
        {"TokenInfo", "3007 020100 03020204", 9, ""},  // no serial number: read, but not written
        {"TokenInfo", "300A 020100 040101 03020204", 12, same},
        {"TokenInfo", "3006 020100 040101", -1, ""},
        {"TokenInfo", "3006 020100 0C0141", -1, ""},
        {"TokenInfo", "301D 020100 040101 03020204 A511 180F 3230303030313031303030303030 5A", 31, same},
        {"TokenInfo", "300F 020100 040101 03020204 A503 160130", -1, ""},
        {"TokenInfo", "300C 020100 040101 03020204 9F00", 12, "300A02010004010103020204"},
        {"PKCS15Objects", "A006 300404024401", 8, same},
        {"PKCS15Objects", "A806 300404024401", 8, same},
        {"PKCS15Objects", "A906 300404024401", -1, ""},
        {"PKCS15Objects", "8006 300404024401", 8, "A006300404024401"},
        {"PKCS15Objects", "2006 300404024401", -1, ""},
        {"BiometricType", "3006 0A0101 0A0104", 8, same},
        {"BiometricType", "3003 0A0101", -1, ""},
        {"BiometricType", "A003 0A0101", -1, ""},
        {"IrisScan", "3003 0A0101", 5, same},
        {"FingerPrint", "3003 0A0101", -1, ""},
        {"AuthKeyAttributes", "3003 040101", 5, same},
        {"AuthKeyAttributes", "3006 0101FF 040101", 8, "3003040101"},
        {"AuthKeyAttributes", "3006 010100 040101", 8, same},
        {"PinAttributes", "301003020204 0A0101 020104 020108 02010C", 18, same},
        {"PinAttributes", "300D 03020204 0A0101 020104 020108", 15, same},
        {"PinAttributes", "300A 03020204 0A0101 020104", -1, ""},
        {"PublicRSAKeyAttributes", "300A300404023F0002020400", 12, same},
        {"PublicRSAKeyAttributes", "300D300404023F0002020400 020101", 15, same},
        {"PublicRSAKeyAttributes", "300E300404023F0002020400 30020500", 16, same},
        {"PrivateKeyType", "A2 03 020105", 5, same},  // carried, the [2] tag kept
        {"PrivateKeyType", "A4 03 020105", -1, ""},
        {"CertificateType", "A5 03 020105", 5, same},
        {"CertificateType", "A6 03 020105", -1, ""},
        {"DataType", "A1 03 020105", 5, same},
        {"DataType", "A2 03 020105", -1, ""},
        {"AuthenticationType", "A2 03 020105", 5, same},
        {"AuthenticationType", "A3 03 020105", -1, ""},
        {"DataType", "300C30003000A106300404023F00", 14, same},
        {"DataType", "301030003000A0023000A106300404023F00", -1, ""},  // no subclass here
        {"DataType", "30043000 3000", -1, ""},
    };
    for (const auto &row : rows) {
        const Decoded decoded(row.type, row.octets);
        EXPECT_EQ(decoded.position, row.position) << row.type << " " << row.octets;
        if (decoded.value == nullptr)
            continue;
        const std::string read = to_hex(from_hex(row.octets));
        EXPECT_EQ(decoded.encoded(), row.written == std::string_view(same) ? read : row.written) << row.type << read;
    }
}

TEST(Records, ApplicationTemplateIsReadWith61AndWrittenWith30) {
    const std::string fields = "{4F{A000} 50{4142} 51{3F00} 73{06032A8648}}";
    const Decoded full("DIRRecord", "61" + fields);
    ASSERT_EQ(full.position, 21);
    EXPECT_EQ(full.encoded(), to_hex(from_hex("30" + fields)));
    EXPECT_EQ(Decoded("DIRRecord", "30" + fields).position, -1);
    EXPECT_EQ(Decoded("DIRRecord", "30" + fields, 0x30).position, 21);
    EXPECT_EQ(Decoded("DIRRecord", "A1" + fields, 0x81).position, 21);
    const Decoded no_path("DIRRecord", "61{4F{A000}}");
    ASSERT_EQ(no_path.position, 6);
    EXPECT_EQ(no_path.as<DIRRecord>()->path, nullptr);
    EXPECT_DEATH(asn1_DIRRecord_e(nullptr, no_path.as<DIRRecord>()), "`pElement'");
    DIRRecord *copy = asn1_DIRRecord_clone(full.as<DIRRecord>());
    EXPECT_EQ(to_hex(encode([&](uint8_t **c) { return asn1_DIRRecord_e(c, copy); })), full.encoded());
    asn1_DIRRecord_free(copy);
}

TEST(Records, BooleanDefaultsFollowTheirTables) {
    const Decoded key("CommonKeyAttributes", "3007 040101 03020520");
    EXPECT_EQ(key.as<CommonKeyAttributes>()->native, 0xFFu);
    key.as<CommonKeyAttributes>()->native = 1;
    EXPECT_EQ(key.encoded(), "300704010103020520");
    key.as<CommonKeyAttributes>()->native = 0;
    EXPECT_EQ(key.encoded(), "300A04010103020520010100");
    const Decoded certificate("CommonCertificateAttributes", "3003 040101");
    certificate.as<CommonCertificateAttributes>()->authority = 1;
    certificate.as<CommonCertificateAttributes>()->implicitTrust = 0x17F;
    EXPECT_EQ(certificate.encoded(), "300904010101010183017F");
}

TEST(Records, DecodedNotHoldsItsOctets) {
    const Decoded tree("SecurityCondition", "A208 800105 A103 800106");
    ASSERT_EQ(tree.position, 10);
    const auto *first =
        static_cast<SecurityCondition *>(List_get(static_cast<List *>(tree.as<SecurityCondition>()->value), 0));
    ASSERT_EQ(first->tag, 0u);
    const auto *inner = static_cast<SecurityCondition *>(first->value);
    EXPECT_EQ(inner->tag, 4u);
    EXPECT_EQ(asn1_Identifier_get(static_cast<Identifier *>(inner->value)), 5);
    SecurityCondition *copy = asn1_SecurityCondition_clone(tree.as<SecurityCondition>());
    EXPECT_EQ(to_hex(encode([&](uint8_t **c) { return asn1_SecurityCondition_e(c, copy); })), tree.encoded());
    asn1_SecurityCondition_free(copy);
}

TEST(Records, NotIsWrittenImplicitlyAroundWhateverItHolds) {
    // not(and(1)) built in memory: the list's octet keeps its constructed bit.
    SecurityCondition *root = asn1_SecurityCondition_new();
    const Decoded tree("SecurityCondition", "A103040101");
    root->value = asn1_SecurityCondition_clone(tree.as<SecurityCondition>());
    EXPECT_EQ(to_hex(encode([&](uint8_t **c) { return asn1_SecurityCondition_e(c, root); })), "A003040101");
    asn1_SecurityCondition_free(static_cast<SecurityCondition *>(root->value));
    root->value = nullptr;
    EXPECT_DEATH(asn1_SecurityCondition_e(nullptr, root), "`pElement'");
    root->tag = 1;
    EXPECT_EQ(asn1_SecurityCondition_e(nullptr, root), 0u);  // no list
    root->tag = 5;
    EXPECT_EQ(asn1_SecurityCondition_e(nullptr, root), 0u);
    asn1_SecurityCondition_free(root);
}

TEST(Records, DirectValueGivesWayToTheReferenceBehindIt) {
    const Decoded value("ObjectValue", "A0020500 1302 4142");
    ASSERT_EQ(value.position, 8);
    EXPECT_EQ(value.as<ObjectValue>()->tag, 19u);
    EXPECT_EQ(value.encoded(), "13024142");
}

TEST(Objects, SecretKeysAreReadUnderTheirOwnTags) {
    const std::string body = "3000 3007 040101 03020520 A108 3006 300404023F00";
    const struct {
        const char *header;
        uint32_t tag;
        int position;
        const char *written;
    } rows[] = {
        {"A215", 2, 23, "A2"}, {"A015", 0, 23, "A0"},  {"AD15", 13, 23, "AD"}, {"AE15", 14, -1, ""},
        {"3015", 16, -1, ""},  {"B015", 16, 23, "30"},  // the encoder's own form is the one that is refused
        {"AF15", 15, -1, ""},
    };
    for (const auto &row : rows) {
        const Decoded key("SecretKeyType", row.header + body);
        ASSERT_EQ(key.position, row.position) << row.header;
        if (key.value == nullptr)
            continue;
        EXPECT_EQ(key.as<SecretKeyType>()->tag, row.tag);
        EXPECT_EQ(key.encoded().substr(0, 2), row.written);
    }
}

TEST(Objects, AnotherAlgorithmsKeyIsWrittenAndNotRead) {
    SecretKeyType *key = asn1_SecretKeyType_new();
    auto *other = asn1_OtherKey_new();
    key->tag = 14;
    key->value = other;
    const char *text = "1.2.3";
    other->keyType = asn1_ObjId_parse(&text);
    const Decoded plain("SecretKeyType", "B015 3000 3007 040101 03020520 A108 3006 300404023F00");
    other->keyAttr = static_cast<PKCS15Object *>(plain.as<SecretKeyType>()->value);
    const Bytes octets = encode([&](uint8_t **c) { return asn1_SecretKeyType_e(c, key); });
    EXPECT_EQ(to_hex(octets).substr(0, 14), "AE1B06022A0330");
    EXPECT_EQ(Decoded("SecretKeyType", to_hex(octets)).position, -1);
    other->keyAttr = nullptr;
    EXPECT_EQ(asn1_SecretKeyType_e(nullptr, key), 0u);
    asn1_SecretKeyType_free(key);
}

TEST(Objects, EmptySubClassIsSteppedOver) {
    const std::string head = "3000 3007 040101 03020520";
    const std::string tail = "A10C 300A 300404023F00 02020400";
    const Decoded key("PrivateKeyType", "301B" + head + "A000" + tail);
    ASSERT_EQ(key.position, 29);
    const auto *object = static_cast<PKCS15Object *>(key.as<PrivateKeyType>()->value);
    EXPECT_EQ(object->subClassAttributes, nullptr);
    EXPECT_EQ(key.encoded(), to_hex(from_hex("3019" + head + tail)));
    EXPECT_EQ(pkcs15_GetCommonObjectAttributes(key.value), object->commonObjectAttributes);
    EXPECT_EQ(Decoded("PrivateKeyType", "301D" + head + "A0023000" + tail).encoded(),
              to_hex(from_hex("301D" + head + "A0023000" + tail)));
    EXPECT_EQ(Decoded("PrivateKeyType", "301D" + head + "A0020500" + tail).position, -1);
}

TEST(Objects, IrisScanIsWrittenAsWhatIsReadAsFingerPrint) {
    BiometricType *type = asn1_BiometricType_new();
    type->value = asn1_IrisScan_new();
    const Bytes octets = encode([&](uint8_t **c) { return asn1_BiometricType_e(c, type); });
    EXPECT_EQ(to_hex(octets), "30030A0100");
    EXPECT_EQ(Decoded("BiometricType", to_hex(octets)).position, -1);
    asn1_BiometricType_free(type);
}

TEST(Objects, AttributesWithoutCodersAreProgrammingErrors) {
    PKCS15Object *object = asn1_PKCS15Object_new();
    object->commonObjectAttributes = asn1_CommonObjectAttributes_new();
    object->classAttributes = asn1_CommonDataObjectAttributes_new();
    object->subClassAttributes = object;
    const RecordType *data = find_record_type("CommonDataObjectAttributes");
    EXPECT_DEATH(asn1_PKCS15Object_e(nullptr, object, data->e, nullptr, data->e), "`sca_e'");
    EXPECT_DEATH(asn1_PKCS15Object_free(object, nullptr, nullptr, data->free), "`ca_free'");
    EXPECT_DEATH(asn1_PKCS15Object_free(object, data->free, nullptr, nullptr), "`ta_free'");
    EXPECT_DEATH(asn1_PKCS15Object_free(object, data->free, nullptr, data->free), "`sca_free'");
    object->subClassAttributes = nullptr;
    EXPECT_DEATH(asn1_PKCS15Object_e(nullptr, object, data->e, nullptr, data->e), "`pElement'");
    asn1_PKCS15Object_free(object, data->free, nullptr, data->free);
}

TEST(Records, IdentifiersOfOneByte) {
    Identifier *id = asn1_Identifier_set(0xA5);
    EXPECT_EQ(asn1_Identifier_get(id), 0xA5);
    asn1_OctetString_free(id);
    const Decoded two("CommonAuthenticationObjectAttributes", "30040402 0102");
    EXPECT_DEATH(asn1_Identifier_get(two.as<CommonAuthenticationObjectAttributes>()->authId), "id->len == 1");
}

TEST(Records, ChoicesTakeNoImplicitTag) {
    const uint8_t octets[] = {0x04, 0x01, 0x01};
    for (const char *name : {"SecurityCondition", "ReferencedValue", "ObjectValue", "PathOrObjects", "KeyInfo",
                             "LastUpdate", "PKCS15Objects", "PrivateKeyType", "AuthenticationType", "BiometricType"}) {
        const RecordType *type = find_record_type(name);
        void *value = nullptr;
        EXPECT_DEATH(type->d(octets, octets + 3, 0x80, &value, 0), "impl_tag == 0") << name;
    }
}

TEST(Records, NewIsEmptyAndNullIsHarmless) {
    for (const RecordType &type : record_types()) {
        type.free(nullptr);
        void *value = type.create();
        ASSERT_NE(value, nullptr);
        type.free(value);
        if (type.clone != nullptr) {
            EXPECT_EQ(type.clone(nullptr), nullptr) << type.name;
        }
    }
}

}  // namespace
