"""The eight test tokens as plain values. build_tokens.py turns them into card images and lists of what a reader finds."""

import hashlib

import pkcs15_asn1 as p15
from token_objects import (CA, DES3_CBC, EC, LONG, RSA_PKCS, RSA_RAW, RSA_SHA1, USER1, USER2, algorithm, assemble, at, auth_id,
                           auth_key, cert_hash, certificate, common, data_object, described, key, key_identifier, path,
                           pin, present, private_rsa, public_rsa, rsa, rule, secret)

AID = "A000000063504B43532D3135"
OID_PKCS15 = "1.2.840.113549.1.15"
PIN1 = {"pin": 0x81}
PINS = [{"reference": 0x81, "value": b"1234".ljust(8, b"\0").hex(), "maxTries": 3}]  # as the card stores it
FREE = bytes(2)  # a free record of a directory file

# The TokenInfo file of a known card whose DER lengths are wrong, as its makers wrote it: the three length octets at
# offsets 1, 41 and 43 are too small. Octets behind the 59 of the image do not matter.
FAULTY_TOKEN_INFO = (
    bytes.fromhex("3034020101801D") + b"Health Professional Card v2.0" + bytes.fromhex("030205603010300B020101040A")
    + bytes.fromhex("A000000167455349474E"))
REPAIRED_TOKEN_INFO = {
    "version": 1, "label": "Health Professional Card v2.0", "tokenflags": ["loginRequired", "prnGeneration"],
    "seInfo": [{"se": 1, "aid": bytes.fromhex("A000000167455349474E")}],
}


def directory(kind, fid, file_kind, objects, file_path=None, sfi=None, gaps=()):
    """A directory file. `objects` are values, or pairs (record id, value) in a record file; `gaps` are the positions
    at which a free record stands in front; `file_path` is the path in the object directory, the identifier if not
    given."""
    return {"type": kind, "fid": fid, "kind": file_kind, "objects": objects, "path": file_path or path(fid), "sfi": sfi,
            "gaps": gaps}


def content(fid, data, read="always", update="never"):
    return {"fid": fid, "data": data, "access": {"read": read, "update": update}}


def key_file(fid):
    """The file that a private or secret key's path names: nobody reads it."""
    return content(fid, bytes(16), read="never", update=PIN1)


def dir_entry(label="Zelmop test token", file="3F005015", aid=AID, ddo=None):
    return present(aid=bytes.fromhex(aid), label=label, path=bytes.fromhex(file), ddo=ddo)


def user_pin(**more):
    return pin(common("PIN", ["private", "modifiable"]), 1,
               ["caseSensitive", "local", "initialized", "needsPadding"], maxLength=8, pinReference=0x81, padChar=b"\0",
               **more)


def certificate_directories(kind, ids, ca_class, file_prefix=""):
    """The three kinds of certificates in their plainest form; `ids` tells the record ids or is None."""
    entries = [
        certificate(common("User certificate", ["modifiable"]), {"iD": b"\x45"}, at(file_prefix + "4301")),
        certificate(common("CA certificate"), ca_class, at(file_prefix + "4303")),
        certificate(common("EC certificate"), {"iD": b"\x47"}, at(file_prefix + "4304")),
    ]
    for number, (object_type, fid) in enumerate(((4, "4404"), (5, "4405"), (6, "4406"))):
        objects = [entries[number]] if ids is None else [(ids[number], entries[number])]
        yield directory(object_type, fid, kind, objects)


CERTIFICATE_FILES = [content("4301", USER1.certificate), content("4303", CA.certificate), content("4304", EC.certificate)]


def transparent():
    signing = common("Signature key", ["private"], 1, consent=1, rules=[
        rule(["execute"], ("and", [auth_id(1), ("or", [auth_id(2), auth_id(3)])])),
        rule(["read"], ("not", auth_id(1))),
        rule(["update"], auth_id(2)),
    ])
    ec_key = ("privateECKey", assemble(common("EC key", ["private"], 1), key(b"\x47", ["sign", "derive"], keyReference=4),
                                       at("3F0050154B04")))
    private_keys = [
        private_rsa(signing, key(USER1.key_id, ["sign", "nonRepudiation"], accessFlags=["sensitive", "alwaysSensitive",
                    "neverExtractable", "local"], keyReference=0x81, startDate="20260901000000Z",
                    endDate="20460901000000Z"), rsa("3F0050154B01", info=("reference", 1)),
                    {"subjectName": USER1.subject, "keyIdentifiers": [key_identifier(2, USER1.key_id)]}),
        private_rsa(common("Authentication key", ["private"], 1), key(USER2.key_id, ["sign", "decrypt", "unwrap"],
                    accessFlags=["sensitive"], keyReference=0x83), rsa("4B02", info=("paramsAndOps", {
                        "parameters": bytes.fromhex("0500"), "supportedOperations": "01000100"}))),
        private_rsa(common("Old key", ["private", "modifiable"], 1, rules=[
            rule(["read", "update"], ("or", [auth_id(1), ("and", [auth_id(2), auth_id(3)])]))]),
            key(b"\x46\x01", ["decrypt"], native=False), rsa("4B03", 1024), {"subjectName": USER2.subject}),
        ec_key,
    ]
    public_keys = [
        public_rsa(common("Signature public key"), key(USER1.key_id, ["verify"], native=False),
                   rsa("4B11", info=("reference", 2))),
        public_rsa(common("Authentication public key", []), key(USER2.key_id, ["encrypt", "verify", "wrap"],
                   native=False), rsa("3F0050154B12"), {"subjectName": USER2.subject}),
    ]
    trusted_public_keys = [
        public_rsa(common("CA public key"), key(CA.key_id, ["verify"], native=False), rsa("4B13"), {"trustedUsage": {
            "keyUsage": "000001", "extKeyUsage": ["1.3.6.1.5.5.7.3.2", "1.3.6.1.5.5.7.3.4"]}}),
    ]
    secret_keys = [
        secret("des3Key", common("Device authentication", ["private"], 2), key(b"\xA1", ["encrypt", "decrypt"],
               keyReference=5), "4B21", 168),
        secret("desKey", common("Session key"), key(b"\xA2", ["encrypt"], accessFlags=["extractable"]), "4B22"),
    ]
    stacked = USER1.certificate + USER2.certificate  # one file for two certificates
    certificates = [
        certificate(common("Signature certificate", ["modifiable"], rules=[rule(["update"], auth_id(2))]),
                    {"iD": USER1.key_id, "certHash": cert_hash(USER1)}, at("3F0050154301", 0, len(USER1.certificate)),
                    **described(USER1)),
        certificate(common("Authentication certificate", ["modifiable"]), {"iD": USER2.key_id, "identifiers": [
                    key_identifier(2, USER2.key_id), key_identifier(4, hashlib.sha1(USER2.public_key).digest())]},
                    at("4301", len(USER1.certificate), len(USER2.certificate)), **described(USER2)),
        certificate(common("EC certificate"), {"iD": b"\x47", "identifier": key_identifier(2, EC.key_id)}, at("4304")),
    ]
    trusted = [certificate(common("Root CA"), {"iD": CA.key_id, "authority": True, "trustedUsage": {
        "keyUsage": "000001"}, "implicitTrust": True}, at("4303"), serialNumber=CA.serial)]
    useful = [certificate(common("Useful CA"), {"iD": CA.key_id, "authority": True}, at("4303"))]
    data_objects = [
        data_object(common("Address", ["private", "modifiable"], 1), {"applicationName": "Zelmop"}, at("4D01", 4, 12)),
        data_object(common("Pr\u00e4ferenzen \u2713"), {"applicationOID": "2.999.1.4294967295"}, at("4D02")),
        data_object(common(), {}, at("3F0050154D02")),
    ]
    auth_objects = [
        user_pin(path=path("3F005015")),
        pin(common("SO PIN", ["private", "modifiable"], 3), 2,
            ["soPin", "initialized", "unblockDisabled", "needsPadding"], "bcd", 6, 8,
            maxLength=12, pinReference=0x82, padChar=b"\xFF", lastPinChange="20260830101500Z"),
        pin(common("PUK", ["private"]), 3, ["unblockingPin", "initialized", "changeDisabled"], "utf8", 8, 8),
        auth_key(common("Device key"), 4, b"\xA1", derivedKey=False),
        ("biometricTemplate", assemble(common("Right index finger"), {"authId": b"\x05"}, {
            "bioFlags": ["local", "initialized"], "templateId": "1.3.6.1.4.1.99999.1", "bioType": (
                "fingerPrint", {"hand": "right", "finger": "pointerFinger"}), "bioReference": 0x91,
            "lastChange": "20260901120000Z", "path": path("3F005015")})),
    ]
    token_info = {
        "version": 0, "serialNumber": bytes.fromhex("0102030405060708"), "manufacturerID": "Zelmop Works",
        "label": "Transparent test token", "tokenflags": ["loginRequired", "prnGeneration", "eidCompliant"],
        "seInfo": [{"se": 1, "owner": "1.3.6.1.4.1.99999", "aid": bytes.fromhex(AID)}, {"se": 2}],
        "supportedAlgorithms": [RSA_PKCS, RSA_SHA1, RSA_RAW, DES3_CBC], "issuerId": "Example issuer",
        "holderId": "Ann Example", "lastUpdate": ("generalizedTime", "20260901120000Z"), "preferredLanguage": "de",
    }
    kinds = [private_keys, public_keys, trusted_public_keys, secret_keys, certificates, trusted, useful, data_objects,
             auth_objects]
    return {
        "name": "transparent",
        "pins": PINS + [{"reference": 0x82, "value": "123456FFFFFFFFFF", "maxTries": 5}],
        "dirForm": "transparent",
        "dir": [dir_entry("eSign", "3F00DF02", "A000000167455349474E"),
                dir_entry(ddo={"oid": OID_PKCS15, "odfPath": path("3F0050155031"),
                               "tokenInfoPath": path("3F0050155032"), "unusedPath": path("3F0050155033")})],
        "tokenInfo": token_info,
        "directories": [directory(n, f"44{n:02X}", "transparent", objects, path(f"3F00501544{n:02X}") if n % 2 else None)
                        for n, objects in enumerate(kinds)],
        "files": [content("4301", stacked), content("4303", CA.certificate), content("4304", EC.certificate),
                  content("4D01", b"ABCDHello token!XYZ", read=PIN1, update=PIN1), content("4D02", b"\x30\x03\x02\x01\x07"),
                  content("4B11", USER1.public_key), content("4B12", USER2.public_key), content("4B13", CA.public_key)]
                 + [key_file(f"4B{n:02X}") for n in (1, 2, 3, 4, 0x21, 0x22)],
    }


def records():
    """Every directory a record file, with free records and ids out of order; EF.DIR as records in the regular form."""
    private_keys = [
        (5, private_rsa(common("Signature key", ["private"], 1, [rule(["execute"], auth_id(1))], 1),
                        key(b"\x45", ["sign", "nonRepudiation"], accessFlags=["sensitive", "neverExtractable"],
                            keyReference=0x81), rsa("4B01", info=("reference", 1)))),
        (2, private_rsa(common("Decryption key", ["private", "modifiable"], 1), key(b"\x46", ["decrypt", "unwrap"],
                        keyReference=0x82), rsa("4B02", 1024, ("reference", 9)))),
    ]
    public_keys = [(1, public_rsa(common("Signature public key"), key(b"\x45", ["verify"], native=False), rsa("4B11")))]
    trusted = [(200, public_rsa(common("CA public key"), key(b"\x01", ["verify"], native=False), rsa("4B13")))]
    secret_keys = [(1, secret("des2Key", common("Session key"), key(b"\xA1", ["encrypt"]), "4B21")),
                   (3, secret("des3Key", common("Device authentication"), key(b"\xA3", ["encrypt"]), "4B22", 168))]
    data_objects = [(1, data_object(common("Notes", ["modifiable"], 1), {"applicationName": "Zelmop"}, at("4D01")))]
    auth_objects = [
        (1, user_pin()),
        (3, auth_key(common("Device key"), 4, b"\xA3")),
        (2, pin(common("PUK"), 3, ["unblockingPin", "initialized"], "iso9564-1", 8, 8, pinReference=0x83)),
    ]
    gaps = {0: (0, 1), 3: (1,), 8: (2,)}
    kinds = {0: private_keys, 1: public_keys, 2: trusted, 3: secret_keys, 7: data_objects, 8: auth_objects}
    directories = [directory(n, f"44{n:02X}", "records", objects, gaps=gaps.get(n, ())) for n, objects in kinds.items()]
    directories += certificate_directories("records", (7, 1, 255), {"iD": b"\x01", "authority": True})
    return {
        "name": "records",
        "dirForm": "records",
        # A walk over records takes the length of a record as the capacity for the next: the longer one stands first.
        "dir": [dir_entry("Qualified electronic signature", "3F00DF02", "A000000167455349474E"), dir_entry()],
        "tokenInfo": {
            "version": 0, "serialNumber": bytes.fromhex("53000001"), "manufacturerID": "Zelmop Works",
            "label": "Record test token", "tokenflags": ["loginRequired"],
            "recordInfo": {name: 234 for name in p15.RECORD_LENGTHS[1:]},
            "supportedAlgorithms": [RSA_PKCS, algorithm(9, 3, ["decipher"], card_reference=0x1A)],
        },
        "directories": directories,
        "files": CERTIFICATE_FILES + [content("4B11", USER1.public_key), content("4B13", CA.public_key),
                                      content("4D01", b"notes", read=PIN1, update=PIN1)]
                 + [key_file(f"4B{n:02X}") for n in (1, 2, 0x21, 0x22)],
    }


def mixed():
    """The application under another identifier, its two files named in EF.DIR by relative paths; record files and
    transparent ones side by side, with no hint in the TokenInfo; a directory that is named by a short identifier."""
    private_keys = [(1, private_rsa(common("Signature key", ["private"], 1), key(USER1.key_id, ["sign"],
                                    keyReference=1), rsa("3F00DF014B01")))]
    public_keys = [public_rsa(common("Public key"), key(USER1.key_id, ["verify"], native=False), rsa("4B11"))]
    trusted = [(1, public_rsa(common("CA public key"), key(CA.key_id, ["verify"], native=False), rsa("4B13")))]
    secret_keys = [(9, secret("ideaKey", common("Card key"), key(b"\xA1\x02", ["encrypt", "decrypt"]), "4B21", 128))]
    data_objects = [data_object(common("Short file identifier"), {"applicationOID": "1.3.6.1.4.1.99999.2"}, at("4D01"))]
    auth_objects = [(1, user_pin()), (2, auth_key(common("Card key"), 2, b"\xA1\x02", derivedKey=False))]
    directories = [
        directory(8, "4408", "records", auth_objects),
        directory(0, "4400", "records", private_keys),
        directory(1, "4401", "transparent", public_keys),
        directory(2, "4402", "records", trusted),
        directory(3, "4403", "records", secret_keys),
        directory(7, "4407", "transparent", data_objects, path("07"), sfi=7),
    ] + list(certificate_directories("transparent", None, {"iD": CA.key_id, "authority": True}, "3F00DF01"))
    return {
        "name": "mixed",
        "application": "DF01",
        "dirForm": "transparent",
        "odfFid": "4F01",
        "tokenInfoFid": "4F02",
        "dir": [dir_entry("Mixed test token", "3F00DF01", ddo={
            "oid": OID_PKCS15, "odfPath": path("4F01"), "tokenInfoPath": path("4F02")})],
        "tokenInfo": {
            "version": 0, "serialNumber": bytes.fromhex("4D495845440001"), "label": "Mixed test token",
            "tokenflags": ["eidCompliant"], "holderId": "Bob Example",
            "lastUpdate": ("path", path("3F00DF014D02", 0, 15)),
        },
        "directories": directories,
        "files": CERTIFICATE_FILES + [content("4B11", USER1.public_key), content("4B13", CA.public_key),
                                      content("4D01", b"by short identifier"), content("4D02", b"20260901120000Z")]
                 + [key_file("4B01"), key_file("4B21")],
    }


def plain_directories(kind, ids=None):
    """One object of each type, for the tokens whose point lies elsewhere."""
    objects = [
        private_rsa(common("Private key", ["private"], 1), key(b"\x45", ["sign"], keyReference=1), rsa("4B01")),
        public_rsa(common("Public key"), key(b"\x45", ["verify"], native=False), rsa("4B11")),
        public_rsa(common("CA public key"), key(b"\x01", ["verify"], native=False), rsa("4B13")),
        secret("des3Key", common("Card key"), key(b"\xA1", ["encrypt"]), "4B21", 168),
        data_object(common("Data"), {"applicationName": "Zelmop"}, at("4D01")),
    ]
    auth_objects = [user_pin(), auth_key(common("Card key"), 2, b"\xA1")]
    numbered = list(enumerate(objects + [auth_objects], start=1))
    for object_type, (record_id, value) in zip((0, 1, 2, 3, 7, 8), numbered):
        values = value if isinstance(value, list) else [value]
        if kind == "records":
            values = [(record_id + n, v) for n, v in enumerate(values)]
        yield directory(object_type, f"44{object_type:02X}", kind, values)
    yield from certificate_directories(kind, (1, 2, 3) if kind == "records" else None, {"iD": b"\x01", "authority": True})


PLAIN_FILES = CERTIFICATE_FILES + [content("4B11", USER1.public_key), content("4B13", CA.public_key),
                                   content("4D01", b"data"), key_file("4B01"), key_file("4B21")]


def buggy_token_info():
    return {
        "name": "buggy-tokeninfo",
        "dirForm": "transparent",
        "dir": [dir_entry("Health card", ddo={"oid": OID_PKCS15})],
        "tokenInfo": REPAIRED_TOKEN_INFO,
        "tokenInfoFile": FAULTY_TOKEN_INFO + bytes.fromhex("DEADBEEF"),
        "directories": list(plain_directories("transparent")),
        "files": PLAIN_FILES,
    }


def no_efdir():
    return {
        "name": "no-efdir",
        "dirForm": None,
        "dir": [],
        "tokenInfo": {"version": 0, "serialNumber": bytes.fromhex("4E4F"), "label": "Token without EF.DIR",
                      "tokenflags": ["readonly"], "supportedAlgorithms": [RSA_PKCS]},
        "directories": list(plain_directories("transparent")),
        "files": PLAIN_FILES,
    }


def efdir_records():
    return {
        "name": "efdir-records",
        "dirForm": "faulty",
        # The repair of a faulty record holds for the rest of a call, so that the token's own stands first.
        "dir": [dir_entry("Faulty EF.DIR"), dir_entry("eSign", "3F00DF02", "A000000167455349474E")],
        "tokenInfo": {"version": 0, "serialNumber": bytes.fromhex("4546444952"), "label": "Faulty EF.DIR",
                      "tokenflags": ["loginRequired"], "recordInfo": {"oDFRecordLength": 0, "aODFRecordLength": 234}},
        "directories": list(plain_directories("records")),
        "files": PLAIN_FILES,
    }


def guarded():
    """What has to be proven before something can be read: PINs of every format, a key, and rules that name them."""
    def guarded_certificate(label, iD, fid, auth=None, condition=None, **place):
        rules = None if condition is None else [rule(["update"], auth_id(3)), rule(["read", "update"], auth_id(2)),
                                                rule(["read"], condition)]
        return certificate(common(label, ["private"], auth, rules), {"iD": iD}, at(fid, **place))

    certificates = [
        guarded_certificate("Behind the PIN", b"\x01", "4301", auth=1),
        guarded_certificate("Behind PIN or key", b"\x02", "4302", condition=("or", [auth_id(6), auth_id(1)])),
        guarded_certificate("Behind the signature PIN", b"\x03", "4303", auth=2, index=3,
                            length=len(EC.certificate)),
        guarded_certificate("Behind both", b"\x04", "4304", condition=("and", [auth_id(1), auth_id(2)])),
        guarded_certificate("Behind nobody", b"\x05", "4304", auth=9),
        certificate(common("Free", ["modifiable"], 1), {"iD": b"\x06"}, at("4304")),
    ]
    application_path = path("3F005015")
    auth_objects = [
        pin(common("User PIN", ["private", "modifiable"]), 1, ["caseSensitive", "initialized", "needsPadding"],
            maxLength=8, pinReference=0x01, padChar=b"\0", path=application_path),
        pin(common("Signature PIN", ["private", "modifiable"]), 2, ["local", "initialized"], "utf8", 4, 12,
            maxLength=12, pinReference=0x82, path=application_path),
        pin(common("BCD PIN", ["private", "modifiable"]), 3, ["local", "initialized", "needsPadding"], "bcd", 6, 6,
            maxLength=12, pinReference=0x83, padChar=b"\xFF"),
        pin(common("PUK", ["private"]), 4, ["unblockingPin", "initialized", "changeDisabled"], "iso9564-1", 8, 8,
            maxLength=8, pinReference=0x04, path=application_path),
        pin(common("New PIN", ["private", "modifiable"]), 5, ["local"], "halfNibbleBcd", 4, 8, maxLength=8,
            pinReference=0x85),
        auth_key(common("Terminal key"), 6, b"\xA6"),
        auth_key(common("Old terminal key"), 7, b"\xA7"),
    ]
    secret_keys = [secret("cast128Key", common("Terminal key"),  # AES has no alternative of its own
                          key(b"\xA6", ["decrypt"], keyReference=0x86), "3F0050154B26", 128),
                   secret("des3Key", common("Old terminal key"), key(b"\xA7", ["decrypt"], keyReference=0x07),
                          "3F0050154B27", 168)]
    return {
        "name": "guarded",
        "dirForm": "transparent",
        "dir": [dir_entry("Guarded")],
        "pins": [
            {"reference": 0x01, "value": b"1234".ljust(8, b"\0").hex(), "unblockedBy": 0x04},
            {"reference": 0x82, "value": "STRASSE Ä".encode().hex(), "minLength": 4, "maxLength": 12},
            {"reference": 0x83, "value": "123456FFFFFF", "triesLeft": 1},
            {"reference": 0x04, "value": "2887654321FFFFFF", "maxTries": 5, "access": {"change": "never"}},
            {"reference": 0x85, "minLength": 4},
        ],
        "keys": [{"reference": 0x86, "algorithm": "aes", "value": "000102030405060708090A0B0C0D0E0F"},
                 {"reference": 0x07, "algorithm": "3des", "value": "0123456789ABCDEF23456789ABCDEF01456789ABCDEF0123"}],
        "tokenInfo": {"version": 0, "serialNumber": bytes.fromhex("47"), "label": "Guarded test token",
                      "tokenflags": ["loginRequired"]},
        "directories": [directory(3, "4403", "transparent", secret_keys),
                        directory(4, "4404", "transparent", certificates),
                        directory(8, "4408", "transparent", auth_objects)],
        "files": [content("4301", USER1.certificate, read={"pin": 0x01}),
                  content("4302", USER2.certificate, read={"or": [{"pin": 0x01}, {"key": 0x86}]}),
                  content("4303", b"\0\0\0" + EC.certificate + b"\0", read={"pin": 0x82}),
                  content("4304", CA.certificate), key_file("4B26"), key_file("4B27")],
    }


def long_certificates():
    """A token as many are: what reading it costs is counted."""
    fids = ["4301", "4302", "4303", "4304"]
    kinds = {
        0: [private_rsa(common("Private key", ["private"], 1), key(LONG.key_id, ["sign"], keyReference=1), rsa("4B01"))],
        1: [public_rsa(common("Public key"), key(LONG.key_id, ["verify"], native=False), rsa("4B11"))],
        4: [certificate(common(f"Certificate {fid}"), {"iD": bytes.fromhex(fid)}, at(fid)) for fid in fids],
        7: [data_object(common("Data"), {"applicationName": "Zelmop"}, at("4D01"))],
        8: [user_pin()],
    }
    return {
        "name": "long-certificates",
        "dirForm": "transparent",
        "dir": [dir_entry("Four certificates")],
        "tokenInfo": {"version": 0, "serialNumber": bytes.fromhex("3135"), "label": "Four certificates of 1.5 KB",
                      "tokenflags": ["loginRequired"], "supportedAlgorithms": [RSA_PKCS]},
        "directories": [directory(kind, f"44{kind:02X}", "transparent", objects) for kind, objects in kinds.items()],
        "files": [content(fid, LONG.certificate) for fid in fids] +
                 [content("4B11", LONG.public_key), content("4D01", b"data"), key_file("4B01")],
    }


TOKENS = [transparent, records, mixed, buggy_token_info, no_efdir, efdir_records, guarded, long_certificates]
