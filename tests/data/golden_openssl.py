"""The second encoder: `openssl asn1parse -genconf`. Its values agree with pyasn1's, or nothing is written."""

import pathlib
import subprocess
import tempfile

import golden_samples as samples
import pkcs15_asn1 as p15

PATH_CONF = """
asn1 = SEQUENCE:path
[path]
path = FORMAT:HEX,OCTETSTRING:3F0050154401
index = INTEGER:0
length = IMPLICIT:0,INTEGER:300
"""

KEY_CONF = """
asn1 = SEQUENCE:key
[key]
iD = FORMAT:HEX,OCTETSTRING:45
usage = FORMAT:BITLIST,BITSTRING:2,9
native = BOOLEAN:FALSE
accessFlags = FORMAT:BITLIST,BITSTRING:0,4
keyReference = INTEGER:129
startDate = GENERALIZEDTIME:20260901120000Z
endDate = IMPLICIT:0,GENERALIZEDTIME:20991231235959Z
"""

CONDITION_CONF = """
asn1 = IMPLICIT:1,SEQUENCE:and
[and]
a = FORMAT:HEX,OCTETSTRING:01
b = IMPLICIT:2,SEQUENCE:or
[or]
a = FORMAT:HEX,OCTETSTRING:02
b = IMPLICIT:1,SEQUENCE:inner
[inner]
a = FORMAT:HEX,OCTETSTRING:03
b = OCTETSTRING:
"""

ALGORITHM = """
reference = INTEGER:1
algorithm = INTEGER:0x80000001
parameters = NULL
supportedOperations = FORMAT:BITLIST,BITSTRING:1,5
algId = OID:1.2.840.113549.1.15
algRef = INTEGER:0x12
"""

TOKEN_INFO_CONF = f"""
asn1 = SEQUENCE:info
[info]
version = INTEGER:0
serialNumber = FORMAT:HEX,OCTETSTRING:0102030405060708
manufacturerID = UTF8String:Works
label = IMPLICIT:0,UTF8String:Token
tokenflags = FORMAT:BITLIST,BITSTRING:0,3
seInfo = SEQUENCE:environments
recordInfo = IMPLICIT:1,SEQUENCE:lengths
supportedAlgorithms = IMPLICIT:2,SEQUENCE:algorithms
issuerId = IMPLICIT:3,UTF8String:Issuer
holderId = IMPLICIT:4,UTF8String:Holder
lastUpdate = EXPLICIT:5,GENERALIZEDTIME:20260901120000Z
preferredLanguage = PRINTABLESTRING:de-CH
[environments]
first = SEQUENCE:environment
second = SEQUENCE:bare
[environment]
se = INTEGER:1
owner = OID:1.2.840.113549.1.15
aid = FORMAT:HEX,OCTETSTRING:{'00' * 16}
[bare]
se = INTEGER:255
[lengths]
private = IMPLICIT:1,INTEGER:234
[algorithms]
one = SEQUENCE:algorithm
[algorithm]
{ALGORITHM}
"""

DDO_FIELDS = """
oid = OID:1.2.840.113549.1.15
odfPath = SEQUENCE:odf
tokenInfoPath = IMPLICIT:0,SEQUENCE:info
unusedPath = IMPLICIT:1,SEQUENCE:unused
[odf]
path = FORMAT:HEX,OCTETSTRING:3F0050154401
index = INTEGER:0
length = IMPLICIT:0,INTEGER:300
[info]
path = FORMAT:HEX,OCTETSTRING:5032
[unused]
path = FORMAT:HEX,OCTETSTRING:07
"""

DIR_CONF = f"""
asn1 = IMPLICIT:1A,SEQUENCE:dir
[dir]
aid = IMPLICIT:15A,FORMAT:HEX,OCTETSTRING:{'00' * 12}
label = IMPLICIT:16A,UTF8String:Token
path = IMPLICIT:17A,FORMAT:HEX,OCTETSTRING:3F005015
ddo = IMPLICIT:19A,SEQUENCE:ddo
[ddo]
{DDO_FIELDS}
"""

PIN_CONF = """
asn1 = SEQUENCE:pin
[pin]
pinFlags = FORMAT:BITLIST,BITSTRING:1,4,11
pinType = ENUMERATED:1
minLength = INTEGER:4
storedLength = INTEGER:8
maxLength = INTEGER:8
pinReference = IMPLICIT:0,INTEGER:129
padChar = FORMAT:HEX,OCTETSTRING:FF
lastPinChange = GENERALIZEDTIME:20260901120000Z
path = SEQUENCE:path
[path]
path = FORMAT:HEX,OCTETSTRING:3F0050154401
index = INTEGER:0
length = IMPLICIT:0,INTEGER:300
"""

PRIVATE_KEY_CONF = """
asn1 = SEQUENCE:object
[object]
common = SEQUENCE:common
class = SEQUENCE:class
type = EXPLICIT:1,SEQUENCE:type
[common]
[class]
iD = OCTETSTRING:
usage = BITSTRING:
[type]
value = SEQUENCE:path
modulusLength = INTEGER:0
[path]
path = FORMAT:HEX,OCTETSTRING:07
"""

ODF_CONF = """
asn1 = EXPLICIT:8,SEQUENCE:path
[path]
path = FORMAT:HEX,OCTETSTRING:3F0050154401
index = INTEGER:0
length = IMPLICIT:0,INTEGER:300
"""

# (type, the value in pyasn1's terms, the same in openssl's)
PAIRS = [
    (p15.Path, samples.PATH, PATH_CONF),
    (p15.CommonKeyAttributes, samples.KEY, KEY_CONF),
    (p15.SecurityCondition, samples.CONDITION, CONDITION_CONF),
    (p15.AlgorithmInfo, samples.ALGORITHM, "asn1 = SEQUENCE:algorithm\n[algorithm]\n" + ALGORITHM),
    (p15.TokenInfo, samples.TOKEN_INFO, TOKEN_INFO_CONF),
    (p15.DDO, samples.DDO, "asn1 = SEQUENCE:ddo\n[ddo]\n" + DDO_FIELDS),
    (p15.DIRRecord, {"aid": bytes(12), "label": "Token", "path": bytes.fromhex("3F005015"), "ddo": samples.DDO},
     DIR_CONF),
    (p15.PinAttributes, samples.PIN, PIN_CONF),
    (p15.PrivateKeyType, samples.OBJECTS[0][1], PRIVATE_KEY_CONF),
    (p15.PKCS15Objects, ("authObjects", ("path", samples.PATH)), ODF_CONF),
]

# Values that pyasn1's DER encoder leaves out or will not write: an optional field that is there and empty.
ONLY_HERE = [
    ("TokenInfo", "empty lists", """
asn1 = SEQUENCE:info
[info]
version = INTEGER:0
serialNumber = FORMAT:HEX,OCTETSTRING:01
tokenflags = BITSTRING:
seInfo = SEQUENCE:empty
recordInfo = IMPLICIT:1,SEQUENCE:empty
supportedAlgorithms = IMPLICIT:2,SEQUENCE:empty
[empty]
"""),
    ("CommonObjectAttributes", "no access rule in the list", """
asn1 = SEQUENCE:common
[common]
label = UTF8String:x
rules = SEQUENCE:empty
[empty]
"""),
    ("CommonPrivateKeyAttributes", "no identifier in the list", """
asn1 = SEQUENCE:private
[private]
subjectName = SEQUENCE:empty
keyIdentifiers = IMPLICIT:0,SEQUENCE:empty
[empty]
"""),
    ("CommonCertificateAttributes", "empty wrappers", """
asn1 = SEQUENCE:certificate
[certificate]
iD = OCTETSTRING:
certHash = IMPLICIT:0,SEQUENCE:empty
trustedUsage = IMPLICIT:1,SEQUENCE:empty
identifiers = IMPLICIT:2,SEQUENCE:empty
[empty]
"""),
    ("PublicKeyType", "empty subclass attributes", """
asn1 = SEQUENCE:object
[object]
common = SEQUENCE:empty
class = SEQUENCE:class
subclass = EXPLICIT:0,SEQUENCE:empty
type = EXPLICIT:1,SEQUENCE:type
[empty]
[class]
iD = FORMAT:HEX,OCTETSTRING:01
usage = FORMAT:BITLIST,BITSTRING:6
[type]
value = SEQUENCE:path
modulusLength = INTEGER:2048
[path]
path = FORMAT:HEX,OCTETSTRING:4401
"""),
]


def openssl(config):
    with tempfile.TemporaryDirectory() as folder:
        conf, out = pathlib.Path(folder) / "conf", pathlib.Path(folder) / "der"
        conf.write_text(config)
        subprocess.run(["openssl", "asn1parse", "-genconf", conf, "-noout", "-out", out], check=True)
        return out.read_bytes()


def compare_encoders():
    for kind, value, config in PAIRS:
        ours, theirs = p15.encode(kind, value), openssl(config)
        if ours != theirs:
            raise SystemExit(f"{kind.__name__}: pyasn1 {ours.hex()}, openssl {theirs.hex()}")


def blocks():
    for kind, comment, config in ONLY_HERE:
        yield kind, openssl(config), comment
