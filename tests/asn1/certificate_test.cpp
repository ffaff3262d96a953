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
// What it is called where the compiler knows the room.
void __wrap___explicit_bzero_chk(void *block, size_t size, size_t room);

void __wrap_explicit_bzero(void *block, size_t size) {
    last_wiped = block;
    last_wiped_size = size;
    __real_explicit_bzero(block, size);
}

void __wrap___explicit_bzero_chk(void *block, size_t size, size_t) {
    __wrap_explicit_bzero(block, size);
}
}

namespace {

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
    const Record record = round_trip("Certificate", octets);
    auto *const ours = record.as<Certificate>();
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
    EXPECT_EQ(record.written() == octets, !trimmed);
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
        const Held<BIO> file(BIO_new_file(entry.path().c_str(), "r"));
        const Held<X509> theirs(PEM_read_bio_X509(file.get(), nullptr, nullptr, nullptr));
        ASSERT_NE(theirs, nullptr);
        const Bytes octets = der_of<X509>(i2d_X509, theirs.get());
        expect_certificate(octets, theirs.get());
        expect_every_prefix_refused("Certificate", octets);
        ++count;
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
        expect_certificate(der_of<X509>(i2d_X509, x.get()), x.get());
    }
}

void add_revoked(X509_CRL *crl, uint8_t serial, const std::string &time, bool with_reason) {
    const Bytes date(time.begin(), time.end()), reason = from_hex("30{30{06{551D15} 04{0A{01}}}}");
    const Bytes octets =
        der(0x30, {der(0x02, {{serial}}), der(time.size() == 13 ? V_ASN1_UTCTIME : V_ASN1_GENERALIZEDTIME, {date}),
                   with_reason ? reason : Bytes()});
    const uint8_t *position = octets.data();
    X509_CRL_add0_revoked(crl, d2i_X509_REVOKED(nullptr, &position, static_cast<long>(octets.size())));
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
        const auto entries = static_cast<uint8_t>(round % 5);
        for (uint8_t i = 0; i < entries; ++i)
            add_revoked(x.get(), i, times[random() % std::size(times)], v2 && i % 2 == 0);
        if (v2 && round % 4 == 0)
            add_extension(NID_issuer_alt_name, "DNS:a.example",
                          [&](X509_EXTENSION *e) { X509_CRL_add_ext(x.get(), e, -1); });
        ASSERT_GT(X509_CRL_sign(x.get(), test_key(), EVP_sha256()), 0);
        const Bytes octets = der_of(i2d_X509_CRL, x.get());
        const Record record = round_trip("CertificateRevocationList", octets);
        auto *const ours = record.as<CertificateRevocationList>();
        ASSERT_NE(ours, nullptr);
        CertificateList_TBS &tbs = *ours->tbs;
        EXPECT_EQ(tbs.version != nullptr, v2);
        EXPECT_EQ(tbs.issuer, expected_text(issuer.get()));
        EXPECT_EQ(text_of(tbs.thisUpdate), text_of(X509_CRL_get0_lastUpdate(x.get())));
        EXPECT_EQ(tbs.nextUpdate != nullptr, round % 3 != 0);
        ASSERT_EQ(tbs.revokedCertificates != nullptr ? List_len(tbs.revokedCertificates) : 0, entries);
        for (int i = 0; i < entries; ++i) {
            const auto *entry = static_cast<const CRLEntry *>(List_get(tbs.revokedCertificates, i));
            EXPECT_EQ(entry->crlEntryExtensions != nullptr, v2 && i % 2 == 0);
        }
        expect_extensions(tbs.crlExtensions, X509_CRL_get0_extensions(x.get()));
        if (round < 4)
            expect_every_prefix_refused("CertificateRevocationList", octets);
        forget(ours->tbsDER);
        forget(tbs.issuerDER);
        EXPECT_EQ(record.written(), octets);
    }
}

// ---- by hand -------------------------------------------------------------------------------------------------------

const std::string algorithm = "30{06{2A}}", validity = "30{17{30} 18{31}}";

std::string certificate_of(const std::string &issuer) {
    return "30{30{020101" + algorithm + issuer + validity + "30{31{30{06{550403} 13{41}}}} 30{30{06{2A}} 03{0055}}}" +
           algorithm + "03{0001}}";
}
const std::string by_name = certificate_of("30{31{30{06{550403} 13{41}}}}");

TEST(Certificate, LengthsInTheSignedPartStayAsTheyAre) {
    Bytes octets = from_hex(by_name);
    ++octets[1];
    octets.insert(octets.begin() + 3, 0x81);
    round_trip("Certificate", octets);
}

// A certificate without kept octets is written from its tree, without a tree from its text.
TEST(Certificate, NamesAreWrittenFromTheFirstFormThatIsThere) {
    const Record record("Certificate", by_name);
    Certificate_TBS &tbs = *record.as<Certificate>()->tbs;
    const auto set_issuer = [&tbs](const char *text) {
        asn1_Name_free(tbs.issuer);
        tbs.issuer = asn1_Name_clone(text);
    };
    forget(record.as<Certificate>()->tbsDER);
    set_issuer("/c=DE");
    EXPECT_EQ(record.written(), from_hex(by_name));
    forget(tbs.issuerDER);
    EXPECT_EQ(record.written(), from_hex(by_name));
    asn1_RDNSequence_free(std::exchange(tbs.issuerRDN, nullptr));
    EXPECT_EQ(record.written(), from_hex(certificate_of("30{31{30{06{550406} 13{4445}}}}")));
    for (const char *text : {"/sn(19)=1", static_cast<const char *>(nullptr)}) {
        set_issuer(text);
        EXPECT_EQ(record.written(), Bytes());
    }
    EXPECT_EQ(Record("Certificate", asn1_Certificate_new()).written(), Bytes());
}

TEST(Certificate, ExtensionsAreAListOfTheirOwn) {
    const Input input("30{30{06{2A} 04{}}}");
    List *list = nullptr;
    ASSERT_EQ(asn1_Extensions_d(input.begin(), input.end(), 0, &list, 0), input.end());
    List *copy = asn1_Extensions_clone(list);
    EXPECT_EQ(encoded([&](uint8_t **cursor) { return asn1_Extensions_e(cursor, copy); }), "3007300506012A0400");
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
