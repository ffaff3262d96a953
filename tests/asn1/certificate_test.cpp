// Certificates and revocation lists: what Debian trusts, what OpenSSL makes, and what is refused.
#include <cstring>
#include <filesystem>
#include <gtest/gtest.h>
#include <openssl/ec.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include "asn1/x509_support.h"

namespace {

const void *last_wiped;
size_t last_wiped_size;

}  // namespace

extern "C" {
void __real_explicit_bzero(void *block, size_t size);
void __wrap_explicit_bzero(void *block, size_t size);

void __wrap_explicit_bzero(void *block, size_t size) {
    last_wiped = block;
    last_wiped_size = size;
    __real_explicit_bzero(block, size);
}
}

namespace {

template <class T>
Bytes der_of(int (*i2d)(const T *, uint8_t **), const T *value) {
    uint8_t *der = nullptr;
    const int length = i2d(value, &der);
    EXPECT_GT(length, 0);
    const Bytes octets(der, der + length);
    OPENSSL_free(der);
    return octets;
}

// Decodes; the value and its copy are written as they were read.
void *through(const char *name, const Bytes &octets) {
    const RecordType *type = find_record_type(name);
    const Input input(octets);
    void *value = nullptr;
    EXPECT_EQ(type->d(input.begin(), input.end(), 0, &value, 0), input.end());
    EXPECT_EQ(to_hex(written(name, value)), to_hex(octets));
    void *copy = type->clone(value);
    EXPECT_EQ(to_hex(written(name, copy)), to_hex(octets));
    type->free(copy);
    return value;
}

void expect_refused(const char *name, const Bytes &octets) {
    const RecordType *type = find_record_type(name);
    const Input input(octets);
    void *value = nullptr;
    EXPECT_EQ(type->d(input.begin(), input.end(), 0, &value, 0), nullptr) << to_hex(octets);
    EXPECT_EQ(value, nullptr);
    type->free(value);
}

void expect_every_prefix_refused(const char *name, const Bytes &octets) {
    for (size_t length = 0; length < octets.size(); ++length)
        expect_refused(name, Bytes(octets.begin(), octets.begin() + static_cast<std::ptrdiff_t>(length)));
}

std::string text_of(const asn1_Time *time) {
    return std::to_string(time->tag) + time->text;
}

std::string text_of(const ASN1_TIME *time) {
    return std::to_string(ASN1_STRING_type(time)) + reinterpret_cast<const char *>(ASN1_STRING_get0_data(time));
}

void expect_extensions(const List *ours, const STACK_OF(X509_EXTENSION) * theirs) {
    ASSERT_EQ(ours != nullptr ? List_len(ours) : 0, X509v3_get_ext_count(theirs));
    for (int i = 0; i < X509v3_get_ext_count(theirs); ++i) {
        const auto *extension = static_cast<const Extension *>(List_get(ours, i));
        X509_EXTENSION *expected = X509v3_get_ext(theirs, i);
        EXPECT_EQ(extension->critical != 0, X509_EXTENSION_get_critical(expected) != 0);
        const ASN1_OCTET_STRING *value = X509_EXTENSION_get_data(expected);
        EXPECT_EQ(to_hex(extension->extnValue->data, extension->extnValue->len),
                  to_hex(ASN1_STRING_get0_data(value), static_cast<size_t>(ASN1_STRING_length(value))));
    }
}

void forget(asn1_OctetString *&octets) {
    asn1_OctetString_free(octets);
    octets = nullptr;
}

// Every field is what OpenSSL finds, and the values alone make the same octets again. A key that ends in zero bits is
// the exception: it is written trimmed.
void expect_certificate(const Bytes &octets, X509 *theirs) {
    const Held<Certificate> ours(static_cast<Certificate *>(through("Certificate", octets)));
    ASSERT_NE(ours, nullptr);
    Certificate_TBS &tbs = *ours->tbs;
    EXPECT_EQ(tbs.version != nullptr ? asn1_Integer_get(tbs.version) : 0, X509_get_version(theirs));
    EXPECT_EQ(tbs.issuer, expected_text(X509_get_issuer_name(theirs)));
    EXPECT_EQ(tbs.subject, expected_text(X509_get_subject_name(theirs)));
    EXPECT_EQ(text_of(tbs.validity->notBefore), text_of(X509_get0_notBefore(theirs)));
    EXPECT_EQ(text_of(tbs.validity->notAfter), text_of(X509_get0_notAfter(theirs)));
    const ASN1_BIT_STRING *key = X509_get0_pubkey_bitstr(theirs);
    const auto size = static_cast<size_t>(ASN1_STRING_length(key));
    EXPECT_EQ(tbs.subjectPKI->subjectPublicKey->bits, 8 * size);
    EXPECT_EQ(std::memcmp(tbs.subjectPKI->subjectPublicKey->data, ASN1_STRING_get0_data(key), size), 0);
    expect_extensions(tbs.extensions, X509_get0_extensions(theirs));
    forget(ours->tbsDER);
    forget(tbs.issuerDER);
    forget(tbs.subjectDER);
    const bool trimmed = (ASN1_STRING_get0_data(key)[size - 1] & 1) == 0;
    EXPECT_EQ(written("Certificate", ours.get()) == octets, !trimmed);
}

TEST(Certificate, OfEveryRootThatDebianTrusts) {
    const std::filesystem::path folder = "/usr/share/ca-certificates";
    if (!std::filesystem::exists(folder))
        GTEST_SKIP() << "ca-certificates is not installed";
    int count = 0;
    for (const auto &entry : std::filesystem::recursive_directory_iterator(folder)) {
        if (entry.path().extension() != ".crt")
            continue;
        const testing::ScopedTrace where(__FILE__, __LINE__, entry.path().string());
        FILE *file = std::fopen(entry.path().c_str(), "r");
        ASSERT_NE(file, nullptr);
        char *name = nullptr, *header = nullptr;
        uint8_t *data = nullptr;
        long length = 0;
        ASSERT_EQ(PEM_read(file, &name, &header, &data, &length), 1);
        std::fclose(file);
        const uint8_t *position = data;
        const Held<X509> theirs(d2i_X509(nullptr, &position, length));
        expect_certificate(Bytes(data, data + length), theirs.get());
        ++count;
        expect_every_prefix_refused("Certificate", Bytes(data, data + length));
        OPENSSL_free(name);
        OPENSSL_free(header);
        OPENSSL_free(data);
    }
    EXPECT_GT(count, 100);
}

EVP_PKEY *test_key() {
    static const Held<EVP_PKEY> key(EVP_EC_gen("P-256"));
    return key.get();
}

const char *const times[] = {"700101000000Z",   "260901120000Z",   "491231235959Z",
                             "20500101000000Z", "99991231235959Z", "19491231235959Z"};

template <class Add>
void add_extension(int nid, const char *value, Add add) {
    X509_EXTENSION *extension = X509V3_EXT_conf_nid(nullptr, nullptr, nid, value);
    ASSERT_NE(extension, nullptr);
    add(extension);
    X509_EXTENSION_free(extension);
}

TEST(Certificate, OfAllThatOpenSslMakes) {
    std::mt19937 random(2);
    for (unsigned round = 0; round < 200; ++round) {
        const Held<X509> x(X509_new());
        const Held<X509_NAME> issuer(random_name(random, round % 5 == 0));
        const Held<X509_NAME> subject(random_name(random, round % 7 == 0));
        const bool v3 = round % 3 != 0;
        X509_set_version(x.get(), v3 ? X509_VERSION_3 : X509_VERSION_1);
        ASN1_INTEGER_set_uint64(X509_get_serialNumber(x.get()), static_cast<uint64_t>(random()) << (round % 32));
        X509_set_issuer_name(x.get(), issuer.get());
        X509_set_subject_name(x.get(), subject.get());
        ASN1_TIME_set_string(X509_getm_notBefore(x.get()), times[random() % std::size(times)]);
        ASN1_TIME_set_string(X509_getm_notAfter(x.get()), times[random() % std::size(times)]);
        X509_set_pubkey(x.get(), test_key());
        const auto add = [&](X509_EXTENSION *extension) { X509_add_ext(x.get(), extension, -1); };
        if (v3 && round % 4 != 0)
            add_extension(NID_basic_constraints, "critical,CA:TRUE", add);
        if (v3 && round % 2 == 0)
            add_extension(NID_subject_alt_name, "DNS:a.example,email:a@b.example", add);
        ASSERT_GT(X509_sign(x.get(), test_key(), round % 2 == 0 ? EVP_sha256() : EVP_sha1()), 0);
        expect_certificate(der_of(i2d_X509, x.get()), x.get());
        if (round < 50)
            expect_every_prefix_refused("Certificate", der_of(i2d_X509, x.get()));
    }
}

void add_revoked(X509_CRL *crl, unsigned serial, const char *time, bool with_reason) {
    X509_REVOKED *revoked = X509_REVOKED_new();
    ASN1_INTEGER *number = ASN1_INTEGER_new();
    ASN1_INTEGER_set(number, serial);
    X509_REVOKED_set_serialNumber(revoked, number);
    ASN1_INTEGER_free(number);
    ASN1_TIME *date = ASN1_TIME_new();
    ASN1_TIME_set_string(date, time);
    X509_REVOKED_set_revocationDate(revoked, date);
    ASN1_TIME_free(date);
    if (with_reason) {
        ASN1_ENUMERATED *reason = ASN1_ENUMERATED_new();
        ASN1_ENUMERATED_set(reason, CRL_REASON_KEY_COMPROMISE);
        EXPECT_EQ(X509_REVOKED_add1_ext_i2d(revoked, NID_crl_reason, reason, 0, 0), 1);
        ASN1_ENUMERATED_free(reason);
    }
    X509_CRL_add0_revoked(crl, revoked);
}

TEST(RevocationList, OfAllThatOpenSslMakes) {
    std::mt19937 random(3);
    for (unsigned round = 0; round < 100; ++round) {
        const Held<X509_CRL> x(X509_CRL_new());
        const Held<X509_NAME> issuer(random_name(random, round % 5 == 0));
        const bool v2 = round % 2 == 0;
        if (v2)
            X509_CRL_set_version(x.get(), X509_CRL_VERSION_2);
        X509_CRL_set_issuer_name(x.get(), issuer.get());
        ASN1_TIME *time = ASN1_TIME_new();
        ASN1_TIME_set_string(time, times[random() % std::size(times)]);
        X509_CRL_set1_lastUpdate(x.get(), time);
        if (round % 3 != 0)
            X509_CRL_set1_nextUpdate(x.get(), time);
        ASN1_TIME_free(time);
        const unsigned entries = round % 5;
        for (unsigned i = 0; i < entries; ++i)
            add_revoked(x.get(), 1000 * i, times[random() % std::size(times)], v2 && i % 2 == 0);
        if (v2 && round % 4 == 0)
            add_extension(NID_issuer_alt_name, "DNS:a.example",
                          [&](X509_EXTENSION *e) { X509_CRL_add_ext(x.get(), e, -1); });
        ASSERT_GT(X509_CRL_sign(x.get(), test_key(), EVP_sha256()), 0);
        const Bytes octets = der_of(i2d_X509_CRL, x.get());
        const Held<CertificateRevocationList> ours(
            static_cast<CertificateRevocationList *>(through("CertificateRevocationList", octets)));
        ASSERT_NE(ours, nullptr);
        CertificateList_TBS &tbs = *ours->tbs;
        EXPECT_EQ(tbs.version != nullptr, v2);
        EXPECT_EQ(tbs.issuer, expected_text(issuer.get()));
        EXPECT_EQ(text_of(tbs.thisUpdate), text_of(X509_CRL_get0_lastUpdate(x.get())));
        EXPECT_EQ(tbs.nextUpdate != nullptr, round % 3 != 0);
        ASSERT_EQ(tbs.revokedCertificates != nullptr ? List_len(tbs.revokedCertificates) : 0,
                  static_cast<int>(entries));
        for (unsigned i = 0; i < entries; ++i) {
            const auto *entry = static_cast<const CRLEntry *>(List_get(tbs.revokedCertificates, static_cast<int>(i)));
            EXPECT_EQ(entry->crlEntryExtensions != nullptr, v2 && i % 2 == 0);
        }
        expect_extensions(tbs.crlExtensions, X509_CRL_get0_extensions(x.get()));
        if (round < 4)
            expect_every_prefix_refused("CertificateRevocationList", octets);
        forget(ours->tbsDER);
        forget(tbs.issuerDER);
        EXPECT_EQ(written("CertificateRevocationList", ours.get()), octets);
    }
}

// ---- by hand -------------------------------------------------------------------------------------------------------

const std::string algorithm = "30{06{2A}}", name = "30{31{30{06{550403} 13{41}}}}", validity = "30{17{30} 18{31}}",
                  key = "30{30{06{2A}} 03{0055}}";
const std::string middle = algorithm + name + validity + name + key;
const std::string list_head = algorithm + name + "17{30}";
const std::string extensions = "30{30{06{2A} 04{}}}";

// The type, the octets, and what they are written as: "same", others, or "" where they are refused.
const struct {
    const char *type;
    std::string octets, back;
} rows[] = {
    // Version 1 has no unique identifiers and no extensions, whether it is left out or stands there.
    {"Certificate_TBS", "30{020101" + middle + "}", "same"},
    {"Certificate_TBS", "30{A0{020100} 020101" + middle + "}", "same"},
    {"Certificate_TBS", "30{A0{020101} 020101" + middle + "81{0001} 82{0003}}", "same"},
    {"Certificate_TBS", "30{A0{020101} 020101" + middle + "82{0003}}", "same"},
    {"Certificate_TBS", "30{A0{020102} 020101" + middle + "81{0001} 82{0003} A3{" + extensions + "}}", "same"},
    {"Certificate_TBS", "30{A0{020102} 020101" + middle + "A3{30{}}}", "same"},
    {"Certificate_TBS", "30{020101" + middle + "81{0001}}", ""},
    {"Certificate_TBS", "30{020101" + middle + "82{0001}}", ""},
    {"Certificate_TBS", "30{020101" + middle + "A3{" + extensions + "}}", ""},
    {"Certificate_TBS", "30{A0{020100} 020101" + middle + "81{0001}}", ""},
    {"Certificate_TBS", "30{A0{020100} 020101" + middle + "82{0001}}", ""},
    {"Certificate_TBS", "30{A0{020100} 020101" + middle + "A3{" + extensions + "}}", ""},
    {"Certificate_TBS", "30{A0{0203000001} 020101" + middle + "82{0001}}", ""},
    // What is no field of its own is left behind the last one.
    {"Certificate_TBS", "30{A0{020102} 020101" + middle + "A3{} }", ""},
    {"Certificate_TBS", "30{020101" + algorithm + "30{}" + validity + name + key + "}", ""},
    {"Certificate_TBS", "30{020101" + algorithm + name + validity + "30{}" + key + "}", ""},
    {"Certificate_TBS", "30{}", ""},
    {"Certificate", "30{30{020101" + middle + "}" + algorithm + "03{0701}}", "same"},
    {"Certificate", "30{30{020101" + middle + "}" + algorithm + "03{0801}}", ""},
    {"Certificate", "30{30{020101" + middle + "}" + algorithm + "}", ""},
    {"Certificate", "30{30{020101" + middle + "0500}" + algorithm + "03{00}}", ""},
    {"Certificate_TBS", "30{02 8101 01" + middle + "}", "30{020101" + middle + "}"},
    {"CertificateList_TBS", "30{" + list_head + "}", "same"},
    {"CertificateList_TBS", "30{020101" + list_head + "18{31}}", "same"},
    {"CertificateList_TBS", "30{" + list_head + "17{31} 30{} A0{" + extensions + "}}", "same"},
    {"CertificateList_TBS", "30{" + list_head + "30{30{020101 17{30} 30{}}}}", "same"},
    {"CertificateList_TBS", "30{" + list_head + "30{30{020101}}}", ""},
    {"CertificateList_TBS", "30{" + algorithm + "30{} 17{30}}", ""},
    {"CertificateList_TBS", "30{" + algorithm + name + "}", ""},
    {"CertificateList_TBS", "30{}", ""},
    {"Extension", "30{06{2A} 010101 04{41}}", "same"},
    {"Extension", "30{06{2A} 010100 04{41}}", "30{06{2A} 04{41}}"},
    {"Extension", "30{06{2A}}", ""},
    {"Extension", "30{06{2A} 0101FF}", ""},
    {"SubjectPKI", "30{" + algorithm + "03{0380}}", "30{" + algorithm + "03{0780}}"},
    {"SubjectPKI", "30{" + algorithm + "03{0050}}", "30{" + algorithm + "03{0450}}"},
    {"Validity", "30{17{30}}", ""},
};

TEST(Certificate, FieldByField) {
    for (const auto &row : rows) {
        const testing::ScopedTrace where(__FILE__, __LINE__, row.octets);
        const Bytes octets = from_hex(row.octets);
        const RecordType *type = find_record_type(row.type);
        if (row.back.empty()) {
            expect_refused(row.type, octets);
        } else if (row.back == "same") {
            type->free(through(row.type, octets));
        } else {
            const Input input(octets);
            void *value = nullptr;
            EXPECT_EQ(type->d(input.begin(), input.end(), 0, &value, 0), input.end());
            EXPECT_EQ(written(row.type, value), from_hex(row.back));
            type->free(value);
        }
    }
}

TEST(Certificate, LengthsInTheSignedPartStayAsTheyAre) {
    Bytes octets = from_hex("30{30{020101" + middle + "}" + algorithm + "03{0001}}");
    ++octets[1];
    octets.insert(octets.begin() + 3, 0x81);
    asn1_Certificate_free(static_cast<Certificate *>(through("Certificate", octets)));
}

// A certificate without kept octets is written from its tree, without a tree from its text.
TEST(Certificate, NamesAreWrittenFromTheFirstFormThatIsThere) {
    const Bytes octets = from_hex("30{30{020101" + middle + "}" + algorithm + "03{0001}}");
    const Held<Certificate> certificate(static_cast<Certificate *>(through("Certificate", octets)));
    Certificate_TBS &tbs = *certificate->tbs;
    forget(certificate->tbsDER);
    asn1_Name_free(tbs.issuer);
    tbs.issuer = asn1_Name_clone("/c=DE");
    EXPECT_EQ(written("Certificate", certificate.get()), octets);
    forget(tbs.issuerDER);
    EXPECT_EQ(written("Certificate", certificate.get()), octets);
    asn1_RDNSequence_free(tbs.issuerRDN);
    tbs.issuerRDN = nullptr;
    const std::string other = "30{31{30{06{550406} 13{4445}}}}";
    const Bytes changed =
        from_hex("30{30{020101" + algorithm + other + validity + name + key + "}" + algorithm + "03{0001}}");
    EXPECT_EQ(written("Certificate", certificate.get()), changed);
    asn1_Name_free(tbs.issuer);
    tbs.issuer = asn1_Name_clone("/sn(19)=1");
    EXPECT_EQ(written("Certificate", certificate.get()), Bytes());
    asn1_Name_free(tbs.issuer);
    tbs.issuer = nullptr;
    EXPECT_EQ(written("Certificate", certificate.get()), Bytes());
    EXPECT_EQ(written("Certificate", std::unique_ptr<Certificate, Release>(asn1_Certificate_new()).get()), Bytes());
}

TEST(Certificate, ExtensionsAreAListOfTheirOwn) {
    const Input input(extensions);
    List *list = nullptr;
    ASSERT_EQ(asn1_Extensions_d(input.begin(), input.end(), 0, &list, 0), input.end());
    List *copy = asn1_Extensions_clone(list);
    EXPECT_EQ(to_hex(encode([&](uint8_t **cursor) { return asn1_Extensions_e(cursor, copy); })),
              to_hex(from_hex(extensions)));
    asn1_Extensions_free(copy);
    asn1_Extensions_free(list);
}

TEST(SubjectPKI, KeyIsOverwrittenWhenItIsReleased) {
    SubjectPKI *pki = asn1_SubjectPKI_new();
    pki->subjectPublicKey = asn1_BitString_new(8 * 40 - 3);
    const void *const data = pki->subjectPublicKey->data;
    asn1_SubjectPKI_free(pki);
    EXPECT_EQ(last_wiped, data);
    EXPECT_EQ(last_wiped_size, 40u);
    pki = asn1_SubjectPKI_new();
    pki->subjectPublicKey = asn1_BitString_new(0);
    asn1_SubjectPKI_free(pki);
}

}  // namespace
