// The text of a name, computed from what OpenSSL reads of it.
#ifndef ZELMO_TESTS_ASN1_OPENSSL_NAME_H
#define ZELMO_TESTS_ASN1_OPENSSL_NAME_H

#include <map>
#include <openssl/x509.h>
#include <string>

inline std::string expected_text(const X509_NAME *name) {
    static const std::map<std::string, std::string> short_names = {{"CN", "cn"},
                                                                   {"GN", "gn"},
                                                                   {"OU", "ou"},
                                                                   {"ST", "sp"},
                                                                   {"C", "c"},
                                                                   {"L", "l"},
                                                                   {"O", "o"},
                                                                   {"SN", "s"},
                                                                   {"emailAddress", "m"},
                                                                   {"name", "n"},
                                                                   {"title", "t"},
                                                                   {"initials", "i"},
                                                                   {"serialNumber", "sn"},
                                                                   {"generationQualifier", "g"}};
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

#endif
