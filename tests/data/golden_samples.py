"""Sample values of every PKCS #15 record, from which make_golden.py builds golden encodings.

RECORDS: per SEQUENCE type a full value; every optional field is then left out in turn.
CHOICES: per CHOICE type a value of each alternative.
"""

import pkcs15_asn1 as p15

NULL = bytes.fromhex("0500")
NAME = bytes.fromhex("300E310C300A06035504030C03416E6E")  # CN=Ann
ISSUER = bytes.fromhex("300D310B3009060355040A0C025A57")  # O=ZW
DATE, LATER = "20260901120000Z", "20991231235959Z"
OID, WIDE_OID = "1.2.840.113549.1.15", "2.999.4294967295.0.127.128"
PATH = {"path": bytes.fromhex("3F0050154401"), "index": 0, "length": 300}
SHORT_PATH = {"path": b"\x07"}
URL = "http://example.org/c.der"
URL_WITH_DIGEST = {"url": "http://example.org/", "digest": bytes.fromhex("30060404DEADBEEF")}
USAGE = {"keyUsage": "000001", "extKeyUsage": ["1.3.6.1.5.5.7.3.2"]}
IDENTIFIER = bytes.fromhex("300902010204044142434" + "4")  # idType 2, OCTET STRING

RULE = {"accessMode": ["read", "execute"], "securityCondition": ("or", [("authId", b"\x01"), ("authId", b"\x02")])}
COMMON = {"label": "Gr\u00fc\u00dfe", "flags": ["private", "modifiable"], "authId": b"\x01", "userConsent": 1,
          "accessControlRules": [RULE, {"accessMode": ["update"], "securityCondition": ("authId", b"\x03")}]}
KEY = {"iD": b"\x45", "usage": ["sign", "nonRepudiation"], "native": False, "accessFlags": ["sensitive", "local"],
       "keyReference": 0x81, "startDate": DATE, "endDate": LATER}
PRIVATE = {"subjectName": NAME, "keyIdentifiers": [IDENTIFIER, IDENTIFIER]}
PUBLIC = {"subjectName": NAME, "trustedUsage": USAGE}
CERTIFICATE = {"iD": bytes(range(20)), "authority": True, "identifier": IDENTIFIER,
               "certHash": {"hashAlg": bytes.fromhex("300906052B0E03021A0500"), "hashVal": "1" * 16},
               "trustedUsage": USAGE, "identifiers": [IDENTIFIER], "implicitTrust": True}
DATA = {"applicationName": "Zelmop", "applicationOID": WIDE_OID}
AUTHENTICATION = {"authId": b"\x01"}
INDIRECT = ("path", PATH)
RSA = {"value": INDIRECT, "modulusLength": 2048, "keyInfo": ("reference", 1)}
PIN = {"pinFlags": ["local", "initialized", "exchangeRefData"], "pinType": "asciiNumeric", "minLength": 4,
       "storedLength": 8, "maxLength": 8, "pinReference": 0x81, "padChar": b"\xFF", "lastPinChange": DATE, "path": PATH}
BIOMETRIC = {"bioFlags": ["local", "initialized"], "templateId": OID,
             "bioType": ("fingerPrint", {"hand": "right", "finger": "littleFinger"}), "bioReference": 3,
             "lastChange": DATE, "path": PATH}
AUTH_KEY = {"derivedKey": False, "authKeyId": b"\xA1"}
X509 = {"value": INDIRECT, "subject": NAME, "issuer": ISSUER, "serialNumber": 0x80FF02}
DDO = {"oid": OID, "odfPath": PATH, "tokenInfoPath": {"path": b"\x50\x32"}, "unusedPath": SHORT_PATH}
ALGORITHM = {"reference": 1, "algorithm": 0x80000001, "parameters": NULL,
             "supportedOperations": ["computeSignature", "decipher"], "algId": OID, "algRef": 0x12}
SE_INFO = {"se": 1, "owner": OID, "aid": bytes(16)}
RECORD_INFO = {name: 200 + n for n, name in enumerate(p15.RECORD_LENGTHS)}
TOKEN_INFO = {"version": 0, "serialNumber": bytes.fromhex("0102030405060708"), "manufacturerID": "Works",
              "label": "Token", "tokenflags": ["readonly", "eidCompliant"], "seInfo": [SE_INFO, {"se": 255}],
              "recordInfo": {"prKDFRecordLength": 234}, "supportedAlgorithms": [ALGORITHM], "issuerId": "Issuer",
              "holderId": "Holder", "lastUpdate": ("generalizedTime", DATE), "preferredLanguage": "de-CH"}


def pkcs15_object(class_attributes, type_attributes, sub_class=None):
    value = {"commonObjectAttributes": COMMON, "classAttributes": class_attributes}
    if sub_class is not None:
        value["subClassAttributes"] = sub_class
    value["typeAttributes"] = type_attributes
    return value


PRIVATE_RSA = pkcs15_object(KEY, RSA, PRIVATE)
PUBLIC_RSA = pkcs15_object(KEY, RSA, PUBLIC)
SECRET = pkcs15_object(KEY, {"value": INDIRECT}, {"keyLen": 168})
PRIVATE_EC = pkcs15_object(KEY, {"value": INDIRECT, "keyInfo": ("reference", 1)}, PRIVATE)
OTHER_KEY = {"keyType": OID, "keyAttr": SECRET}

RECORDS = [
    (p15.Path, PATH), (p15.CommonObjectAttributes, COMMON), (p15.AccessControlRule, RULE),
    (p15.CommonKeyAttributes, KEY), (p15.CommonPrivateKeyAttributes, PRIVATE),
    (p15.CommonPublicKeyAttributes, PUBLIC), (p15.CommonSecretKeyAttributes, {"keyLen": 168}),
    (p15.CommonCertificateAttributes, CERTIFICATE), (p15.CommonDataObjectAttributes, DATA),
    (p15.CommonAuthenticationObjectAttributes, AUTHENTICATION), (p15.DDO, DDO), (p15.TokenInfo, TOKEN_INFO),
    (p15.SecurityEnvironmentInfo, SE_INFO), (p15.RecordInfo, RECORD_INFO), (p15.AlgorithmInfo, ALGORITHM),
    (p15.OtherKey, OTHER_KEY), (p15.PinAttributes, PIN), (p15.BiometricAttributes, BIOMETRIC),
    (p15.IrisScan, {"eye": "right"}), (p15.FingerPrint, {"hand": "left", "finger": "thumb"}),
    (p15.AuthKeyAttributes, AUTH_KEY), (p15.X509CertificateAttributes, X509),
    (p15.GenericSecretKeyAttributes, {"value": INDIRECT}), (p15.PublicRSAKeyAttributes, RSA),
    (p15.PrivateRSAKeyAttributes, RSA),
]

REFERENCED = [("path", PATH), ("path", SHORT_PATH), ("printableUrl", URL), ("ia5Url", URL),
              ("urlWithDigest", URL_WITH_DIGEST)]
CONDITION = ("and", [("authId", b"\x01"), ("or", [("authId", b"\x02"), ("and", [("authId", b"\x03"), ("authId", b"")])])])


def carried(*names):
    return [(name, bytes.fromhex("30050403414243")) for name in names]


CHOICES = [
    (p15.SecurityCondition, [("authId", b"\x01"), ("authId", b""), ("authId", bytes(200)), CONDITION, ("and", []),
                             ("or", [("authId", b"\x01")] * 40)]),
    (p15.ReferencedValue, REFERENCED),
    (p15.ObjectValue, REFERENCED + [("directProtected", NULL)]),
    (p15.Opaque, REFERENCED + [("directProtected", NULL)]),
    (p15.PathOrObjects, [("path", PATH), ("objects", []), ("objects", [NULL, NAME]), ("directProtected", NULL)]),
    (p15.KeyInfo, [("reference", 0), ("reference", 0xFFFFFFFF), ("paramsAndOps", {"parameters": NULL}),
                   ("paramsAndOps", {"parameters": NULL, "supportedOperations": "0100"})]),
    (p15.LastUpdate, [("generalizedTime", DATE), ("path", PATH), ("printableUrl", URL),
                      ("urlWithDigest", URL_WITH_DIGEST)]),
    (p15.BiometricType, [("fingerPrint", {"hand": "right", "finger": f})
                         for f in ("thumb", "pointerFinger", "middleFinger", "ringFinger", "littleFinger")]),
    (p15.PKCS15Objects, [(name, place) for name, _ in p15.OBJECT_TYPES
                         for place in (("path", PATH), ("objects", [NULL]))]),
    (p15.PrivateKeyType, [("privateRSAKey", PRIVATE_RSA), ("privateECKey", PRIVATE_EC)]
     + carried("privateDHKey", "privateDSAKey", "privateKEAKey")),
    (p15.PublicKeyType, [("publicRSAKey", PUBLIC_RSA)] + carried("publicDHKey", "publicDSAKey", "publicKEAKey")),
    (p15.SecretKeyType, [(name, SECRET) for name in p15.SECRET_KEYS]),
    (p15.CertificateType, [("x509Certificate", pkcs15_object(CERTIFICATE, X509))]
     + carried("x509AttributeCertificate", "spkiCertificate", "pgpCertificate", "wtlsCertificate", "x9-68Certificate",
               "cvCertificate")),
    (p15.DataType, [("opaqueDO", pkcs15_object(DATA, value)) for value in REFERENCED] + carried("externalIDO", "oidDO")),
    (p15.AuthenticationType, [("pin", pkcs15_object(AUTHENTICATION, PIN)),
                              ("biometricTemplate", pkcs15_object(AUTHENTICATION, BIOMETRIC)),
                              ("authKey", pkcs15_object(AUTHENTICATION, AUTH_KEY))] + carried("external")),
]

# Objects whose attributes are as bare, and as various, as they may be: (type, value).
OBJECTS = [
    (p15.PrivateKeyType, ("privateRSAKey", {
        "commonObjectAttributes": {}, "classAttributes": {"iD": b"", "usage": []},
        "typeAttributes": {"value": ("path", SHORT_PATH), "modulusLength": 0}})),
    (p15.PrivateKeyType, ("privateRSAKey", pkcs15_object({"iD": b"\x01", "usage": ["sign"]}, {
        "value": ("ia5Url", URL), "modulusLength": 4096, "keyInfo": ("paramsAndOps", {"parameters": NULL})}))),
    (p15.PublicKeyType, ("publicRSAKey", {
        "commonObjectAttributes": {}, "classAttributes": {"iD": b"\x01", "usage": ["verify"]},
        "subClassAttributes": {"trustedUsage": {"keyUsage": "1"}},
        "typeAttributes": {"value": INDIRECT, "modulusLength": 1024}})),
    (p15.SecretKeyType, ("rc6Key", {
        "commonObjectAttributes": {"label": ""}, "classAttributes": {"iD": b"\x01", "usage": ["encrypt"]},
        "typeAttributes": {"value": INDIRECT}})),
    (p15.CertificateType, ("x509Certificate", {
        "commonObjectAttributes": {}, "classAttributes": {"iD": b"\x01"}, "typeAttributes": {"value": INDIRECT}})),
    (p15.DataType, ("opaqueDO", {
        "commonObjectAttributes": {}, "classAttributes": {}, "typeAttributes": INDIRECT})),
    (p15.AuthenticationType, ("pin", {
        "commonObjectAttributes": {}, "classAttributes": {"authId": b""},
        "typeAttributes": {"pinFlags": [], "pinType": "bcd", "minLength": 0, "storedLength": 0}})),
    (p15.AuthenticationType, ("authKey", {
        "commonObjectAttributes": {}, "classAttributes": {"authId": b"\x04"}, "typeAttributes": {"authKeyId": b""}})),
]

# Fields at the edges of their types: (type, value, what it shows).
EDGES = [
    (p15.Path, {"path": b""}, "no octets"),
    (p15.Path, {"path": bytes(127)}, "longest short length"),
    (p15.Path, {"path": bytes(128), "index": 65536}, "shortest long length"),
    (p15.Path, {"path": bytes(300), "index": 0xFFFFFFFF, "length": 0x7FFFFFFF}, "two length octets, wide numbers"),
    (p15.Path, {"path": b"\x3F\x00", "index": -1, "length": -128}, "negative numbers"),
    (p15.CommonObjectAttributes, {"label": "x" * 255}, "label of 255 octets"),
    (p15.CommonObjectAttributes, {"label": ""}, "empty label"),
    (p15.CommonObjectAttributes, {"flags": []}, "no flag set"),
    (p15.CommonObjectAttributes, {"flags": ["modifiable"]}, "second flag alone"),
    (p15.CommonObjectAttributes, {"accessControlRules": [RULE] * 30}, "thirty rules"),
    (p15.CommonKeyAttributes, {"iD": b"\x01", "usage": ["nonRepudiation"]}, "usage of two octets"),
    (p15.CommonKeyAttributes, {"iD": b"\x01", "usage": []}, "no usage"),
    (p15.CommonKeyAttributes, {"iD": b"\x01", "usage": ["sign"], "keyReference": -127}, "negative reference"),
    (p15.DDO, {"oid": WIDE_OID}, "wide arcs"),
    (p15.DDO, {"oid": "0.0"}, "smallest identifier"),
    (p15.DDO, {"oid": "2.47"}, "first sub-identifier 127"),
    (p15.DDO, {"oid": "2.48.16384.2097151"}, "first sub-identifier 128"),
    (p15.PinAttributes, {**PIN, "pinType": "iso9564-1", "padChar": b""}, "empty pad"),
    (p15.PinAttributes, {**PIN, "pinFlags": ["caseSensitive"], "minLength": 256}, "first flag, length of two octets"),
    (p15.X509CertificateAttributes, {"value": INDIRECT, "serialNumber": 2 ** 159 - 1}, "serial number of 20 octets"),
    (p15.X509CertificateAttributes, {"value": INDIRECT, "serialNumber": 2 ** 159}, "serial number with a leading zero"),
    (p15.TokenInfo, {**TOKEN_INFO, "seInfo": [SE_INFO] * 9}, "nine environments"),
    (p15.TokenInfo, {**TOKEN_INFO, "supportedAlgorithms": [ALGORITHM] * 8}, "eight algorithms"),
    (p15.TokenInfo, {**TOKEN_INFO, "recordInfo": RECORD_INFO}, "all record lengths"),
    (p15.TokenInfo, {**TOKEN_INFO, "lastUpdate": ("path", PATH)}, "time kept in a file"),
    (p15.TokenInfo, {**TOKEN_INFO, "lastUpdate": ("urlWithDigest", URL_WITH_DIGEST)}, "time kept behind a URL"),
    (p15.AlgorithmInfo, {**ALGORITHM, "parameters": bytes.fromhex("0408") + bytes(8)}, "parameters: an octet string"),
]
