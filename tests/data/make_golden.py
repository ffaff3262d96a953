#!/usr/bin/python3
"""Writes golden.txt and golden-refused.txt: encodings of single PKCS #15 structures made by pyasn1.

    make_golden.py            writes the files
    make_golden.py --check    compares with the files; exit code 1 when anything differs

Of every type there is a value with every field, and one with each optional field left out, or there alone; of every
CHOICE each alternative, full and as bare as it may be; then fields at the edges of their types. Encodings that are read
in a form other than the written one tell the written one.
"""

from pyasn1.type import char, univ, useful

import pkcs15_asn1 as p15
from products import write_or_check

HEAD = """\
# {title}
# Made by make_golden.py with python3-pyasn1 0.4.8 (Debian 12); some blocks, so marked, by OpenSSL 3.0
# (openssl asn1parse -genconf). Facts: PKCS #15 v1.1 (RSA Laboratories), ISO/IEC 7816-15.
# Type       the record whose decoder reads the octets
# Hex        the octets
# Reencodes  {verdicts}
# Comment    what the block shows
"""
GOLDEN = HEAD.format(title="Encodings of single PKCS #15 structures that decode and encode again.",
                     verdicts="same, or the octets that the encoder writes for the decoded value")
REFUSED = HEAD.format(title="Encodings that do not make the round trip.",
                      verdicts="refused: the decoder refuses them; none: they decode, the value cannot be encoded")

RECORDS = """Path CommonObjectAttributes AccessControlRule CommonKeyAttributes CommonPrivateKeyAttributes
    CommonPublicKeyAttributes CommonSecretKeyAttributes CommonCertificateAttributes CommonDataObjectAttributes
    CommonAuthenticationObjectAttributes DDO TokenInfo SecurityEnvironmentInfo RecordInfo AlgorithmInfo OtherKey
    PinAttributes BiometricAttributes IrisScan FingerPrint AuthKeyAttributes X509CertificateAttributes
    GenericSecretKeyAttributes PublicRSAKeyAttributes PrivateRSAKeyAttributes""".split()
CHOICES = """SecurityCondition ReferencedValue ObjectValue Opaque PathOrObjects KeyInfo LastUpdate BiometricType
    PKCS15Objects PrivateKeyType PublicKeyType SecretKeyType CertificateType DataType AuthenticationType""".split()
# Alternatives that this system does not read; "not" and the generic key have blocks of their own.
UNSUPPORTED = {("LastUpdate", "ia5Url"), ("BiometricType", "irisScan"), ("SecretKeyType", "genericSecretKey"),
               ("SecretKeyType", "otherKey"), *((kind, "direct") for kind in ("ObjectValue", "Opaque")),
               *((kind, "indirectProtected") for kind in ("ObjectValue", "Opaque", "PathOrObjects"))}

# ---- values --------------------------------------------------------------------------------------------------------

NULL = bytes.fromhex("0500")
NAME = bytes.fromhex("300E310C300A06035504030C03416E6E")  # CN=Ann
BASIC = [(univ.Boolean, True), (univ.Integer, 300), (univ.ObjectIdentifier, "1.2.840.113549.1.15"),
         (useful.GeneralizedTime, "20260901120000Z"), (char.UTF8String, "Gr\u00fc\u00dfe"),
         (char.AbstractCharacterString, "http://example.org/c.der"), (univ.Any, NAME),
         (univ.OctetString, bytes.fromhex("3F0050154401"))]  # the first that fits: these are derived from each other


def sample(kind, bare=False):
    """A plain value for a type (a prototype): with every field, or with none that may miss."""
    if isinstance(kind, (univ.BitString, univ.Enumerated)):
        names = list(kind.namedValues)
        if isinstance(kind, univ.Enumerated):
            return names[-1]
        return [] if bare and names else [names[0], names[-1]] if names else "01"
    if isinstance(kind, univ.SequenceOf):
        return [] if bare else 2 * [sample(kind.componentType)]
    if isinstance(kind, univ.Choice):
        first = kind.componentType.namedTypes[0]
        return first.name, sample(first.asn1Object, bare)
    if isinstance(kind, univ.Sequence):
        return {t.name: sample(t.asn1Object, bare) if not t.isDefaulted else not t.asn1Object
                for t in kind.componentType.namedTypes if not (bare and (t.isOptional or t.isDefaulted))}
    return next(value for base, value in BASIC if isinstance(kind, base))


def of(name):
    return sample(p15.TYPES[name]())


def without(value, names):
    return {name: content for name, content in value.items() if name not in names}


def variants(kind):
    """A full value, one without any optional field, and each optional field alone, or left out alone."""
    full, optional = sample(kind()), [name for name, may_miss in p15.field_names(kind) if may_miss]
    yield full, "every field"
    if optional:
        yield without(full, optional), "no optional field"
    if len(optional) > 1:
        for name in optional:
            yield without(full, [o for o in optional if o != name]), f"{name} alone"
            yield without(full, [name]), f"all but {name}"


def edges():
    """Fields at the edges of their types: type, value, what it shows."""
    rule, pin, info, algorithm = of("AccessControlRule"), of("PinAttributes"), of("TokenInfo"), of("AlgorithmInfo")
    path, wide = ("path", of("Path")), "2.999.4294967295.0.127.128"
    yield "Path", {"path": b""}, "no octets"
    yield "Path", {"path": bytes(127)}, "longest short length"
    yield "Path", {"path": bytes(128), "index": 65536}, "shortest long length"
    yield "Path", {"path": bytes(300), "index": 0xFFFFFFFF, "length": 0x7FFFFFFF}, "two length octets, wide numbers"
    yield "Path", {"path": b"\x3F\x00", "index": -1, "length": -128}, "negative numbers"
    yield "Path", {"path": b"\x3F\x00", "index": 0, "length": 0}, "zeros"
    yield "CommonObjectAttributes", {"label": "x" * 255}, "label of 255 octets"
    yield "CommonObjectAttributes", {"label": ""}, "empty label"
    yield "CommonObjectAttributes", {"flags": []}, "no flag set"
    yield "CommonObjectAttributes", {"flags": ["modifiable"]}, "second flag alone"
    yield "CommonObjectAttributes", {"accessControlRules": [rule] * 30}, "thirty rules"
    yield "CommonKeyAttributes", {"iD": b"\x01", "usage": ["nonRepudiation"]}, "usage of two octets"
    yield "CommonKeyAttributes", {"iD": b"\x01", "usage": []}, "no usage"
    yield "CommonKeyAttributes", {"iD": b"\x01", "usage": ["sign"], "keyReference": -127}, "negative reference"
    for identifier, comment in ((wide, "wide arcs"), ("0.0", "smallest identifier"), ("2.47", "sub-identifier 127"),
                                ("2.48.16384.2097151", "sub-identifier 128")):
        yield "DDO", {"oid": identifier}, comment
    yield "PinAttributes", {**pin, "pinType": "bcd", "padChar": b""}, "empty pad"
    yield "PinAttributes", {**pin, "pinFlags": ["caseSensitive"], "minLength": 256}, "first flag"
    for exponent in (159, 160):
        yield "X509CertificateAttributes", {"value": path, "serialNumber": 2 ** exponent - 1}, f"{exponent} bits"
    yield "TokenInfo", {**info, "seInfo": 9 * info["seInfo"]}, "eighteen environments"
    yield "TokenInfo", {**info, "tokenflags": []}, "no flag set"
    for alternative in (path, ("urlWithDigest", of("UrlWithDigest"))):
        yield "TokenInfo", {**info, "lastUpdate": alternative}, f"time behind a {alternative[0]}"
    yield "AlgorithmInfo", {**algorithm, "parameters": bytes.fromhex("0408") + bytes(8)}, "parameters: an octet string"
    yield "KeyInfo", ("reference", 0xFFFFFFFF), "the greatest reference"
    yield "KeyInfo", ("paramsAndOps", {"parameters": NULL}), "no operations"
    two = ("or", [("authId", b"\x02"), ("and", [("authId", b"\x03"), ("authId", b"")])])
    for condition in (("authId", b""), ("authId", bytes(200)), ("and", [("authId", b"\x01"), two]),
                      ("or", [("authId", b"\x01")] * 40)):
        yield "SecurityCondition", condition, condition[0]


# ---- blocks: type, octets, verdict, comment ------------------------------------------------------------------------


def same_blocks():
    for name in RECORDS:
        for value, comment in variants(p15.TYPES[name]):
            if name != "TokenInfo" or "serialNumber" in value:  # without one it is never written: see refused_blocks()
                yield name, p15.encode(p15.TYPES[name], value), "same", comment
    for name in CHOICES:
        for alternative in p15.TYPES[name]().componentType.namedTypes:
            if (name, alternative.name) not in UNSUPPORTED | {("SecurityCondition", "not")}:
                for bare in (False, True):
                    value = (alternative.name, sample(alternative.asn1Object, bare))
                    yield name, p15.encode(p15.TYPES[name], value), "same", alternative.name + bare * ", bare"
    for name, value, comment in edges():
        yield name, p15.encode(p15.TYPES[name], value), "same", comment


def negated_blocks():
    """`not` is read as published, a nested authId under an explicit [0], and written as its octets under [0]."""
    def in_list(inner): return ("and", [("authId", b"\x07"), ("or", [inner, ("authId", b"\x08")])])
    def in_rule(inner): return {"accessMode": ["read"], "securityCondition": inner}
    for octets in (b"\x01", b"", bytes(130)):
        published, written = ("not", ("authId", octets)), ("not", octets)
        for kind, around in (("SecurityCondition", lambda inner: inner), ("SecurityCondition", in_list),
                             ("AccessControlRule", in_rule), ("CommonObjectAttributes", lambda inner: {
                                 "label": "not", "accessControlRules": [in_rule(inner)]})):
            octets_written = p15.encode(p15.IMPLICIT_NOT[kind], around(written))
            yield (kind, p15.encode(p15.TYPES[kind], around(published)), octets_written.hex().upper(),
                   "not, explicit as published")
            yield kind, octets_written, "same", "not, implicit as written"


def lenient_blocks():
    """Forms that are accepted and written differently."""
    for value, comment in [*variants(p15.DIRRecord), ({"aid": b"", "path": b""}, "empty aid and path")]:
        if "path" in value:  # read with the application tag, written as a plain SEQUENCE
            written = p15.encode(p15.PlainDIRRecord, value).hex().upper()
            yield "DIRRecord", p15.encode(p15.DIRRecord, value), written, comment
    for value, comment in variants(p15.RecordInfo):
        if value:
            written = p15.encode(p15.RecordInfo, value).hex().upper()
            yield "RecordInfo", p15.encode(p15.ExplicitRecordInfo, value), written, f"explicit tags, {comment}"
    generic = p15.encode(p15.SecretKeyType, ("genericSecretKey", of("SecretKey")))
    yield "SecretKeyType", b"\xB0" + generic[1:], generic.hex().upper(), "a generic key is read with the octet B0"


# An optional field that is there and empty, which pyasn1's DER encoder leaves out: by `openssl asn1parse -genconf`.
EMPTY_FIELDS = [
    ("TokenInfo", "300F0201000401010301003000A100A200", "empty lists"),
    ("CommonObjectAttributes", "30050C01783000", "no access rule in the list"),
    ("CommonPrivateKeyAttributes", "30043000A000", "no identifier in the list"),
    ("CommonCertificateAttributes", "30080400A000A100A200", "empty wrappers"),
    ("PublicKeyType", "301D3000300704010103020102A0023000A10C300A30040402440102020800", "empty subclass attributes"),
]


def refused_blocks():
    """Published forms that this system does not read, or reads and cannot write."""
    for value, comment in ((without(of("TokenInfo"), ["serialNumber"]), "no serial number"),
                           ({"version": 1, "tokenflags": []}, "version and flags alone")):
        yield "TokenInfo", p15.encode(p15.TokenInfo, value), "none", comment
    for name, alternative in sorted(UNSUPPORTED):
        value = (alternative, sample(p15.TYPES[name].componentType[alternative].asn1Object))
        yield name, p15.encode(p15.TYPES[name], value), "refused", alternative
    ia5 = {**of("TokenInfo"), "lastUpdate": ("ia5Url", "http://example.org/")}
    yield "TokenInfo", p15.encode(p15.TokenInfo, ia5), "refused", "lastUpdate as an IA5String URL"
    yield "SecurityCondition", NULL, "refused", "always"
    yield "SecurityCondition", bytes.fromhex("3003040101"), "refused", "authReference"
    nested = ("not", ("and", [("authId", b"\x01"), ("authId", b"\x02")]))
    yield "SecurityCondition", p15.encode(p15.SecurityCondition, nested), "refused", "not around a list"
    direct = of("PrivateRSAKey")
    direct["typeAttributes"]["value"] = ("direct", NULL)
    yield "PrivateKeyType", p15.encode(p15.PrivateKeyType, ("privateRSAKey", direct)), "refused", "direct value"
    yield "BiometricType", p15.encode(p15.IrisScan, of("IrisScan")), "refused", "iris scan with a universal tag"
    scan = of("BiometricObject")
    scan["typeAttributes"]["bioType"] = ("irisScan", of("IrisScan"))
    yield "AuthenticationType", p15.encode(p15.AuthenticationType, ("biometricTemplate", scan)), "refused", "iris scan"
    yield "DIRRecord", p15.encode(p15.PlainDIRRecord, sample(p15.PlainDIRRecord())), "refused", "universal tag"
    yield "PKCS15Objects", bytes.fromhex("A906300404024401"), "refused", "tenth type"


def golden_blocks():
    yield from same_blocks()
    yield from negated_blocks()
    yield from lenient_blocks()
    for kind, octets, comment in EMPTY_FIELDS:
        yield kind, bytes.fromhex(octets), "same", f"{comment} (openssl)"


def blocks_text(head, blocks):
    texts = {}
    for kind, octets, verdict, comment in blocks:
        text = f"Type = {kind}\nHex = {octets.hex().upper()}\nReencodes = {verdict}\nComment = {comment}\n"
        texts.setdefault((kind, octets), text)
    return "\n".join([head, *texts.values()])


if __name__ == "__main__":
    write_or_check([("golden.txt", blocks_text(GOLDEN, golden_blocks())),
                    ("golden-refused.txt", blocks_text(REFUSED, refused_blocks()))])
