#!/bin/sh
# Makes the keys and certificates of the test tokens in pki/ with openssl. Run once; the result is checked in, since the
# token images are built from it. TEST KEYS: they are public, never use them for anything else.
set -eu
cd "$(dirname "$0")"
mkdir -p pki
cd pki

subject() { printf '/C=DE/O=Zelmop Test/CN=%s' "$1"; }

openssl genpkey -algorithm RSA -pkeyopt rsa_keygen_bits:2048 -out ca.key.pem
openssl req -x509 -new -key ca.key.pem -sha256 -days 7300 -set_serial 0x01 -subj "$(subject 'Test CA 1')" \
    -addext 'basicConstraints=critical,CA:TRUE' -addext 'keyUsage=critical,keyCertSign,cRLSign' \
    -outform DER -out ca.cert.der

# issue NAME SERIAL COMMON-NAME KEY-USAGE GENPKEY-OPTIONS...; `comment` makes the certificate longer.
comment=
issue() {
    name=$1 serial=$2 common_name=$3 usage=$4
    shift 4
    openssl genpkey "$@" -out "$name.key.pem"
    openssl req -new -key "$name.key.pem" -subj "$(subject "$common_name")" -out "$name.csr"
    printf 'basicConstraints=CA:FALSE\nkeyUsage=critical,%s\nsubjectKeyIdentifier=hash\n%s' "$usage" "${comment:+nsComment=$comment}" \
        > "$name.ext"
    openssl x509 -req -in "$name.csr" -CA ca.cert.der -CAform DER -CAkey ca.key.pem -sha256 -days 7300 \
        -set_serial "$serial" -extfile "$name.ext" -outform DER -out "$name.cert.der"
    rm "$name.csr" "$name.ext"
}

issue user1 0x1001 'Ann Example' nonRepudiation -algorithm RSA -pkeyopt rsa_keygen_bits:2048
issue user2 0x80FF02 'Bob Example' digitalSignature,keyEncipherment -algorithm RSA -pkeyopt rsa_keygen_bits:2048
issue ec 0x2001 'Eve Example' digitalSignature -algorithm EC -pkeyopt ec_paramgen_curve:P-256
comment=$(printf 'A certificate of 1500 octets. %.0s' $(seq 21))
issue long 0x3001 'Lea Example' digitalSignature -algorithm RSA -pkeyopt rsa_keygen_bits:2048

for name in ca user1 user2 ec long; do
    openssl pkey -in "$name.key.pem" -pubout -outform DER -out "$name.public.der"
done
