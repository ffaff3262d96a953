#!/usr/bin/python3
"""Builds the card images in tokens/ and, from the same model, the lists in expected/ of what a reader must find.

    build_tokens.py            writes the files
    build_tokens.py --check    builds them again in memory and compares; exit code 1 when anything differs

All DER comes from pyasn1 (see pkcs15_asn1.py), nothing from this project's own coders. The result depends only on the
models (token_models.py) and the checked-in keys and certificates of pki/.
"""

import json

import pkcs15_asn1 as p15
import token_models
from products import write_or_check
from token_objects import present

RECORD_SIZE = 234  # greatest record of a directory file, with its two header octets
TYPE_NAMES = [name for name, _ in p15.OBJECT_TYPES]
CARRIED = {"privateECKey", "privateDHKey", "privateDSAKey", "privateKEAKey", "publicECKey", "spkiCertificate"}

# ---- card images ---------------------------------------------------------------------------------------------------


def transparent_file(fid, data, size=None, sfi=None, access=None):
    return present(fid=fid, kind="transparent", sfi=sfi, size=size, data=data.hex().upper(),
                   access=access or {"read": "always", "update": "never"})


def record_file(fid, kind, records):
    file = {"fid": fid, "kind": kind}
    if kind == "tlv-records":
        file.update(maxRecord=RECORD_SIZE, maxRecords=64)
    file["records"] = [record.hex().upper() for record in records]
    file["access"] = {"read": "always", "update": token_models.PIN1}
    return file


def directory_records(directory):
    element = p15.OBJECT_TYPES[directory["type"]][1]
    for position, (record_id, value) in enumerate(directory["objects"]):
        if position in directory["gaps"]:
            yield token_models.FREE
        body = p15.encode(element, value)
        assert len(body) <= RECORD_SIZE - 2, (directory["fid"], record_id, len(body))
        yield bytes([record_id, len(body)]) + body
    if len(directory["objects"]) in directory["gaps"]:
        yield token_models.FREE


def directory_file(directory):
    if directory["kind"] == "records":
        return record_file(directory["fid"], "tlv-records", directory_records(directory))
    element = p15.OBJECT_TYPES[directory["type"]][1]
    data = b"".join(p15.encode(element, value) for value in directory["objects"])
    return transparent_file(directory["fid"], data, len(data) + 64, directory["sfi"])  # room behind, filled with zeros


def ef_dir(token):
    """EF.DIR in the token's form, or nothing."""
    form = token["dirForm"]
    if form is None:
        return []
    entries = [p15.encode(p15.DIRRecord, entry) for entry in token["dir"]]
    if form == "transparent":
        data = b"".join(entries)
        return [transparent_file("2F00", data, len(data) + 32)]
    if form == "faulty":  # a header of two octets, and the universal tag in the place of the application's
        entries = [bytes([0, len(entry)]) + b"\x30" + entry[1:] for entry in entries]
    return [record_file("2F00", "linear-variable", entries)]


def object_directory(token):
    entries = [(TYPE_NAMES[d["type"]], ("path", d["path"])) for d in token["directories"]]
    return b"".join(p15.encode(p15.PKCS15Objects, entry) for entry in entries)


def application(token):
    token_info = token.get("tokenInfoFile") or p15.encode(p15.TokenInfo, token["tokenInfo"])
    odf = object_directory(token)
    files = [transparent_file(token.get("odfFid", "5031"), odf, len(odf) + 32, sfi=17),
             transparent_file(token.get("tokenInfoFid", "5032"), token_info, sfi=18)]
    files += [directory_file(directory) for directory in token["directories"]]
    files += [transparent_file(c["fid"], c["data"], access=c["access"]) for c in token["files"]]
    return {"fid": token.get("application", "5015"), "kind": "df", "name": token_models.AID, "files": files}


def image(token):
    serial = token["tokenInfo"].get("serialNumber", b"\0").rjust(8, b"\0")
    card = {"atr": "3B80800101", "serial": serial.hex().upper(), "model": "1501", "lifeCycle": 52,
            "extendedLength": False}
    root = {"fid": "3F00", "kind": "df", "files": ef_dir(token) + [application(token)]}
    return {"format": "zelmo virtual card 1", "card": card, "root": root,
            "pins": token.get("pins", token_models.PINS), "keys": token.get("keys", [])}


# ---- what a reader must find ---------------------------------------------------------------------------------------


def plain(value):
    """A model value as JSON: octets in hexadecimal."""
    if isinstance(value, bytes):
        return value.hex().upper()
    if isinstance(value, dict):
        return {name: plain(content) for name, content in value.items()}
    if isinstance(value, (list, tuple)):
        return [plain(content) for content in value]
    return value


def condition(value):
    name, content = value
    return {name: [condition(c) for c in content] if name in ("and", "or") else
            condition(content) if name == "not" else plain(content)}


def common_attributes(value):
    rules = [{"accessMode": r["accessMode"], "condition": condition(r["securityCondition"])}
             for r in value.get("accessControlRules", [])]
    return {"label": value.get("label"), "flags": value.get("flags"), "authId": plain(value.get("authId")),
            "userConsent": value.get("userConsent"), "accessControlRules": rules}


def class_attributes(value, defaults):
    found = {**defaults, **plain(value)}
    if "iD" in found:
        found["id"] = found.pop("iD")
    if "authId" in found:
        found["id"] = found.pop("authId")  # an authentication object's own number
    return found


def type_attributes(alternative, value):
    if alternative == "opaqueDO":
        value = {"value": value}
    found = {name: plain(content) for name, content in value.items() if name not in ("value", "keyInfo", "bioType")}
    if "value" in value:
        found["path"] = plain(value["value"][1])
    if "keyInfo" in value:
        name, content = value["keyInfo"]
        found["keyInfo"] = {name: plain(content)}
    if "bioType" in value:
        found["bioType"] = {value["bioType"][0]: value["bioType"][1]}
    return found


DEFAULTS = {"x509Certificate": {"authority": False, "implicitTrust": False}}
KEY_DEFAULTS = {"native": True}


def expected_object(kind, object_id, value):
    alternative, content = value
    found = {"type": TYPE_NAMES[kind], "objectType": kind, "objectId": object_id, "alternative": alternative}
    if alternative in CARRIED:
        return {**found, "carried": True}
    found["carried"] = False
    found.update(common_attributes(content["commonObjectAttributes"]))
    defaults = KEY_DEFAULTS if kind <= 3 else DEFAULTS.get(alternative, {})
    found.update(class_attributes(content["classAttributes"], defaults))
    found.update(plain(content.get("subClassAttributes", {})))
    found.update(type_attributes(alternative, content["typeAttributes"]))
    if alternative == "authKey":
        found.setdefault("derivedKey", True)
    return found


def expected_objects(token):
    """Objects by type, in file order. In a transparent file the object's number counts down to 0."""
    for directory in sorted(token["directories"], key=lambda d: d["type"]):
        objects = directory["objects"]
        if directory["kind"] == "transparent":
            objects = [(len(objects) - 1 - n, value) for n, value in enumerate(objects)]
        for object_id, value in objects:
            yield expected_object(directory["type"], object_id, value)


def expected(token):
    writable_kinds = [d["kind"] for d in token["directories"] if d["type"] in (0, 1, 4)]
    info = token["tokenInfo"]
    return {
        "token": token["name"],
        "applications": plain(token["dir"]),
        "directories": [{"type": TYPE_NAMES[d["type"]], "path": plain(d["path"]), "kind": d["kind"]}
                        for d in token["directories"]],
        "tokenInfo": plain(info),
        # A reader treats a token as read-only when one of these directories cannot be written by record.
        "readonly": "readonly" in info["tokenflags"] or "transparent" in writable_kinds,
        "objects": list(expected_objects(token)),
    }


# ---- files ---------------------------------------------------------------------------------------------------------


def products():
    for make in token_models.TOKENS:
        token = make()
        for name, value in ((f"tokens/{token['name']}.card", image(token)),
                            (f"expected/{token['name']}.json", expected(token))):
            yield name, json.dumps(value, indent=2, ensure_ascii=False) + "\n"


if __name__ == "__main__":
    write_or_check(products())
