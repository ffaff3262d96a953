"""Short constructors for the plain values (see pkcs15_asn1.py) of the objects on the test tokens, and the test PKI."""

import hashlib
import pathlib

from pyasn1.codec.der import decoder, encoder
from pyasn1.type import univ

import pkcs15_asn1 as p15

PKI = pathlib.Path(__file__).parent / "pki"
NULL = bytes.fromhex("0500")


class Holder:
    """One key pair of pki/ with its certificate, and the parts of them that directory entries repeat."""

    def __init__(self, name):
        self.certificate = (PKI / f"{name}.cert.der").read_bytes()
        self.public_key = (PKI / f"{name}.public.der").read_bytes()
        tbs = decoder.decode(self.certificate)[0][0]
        self.serial = int(tbs[1])
        self.issuer = encoder.encode(tbs[3])
        self.subject = encoder.encode(tbs[5])
        key_bits = decoder.decode(self.public_key)[0][1].asOctets()
        self.key_id = hashlib.sha1(key_bits).digest()


CA, USER1, USER2, EC, LONG = map(Holder, ("ca", "user1", "user2", "ec", "long"))


def present(**fields):
    """A value without the fields that are None."""
    return {name: value for name, value in fields.items() if value is not None}


def path(file, index=None, length=None):
    """A Path from hexadecimal file identifiers."""
    return present(path=bytes.fromhex(file), index=index, length=length)


def at(file, index=None, length=None):
    """An indirect value."""
    return {"value": ("path", path(file, index, length))}


def rule(modes, condition):
    return {"accessMode": modes, "securityCondition": condition}


def auth_id(number):
    return ("authId", bytes([number]))


def common(label=None, flags=None, auth=None, rules=None, consent=None):
    """CommonObjectAttributes."""
    return present(label=label, flags=flags, authId=None if auth is None else bytes([auth]), userConsent=consent,
                   accessControlRules=rules)


def assemble(attributes, class_attributes, type_attributes, sub_class=None):
    return present(commonObjectAttributes=attributes, classAttributes=class_attributes, subClassAttributes=sub_class,
                   typeAttributes=type_attributes)


def key(iD, usage, **more):
    return {"iD": iD, "usage": usage, **more}


def rsa(file, bits=2048, info=None):
    return present(**at(file), modulusLength=bits, keyInfo=info)


def private_rsa(attributes, class_attributes, type_attributes, sub_class=None):
    return ("privateRSAKey", assemble(attributes, class_attributes, type_attributes, sub_class))


def public_rsa(attributes, class_attributes, type_attributes, sub_class=None):
    return ("publicRSAKey", assemble(attributes, class_attributes, type_attributes, sub_class))


def secret(kind, attributes, class_attributes, file, key_length=None):
    sub_class = None if key_length is None else {"keyLen": key_length}
    return (kind, assemble(attributes, class_attributes, at(file), sub_class))


def certificate(attributes, class_attributes, value, **more):
    return ("x509Certificate", assemble(attributes, class_attributes, {**value, **more}))


def described(holder):
    """Type attributes that repeat subject, issuer and serial number of the certificate."""
    return {"subject": holder.subject, "issuer": holder.issuer, "serialNumber": holder.serial}


def data_object(attributes, class_attributes, value):
    return ("opaqueDO", assemble(attributes, class_attributes, value["value"]))


def pin(attributes, number, flags, kind="asciiNumeric", shortest=4, stored=8, **more):
    type_attributes = {"pinFlags": flags, "pinType": kind, "minLength": shortest, "storedLength": stored, **more}
    return ("pin", assemble(attributes, {"authId": bytes([number])}, type_attributes))


def auth_key(attributes, number, key_id, **more):
    return ("authKey", assemble(attributes, {"authId": bytes([number])}, {**more, "authKeyId": key_id}))


def key_identifier(kind, value):
    """CredentialIdentifier with an OCTET STRING value (kind 2: subject key identifier)."""
    octets = encoder.encode(univ.OctetString(value))
    return p15.encode(p15.CredentialIdentifier, {"idType": kind, "idValue": octets})


def cert_hash(holder):
    return {"hashVal": "".join(f"{octet:08b}" for octet in hashlib.sha1(holder.certificate).digest())}


def algorithm(reference, mechanism, operations, oid=None, card_reference=None, parameters=NULL):
    return present(reference=reference, algorithm=mechanism, parameters=parameters, supportedOperations=operations,
                   algId=oid, algRef=card_reference)


RSA_PKCS = algorithm(1, 1, ["computeSignature", "decipher"], "1.2.840.113549.1.1.1", 0x12)
RSA_SHA1 = algorithm(2, 6, ["computeSignature", "hash"], "1.2.840.113549.1.1.5", 0x22)
RSA_RAW = algorithm(3, 3, ["computeSignature"])
DES3_CBC = algorithm(4, 0x133, ["encipher", "decipher"], "1.2.840.113549.3.7", 0x31,
                     encoder.encode(univ.OctetString(bytes(8))))
