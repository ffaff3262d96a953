#!/usr/bin/python3
"""Splits the test tokens and the golden encodings into seeds: make_corpus.py DIRECTORY makes one folder per target."""

import hashlib
import json
import pathlib
import re
import subprocess
import sys

HERE = pathlib.Path(__file__).parent
DATA = HERE.parent / "tests" / "data"
TRACED = 0x80  # the bit of a seed's first octet that turns the trace on

# The types that fuzz_directory.cpp chooses between, and the row of each directory file's type.
DIRECTORY_TYPES = ["PrivateKeyType", "PublicKeyType", "SecretKeyType", "CertificateType", "DataType",
                   "AuthenticationType", "PKCS15Objects", "DIRRecord"]
ROWS = [0, 1, 1, 2, 3, 3, 3, 4, 5]
PRIMITIVES = {0x04: 0, 0x0C: 1, 0x13: 2, 0x16: 3, 0x03: 5, 0x02: 6, 0x06: 7, 0x17: 8, 0x18: 9}
TIMES, ANY, LISTS, TEXTS, IDENTIFIERS = 10, 4, 0xC2, 0xC1, 0xC0
APPLICATION_FILES = ["2F00", "5032", "5031"] + [f"44{n:02X}" for n in range(9)]
FILE_KINDS = {"transparent": 1, "linear-variable": 2, "tlv-records": 3}


def types_of(target):
    """The types of a target of decoders, in their order."""
    first, last = re.search(r'target = {"(\w+)", "(\w+)"', (HERE / f"{target}.cpp").read_text()).groups()
    table = (HERE.parent / "tests" / "asn1" / "record_table.cpp").read_text().split("table[] = {")[1]
    names = re.findall(r'(\w+)"?\)(?=,|$)', table.split("};")[0], re.MULTILINE)
    return names[names.index(first):names.index(last) + 1]


def golden():
    for name in ("golden.txt", "golden-keys.txt", "golden-refused.txt"):
        for block in (DATA / name).read_text().split("\n\n"):
            fields = dict(line.split(" = ", 1) for line in block.splitlines() if " = " in line and line[0] != "#")
            if fields:
                yield fields["Type"], bytes.fromhex(fields["Hex"])


def elements(octets):
    """All elements with definite lengths that stand in some octets, inner ones included."""
    position = 0
    while position + 2 <= len(octets):
        tag, length, header = octets[position], octets[position + 1], 2
        if length > 0x80:
            header += length - 0x80
            length = int.from_bytes(octets[position + 2:position + header], "big")
        content = octets[position + header:position + header + length]
        yield tag, octets[position:position + header + length]
        if tag & 0x20:
            yield from elements(content)
        position += header + length


def files_of(df):
    """The elementary files below a DF."""
    for file in df["files"]:
        if file["kind"] == "df":
            yield from files_of(file)
        else:
            yield file


def contents(file):
    if file["kind"] == "transparent":
        return [bytes.fromhex(file["data"])]
    return [bytes.fromhex(record) for record in file["records"]]


def tokens():
    for path in sorted((DATA / "tokens").glob("*.card")):
        yield path, json.loads(path.read_text(encoding="utf-8"))


def record_seeds():
    types = types_of("fuzz_records")
    for name, octets in golden():
        if name in types:
            yield bytes([types.index(name)]) + octets
            yield bytes([types.index(name) | TRACED]) + octets


def primitive_seeds():
    for _, octets in golden():
        for tag, element in elements(octets):
            if tag in PRIMITIVES and len(element) < 64:
                yield bytes([PRIMITIVES[tag]]) + element
            if tag == 0x18:
                yield bytes([TIMES]) + element
            if tag == 0x06:
                yield bytes([IDENTIFIERS]) + element
        yield bytes([ANY]) + octets
        yield bytes([LISTS]) + octets
    for text in (b"1.2.840.113549", b"0.00.010.", b"20260901120000Z", b"2609011200+0130", b"26090112000Z"):
        yield bytes([TEXTS]) + text
    yield bytes([0]) + bytes.fromhex("24800401412480040142040143000004014400000000")
    yield bytes([5]) + bytes.fromhex("23800302044103030042FF0000")
    yield bytes([0]) + bytes.fromhex("048041420000")


def directory_seeds():
    for _, token in tokens():
        for file in files_of(token["root"]):
            data = contents(file)
            if file["fid"][:3] == "440":
                row = ROWS[int(file["fid"], 16) & 0x0F]
                bodies = data if file["kind"] == "transparent" else [record[2:] for record in data]
            elif file["fid"] in ("5031", "4F01"):
                row, bodies = DIRECTORY_TYPES.index("PKCS15Objects"), data
            elif file["fid"] == "2F00":
                row, bodies = DIRECTORY_TYPES.index("DIRRecord"), data
            else:
                continue
            yield bytes([row]) + b"".join(bodies)


def token_seeds():
    """The files that an opened token is read from, each as kind, length and content; see fuzz_token.cpp."""
    for path, token in tokens():
        files = {file["fid"]: file for file in files_of(token["root"])}
        for renamed, fid in (("4F01", "5031"), ("4F02", "5032")):
            files.setdefault(fid, files.get(renamed))
        seed = bytearray(4)  # no card failure
        for fid in APPLICATION_FILES:
            file = files.get(fid)
            data = contents(file) if file else []
            if file and file["kind"] != "transparent":
                data = [bytes([len(record)]) + record for record in data]
            # The target's only application is 5015, its files stand at 5031 and 5032.
            body = b"".join(data).replace(b"\xDF\x01", b"\x50\x15")
            body = body.replace(b"\x4F\x01", b"\x50\x31").replace(b"\x4F\x02", b"\x50\x32")
            seed += bytes([FILE_KINDS[file["kind"]] if file else 0]) + len(body).to_bytes(2, "big") + body
        yield bytes(seed)
        yield bytes([9, 0x6A, 0x82, 0]) + bytes(seed[4:])  # the ninth command is refused


def apdu_seeds():
    select_application = "00A404000CA000000063504B43532D3135"
    sequences = [
        [select_application, "00A40204022F0000", "00B0000000"],
        ["00A40804045015503100", "00B0000000", "00B0010000", "00B0910000", "00D6000003A00000"],
        ["00A4080404501544001A", "00B2000200", "00B2000200", "00B2030000", "00DC020402FFFF", "00E2000002AB00",
         "00B2000400"],
        ["00A408040450154401", "00B2010400", "00DC010403616263", "00B2000300"],
        [select_application, "00A4020002440200", "00B0000000", "002000810431323334", "00B0000000", "0020008100"],
        ["00A4000C023F00", "00CA010000", "00CA018100", "0084000008", "00A40000025015", "00A4010C02DF02", "00A4030C"],
        ["00B191000454020000", "00B19100045402012C00", "00D7910006540200015301AA"],
        ["0020000301313233", "00240003013132", "0024010302AABB", "00200003", "0020FF80", "0020FF00"],
        ["002400810831323334" + "35363738", "00240181023132", "002C00810532" + "34343434", "002C01810132", "002C0382",
         "002C02820133"],
        ["0084000008", "0082000108" + "00" * 8, "00820001", "00CA008400", "00200002" + "0132",
         "80D8000210" + "00" * 16, "80D8000118" + "00" * 24],
        ["00A4080C", "00A40000", "00C0000000", "00", "", "8000000000", "00B00000000000", "00B0000000FFFF"],
    ]
    for sequence in sequences:
        yield b"".join(bytes([len(command) // 2]) + bytes.fromhex(command) for command in sequence)


def pin_seeds():
    """Type, least, most, stored length, pad, which of them count; then the PIN."""
    for kind in range(7):
        for flags in range(8):
            for pin in ("1234", "123456789012", "Gr\u00fc\u00dfe", "\u0390\ufb03\U00010428"):
                yield bytes([kind, 1, 12, 16, 0xFF, flags]) + pin.encode()


def image_seeds():
    yield json.dumps({
        "format": "zelmo virtual card 1", "root": {"fid": "3F00", "kind": "df"},
        "pins": [{"reference": 1, "minLength": 4, "maxLength": 8, "unblockedBy": 2,
                  "access": {"change": "never", "unblock": {"key": 3}}}, {"reference": 2, "value": "32"}],
        "keys": [{"reference": 3, "algorithm": "3des", "value": "00" * 16, "access": {"change": "always"}}]}).encode()
    for path, token in tokens():
        yield path.read_bytes()
        for file in files_of(token["root"]):  # a smaller card of the same shape
            if file["kind"] == "transparent":
                file["data"] = file["data"][:8]
                file.pop("size", None)
            else:
                file["records"] = [record[:8] for record in file["records"]][:2]
        yield json.dumps(token).encode()


def fields(*parts):
    return b"".join(bytes([len(part)]) + part for part in parts)


def vectors(name):
    """The vectors of a file of names and values."""
    for block in (DATA / name).read_text().split("\n\n"):
        vector = dict(line.split(" = ", 1) for line in block.splitlines() if " = " in line and line[0] != "#")
        if vector:
            yield vector


def integer(value):
    content = value.to_bytes(value.bit_length() // 8 + 1, "big")
    return bytes([0x02, len(content)]) + content


def sequence(*parts):
    content = b"".join(parts)
    return (bytes([0x30, len(content)]) if len(content) < 128 else bytes([0x30, 0x81, len(content)])) + content


def verify_seeds():
    """Scheme, mode and fields; see fuzz_verify.cpp."""
    text = b"text"
    infos = [octets for name, octets in golden() if name == "DigestInfo"]
    for info in infos:
        for scheme in range(10):
            yield bytes([scheme, 2]) + fields(b"") + info
            yield bytes([scheme, 3]) + fields(text, info[:-20 if info[-21] == 20 else -16]) + b"behind"
    for scheme, (identifier, digest) in enumerate((("06052b0e03021a", 20), ("06082a864886f70d0205", 16),
                                                   ("06082a864886f70d0202", 16), ("06052b24030201", 20))):
        algorithm = sequence(bytes.fromhex(identifier) + b"\x05\x00")
        head = bytes([0x30, len(algorithm) + 2 + digest]) + algorithm + bytes([0x04, digest])
        yield bytes([scheme, 3]) + fields(text, head)
    for scheme in (4, 5):
        yield bytes([scheme, 2]) + fields(text) + text
        yield bytes([scheme, 3]) + fields(text, b"")
    for vector in vectors("rsa.txt"):
        if vector["Bits"] in ("512", "1023"):
            n, e, d = [int.from_bytes(element[3 if element[1] > 0x80 else 2:], "big")
                       for tag, element in elements(bytes.fromhex(vector["Key"])) if tag == 0x02][1:4]
            info = bytes.fromhex("3021300906052b0e03021a05000414") + hashlib.sha1(text).digest()
            size = (n.bit_length() + 7) // 8
            block = b"\0\1" + b"\xFF" * (size - 3 - len(info)) + b"\0" + info
            signature = pow(int.from_bytes(block, "big"), d, n).to_bytes(size, "big")
            yield bytes([0, 0]) + fields(sequence(integer(n), integer(e)), b"", text) + signature
    for vector in vectors("dsa.txt"):
        p, q, g, y, r, s = (int(vector[name], 16) for name in ("P", "Q", "G", "Y", "R", "S"))
        digest = hashlib.sha1(b"abc").digest()
        for scheme, signed in ((6, b"abc"), (7, digest)):
            key = fields(integer(y), sequence(integer(p), integer(q), integer(g)), signed)
            yield bytes([scheme, 1]) + key + sequence(integer(r), integer(s))
        # Numbers so small that some signatures pass.
        yield bytes([7, 1]) + fields(integer(4), sequence(integer(23), integer(11), integer(2)), digest) + \
            sequence(integer(1), integer(1))


def message(*arguments):
    """What `openssl cms` makes of a text."""
    return subprocess.run(["openssl", "cms", "-outform", "DER", "-binary", *arguments], input=b"text", check=True,
                          capture_output=True).stdout


def messages():
    signer = ["-sign", "-signer", DATA / "pki" / "user1.cert.der", "-inkey", DATA / "pki" / "user1.key.pem"]
    for options in ([], ["-noattr"], ["-nocerts"], ["-nodetach"], ["-noattr", "-nocerts", "-nodetach"]):
        yield message(*signer, *options)
    for options in ([], ["-stream"]):
        yield message("-data_create", *options)
        yield message("-digest_create", "-md", "sha1", *options)
        yield message("-EncryptedData_encrypt", "-secretkey", "00" * 16, "-aes128", *options)


def x509_seeds():
    """Type or check and its octets; see fuzz_x509.cpp."""
    types = types_of("fuzz_x509")
    samples = [("ContentInfo", octets) for octets in messages()]
    algorithm = sequence(bytes.fromhex("06092a864886f70d010105"), b"\x05\0")
    for path in sorted((DATA / "pki").glob("*.cert.der")):
        certificate = path.read_bytes()
        samples.append(("Certificate", certificate))
        parts = [octets for tag, octets in elements(certificate) if tag == 0x30]
        samples += [(name, octets) for octets in parts for name in types if len(octets) < 400]
        for octets in parts:
            yield bytes([0xC1]) + octets
        name = next(octets for octets in parts[3:] if octets[2] == 0x31)
        signed = sequence(integer(1), algorithm, name, b"\x17\x0d260901120000Z", b"\x18\x0f20991231235959Z",
                          sequence(sequence(integer(7), b"\x17\x0d260901120000Z")))
        samples.append(("CertificateRevocationList", sequence(signed, algorithm, b"\x03\x02\0\1")))
    for name, octets in samples:
        yield bytes([types.index(name)]) + octets
        yield bytes([types.index(name) | TRACED]) + octets
        if name in ("Certificate", "CertificateRevocationList"):
            yield bytes([0xC2 if name == "Certificate" else 0xC3]) + octets
    for text in (b"/c(19)=DE/o(19)=Example AG/cn(12)=A//B", b"/CN=Ann,sn(19)=1", b"/2.5.4.9(0x13)=S/,treet/m(22)=a@b",
                 b"/gid(12)=x,g=1,gn=2,ou=3,sp=4,i=5,l=6,n=7,s=8,t=9"):
        yield bytes([0xC0]) + text


def script_seeds():
    """A phase and instructions: a directory with files, PINs, a key, a phase."""
    def instruction(opcode, data):
        return bytes([opcode]) + len(data).to_bytes(3, "big") + data

    def file(template, content):
        return len(template).to_bytes(2, "big") + template + content

    h = bytes.fromhex
    whole = [
        instruction(0x06, h("73 8004 31323334 810102 82020408")), instruction(0x06, h("02 830173 8603 070203")),
        instruction(0x07, h("08 8010 000102030405060708090A0B0C0D0E0F 840100 8603 060273")),
        instruction(0x02, h("6216 820138 83025015 8404A0000063 8607 04040202050273")),
        instruction(0x03, file(h("6215 820101 83025032 80020010 880108 8605 0100020273"), h("AABBCC"))),
        instruction(0x04, file(h("620B 82050521002003 83024401"), h("0003 0101AA 0002 0200"))),
        instruction(0xD0, h("5015")), instruction(0x01, h("FFFF 9000 00 A4 00 0C 0000 5032")),
        instruction(0x05, h("5015")), instruction(0x08, h("29 8603 040273")), instruction(0xD0, b""),
    ]
    return [bytes([phase]) + script for phase in (16, 32, 41, 52) for script in [b"".join(whole), *whole]]


def signature_seeds():
    """Mode, then a file, changes to the genuine one or the fields of a forged one; see fuzz_signature.cpp."""
    def change(at, removed, put=b""):
        return at.to_bytes(2, "big") + bytes([removed]) + len(put).to_bytes(2, "big") + put

    h = bytes.fromhex
    algorithm = h("300D06092A864886F70D0101050500")
    name = h("300F310D300B06035504030C04526F6F74")
    validity = h("301E170D3236303130313030303030305A170D3236303130313030303030305A")
    fields = [
        h("A003020102020101") + algorithm + name + validity + name,  # in front of the certificate's key
        h("8102003FA30F300D300B0603551D0F040403020106"), algorithm + h("03020000"),
        h("300506012A3100"), h("300D06012A310805000201010101FF"),  # attributes
        h("020101") + sequence(name, h("020101")) + algorithm, algorithm, h("A107300506012A3100"),
        h("020101") + h("31053003") + h("06012A") + h("300B06092A864886F70D010701"), h("0500"), h("A1020500"), b"",
    ]
    for traced in (0, TRACED):
        for file in messages():
            yield bytes([0 | traced]) + file
        for seed in (b"", change(0, 4, h("3080")), change(0, 19, h("308006092A864886F70D010702A080")),
                     change(865, 4, h("24820104") + h("04820100")), change(464, 4, h("2380") + h("03820101"))):
            yield bytes([1 | traced]) + seed
        yield bytes([2 | traced]) + b"".join(len(field).to_bytes(2, "big") + field for field in fields)


def profile_seeds():
    """The sample, what it consists of, and what a profile may leave out."""
    sample = json.loads((HERE.parent / "tools" / "zelmo" / "demo" / "token.json").read_text())

    def seed(edit):
        profile = json.loads(json.dumps(sample))
        edit(profile)
        return json.dumps(profile).encode()

    yield seed(lambda profile: None)
    yield seed(lambda profile: (profile.pop("phase"), profile["root"].pop("access")))
    yield seed(lambda profile: profile.update(objects=[]))
    for thing in sample["objects"]:
        yield seed(lambda profile, thing=thing: profile.update(objects=[thing], pins=[], keys=[], phase=52))
    files = [{"fid": "2F00", "kind": "linear-variable", "records": ["01", "0202"], "sfi": 3},
             {"fid": "6000", "kind": "df", "name": "A0", "files": [{"fid": "6001", "kind": "transparent", "size": 9}]}]
    yield seed(lambda profile: (profile["root"]["files"].extend(files), profile.update(objects=[])))


def answers_seeds():
    """A token, its answer to reset, and faults; see fuzz_answers.cpp."""
    for token in range(6):
        for atr in bytes.fromhex("3B80800101"), bytes.fromhex("3B8580018073F7214061"), b"", b"\x3B", b"\xFF" * 33:
            start = bytes([token, len(atr)]) + atr
            yield start
            for wait in (0, 3, 7, 20) if atr == bytes.fromhex("3B80800101") else ():
                # A spoiled octet, no data, more data, a status word, another answer, the one before, no card.
                for fault in ((0, 4, 0xFF), (1, 0, 0), (2, 2, 0, 1, 2), (3, 0x61, 8), (3, 0x6C, 1), (3, 0x67, 0),
                              (4, 4, 0, 1, 2, 0x90, 0), (4, 2, 0, 0x90, 0), (4, 1, 0, 0x90), (5, 0, 0), (6, 0, 0)):
                    for lasting in 0, 0x80:
                        yield start + bytes([wait, fault[0] | lasting, *fault[1:]])


SEEDS = {
    "fuzz_primitives": primitive_seeds(), "fuzz_records": record_seeds(), "fuzz_directory": directory_seeds(),
    "fuzz_token": token_seeds(),
    "fuzz_answers": answers_seeds(), "fuzz_apdu": apdu_seeds(),
    "fuzz_image": image_seeds(), "fuzz_pin_format": pin_seeds(), "fuzz_script": script_seeds(),
    "fuzz_verify": verify_seeds(), "fuzz_x509": x509_seeds(), "fuzz_signature": signature_seeds(),
    "fuzz_profile": profile_seeds(),
}


def main():
    if len(sys.argv) != 2:
        sys.exit("usage: make_corpus.py DIRECTORY")
    for target, seeds in SEEDS.items():
        folder = pathlib.Path(sys.argv[1]) / target
        folder.mkdir(parents=True, exist_ok=True)
        for seed in seeds:
            (folder / hashlib.sha1(seed).hexdigest()).write_bytes(seed)


if __name__ == "__main__":
    main()
