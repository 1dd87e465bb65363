#!/usr/bin/env bash
# Mutual TLS with certificates made as docs/delivery.md says: who has one is answered, and nobody else.
# usage: tls_test.sh SOURCE_DIR TARN_SERVE
set -eu
source=$1 tarn_serve=$2
. "$source/tests/service/common.sh"
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
  call "$address" --ca "$1" ${2:+--cert "$2.pem" --key "$2.key"} sendClassifierTemplate
}
[ "$(answer ours/ca.pem ours/caller)" = 'sendClassifierTemplate 0' ] || fail "a good caller is refused"
for stranger in "ours/ca.pem" "ours/ca.pem theirs/caller" "theirs/ca.pem ours/caller"; do
  # shellcheck disable=SC2086
  found=$(answer $stranger "")
  [ "$found" = 'sendClassifierTemplate 1014' ] || fail "$stranger: $found"
done
[ "$(call "$address" sendClassifierTemplate)" = 'sendClassifierTemplate 1014' ] || fail "no TLS: answered"
said='^tarn-serve: (127\.0\.0\.1|\[::1\]):[0-9]+: Handshake failed .*peer did not return a certificate'
await "the reason why a caller was refused" grep -qE "$said" out.err
end TERM
grep -qE '^compact +1 ' out || fail "not one message: $(tail -n 7 out)"

# What cannot be served with is refused by name.
head -c 300 ours/service.pem >cut.pem
head -c 150 ours/service.key >cut.key
{ cat ours/ca.pem && head -c 300 ours/ca.pem; } >cut.ca
while read -r cert key ca words; do
  refused 1 "$words" "$tarn_serve" --listen localhost:0 --cert "$cert" --key "$key" --ca "$ca"
done <<END
cut.pem ours/service.key ours/ca.pem cut.pem: holds a damaged certificate
ours/service.pem cut.key ours/ca.pem cut.key: holds no private key
ours/service.pem ours/service.key cut.ca cut.ca: holds a damaged certificate
ours/service.pem ours/caller.key ours/ca.pem ours/caller.key: holds the key of another certificate
END

# Files that are replaced are used, once they fit; calls go on. Complaints that nobody reads stop none.
mkfifo pipe
start read "${peer[@]}" reader pipe
reader=$service
: >out
stalled() { exec "$program" "$@" 2>pipe; }
cp -r ours served
program=$tarn_serve tarn_serve=stalled
serve out --listen localhost:0 --ca served/ca.pem --cert served/service.pem --key served/service.key
"${peer[@]}" garbage "$address" 100
answers() { [ "$(answer "$1/ca.pem" "$1/caller")" = 'sendClassifierTemplate 0' ]; }
answers ours || fail "complaints that nobody reads: no answer"
kill -USR1 "$reader"
cp theirs/service.key served
await "a complaint of a pair that does not fit" grep -q 'service.key: holds the key of another certificate; the former certificates stay in use$' read
answers ours || fail "a pair that does not fit is used"
cp theirs/*.pem served
await "new certificates" grep -q 'new certificates are in use$' read
answers theirs || fail "new certificates are not used"
rm served/service.pem
await "a complaint of a file that has gone" grep -q 'service.pem: cannot be read' read
answers theirs || fail "a file that has gone is missed"
end TERM
[ "$status" -eq 0 ] || fail "status $status"
[ "$(grep -c ': Handshake failed .*wrong version' read)" -ge 100 ] || fail "complaints are lost: $(cat read)"
echo "only callers with a certificate are answered"
