// Messages: what OpenSSL makes of all kinds, and what is refused.
#include <functional>
#include <gtest/gtest.h>
#include <openssl/pem.h>

#include "asn1/asn1_oid.h"
#include "asn1/x509_support.h"

namespace {

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
                const Record record = round_trip("ContentInfo", octets);
                ASSERT_NE(record.value, nullptr);
                const auto *ours = static_cast<const SignedData *>(record.as<ContentInfo>()->content->value);
                const uint8_t *position = octets.data();
                const Held<CMS_ContentInfo> sorted(
                    d2i_CMS_ContentInfo(nullptr, &position, static_cast<long>(octets.size())));
                expect_signed_data(*ours, sorted.get(), by.certificate.get());
                const auto *inner = static_cast<const asn1_OctetString *>(ours->contentInfo->content->value);
                EXPECT_EQ(inner == nullptr, (flags & CMS_DETACHED) != 0);
                if (inner != nullptr) {
                    EXPECT_EQ(hex_of(inner), to_hex(reinterpret_cast<const uint8_t *>(text.data()), text.size()));
                }
                expect_every_prefix_refused("ContentInfo", octets, signers == 1 ? 1 : 97);
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
        const Record info("ContentInfo", Input(octets));
        EXPECT_EQ(info.position, kind.taken ? static_cast<std::ptrdiff_t>(octets.size()) : -1) << kind.name;
        if (info.value == nullptr)
            continue;
        const Bytes definite = info.written();
        EXPECT_LT(definite.size(), octets.size());
        round_trip("ContentInfo", definite);
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
        expect_every_prefix_refused("ContentInfo", octets);
    }
}

TEST(Message, HolderIsAlwaysThere) {
    const Record fresh("ContentInfo", asn1_ContentInfo_new()), empty("ContentInfo", "30{06{2A864886F70D010701}}");
    const Record copy = fresh.copy();
    for (const Record *info : {&fresh, &empty, &copy}) {
        ASSERT_NE(info->as<ContentInfo>()->content, nullptr);
        EXPECT_EQ(info->as<ContentInfo>()->content->value, nullptr);
    }
    EXPECT_EQ(fresh.written(), Bytes()) << "no content type";
    const Record any("ContentInfo", "30{06{2A864886F70D010703} A0{30{0500}}}");
    EXPECT_EQ(hex_of(static_cast<const asn1_Any *>(any.as<ContentInfo>()->content->value)), "30020500");
    EXPECT_EQ(asn1_ContentInfo_d(nullptr, nullptr, 0, nullptr, 0), nullptr);
    asn1_Content_free(asn1_Content_new());
    asn1_Content_free(nullptr);
    EXPECT_EQ(Record("ContentInfo", "A1{06{2A864886F70D010701}}", 0x81).position, 13);
}

TEST(Message, IssuerIsWrittenFromItsTextWithoutOctets) {
    const Record record("IssuerAndSerialNumber", asn1_IssuerAndSerialNumber_new());
    auto *made = record.as<IssuerAndSerialNumber>();
    made->issuer = asn1_Name_clone("/c=DE");
    made->serialNumber = asn1_Integer_set(5);
    EXPECT_EQ(record.written(), from_hex("30{30{31{30{06{550406} 13{4445}}}} 020105}"));
    asn1_Name_free(made->issuer);
    made->issuer = asn1_Name_clone("/sn=1");
    EXPECT_EQ(record.written(), Bytes());
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
