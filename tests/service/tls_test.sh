#!/usr/bin/env bash
# Mutual TLS with certificates made as docs/delivery.md says: who has one is answered, and nobody else.
# usage: tls_test.sh SOURCE_DIR TARN_SERVE SEND_ALL
set -eu
source=$1 tarn_serve=$2 send_all=$3
. "$source/tests/service/common.sh"
capture_all
block sh openssl >make_certificates
for folder in ours theirs; do (
  mkdir $folder
  cd $folder
  sh -eu ../make_certificates 2>log || { cat log >&2; exit 1; }
); done
[ -s ours/caller.pem ] || fail "docs/delivery.md makes no certificates"

serve out --listen localhost:0 --ca ours/ca.pem --cert ours/service.pem --key ours/service.key
# answer CA CERTIFICATE: what a caller who trusts the one and shows the other gets
answer() {
  env "TARN_GRPC_CA=$1" ${2:+"TARN_GRPC_CERT=$2.pem" "TARN_GRPC_KEY=$2.key"} /usr/bin/python3 \
    "$source/tests/service/call.py" "$address" "${first[0]}"
}
[ "$(answer ours/ca.pem ours/caller)" = 'sendClassifierTemplate 0' ] || fail "a good caller is refused"
for stranger in "ours/ca.pem" "ours/ca.pem theirs/caller" "theirs/ca.pem ours/caller"; do
  # shellcheck disable=SC2086
  found=$(answer $stranger "" 2>/dev/null)
  [ "$found" = 'sendClassifierTemplate UNAVAILABLE' ] || fail "$stranger: $found"
done
[ "$(call "$address" "${first[0]}")" = 'sendClassifierTemplate UNAVAILABLE' ] || fail "no TLS: answered"
grep -q '^tarn-serve: Handshake failed .*peer did not return a certificate' out.err ||
  fail "not told why a caller was refused: $(cat out.err)"
end TERM
grep -qE '^compact +1 ' out || fail "not one message: $(tail -n 7 out)"
echo "only callers with a certificate are answered"
