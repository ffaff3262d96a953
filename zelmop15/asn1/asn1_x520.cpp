#include "asn1/asn1_x520.h"

// "cn" and "gn" stand before "c" and "g", "ou" before "o", "sp" before "s". But "sn" stands behind "s", so that a
// serial number is written and cannot be read back. That is meant: texts made elsewhere are matched the same way.
// clang-format off
extern "C" const NameAttribute oidNameAttributes[] = {
    {asn1_Get_quorvanGlobalIdentifier,       "Quorvan GID",         "gid"},
    {asn1_Get_id_at_commonName,              "CommonName",          "cn"},
    {asn1_Get_id_at_givenName,               "GivenName",           "gn"},
    {asn1_Get_id_at_organizationalUnitName,  "OrganizationalUnit",  "ou"},
    {asn1_Get_id_at_stateOrProvinceName,     "StateOrProvince",     "sp"},
    {asn1_Get_id_at_countryName,             "Country",             "c"},
    {asn1_Get_id_at_generationQualifier,     "GenerationQualifier", "g"},
    {asn1_Get_id_at_initials,                "Initials",            "i"},
    {asn1_Get_id_at_localityName,            "Locality",            "l"},
    {asn1_Get_emailAddress,                  "E-MailAddress",       "m"},
    {asn1_Get_id_at_name,                    "Name",                "n"},
    {asn1_Get_id_at_organizationName,        "Organization",        "o"},
    {asn1_Get_id_at_surname,                 "Surname",             "s"},
    {asn1_Get_id_at_title,                   "Title",               "t"},
    {asn1_Get_id_at_serialNumber,            "SerialNumber",        "sn"},
    {nullptr,                                nullptr,               nullptr},
};
// clang-format on
