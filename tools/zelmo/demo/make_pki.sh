#!/bin/sh
# Makes the certificates and public keys of the demonstration tokens: OpenSSL 3.0, self-made names, fresh keys that are
# thrown away afterwards. The ids in profile_objects.cpp are the SHA-1 digests of the public keys.
set -e
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

openssl req -x509 -newkey rsa:2048 -nodes -keyout ca.key -out ca.pem -days 7300 -set_serial 1 \
    -subj "/C=DE/O=Zelmop Demo/CN=Demo CA" \
    -addext basicConstraints=critical,CA:TRUE -addext keyUsage=critical,keyCertSign,cRLSign
openssl x509 -in ca.pem -outform DER -out "$here/ca.der"

user() { # name, key usage, serial number
    openssl req -newkey rsa:2048 -nodes -keyout user.key -out user.csr -subj "/C=DE/O=Zelmop Demo/CN=Ann Example"
    printf 'keyUsage=critical,%s\n' "$2" > extensions
    openssl x509 -req -in user.csr -CA ca.pem -CAkey ca.key -set_serial "$3" -days 7300 -extfile extensions \
        -outform DER -out "$here/$1.der"
    openssl rsa -in user.key -RSAPublicKey_out -outform DER -out "$here/$1-public.der"
    openssl dgst -sha1 "$here/$1-public.der"
}
user signature nonRepudiation 4097
user authentication digitalSignature,keyEncipherment 4098
