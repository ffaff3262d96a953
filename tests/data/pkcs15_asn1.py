"""The PKCS #15 structures as pyasn1 types, for building test data with an encoder that is not ours.

Names, tags and named bits are facts of PKCS #15 v1.1 (RSA Laboratories, June 2000) and ISO/IEC 7816-15. Types that a
reader only carries as bytes (Name, CredentialIdentifier, OOBCertHash, the algorithm-specific keys) are ANY here.

`encode(Type, value)` turns plain Python values into DER:
    SEQUENCE     a dict, absent optional fields left out
    CHOICE       a pair (alternative, value)
    SEQUENCE OF  a list
    BIT STRING   a list of bit names (or a string of 0 and 1 where bits have no names)
    others       bytes, int, bool, str
"""

import re

from pyasn1.codec.der import encoder as der
from pyasn1.type import char, namedtype, namedval, tag, univ, useful

# One type a line. A member is "name type"; "name?" may be absent, "name=True" has a default. Before a type stands its
# tag, [n] implicit or {n} explicit, with an A for the application class; behind it * for SEQUENCE OF. "..Type" stands
# for all alternatives of another CHOICE.
SCHEMA = """
Path SEQUENCE path OCTETS, index? INTEGER, length? [0]INTEGER
CommonObjectFlags BITS private modifiable
AccessMode BITS read update execute
UrlWithDigest SEQUENCE url IA5, digest ANY
ReferencedValue CHOICE path Path, printableUrl PRINTABLE, ia5Url IA5, urlWithDigest [3]UrlWithDigest
ObjectValue CHOICE ..ReferencedValue, direct {0}ANY, indirectProtected {1}ReferencedValue, directProtected {2}ANY
Opaque CHOICE ..ObjectValue
PathOrObjects CHOICE path Path, objects [0]ANY*, indirectProtected {1}ReferencedValue, directProtected {2}ANY
KeyParameters SEQUENCE parameters ANY, supportedOperations? BITSTRING
KeyInfo CHOICE reference INTEGER, paramsAndOps KeyParameters
KeyUsageFlags BITS encrypt decrypt sign signRecover wrap unwrap verify verifyRecover derive nonRepudiation
KeyAccessFlags BITS sensitive extractable alwaysSensitive neverExtractable local
CommonKeyAttributes SEQUENCE iD OCTETS, usage KeyUsageFlags, native=True BOOLEAN, accessFlags? KeyAccessFlags,
  keyReference? INTEGER, startDate? TIME, endDate? [0]TIME
CommonPrivateKeyAttributes SEQUENCE subjectName? ANY, keyIdentifiers? [0]ANY*
Usage SEQUENCE keyUsage? BITSTRING, extKeyUsage? OID*
CommonPublicKeyAttributes SEQUENCE subjectName? ANY, trustedUsage? [0]Usage
CommonSecretKeyAttributes SEQUENCE keyLen? INTEGER
CertHash SEQUENCE hashAlg? {0}ANY, certId? {1}ANY, hashVal BITSTRING
CommonCertificateAttributes SEQUENCE iD OCTETS, authority=False BOOLEAN, identifier? ANY, certHash? [0]CertHash,
  trustedUsage? [1]Usage, identifiers? [2]ANY*, implicitTrust=False [3]BOOLEAN
CommonDataObjectAttributes SEQUENCE applicationName? UTF8, applicationOID? OID
CommonAuthenticationObjectAttributes SEQUENCE authId OCTETS
CredentialIdentifier SEQUENCE idType INTEGER, idValue ANY

DDO SEQUENCE oid OID, odfPath? Path, tokenInfoPath? [0]Path, unusedPath? [1]Path
PlainDIRRecord SEQUENCE aid [A15]OCTETS, label? [A16]UTF8, path? [A17]OCTETS, ddo? [A19]DDO
TokenFlags BITS readonly loginRequired prnGeneration eidCompliant
Operations BITS computeChecksum computeSignature verifyChecksum verifySignature encipher decipher hash generateKey
SecurityEnvironmentInfo SEQUENCE se INTEGER, owner? OID, aid? OCTETS
RecordInfo SEQUENCE oDFRecordLength? [0]INTEGER, prKDFRecordLength? [1]INTEGER, puKDFRecordLength? [2]INTEGER,
  sKDFRecordLength? [3]INTEGER, cDFRecordLength? [4]INTEGER, dODFRecordLength? [5]INTEGER, aODFRecordLength? [6]INTEGER
ExplicitRecordInfo SEQUENCE oDFRecordLength? {0}INTEGER, prKDFRecordLength? {1}INTEGER, puKDFRecordLength? {2}INTEGER,
  sKDFRecordLength? {3}INTEGER, cDFRecordLength? {4}INTEGER, dODFRecordLength? {5}INTEGER, aODFRecordLength? {6}INTEGER
AlgorithmInfo SEQUENCE reference INTEGER, algorithm INTEGER, parameters ANY, supportedOperations Operations, algId? OID,
  algRef? INTEGER
LastUpdate CHOICE generalizedTime TIME, ..ReferencedValue
TokenInfo SEQUENCE version INTEGER, serialNumber? OCTETS, manufacturerID? UTF8, label? [0]UTF8, tokenflags TokenFlags,
  seInfo? SecurityEnvironmentInfo*, recordInfo? [1]RecordInfo, supportedAlgorithms? [2]AlgorithmInfo*,
  issuerId? [3]UTF8, holderId? [4]UTF8, lastUpdate? {5}LastUpdate, preferredLanguage? PRINTABLE

PrivateRSAKeyAttributes SEQUENCE value ObjectValue, modulusLength INTEGER, keyInfo? KeyInfo
PublicRSAKeyAttributes SEQUENCE value ObjectValue, modulusLength INTEGER, keyInfo? KeyInfo
ECKeyAttributes SEQUENCE value ObjectValue, keyInfo? KeyInfo
GenericSecretKeyAttributes SEQUENCE value ObjectValue
X509CertificateAttributes SEQUENCE value ObjectValue, subject? ANY, issuer? {0}ANY, serialNumber? INTEGER
PinFlags BITS caseSensitive local changeDisabled unblockDisabled initialized needsPadding unblockingPin soPin
  disableAllowed integrityProtected confidentialityProtected exchangeRefData
PinType ENUMERATED bcd asciiNumeric utf8 halfNibbleBcd iso9564-1
PinAttributes SEQUENCE pinFlags PinFlags, pinType PinType, minLength INTEGER, storedLength INTEGER, maxLength? INTEGER,
  pinReference? [0]INTEGER, padChar? OCTETS, lastPinChange? TIME, path? Path
Side ENUMERATED left right
Finger ENUMERATED thumb pointerFinger middleFinger ringFinger littleFinger
FingerPrint SEQUENCE hand Side, finger Finger
IrisScan SEQUENCE eye Side
BiometricType CHOICE fingerPrint FingerPrint, irisScan [0]IrisScan
BiometricFlags BITS bit0 local changeDisabled unblockDisabled initialized bit5 bit6 bit7 disableAllowed
  integrityProtected confidentialityProtected
BiometricAttributes SEQUENCE bioFlags BiometricFlags, templateId OID, bioType BiometricType, bioReference? INTEGER,
  lastChange? TIME, path? Path
AuthKeyAttributes SEQUENCE derivedKey=True BOOLEAN, authKeyId OCTETS

PrivateRSAKey OBJECT CommonKeyAttributes, CommonPrivateKeyAttributes, PrivateRSAKeyAttributes
PrivateECKey OBJECT CommonKeyAttributes, CommonPrivateKeyAttributes, ECKeyAttributes
PublicRSAKey OBJECT CommonKeyAttributes, CommonPublicKeyAttributes, PublicRSAKeyAttributes
PublicECKey OBJECT CommonKeyAttributes, CommonPublicKeyAttributes, ECKeyAttributes
SecretKey OBJECT CommonKeyAttributes, CommonSecretKeyAttributes, GenericSecretKeyAttributes
X509Certificate OBJECT CommonCertificateAttributes, , X509CertificateAttributes
OpaqueDO OBJECT CommonDataObjectAttributes, , Opaque
PinObject OBJECT CommonAuthenticationObjectAttributes, , PinAttributes
BiometricObject OBJECT CommonAuthenticationObjectAttributes, , BiometricAttributes
AuthKeyObject OBJECT CommonAuthenticationObjectAttributes, , AuthKeyAttributes
OtherKey SEQUENCE keyType OID, keyAttr SecretKey

PrivateKeyType CHOICE privateRSAKey PrivateRSAKey, privateECKey [0]PrivateECKey, privateDHKey {1}ANY,
  privateDSAKey {2}ANY, privateKEAKey {3}ANY
PublicKeyType CHOICE publicRSAKey PublicRSAKey, publicECKey [0]PublicECKey, publicDHKey {1}ANY, publicDSAKey {2}ANY,
  publicKEAKey {3}ANY
SecretKeyType CHOICE genericSecretKey SecretKey, rc2Key [0]SecretKey, rc4Key [1]SecretKey, desKey [2]SecretKey,
  des2Key [3]SecretKey, des3Key [4]SecretKey, castKey [5]SecretKey, cast3Key [6]SecretKey, cast128Key [7]SecretKey,
  rc5Key [8]SecretKey, ideaKey [9]SecretKey, skipjackKey [10]SecretKey, batonKey [11]SecretKey,
  juniperKey [12]SecretKey, rc6Key [13]SecretKey, otherKey [14]OtherKey
CertificateType CHOICE x509Certificate X509Certificate, x509AttributeCertificate {0}ANY, spkiCertificate {1}ANY,
  pgpCertificate {2}ANY, wtlsCertificate {3}ANY, x9-68Certificate {4}ANY, cvCertificate {5}ANY
DataType CHOICE opaqueDO OpaqueDO, externalIDO {0}ANY, oidDO {1}ANY
AuthenticationType CHOICE pin PinObject, biometricTemplate [0]BiometricObject, authKey [1]AuthKeyObject,
  external {2}ANY
PKCS15Objects CHOICE privateKeys {0}PathOrObjects, publicKeys {1}PathOrObjects, trustedPublicKeys {2}PathOrObjects,
  secretKeys {3}PathOrObjects, certificates {4}PathOrObjects, trustedCertificates {5}PathOrObjects,
  usefulCertificates {6}PathOrObjects, dataObjects {7}PathOrObjects, authObjects {8}PathOrObjects
"""

TYPES = {"OCTETS": univ.OctetString, "INTEGER": univ.Integer, "BOOLEAN": univ.Boolean, "BITSTRING": univ.BitString,
         "OID": univ.ObjectIdentifier, "ANY": univ.Any, "IA5": char.IA5String, "PRINTABLE": char.PrintableString,
         "UTF8": char.UTF8String, "TIME": useful.GeneralizedTime}
NESTING = 4  # depth of the security conditions that can be built


def tagged(number, application=False):
    return tag.Tag(tag.tagClassApplication if application else tag.tagClassContext, tag.tagFormatSimple, int(number))


def prototype(text):
    """An empty value of a type as it is written in the schema."""
    bracket, application, number, name, several = re.fullmatch(r"(?:([\[{])(A?)(\d+)[\]}])?(\w+)(\*?)", text).groups()
    value = univ.SequenceOf(componentType=TYPES[name]()) if several else TYPES[name]()
    if bracket:
        value = value.subtype(**{"implicitTag" if bracket == "[" else "explicitTag": tagged(number, application)})
    return value


def member(text):
    """A named type from "name type"."""
    name, kind = text.split()
    if name[-1] == "?":
        return namedtype.OptionalNamedType(name[:-1], prototype(kind))
    if "=" in name:
        name, default = name.split("=")
        return namedtype.DefaultedNamedType(name, prototype(kind).clone(default == "True"))
    return namedtype.NamedType(name, prototype(kind))


def define(name, base, members):
    def make(kind, **content):
        TYPES[name] = type(name, (kind,), content)

    if base in ("BITS", "ENUMERATED"):
        kind = univ.BitString if base == "BITS" else univ.Enumerated
        make(kind, namedValues=namedval.NamedValues(*((bit, n) for n, bit in enumerate(members.split()))))
        return
    parts = [part.strip() for part in members.split(",")]
    if base == "OBJECT":  # its parameters are dummy references, hence the explicit tags
        parts = ["commonObjectAttributes CommonObjectAttributes", f"classAttributes {parts[0]}",
                 f"subClassAttributes? {{0}}{parts[1]}", f"typeAttributes {{1}}{parts[2]}"]
        parts = [part for part in parts if not part.endswith("}")]
    types = []
    for part in parts:
        types += TYPES[part[2:]].componentType.namedTypes if part.startswith("..") else [member(part)]
    make(univ.Choice if base == "CHOICE" else univ.Sequence, componentType=namedtype.NamedTypes(*types))


def define_all(text):
    for line in text.replace("\n  ", " ").split("\n"):
        if line:
            define(*line.split(maxsplit=2))


def conditions(implicit_not):
    """Types with a SecurityCondition of `NESTING` levels, as they are defined last.

    The published schema tags the nested condition of `not` explicitly. With `implicit_not` it is the octets of an
    authId under [0]: the form that the library writes.
    """
    define("SecurityCondition", "CHOICE", "authId OCTETS")
    for _ in range(NESTING):
        negated = "[0]OCTETS" if implicit_not else "{0}SecurityCondition"
        define("SecurityCondition", "CHOICE",
               f"authId OCTETS, not {negated}, and [1]SecurityCondition*, or [2]SecurityCondition*")
    define("AccessControlRule", "SEQUENCE", "accessMode AccessMode, securityCondition SecurityCondition")
    define("CommonObjectAttributes", "SEQUENCE", "label? UTF8, flags? CommonObjectFlags, authId? OCTETS,"
           "userConsent? INTEGER, accessControlRules? AccessControlRule*")
    return {name: TYPES[name] for name in ("SecurityCondition", "AccessControlRule", "CommonObjectAttributes")}


before_objects, objects = SCHEMA.split("\nPrivateRSAKey OBJECT")
define_all(before_objects)
IMPLICIT_NOT = conditions(True)
conditions(False)
define_all("PrivateRSAKey OBJECT" + objects)
globals().update(TYPES)
TEMPLATE = univ.Sequence.tagSet.tagImplicitly(tagged(1, True))
DIRRecord = type("DIRRecord", (TYPES["PlainDIRRecord"],), {"tagSet": TEMPLATE})

RECORD_LENGTHS = list(TYPES["RecordInfo"].componentType)
SECRET_KEYS = list(TYPES["SecretKeyType"].componentType)[1:-1]
OBJECT_TYPES = [(name, TYPES[kind]) for name, kind in zip(
    TYPES["PKCS15Objects"].componentType, ["PrivateKeyType", "PublicKeyType", "PublicKeyType", "SecretKeyType"]
    + 3 * ["CertificateType"] + ["DataType", "AuthenticationType"])]


def fill(kind, value):
    """The pyasn1 value of type `kind` (a prototype) that the plain value stands for."""
    if isinstance(kind, univ.BitString):
        return kind.clone(binValue=value) if isinstance(value, str) else kind.clone(", ".join(value))
    if not isinstance(kind, (univ.SequenceOf, univ.Sequence, univ.Choice)):
        return kind.clone(value)
    filled = kind.clone()
    filled.clear()
    if isinstance(kind, univ.SequenceOf):
        for position, element in enumerate(value):
            filled[position] = fill(kind.componentType, element)
    else:
        for name, content in [value] if isinstance(kind, univ.Choice) else value.items():
            filled[name] = fill(kind.componentType[name].asn1Object, content)
    return filled


def encode(kind, value):
    return der.encode(fill(kind(), value))


def field_names(kind):
    """Pairs (name, optional or defaulted) of a SEQUENCE type's fields."""
    return [(t.name, t.isOptional or t.isDefaulted) for t in kind.componentType.namedTypes]
