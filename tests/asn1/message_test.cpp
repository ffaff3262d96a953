// Messages: what OpenSSL makes of all kinds, and what is refused.
#include <functional>
#include <gtest/gtest.h>
#include <openssl/pem.h>

#include "asn1/asn1_oid.h"
#include "asn1/x509_support.h"

namespace {

Held<ContentInfo> decode(const Bytes &octets) {
    const Input input(octets);
    ContentInfo *info = nullptr;
    const uint8_t *z = asn1_ContentInfo_d(input.begin(), input.end(), 0, &info, 0);
    EXPECT_TRUE(z == nullptr || z == input.end());
    EXPECT_EQ(z == nullptr, info == nullptr);
    return Held<ContentInfo>(info);
}

Bytes der_of(CMS_ContentInfo *cms, BIO *content, int flags) {
    const Held<BIO> out(BIO_new(BIO_s_mem()));
    EXPECT_EQ(i2d_CMS_bio_stream(out.get(), cms, content, flags), 1);
    char *data = nullptr;
    const long length = BIO_get_mem_data(out.get(), &data);
    return Bytes(data, data + length);
}

std::string hex_of(const ASN1_STRING *string) {
    return to_hex(ASN1_STRING_get0_data(string), static_cast<size_t>(ASN1_STRING_length(string)));
}

std::string hex_of(const asn1_ASN1String *string) {
    return to_hex(string->data, string->len);
}

const std::string text = "text that is signed";

Held<BIO> content() {
    return Held<BIO>(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
}

struct Signer {
    Held<X509> certificate;
    Held<EVP_PKEY> key;
};

Signer signer(const std::string &name) {
    const std::string path = ZELMO_SOURCE_DIR "/tests/data/pki/" + name;
    const Held<BIO> certificate(BIO_new_file((path + ".cert.der").c_str(), "rb"));
    const Held<BIO> key(BIO_new_file((path + ".key.pem").c_str(), "rb"));
    return {Held<X509>(d2i_X509_bio(certificate.get(), nullptr)),
            Held<EVP_PKEY>(PEM_read_bio_PrivateKey(key.get(), nullptr, nullptr, nullptr))};
}

void expect_signer(const SignerInfo &ours, CMS_SignerInfo *theirs, X509 *certificate) {
    EXPECT_STREQ(ours.issuerAndSerialNumber->issuer, expected_text(X509_get_issuer_name(certificate)).c_str());
    EXPECT_EQ(hex_of(ours.encryptedDigest), hex_of(CMS_SignerInfo_get0_signature(theirs)));
    const int attributes = CMS_signed_get_attr_count(theirs);
    ASSERT_EQ(ours.authenticatedAttributes != nullptr ? List_len(ours.authenticatedAttributes) : -1, attributes);
    if (attributes < 0)
        return;
    const Attribute *digest = asn1_Attributes_getAttribute(ours.authenticatedAttributes, asn1_Get_messageDigest());
    ASSERT_NE(digest, nullptr);
    const auto *value = static_cast<const asn1_Any *>(List_get(digest->values, 0));
    const void *expected =
        CMS_signed_get0_data_by_OBJ(theirs, OBJ_nid2obj(NID_pkcs9_messageDigest), -3, V_ASN1_OCTET_STRING);
    EXPECT_EQ(hex_of(value).substr(4), hex_of(static_cast<const ASN1_STRING *>(expected)));
    EXPECT_EQ(asn1_Attributes_getAttribute(ours.authenticatedAttributes, asn1_Get_challengePassword()), nullptr);
}

void expect_signed_data(const SignedData &ours, CMS_ContentInfo *theirs, X509 *certificate) {
    STACK_OF(CMS_SignerInfo) *signers = CMS_get0_SignerInfos(theirs);
    ASSERT_EQ(List_len(ours.signerInfos), sk_CMS_SignerInfo_num(signers));
    for (int i = 0; i < sk_CMS_SignerInfo_num(signers); ++i)
        expect_signer(*static_cast<SignerInfo *>(List_get(ours.signerInfos, i)), sk_CMS_SignerInfo_value(signers, i),
                      certificate);
    STACK_OF(X509) *certificates = CMS_get1_certs(theirs);
    ASSERT_EQ(ours.certificates != nullptr ? List_len(ours.certificates) : 0,
              certificates != nullptr ? sk_X509_num(certificates) : 0);
    for (int i = 0; ours.certificates != nullptr && i < List_len(ours.certificates); ++i) {
        const auto *any = static_cast<const asn1_Any *>(List_get(ours.certificates, i));
        Certificate *decoded = nullptr;
        EXPECT_EQ(asn1_Certificate_d(any->data, any->data + any->len, 0, &decoded, 0), any->data + any->len);
        asn1_Certificate_free(decoded);
    }
    sk_X509_pop_free(certificates, X509_free);
}

// Every combination of who signs, attributes, certificates, a detached text.
TEST(SignedData, OfAllThatOpenSslMakes) {
    for (const char *name : {"user1", "ec"}) {
        const Signer by = signer(name);
        const Signer second = signer("user2");
        for (const int choice :
             {0, CMS_NOATTR, CMS_NOCERTS, CMS_DETACHED, CMS_NOATTR | CMS_NOCERTS, CMS_NOATTR | CMS_DETACHED,
              CMS_NOCERTS | CMS_DETACHED, CMS_NOSMIMECAP, CMS_NOATTR | CMS_NOCERTS | CMS_DETACHED}) {
            const auto flags = static_cast<unsigned>(choice);
            for (const int signers : {1, 2}) {
                const Held<BIO> in = content();
                const Held<CMS_ContentInfo> cms(
                    CMS_sign(nullptr, nullptr, nullptr, in.get(), flags | CMS_BINARY | CMS_PARTIAL));
                for (int i = 0; i < signers; ++i)
                    ASSERT_NE(CMS_add1_signer(cms.get(), (i == 0 ? by : second).certificate.get(),
                                              (i == 0 ? by : second).key.get(), i == 0 ? EVP_sha256() : EVP_sha1(),
                                              flags | CMS_BINARY | CMS_PARTIAL),
                              nullptr);
                ASSERT_EQ(CMS_final(cms.get(), in.get(), nullptr, flags | CMS_BINARY), 1);
                const Bytes octets = der_of(cms.get(), nullptr, 0);
                const Held<ContentInfo> info = decode(octets);
                ASSERT_NE(info, nullptr);
                EXPECT_EQ(written("ContentInfo", info.get()), octets);
                EXPECT_EQ(written("ContentInfo", Held<ContentInfo>(asn1_ContentInfo_clone(info.get())).get()), octets);
                const auto *ours = static_cast<const SignedData *>(info->content->value);
                const uint8_t *position = octets.data();
                const Held<CMS_ContentInfo> sorted(
                    d2i_CMS_ContentInfo(nullptr, &position, static_cast<long>(octets.size())));
                expect_signed_data(*ours, sorted.get(), by.certificate.get());
                const auto *inner = static_cast<const asn1_OctetString *>(ours->contentInfo->content->value);
                EXPECT_EQ(inner == nullptr, (flags & CMS_DETACHED) != 0);
                if (inner != nullptr) {
                    EXPECT_EQ(hex_of(inner), to_hex(reinterpret_cast<const uint8_t *>(text.data()), text.size()));
                }
                for (size_t length = 0; length < octets.size(); length += signers == 1 ? 1 : 97)
                    EXPECT_EQ(decode(Bytes(octets.begin(), octets.begin() + static_cast<std::ptrdiff_t>(length))),
                              nullptr);
            }
        }
    }
}

// Streamed messages have indefinite lengths wherever they can. Read they have them no more.
TEST(Message, StreamedByOpenSsl) {
    const Signer by = signer("user1");
    const uint8_t key[16] = {};
    const unsigned flags = CMS_STREAM | CMS_BINARY | CMS_PARTIAL;
    const struct {
        const char *name;
        std::function<CMS_ContentInfo *(BIO *)> make;
        bool taken;
    } kinds[] = {
        {"data", [&](BIO *in) { return CMS_data_create(in, flags); }, true},
        {"encryptedData",
         [&](BIO *in) { return CMS_EncryptedData_encrypt(in, EVP_aes_128_cbc(), key, sizeof key, flags); }, true},
        {"signedData", [&](BIO *in) { return CMS_sign(by.certificate.get(), by.key.get(), nullptr, in, flags); },
         false},
        {"digestedData", [&](BIO *in) { return CMS_digest_create(in, EVP_sha1(), flags); }, false},
    };
    for (const auto &kind : kinds) {
        const Held<BIO> in = content();
        const Held<CMS_ContentInfo> cms(kind.make(in.get()));
        ASSERT_NE(cms, nullptr) << kind.name;
        const Bytes octets = der_of(cms.get(), in.get(), static_cast<int>(flags));
        ASSERT_EQ(octets[1], 0x80) << kind.name;
        const Held<ContentInfo> info = decode(octets);
        EXPECT_EQ(info != nullptr, kind.taken) << kind.name;
        if (info == nullptr)
            continue;
        const Bytes definite = written("ContentInfo", info.get());
        EXPECT_LT(definite.size(), octets.size());
        EXPECT_EQ(written("ContentInfo", decode(definite).get()), definite);
        const uint8_t *position = definite.data();
        const Held<CMS_ContentInfo> read(d2i_CMS_ContentInfo(nullptr, &position, static_cast<long>(definite.size())));
        ASSERT_NE(read, nullptr) << kind.name;
        EXPECT_EQ(OBJ_cmp(CMS_get0_type(read.get()), CMS_get0_type(cms.get())), 0);
        if (std::string(kind.name) == "encryptedData") {
            const Held<BIO> out(BIO_new(BIO_s_mem()));
            ASSERT_EQ(CMS_EncryptedData_decrypt(read.get(), key, sizeof key, nullptr, out.get(), CMS_BINARY), 1);
            char *data = nullptr;
            const long length = BIO_get_mem_data(out.get(), &data);
            EXPECT_EQ(std::string(data, static_cast<size_t>(length)), text);
        }
        for (size_t length = 0; length < octets.size(); ++length)
            EXPECT_EQ(decode(Bytes(octets.begin(), octets.begin() + static_cast<std::ptrdiff_t>(length))), nullptr);
    }
}

// ---- by hand -------------------------------------------------------------------------------------------------------

const std::string data = "06{2A864886F70D010701}", encrypted = "06{2A864886F70D010706}",
                  signed_ = "06{2A864886F70D010702}", enveloped = "06{2A864886F70D010703}", other = "06{2A}";
const std::string issuer = "30{31{30{06{550405} 13{31}}}}";  // "sn", which no text brings back
const std::string signer_info = "30{020101 30{" + issuer + "020105} 30{06{2A}} 30{06{2A}} 04{AA}}";

// The type, the octets, what they are written as ("same", others, "" where they are refused) and what is left unread.
const struct {
    const char *type;
    std::string octets, back;
    size_t unread = 0;
} rows[] = {
    {"ContentInfo", "30{" + data + "}", "same"},
    {"ContentInfo", "30{" + data + "A0{04{41}}}", "same"},
    {"ContentInfo", "30{" + data + "A0{24{04{41} 04{42}}}}", "30{" + data + "A0{04{4142}}}"},
    {"ContentInfo", "30{" + enveloped + "A0{30{0500}}}", "same"},
    {"ContentInfo", "30{" + other + "A0{7F{}}}", "same"},
    {"ContentInfo", "30{" + data + "A0{}}", ""},
    {"ContentInfo", "30{" + data + "A0{0500}}", ""},
    {"ContentInfo", "30{" + data + "80{04{41}}}", "30{" + data + "}", 5},
    {"ContentInfo", "30{}", ""},
    {"ContentInfo", "30{0500}", ""},
    // Indefinite lengths end where the span ends, and nowhere else.
    {"ContentInfo", "3080" + data + "A080 04{41} 0000 0000", "30{" + data + "A0{04{41}}}"},
    {"ContentInfo", "3080" + data + "A0{04{41}} 0000", "30{" + data + "A0{04{41}}}"},
    {"ContentInfo", "30{" + data + "A080 04{41} 0000}", "30{" + data + "A0{04{41}}}"},
    {"ContentInfo", "3080" + data + "A080 2480 04{41} 0000 0000 0000", "30{" + data + "A0{04{41}}}"},
    {"ContentInfo", "3080" + data + "0000", "30{" + data + "}"},
    {"ContentInfo", "3080" + data + "A080 04{41} 0000 0000 0000", ""},
    {"ContentInfo", "3080" + data + "A080 04{41} 0000 0000 04{}", ""},
    {"ContentInfo", "3080" + data + "A080 04{41} 0500 0000", ""},
    {"ContentInfo", "3080" + data + "A080 04{41} 0000 0001", ""},
    {"ContentInfo", "3080" + data + "A0{04{41} 0500} 0000", ""},
    {"ContentInfo", "3080" + data + "A0{04{41}}", ""},
    {"ContentInfo", "3080" + data, ""},
    {"ContentInfo", "308000", ""},
    {"ContentInfo", "3080", ""},
    {"ContentInfo", "30800000", ""},
    {"ContentInfo", "30{" + data + "A080}", ""},
    {"ContentInfo", "30{" + signed_ + "A080 30{020101 31{} 30{" + data + "} 31{}} 0000}",
     "30{" + signed_ + "A0{30{020101 31{} 30{" + data + "} 31{}}}}"},
    {"ContentInfo", "30{" + signed_ + "A0{3080 020101 31{} 30{" + data + "} 31{} 0000}}", ""},
    {"SignedData", "30{020101 31{} 30{" + data + "} 31{}}", "same"},
    {"SignedData", "30{020163 31{30{06{2A}} 30{06{2A} 0500}} 30{" + data + "} A0{} A1{} 31{" + signer_info + "}}",
     "same"},
    {"SignedData", "30{020101 31{} 30{" + data + "} A0{3000 0500} A1{3001FF} 31{}}", "same"},
    {"SignedData", "30{020101 31{} 30{" + data + "} A1{0500} 31{}}", "same"},
    {"SignedData", "30{020101 31{} 30{" + data + "}}", ""},
    {"SignedData", "30{020101 31{} 30{" + data + "} A0{}}", ""},
    {"SignedData", "30{020101 31{} 30{" + data + "} 80{} 31{}}", ""},
    {"SignedData", "30{020101 31{} 30{" + data + "} A2{} 31{}}", ""},
    {"SignedData", "30{020101 31{} 31{}}", ""},
    {"SignedData", "30{020101 30{" + data + "} 31{}}", ""},
    {"SignedData", "30{31{} 30{" + data + "} 31{}}", ""},
    {"SignedData", "30{020101 31{} 30{" + data + "} 3180 " + signer_info + "0000}",
     "30{020101 31{} 30{" + data + "} 31{" + signer_info + "}}"},
    {"SignerInfo", signer_info, "same"},
    {"SignerInfo",
     "30{020101 30{" + issuer +
         "020105} 30{06{2A}} A0{30{06{2A} 31{}} 30{06{2B} 31{0500 02{01}}}} 30{06{2A}} 04{}"
         "A1{30{06{2A} 31{0500}}}}",
     "same"},
    {"SignerInfo", "30{020101 80{0102} 30{06{2A}} 30{06{2A}} 04{AA}}", ""},
    {"SignerInfo", "30{020101 30{" + issuer + "020105} 30{06{2A}} 30{06{2A}}}", ""},
    {"SignerInfo", "30{020101 30{" + issuer + "020105} 30{06{2A}} 04{AA}}", ""},
    {"IssuerAndSerialNumber", "30{" + issuer + "020105}", "same"},
    {"IssuerAndSerialNumber", "30{30{31{30{06{55042D} 03{0041}}}} 020105}", "same"},
    {"IssuerAndSerialNumber", "30{30{} 020105}", ""},
    {"IssuerAndSerialNumber", "30{" + issuer + "}", ""},
    {"Attribute", "30{06{2A} 31{}}", "same"},
    {"Attribute", "30{06{2A} 30{}}", ""},
    {"Attribute", "30{06{2A}}", ""},
    {"EncryptedData", "30{020100 30{" + data + "30{06{2A}} 80{AABB}}}", "same"},
    {"EncryptedData", "30{020100 30{" + data + "30{06{2A}} A0{04{AA} 04{BB}}}}",
     "30{020100 30{" + data + "30{06{2A}} 80{AABB}}}"},
    {"EncryptedData", "3080 020100 3080 " + data + "30{06{2A}} A080 04{AA} 04{BB} 0000 0000 0000",
     "30{020100 30{" + data + "30{06{2A}} 80{AABB}}}"},
    {"EncryptedData", "3080 020100 30{" + data + "30{06{2A}} 80{AA}} 0000",
     "30{020100 30{" + data + "30{06{2A}} 80{AA}}}"},
    {"EncryptedData", "3080 020100 30{" + data + "30{06{2A}} 80{AA}} 0000 0500", ""},
    {"EncryptedData", "3080 020100 3080 " + data + "30{06{2A}} 80{AA} 0000 0500 0000", ""},
    {"EncryptedData", "30{020100}", ""},
    {"EncryptedContentInfo", "30{" + data + "}", ""},
    {"EncryptedContentInfo", "30{" + data + "30{06{2A}} 80{}}", "same"},
};

TEST(Message, FieldByField) {
    for (const auto &row : rows) {
        const testing::ScopedTrace where(__FILE__, __LINE__, row.type + row.octets);
        const RecordType *type = find_record_type(row.type);
        const Input input(row.octets);
        void *value = nullptr;
        const uint8_t *z = type->d(input.begin(), input.end(), 0, &value, 0);
        EXPECT_EQ(z, row.back.empty() ? nullptr : input.end() - row.unread);
        EXPECT_EQ(value == nullptr, row.back.empty());
        if (value == nullptr)
            continue;
        const Bytes expected = from_hex(row.back == "same" ? row.octets : row.back);
        EXPECT_EQ(to_hex(written(row.type, value)), to_hex(expected));
        void *copy = type->clone(value);
        EXPECT_EQ(written(row.type, copy), expected);
        type->free(copy);
        type->free(value);
    }
}

TEST(Message, HolderIsAlwaysThere) {
    const Held<ContentInfo> fresh(asn1_ContentInfo_new());
    ASSERT_NE(fresh->content, nullptr);
    EXPECT_EQ(fresh->content->value, nullptr);
    EXPECT_EQ(written("ContentInfo", fresh.get()), Bytes()) << "no content type";
    const Held<ContentInfo> copy(asn1_ContentInfo_clone(fresh.get()));
    EXPECT_NE(copy->content, nullptr);
    const Held<ContentInfo> empty = decode(from_hex("30{" + data + "}"));
    ASSERT_NE(empty->content, nullptr);
    EXPECT_EQ(empty->content->value, nullptr);
    const Held<ContentInfo> any = decode(from_hex("30{" + enveloped + "A0{30{0500}}}"));
    EXPECT_EQ(hex_of(static_cast<const asn1_Any *>(any->content->value)), "30020500");
    EXPECT_EQ(asn1_ContentInfo_d(nullptr, nullptr, 0, nullptr, 0), nullptr);
    EXPECT_EQ(asn1_ContentInfo_clone(nullptr), nullptr);
    asn1_Content_free(asn1_Content_new());
    asn1_Content_free(nullptr);
}

TEST(Message, ImplicitTagReplacesTheOctet) {
    const Input input("A1{" + data + "}");
    ContentInfo *info = nullptr;
    EXPECT_EQ(asn1_ContentInfo_d(input.begin(), input.end(), 0x81, &info, 0), input.end());
    asn1_ContentInfo_free(info);
}

TEST(Message, WithoutEncryptedOctetsIsReadAndNotWritten) {
    const Input input("30{" + data + "30{06{2A}}}");
    EncryptedContentInfo *info = nullptr;
    ASSERT_EQ(asn1_EncryptedContentInfo_d(input.begin(), input.end(), 0, &info, 0), input.end());
    EXPECT_EQ(info->encryptedContent, nullptr);
    EXPECT_DEATH(asn1_EncryptedContentInfo_e(nullptr, info), "pElement");
    asn1_EncryptedContentInfo_free(info);
}

TEST(Message, IssuerIsWrittenFromItsTextWithoutOctets) {
    IssuerAndSerialNumber *made = asn1_IssuerAndSerialNumber_new();
    made->issuer = asn1_Name_clone("/c=DE");
    made->serialNumber = asn1_Integer_set(5);
    EXPECT_EQ(to_hex(written("IssuerAndSerialNumber", made)),
              to_hex(from_hex("30{30{31{30{06{550406} 13{4445}}}} 020105}")));
    asn1_Name_free(made->issuer);
    made->issuer = asn1_Name_clone("/sn=1");
    EXPECT_EQ(written("IssuerAndSerialNumber", made), Bytes());
    asn1_IssuerAndSerialNumber_free(made);
}

TEST(Attributes, TheFirstOfATypeIsFound) {
    List *list = List_new(0);
    for (const asn1_ObjId *type : {asn1_Get_signingTime(), asn1_Get_contentType(), asn1_Get_contentType()}) {
        Attribute *attribute = asn1_Attribute_new();
        attribute->type = asn1_ObjId_clone(type);
        List_append(list, attribute, nullptr);
    }
    EXPECT_EQ(asn1_Attributes_getAttribute(list, asn1_Get_contentType()), List_get(list, 1));
    EXPECT_EQ(asn1_Attributes_getAttribute(list, asn1_Get_messageDigest()), nullptr);
    EXPECT_EQ(asn1_Attributes_getAttribute(nullptr, asn1_Get_messageDigest()), nullptr);
    List_free(list, find_record_type("Attribute")->free);
}

}  // namespace
