// What the tests of names, certificates and messages share: owners, and names by OpenSSL.
#ifndef ZELMO_TESTS_ASN1_X509_SUPPORT_H
#define ZELMO_TESTS_ASN1_X509_SUPPORT_H

#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <openssl/cms.h>
#include <openssl/x509.h>
#include <random>

#include "asn1/asn1_pkcs7.h"
#include "asn1/asn1_x509v1.h"
#include "asn1/record_table.h"

struct Release {
#define RELEASE(T, free)              \
    void operator()(T *value) const { \
        free(value);                  \
    }
    RELEASE(List, asn1_RDNSequence_free)
    RELEASE(char, asn1_Name_free)
    RELEASE(AttributeValueAssertion, asn1_AttributeValueAssertion_free)
    RELEASE(X509_NAME, X509_NAME_free)
    RELEASE(X509, X509_free)
    RELEASE(X509_CRL, X509_CRL_free)
    RELEASE(EVP_PKEY, EVP_PKEY_free)
    RELEASE(CMS_ContentInfo, CMS_ContentInfo_free)
    RELEASE(BIO, BIO_free_all)
#undef RELEASE
};
template <class T>
using Held = std::unique_ptr<T, Release>;

/// The octets of a record of the named type.
inline Bytes written(const char *type, const void *value) {
    return encode([&](uint8_t **cursor) { return find_record_type(type)->e(cursor, value); });
}

/// What OpenSSL makes of a value of its own.
template <class T>
Bytes der_of(int (*i2d)(const T *, uint8_t **), const T *value) {
    uint8_t *der = nullptr;
    const int length = i2d(value, &der);
    EXPECT_GT(length, 0);
    const Bytes octets(der, der + length);
    OPENSSL_free(der);
    return octets;
}

/// Decodes; the value and its copy are written as they were read.
inline Record round_trip(const char *type, const Bytes &octets) {
    Record record(type, Input(octets));
    EXPECT_EQ(record.position, static_cast<std::ptrdiff_t>(octets.size()));
    EXPECT_EQ(to_hex(record.written()), to_hex(octets));
    EXPECT_EQ(record.copy().written(), octets);
    return record;
}

inline void expect_every_prefix_refused(const char *type, const Bytes &octets, size_t step = 1) {
    for (size_t length = 0; length < octets.size(); length += step)
        EXPECT_EQ(Record(type, Input(cut(octets, length))).position, -1) << length << " of " << to_hex(octets);
}

/// The text of a name, spelled from its fields.
inline std::string expected_text(const X509_NAME *name) {
    // clang-format off
    static const std::map<std::string, std::string> short_names = {
        {"CN", "cn"}, {"GN", "gn"}, {"OU", "ou"}, {"ST", "sp"}, {"C", "c"}, {"L", "l"}, {"O", "o"}, {"SN", "s"},
        {"emailAddress", "m"}, {"name", "n"}, {"title", "t"}, {"initials", "i"}, {"serialNumber", "sn"},
        {"generationQualifier", "g"}};
    // clang-format on
    std::string text;
    int last_set = -1;
    for (int i = 0; i < X509_NAME_entry_count(name); ++i) {
        const X509_NAME_ENTRY *entry = X509_NAME_get_entry(name, i);
        text += X509_NAME_ENTRY_set(entry) == last_set ? ',' : '/';
        last_set = X509_NAME_ENTRY_set(entry);
        const ASN1_OBJECT *type = X509_NAME_ENTRY_get_object(entry);
        const auto found = short_names.find(OBJ_nid2sn(OBJ_obj2nid(type)));
        char dotted[200];
        OBJ_obj2txt(dotted, sizeof dotted, type, 1);
        text += found != short_names.end() ? found->second : dotted;
        const ASN1_STRING *value = X509_NAME_ENTRY_get_data(entry);
        text += "(" + std::to_string(ASN1_STRING_type(value)) + ")=";
        // A text ends at a zero octet.
        for (int n = 0; n < ASN1_STRING_length(value) && ASN1_STRING_get0_data(value)[n] != 0; ++n) {
            const char c = static_cast<char>(ASN1_STRING_get0_data(value)[n]);
            text += c == '/' || c == ',' ? std::string("/") + c : std::string(1, c);
        }
    }
    return text;
}

/// A name with every string type that OpenSSL puts into one, its RDNs sorted as in its encoding. `with_zeros`: some
/// values hold zero octets. Released by the caller.
inline X509_NAME *random_name(std::mt19937 &random, bool with_zeros) {
    const char *const types[] = {"CN",       "GN",           "OU",           "ST",          "C",   "L",
                                 "O",        "SN",           "emailAddress", "DC",          "UID", "title",
                                 "initials", "serialNumber", "street",       "1.2.3.70000", "name"};
    const int tags[] = {V_ASN1_UTF8STRING,    V_ASN1_PRINTABLESTRING, V_ASN1_IA5STRING,      V_ASN1_T61STRING,
                        V_ASN1_NUMERICSTRING, V_ASN1_BMPSTRING,       V_ASN1_UNIVERSALSTRING};
    // Pairs, so that they suit every string type; the last one holds a zero octet.
    const std::string pairs[] = {"A/", "/,", ",=", "( ", "\xC3\xBC", "//", "b,", std::string("c\0", 2)};
    const auto pick = [&random](size_t n) { return static_cast<size_t>(random() % n); };
    X509_NAME *name = X509_NAME_new();
    for (size_t entries = 1 + pick(5); entries > 0; --entries) {
        const int tag = tags[pick(std::size(tags) - (with_zeros ? 0 : 1))];
        std::string value;
        for (size_t length = pick(6); length > 0; --length)
            value += (tag == V_ASN1_UNIVERSALSTRING ? std::string(2, '\0') : "") +
                     pairs[pick(std::size(pairs) - (with_zeros ? 0 : 1))];
        ASN1_OBJECT *type = OBJ_txt2obj(types[pick(std::size(types))], 0);
        X509_NAME_add_entry_by_OBJ(name, type, tag, reinterpret_cast<const uint8_t *>(value.data()),
                                   static_cast<int>(value.size()), -1, pick(3) == 0 ? -1 : 0);
        ASN1_OBJECT_free(type);
    }
    const Bytes der = der_of<X509_NAME>(i2d_X509_NAME, name);
    const uint8_t *position = der.data();
    X509_NAME_free(name);
    name = d2i_X509_NAME(nullptr, &position, static_cast<long>(der.size()));
    return name;
}

#endif
