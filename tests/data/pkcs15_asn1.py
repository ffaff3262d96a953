"""The PKCS #15 structures as pyasn1 types, for building test data with an encoder that is not ours.

Names, tags and named bits are facts of PKCS #15 v1.1 (RSA Laboratories, June 2000) and ISO/IEC 7816-15. Types that a
reader only carries as bytes (Name, CredentialIdentifier, Usage, OOBCertHash, the algorithm-specific keys) are ANY here.

`encode(Type, value)` turns plain Python values into DER:
    SEQUENCE     a dict, absent optional fields left out
    CHOICE       a pair (alternative, value)
    SEQUENCE OF  a list
    BIT STRING   a list of bit names (or a string of 0 and 1 where bits have no names)
    others       bytes, int, bool, str
"""

from pyasn1.codec.der import encoder as der
from pyasn1.type import char, namedtype, namedval, tag, univ, useful

NESTING = 4  # depth of the security conditions that can be built


def simple(number, tag_class=tag.tagClassContext):
    return tag.Tag(tag_class, tag.tagFormatSimple, number)


def constructed(number, tag_class=tag.tagClassContext):
    return tag.Tag(tag_class, tag.tagFormatConstructed, number)


def fields(*entries):
    """Named types from triples (name, type, presence); presence is 'm', 'o' or ('d', default)."""
    types = []
    for name, kind, presence in entries:
        if presence == "m":
            types.append(namedtype.NamedType(name, kind))
        elif presence == "o":
            types.append(namedtype.OptionalNamedType(name, kind))
        else:
            types.append(namedtype.DefaultedNamedType(name, kind.clone(presence[1])))
    return namedtype.NamedTypes(*types)


def sequence(class_name, *entries, tags=None):
    members = {"componentType": fields(*entries)}
    if tags is not None:
        members["tagSet"] = tags
    return type(class_name, (univ.Sequence,), members)


def choice(class_name, *alternatives):
    types = namedtype.NamedTypes(*(namedtype.NamedType(name, kind) for name, kind in alternatives))
    return type(class_name, (univ.Choice,), {"componentType": types})


def sequence_of(element):
    return univ.SequenceOf(componentType=element)


def bits(class_name, *names):
    return type(class_name, (univ.BitString,), {"namedValues": namedval.NamedValues(*((n, i) for i, n in enumerate(names)))})


def enumeration(class_name, *names):
    values = namedval.NamedValues(*((n, i) for i, n in enumerate(names)))
    return type(class_name, (univ.Enumerated,), {"namedValues": values})


class Label(char.UTF8String):
    pass


class Identifier(univ.OctetString):
    pass


class Reference(univ.Integer):
    pass


Any = univ.Any

# ---- paths and common attributes -----------------------------------------------------------------------------------

Path = sequence(
    "Path",
    ("path", univ.OctetString(), "m"),
    ("index", univ.Integer(), "o"),
    ("length", univ.Integer().subtype(implicitTag=simple(0)), "o"),
)

CommonObjectFlags = bits("CommonObjectFlags", "private", "modifiable")
AccessMode = bits("AccessMode", "read", "update", "execute")


def security_condition(depth=NESTING, implicit_not=False):
    """SecurityCondition with `depth` levels below it.

    The published schema tags the nested condition of `not` explicitly. With `implicit_not` it is the octets of an
    authId under [0]: the form that the library writes.
    """
    alternatives = [("authId", Identifier())]
    if depth > 0:
        inner = security_condition(depth - 1, implicit_not)
        if implicit_not:
            negated = Identifier().subtype(implicitTag=simple(0))
        else:
            negated = inner().subtype(explicitTag=constructed(0))
        several = sequence_of(inner())
        alternatives += [
            ("not", negated),
            ("and", several.subtype(implicitTag=constructed(1))),
            ("or", several.subtype(implicitTag=constructed(2))),
        ]
    return choice("SecurityCondition", *alternatives)


def access_control_rule(implicit_not=False):
    return sequence(
        "AccessControlRule",
        ("accessMode", AccessMode(), "m"),
        ("securityCondition", security_condition(implicit_not=implicit_not)(), "m"),
    )


def common_object_attributes(implicit_not=False):
    return sequence(
        "CommonObjectAttributes",
        ("label", Label(), "o"),
        ("flags", CommonObjectFlags(), "o"),
        ("authId", Identifier(), "o"),
        ("userConsent", univ.Integer(), "o"),
        ("accessControlRules", sequence_of(access_control_rule(implicit_not)()), "o"),
    )


SecurityCondition = security_condition()
AccessControlRule = access_control_rule()
CommonObjectAttributes = common_object_attributes()

UrlWithDigest = sequence("UrlWithDigest", ("url", char.IA5String(), "m"), ("digest", Any(), "m"))

REFERENCED_VALUE = [
    ("path", Path()),
    ("printableUrl", char.PrintableString()),
    ("ia5Url", char.IA5String()),
    ("urlWithDigest", UrlWithDigest().subtype(implicitTag=constructed(3))),
]
ReferencedValue = choice("ReferencedValue", *REFERENCED_VALUE)

OBJECT_VALUE = REFERENCED_VALUE + [
    ("direct", Any().subtype(explicitTag=constructed(0))),
    ("indirectProtected", ReferencedValue().subtype(explicitTag=constructed(1))),
    ("directProtected", Any().subtype(explicitTag=constructed(2))),
]
ObjectValue = choice("ObjectValue", *OBJECT_VALUE)
Opaque = choice("Opaque", *OBJECT_VALUE)

PathOrObjects = choice(
    "PathOrObjects",
    ("path", Path()),
    ("objects", sequence_of(Any()).subtype(implicitTag=constructed(0))),
    ("indirectProtected", ReferencedValue().subtype(explicitTag=constructed(1))),
    ("directProtected", Any().subtype(explicitTag=constructed(2))),
)

KeyParameters = sequence("KeyParameters", ("parameters", Any(), "m"), ("supportedOperations", univ.BitString(), "o"))
KeyInfo = choice("KeyInfo", ("reference", Reference()), ("paramsAndOps", KeyParameters()))

KeyUsageFlags = bits(
    "KeyUsageFlags", "encrypt", "decrypt", "sign", "signRecover", "wrap", "unwrap", "verify", "verifyRecover", "derive",
    "nonRepudiation",
)
KeyAccessFlags = bits("KeyAccessFlags", "sensitive", "extractable", "alwaysSensitive", "neverExtractable", "local")

CommonKeyAttributes = sequence(
    "CommonKeyAttributes",
    ("iD", Identifier(), "m"),
    ("usage", KeyUsageFlags(), "m"),
    ("native", univ.Boolean(), ("d", True)),
    ("accessFlags", KeyAccessFlags(), "o"),
    ("keyReference", Reference(), "o"),
    ("startDate", useful.GeneralizedTime(), "o"),
    ("endDate", useful.GeneralizedTime().subtype(implicitTag=simple(0)), "o"),
)
CommonPrivateKeyAttributes = sequence(
    "CommonPrivateKeyAttributes",
    ("subjectName", Any(), "o"),
    ("keyIdentifiers", sequence_of(Any()).subtype(implicitTag=constructed(0)), "o"),
)
Usage = sequence(
    "Usage", ("keyUsage", univ.BitString(), "o"), ("extKeyUsage", sequence_of(univ.ObjectIdentifier()), "o"))
CommonPublicKeyAttributes = sequence(
    "CommonPublicKeyAttributes",
    ("subjectName", Any(), "o"),
    ("trustedUsage", Usage().subtype(implicitTag=constructed(0)), "o"),
)
CommonSecretKeyAttributes = sequence("CommonSecretKeyAttributes", ("keyLen", univ.Integer(), "o"))
CertHash = sequence(
    "CertHash",
    ("hashAlg", Any().subtype(explicitTag=constructed(0)), "o"),
    ("certId", Any().subtype(explicitTag=constructed(1)), "o"),
    ("hashVal", univ.BitString(), "m"),
)
CommonCertificateAttributes = sequence(
    "CommonCertificateAttributes",
    ("iD", Identifier(), "m"),
    ("authority", univ.Boolean(), ("d", False)),
    ("identifier", Any(), "o"),
    ("certHash", CertHash().subtype(implicitTag=constructed(0)), "o"),
    ("trustedUsage", Usage().subtype(implicitTag=constructed(1)), "o"),
    ("identifiers", sequence_of(Any()).subtype(implicitTag=constructed(2)), "o"),
    ("implicitTrust", univ.Boolean().subtype(implicitTag=simple(3)), ("d", False)),
)
CommonDataObjectAttributes = sequence(
    "CommonDataObjectAttributes",
    ("applicationName", Label(), "o"),
    ("applicationOID", univ.ObjectIdentifier(), "o"),
)
CommonAuthenticationObjectAttributes = sequence(
    "CommonAuthenticationObjectAttributes", ("authId", Identifier(), "m"))

CredentialIdentifier = sequence("CredentialIdentifier", ("idType", univ.Integer(), "m"), ("idValue", Any(), "m"))

# ---- token and directory records -----------------------------------------------------------------------------------

DDO = sequence(
    "DDO",
    ("oid", univ.ObjectIdentifier(), "m"),
    ("odfPath", Path(), "o"),
    ("tokenInfoPath", Path().subtype(implicitTag=constructed(0)), "o"),
    ("unusedPath", Path().subtype(implicitTag=constructed(1)), "o"),
)


def dir_record(outer):
    """DIRRecord under the given outer tag: [APPLICATION 1] as published, or a plain SEQUENCE as the library writes."""
    application = tag.tagClassApplication
    return sequence(
        "DIRRecord",
        ("aid", univ.OctetString().subtype(implicitTag=simple(15, application)), "m"),
        ("label", char.UTF8String().subtype(implicitTag=simple(16, application)), "o"),
        ("path", univ.OctetString().subtype(implicitTag=simple(17, application)), "o"),
        ("ddo", DDO().subtype(implicitTag=constructed(19, application)), "o"),
        tags=outer,
    )


DIRRecord = dir_record(univ.Sequence.tagSet.tagImplicitly(constructed(1, tag.tagClassApplication)))
PlainDIRRecord = dir_record(univ.Sequence.tagSet)

TokenFlags = bits("TokenFlags", "readonly", "loginRequired", "prnGeneration", "eidCompliant")
Operations = bits(
    "Operations", "computeChecksum", "computeSignature", "verifyChecksum", "verifySignature", "encipher", "decipher",
    "hash", "generateKey",
)
SecurityEnvironmentInfo = sequence(
    "SecurityEnvironmentInfo",
    ("se", univ.Integer(), "m"),
    ("owner", univ.ObjectIdentifier(), "o"),
    ("aid", univ.OctetString(), "o"),
)
RECORD_LENGTHS = [
    "oDFRecordLength", "prKDFRecordLength", "puKDFRecordLength", "sKDFRecordLength", "cDFRecordLength",
    "dODFRecordLength", "aODFRecordLength",
]
RecordInfo = sequence(
    "RecordInfo",
    *((name, univ.Integer().subtype(implicitTag=simple(n)), "o") for n, name in enumerate(RECORD_LENGTHS)))
ExplicitRecordInfo = sequence(
    "ExplicitRecordInfo",
    *((name, univ.Integer().subtype(explicitTag=constructed(n)), "o") for n, name in enumerate(RECORD_LENGTHS)))
AlgorithmInfo = sequence(
    "AlgorithmInfo",
    ("reference", Reference(), "m"),
    ("algorithm", univ.Integer(), "m"),
    ("parameters", Any(), "m"),
    ("supportedOperations", Operations(), "m"),
    ("algId", univ.ObjectIdentifier(), "o"),
    ("algRef", Reference(), "o"),
)
LastUpdate = choice("LastUpdate", ("generalizedTime", useful.GeneralizedTime()), *REFERENCED_VALUE)
TokenInfo = sequence(
    "TokenInfo",
    ("version", univ.Integer(), "m"),
    ("serialNumber", univ.OctetString(), "o"),
    ("manufacturerID", Label(), "o"),
    ("label", Label().subtype(implicitTag=simple(0)), "o"),
    ("tokenflags", TokenFlags(), "m"),
    ("seInfo", sequence_of(SecurityEnvironmentInfo()), "o"),
    ("recordInfo", RecordInfo().subtype(implicitTag=constructed(1)), "o"),
    ("supportedAlgorithms", sequence_of(AlgorithmInfo()).subtype(implicitTag=constructed(2)), "o"),
    ("issuerId", Label().subtype(implicitTag=simple(3)), "o"),
    ("holderId", Label().subtype(implicitTag=simple(4)), "o"),
    ("lastUpdate", LastUpdate().subtype(explicitTag=constructed(5)), "o"),
    ("preferredLanguage", char.PrintableString(), "o"),
)

# ---- type attributes -----------------------------------------------------------------------------------------------

RSA_KEY_ATTRIBUTES = [("value", ObjectValue(), "m"), ("modulusLength", univ.Integer(), "m"), ("keyInfo", KeyInfo(), "o")]
PrivateRSAKeyAttributes = sequence("PrivateRSAKeyAttributes", *RSA_KEY_ATTRIBUTES)
PublicRSAKeyAttributes = sequence("PublicRSAKeyAttributes", *RSA_KEY_ATTRIBUTES)
ECKeyAttributes = sequence("ECKeyAttributes", ("value", ObjectValue(), "m"), ("keyInfo", KeyInfo(), "o"))
GenericSecretKeyAttributes = sequence("GenericSecretKeyAttributes", ("value", ObjectValue(), "m"))
X509CertificateAttributes = sequence(
    "X509CertificateAttributes",
    ("value", ObjectValue(), "m"),
    ("subject", Any(), "o"),
    ("issuer", Any().subtype(explicitTag=constructed(0)), "o"),
    ("serialNumber", univ.Integer(), "o"),
)
PinFlags = bits(
    "PinFlags", "caseSensitive", "local", "changeDisabled", "unblockDisabled", "initialized", "needsPadding",
    "unblockingPin", "soPin", "disableAllowed", "integrityProtected", "confidentialityProtected", "exchangeRefData",
)
PinType = enumeration("PinType", "bcd", "asciiNumeric", "utf8", "halfNibbleBcd", "iso9564-1")
PinAttributes = sequence(
    "PinAttributes",
    ("pinFlags", PinFlags(), "m"),
    ("pinType", PinType(), "m"),
    ("minLength", univ.Integer(), "m"),
    ("storedLength", univ.Integer(), "m"),
    ("maxLength", univ.Integer(), "o"),
    ("pinReference", Reference().subtype(implicitTag=simple(0)), "o"),
    ("padChar", univ.OctetString(), "o"),
    ("lastPinChange", useful.GeneralizedTime(), "o"),
    ("path", Path(), "o"),
)
Hand = enumeration("Hand", "left", "right")
Finger = enumeration("Finger", "thumb", "pointerFinger", "middleFinger", "ringFinger", "littleFinger")
FingerPrint = sequence("FingerPrint", ("hand", Hand(), "m"), ("finger", Finger(), "m"))
IrisScan = sequence("IrisScan", ("eye", enumeration("Eye", "left", "right")(), "m"))
BiometricType = choice(
    "BiometricType", ("fingerPrint", FingerPrint()), ("irisScan", IrisScan().subtype(implicitTag=constructed(0))))
BiometricFlags = bits(
    "BiometricFlags", "bit0", "local", "changeDisabled", "unblockDisabled", "initialized", "bit5", "bit6", "bit7",
    "disableAllowed", "integrityProtected", "confidentialityProtected",
)
BiometricAttributes = sequence(
    "BiometricAttributes",
    ("bioFlags", BiometricFlags(), "m"),
    ("templateId", univ.ObjectIdentifier(), "m"),
    ("bioType", BiometricType(), "m"),
    ("bioReference", Reference(), "o"),
    ("lastChange", useful.GeneralizedTime(), "o"),
    ("path", Path(), "o"),
)
AuthKeyAttributes = sequence(
    "AuthKeyAttributes", ("derivedKey", univ.Boolean(), ("d", True)), ("authKeyId", Identifier(), "m"))

# ---- objects -------------------------------------------------------------------------------------------------------


def pkcs15_object(class_name, class_attributes, sub_class, type_attributes):
    """PKCS15Object for one kind. Its parameters are dummy references, hence the explicit tags."""
    entries = [("commonObjectAttributes", CommonObjectAttributes(), "m"), ("classAttributes", class_attributes(), "m")]
    if sub_class is not None:
        entries.append(("subClassAttributes", sub_class().subtype(explicitTag=constructed(0)), "o"))
    entries.append(("typeAttributes", type_attributes().subtype(explicitTag=constructed(1)), "m"))
    return sequence(class_name, *entries)


PrivateRSAKey = pkcs15_object(
    "PrivateRSAKey", CommonKeyAttributes, CommonPrivateKeyAttributes, PrivateRSAKeyAttributes)
PrivateECKey = pkcs15_object("PrivateECKey", CommonKeyAttributes, CommonPrivateKeyAttributes, ECKeyAttributes)
PublicRSAKey = pkcs15_object("PublicRSAKey", CommonKeyAttributes, CommonPublicKeyAttributes, PublicRSAKeyAttributes)
PublicECKey = pkcs15_object("PublicECKey", CommonKeyAttributes, CommonPublicKeyAttributes, ECKeyAttributes)
SecretKey = pkcs15_object("SecretKey", CommonKeyAttributes, CommonSecretKeyAttributes, GenericSecretKeyAttributes)
X509Certificate = pkcs15_object(
    "X509Certificate", CommonCertificateAttributes, None, X509CertificateAttributes)
OpaqueDO = pkcs15_object("OpaqueDO", CommonDataObjectAttributes, None, Opaque)
PinObject = pkcs15_object("PinObject", CommonAuthenticationObjectAttributes, None, PinAttributes)
BiometricObject = pkcs15_object(
    "BiometricObject", CommonAuthenticationObjectAttributes, None, BiometricAttributes)
AuthKeyObject = pkcs15_object("AuthKeyObject", CommonAuthenticationObjectAttributes, None, AuthKeyAttributes)

OtherKey = sequence("OtherKey", ("keyType", univ.ObjectIdentifier(), "m"), ("keyAttr", SecretKey(), "m"))

SECRET_KEYS = [
    "rc2Key", "rc4Key", "desKey", "des2Key", "des3Key", "castKey", "cast3Key", "cast128Key", "rc5Key", "ideaKey",
    "skipjackKey", "batonKey", "juniperKey", "rc6Key",
]


def tagged(number, kind):
    return kind.subtype(implicitTag=constructed(number))


def carried(*names):
    """Alternatives [0], [1], ... of which only the bytes matter."""
    return [(name, Any().subtype(explicitTag=constructed(number))) for number, name in enumerate(names)]


PrivateKeyType = choice(
    "PrivateKeyType", ("privateRSAKey", PrivateRSAKey()), ("privateECKey", tagged(0, PrivateECKey())),
    *carried("", "privateDHKey", "privateDSAKey", "privateKEAKey")[1:])
PublicKeyType = choice(
    "PublicKeyType", ("publicRSAKey", PublicRSAKey()), ("publicECKey", tagged(0, PublicECKey())),
    *carried("", "publicDHKey", "publicDSAKey", "publicKEAKey")[1:])
SecretKeyType = choice(
    "SecretKeyType", ("genericSecretKey", SecretKey()),
    *((name, tagged(number, SecretKey())) for number, name in enumerate(SECRET_KEYS)),
    ("otherKey", tagged(14, OtherKey())))
CertificateType = choice(
    "CertificateType", ("x509Certificate", X509Certificate()),
    *carried("x509AttributeCertificate", "spkiCertificate", "pgpCertificate", "wtlsCertificate", "x9-68Certificate",
             "cvCertificate"))
DataType = choice("DataType", ("opaqueDO", OpaqueDO()), *carried("externalIDO", "oidDO"))
AuthenticationType = choice(
    "AuthenticationType", ("pin", PinObject()), ("biometricTemplate", tagged(0, BiometricObject())),
    ("authKey", tagged(1, AuthKeyObject())), ("external", Any().subtype(explicitTag=constructed(2))))

OBJECT_TYPES = [
    ("privateKeys", PrivateKeyType), ("publicKeys", PublicKeyType), ("trustedPublicKeys", PublicKeyType),
    ("secretKeys", SecretKeyType), ("certificates", CertificateType), ("trustedCertificates", CertificateType),
    ("usefulCertificates", CertificateType), ("dataObjects", DataType), ("authObjects", AuthenticationType),
]
PKCS15Objects = choice(
    "PKCS15Objects",
    *((name, PathOrObjects().subtype(explicitTag=constructed(number)))
      for number, (name, _) in enumerate(OBJECT_TYPES)))

# ---- from plain values to DER --------------------------------------------------------------------------------------


def fill(kind, value):
    """The pyasn1 value of type `kind` (a prototype) that the plain value stands for."""
    filled = kind.clone()
    if isinstance(kind, univ.Choice):
        name, content = value
        filled[name] = fill(kind.componentType[name].asn1Object, content)
    elif isinstance(kind, univ.SequenceOf):
        filled = kind.clone()
        filled.clear()
        for position, element in enumerate(value):
            filled[position] = fill(kind.componentType, element)
    elif isinstance(kind, univ.Sequence):
        filled.clear()
        for name, content in value.items():
            filled[name] = fill(kind.componentType[name].asn1Object, content)
    elif isinstance(kind, univ.BitString) and not isinstance(value, str):
        filled = kind.clone(", ".join(value)) if value else kind.clone("")
    elif isinstance(kind, univ.BitString):
        filled = kind.clone(binValue=value)
    else:
        filled = kind.clone(value)
    return filled


def encode(kind, value):
    return der.encode(fill(kind(), value))


def field_names(kind):
    """Pairs (name, optional or defaulted) of a SEQUENCE type's fields."""
    return [(t.name, t.isOptional or t.isDefaulted) for t in kind.componentType.namedTypes]
