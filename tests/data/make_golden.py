#!/usr/bin/python3
"""Writes golden.txt and golden-refused.txt: encodings of single PKCS #15 structures made by pyasn1.

    make_golden.py            writes the files
    make_golden.py --check    compares with the files; exit code 1 when anything differs

Some of the values are encoded a second time by `openssl asn1parse -genconf` (golden_openssl.py), and both encoders must
agree before anything is written. Encodings that are read in a form other than the written one tell the written one.
"""

import pathlib
import sys

import golden_openssl
import golden_samples as samples
import pkcs15_asn1 as p15

HERE = pathlib.Path(__file__).parent
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


def without(value, names):
    return {name: content for name, content in value.items() if name not in names}


def variants(kind, full):
    """A full value, one without any optional field, and each optional field alone, or left out alone."""
    optional = [name for name, may_miss in p15.field_names(kind) if may_miss and name in full]
    yield full, "every field"
    if optional:
        yield without(full, optional), "no optional field"
    if len(optional) > 1:
        for name in optional:
            yield without(full, [o for o in optional if o != name]), f"{name} alone"
            yield without(full, [name]), f"all but {name}"


def pyasn1_blocks():
    for kind, full in samples.RECORDS:
        for value, comment in variants(kind, full):
            if kind is p15.TokenInfo and "serialNumber" not in value:
                continue  # readable, never written: see refused_blocks()
            yield kind.__name__, p15.encode(kind, value), "same", comment
    for kind, values in samples.CHOICES:
        for name, content in values:
            yield kind.__name__, p15.encode(kind, (name, content)), "same", name
    for kind, value in samples.OBJECTS:
        yield kind.__name__, p15.encode(kind, value), "same", f"{value[0]}, sparse or various"
    for kind, value, comment in samples.EDGES:
        yield kind.__name__, p15.encode(kind, value), "same", comment


def negated_blocks():
    """`not` is read as published, a nested authId under an explicit [0], and written as its octets under [0]."""
    for octets in (b"\x01", b"", bytes(130)):
        published = ("not", ("authId", octets))
        written = ("not", octets)
        yield from both_forms(p15.SecurityCondition, p15.security_condition(implicit_not=True), published, written)
        wrap = lambda inner: ("and", [("authId", b"\x07"), ("or", [inner, ("authId", b"\x08")])])
        yield from both_forms(p15.SecurityCondition, p15.security_condition(implicit_not=True), wrap(published),
                              wrap(written))
        rule = lambda inner: {"accessMode": ["read"], "securityCondition": inner}
        yield from both_forms(p15.AccessControlRule, p15.access_control_rule(True), rule(published), rule(written))
        common = lambda inner: {"label": "not", "accessControlRules": [rule(inner)]}
        yield from both_forms(p15.CommonObjectAttributes, p15.common_object_attributes(True), common(published),
                              common(written))


def both_forms(read_kind, written_kind, published, written):
    name = read_kind.__name__
    octets = p15.encode(written_kind, written)
    yield name, p15.encode(read_kind, published), octets.hex().upper(), "not, explicit as published"
    yield name, octets, "same", "not, implicit as written"


def directory_record_blocks():
    """Read with the application tag, written as a plain SEQUENCE."""
    full = {"aid": bytes(12), "label": "Token", "path": bytes.fromhex("3F005015"), "ddo": samples.DDO}
    for value, comment in variants(p15.DIRRecord, full):
        if "path" in value:
            written = p15.encode(p15.PlainDIRRecord, value).hex().upper()
            yield "DIRRecord", p15.encode(p15.DIRRecord, value), written, comment
    aid_and_path = {"aid": b"", "path": b""}
    written = p15.encode(p15.PlainDIRRecord, aid_and_path).hex().upper()
    yield "DIRRecord", p15.encode(p15.DIRRecord, aid_and_path), written, "empty aid and path"


def lenient_blocks():
    """Forms that are accepted and written differently."""
    for value, comment in variants(p15.RecordInfo, samples.RECORD_INFO):
        written = p15.encode(p15.RecordInfo, value).hex().upper()
        if value:
            yield "RecordInfo", p15.encode(p15.ExplicitRecordInfo, value), written, f"explicit tags, {comment}"
    generic = p15.encode(p15.SecretKeyType, ("genericSecretKey", samples.SECRET))
    yield "SecretKeyType", b"\xB0" + generic[1:], generic.hex().upper(), "a generic key is read with the octet B0"


def refused_blocks():
    """Published forms that this system does not read, or reads and cannot write."""
    no_serial = without(samples.TOKEN_INFO, ["serialNumber"])
    yield "TokenInfo", p15.encode(p15.TokenInfo, no_serial), "none", "no serial number"
    yield "TokenInfo", p15.encode(p15.TokenInfo, {"version": 1, "tokenflags": []}), "none", "version and flags alone"
    ia5 = {**samples.TOKEN_INFO, "lastUpdate": ("ia5Url", samples.URL)}
    yield "TokenInfo", p15.encode(p15.TokenInfo, ia5), "refused", "lastUpdate as an IA5String URL"
    yield "LastUpdate", p15.encode(p15.LastUpdate, ("ia5Url", samples.URL)), "refused", "IA5String URL"
    yield "SecurityCondition", bytes.fromhex("0500"), "refused", "always"
    yield "SecurityCondition", bytes.fromhex("3003040101"), "refused", "authReference"
    nested = ("not", ("and", [("authId", b"\x01"), ("authId", b"\x02")]))
    yield "SecurityCondition", p15.encode(p15.SecurityCondition, nested), "refused", "not around a list"
    for kind in (p15.ObjectValue, p15.Opaque):
        yield kind.__name__, p15.encode(kind, ("direct", samples.NULL)), "refused", "direct value"
        protected = p15.encode(kind, ("indirectProtected", ("path", samples.PATH)))
        yield kind.__name__, protected, "refused", "indirect, protected"
    protected = p15.encode(p15.PathOrObjects, ("indirectProtected", ("path", samples.PATH)))
    yield "PathOrObjects", protected, "refused", "indirect, protected"
    direct = samples.pkcs15_object(samples.KEY, {**samples.RSA, "value": ("direct", samples.NULL)})
    yield "PrivateKeyType", p15.encode(p15.PrivateKeyType, ("privateRSAKey", direct)), "refused", "direct value"
    for name, value in (("genericSecretKey", samples.SECRET), ("otherKey", samples.OTHER_KEY)):
        yield "SecretKeyType", p15.encode(p15.SecretKeyType, (name, value)), "refused", name
    iris = ("irisScan", {"eye": "right"})
    yield "BiometricType", p15.encode(p15.BiometricType, iris), "refused", "iris scan"
    yield "BiometricType", p15.encode(p15.IrisScan, {"eye": "right"}), "refused", "iris scan with a universal tag"
    scan = samples.pkcs15_object(samples.AUTHENTICATION, {**samples.BIOMETRIC, "bioType": iris})
    yield "AuthenticationType", p15.encode(p15.AuthenticationType, ("biometricTemplate", scan)), "refused", "iris scan"
    plain = p15.encode(p15.PlainDIRRecord, {"aid": bytes(5), "path": bytes(2)})
    yield "DIRRecord", plain, "refused", "universal tag"
    yield "PKCS15Objects", bytes.fromhex("A906300404024401"), "refused", "tenth type"


def blocks_text(head, blocks):
    seen = set()
    lines = [head]
    for kind, octets, verdict, comment in blocks:
        octets = octets.hex().upper()
        if (kind, octets) not in seen:
            seen.add((kind, octets))
            lines.append(f"Type = {kind}\nHex = {octets}\nReencodes = {verdict}\nComment = {comment}\n")
    return "\n".join(lines)


def golden_blocks():
    yield from pyasn1_blocks()
    yield from negated_blocks()
    yield from directory_record_blocks()
    yield from lenient_blocks()
    for kind, octets, comment in golden_openssl.blocks():
        yield kind, octets, "same", f"{comment} (openssl)"


def main():
    check = sys.argv[1:] == ["--check"]
    if sys.argv[1:] and not check:
        sys.exit("usage: make_golden.py [--check]")
    golden_openssl.compare_encoders()
    stale = []
    for name, head, blocks in (("golden.txt", GOLDEN, golden_blocks()), ("golden-refused.txt", REFUSED, refused_blocks())):
        text = blocks_text(head, blocks)
        if not check:
            (HERE / name).write_text(text)
        elif (HERE / name).read_text() != text:
            stale.append(name)
    if stale:
        sys.exit("not what make_golden.py makes: " + ", ".join(stale))


if __name__ == "__main__":
    main()
