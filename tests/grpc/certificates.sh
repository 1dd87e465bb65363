#!/usr/bin/env bash
# Makes the certificates of the TLS tests: NAME.crt and NAME.key in the folder.
# weak has a key that OpenSSL refuses to show. usage: certificates.sh DIR
set -eu
cd "$1"

key() { openssl ecparam -name prime256v1 -genkey -noout -out "$1.key"; }

# authority NAME: signs others
authority() {
  key "$1"
  openssl req -x509 -new -key "$1.key" -subj "/CN=$1" -days 2 -out "$1.crt"
}

# signed NAME AUTHORITY DAYS [NAMES]: for the server name mqc.test, or for other names
signed() {
  key "$1"
  openssl req -new -key "$1.key" -subj "/CN=mqc.test" |
    openssl x509 -req -CA "$2.crt" -CAkey "$2.key" -CAcreateserial -days "$3" -out "$1.crt" \
      -extfile <(echo "subjectAltName=${4-DNS:mqc.test}") 2>/dev/null
}

authority ca
authority stranger
signed service ca 2
signed expired ca -1
signed client ca 2
signed forged stranger 2
signed wide ca 2 'DNS:*.test'
signed address ca 2 IP:127.0.0.1
openssl req -x509 -newkey rsa:1024 -nodes -subj /CN=weak -keyout weak.key -out weak.crt 2>/dev/null
