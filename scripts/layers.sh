#!/usr/bin/env bash
# Includes run one way: include <- codec <- msg <- stubs; platform knows only include, and the
# platforms nothing of each other; inspect knows what platforms have in common, service that and inspect.
# methods is for programs: nothing of the library includes it.
set -eu
cd "$(dirname "$0")/.."
failed=0

# layer FOLDER ALLOWED: quoted includes of the folder's files match the pattern
layer() {
  local bad
  bad=$(grep -nE '^ *# *include ("|<(codec|msg|stubs|methods|platform|mqc_fes))' "$1"/*.h "$1"/*.c "$1"/*.cpp 2>/dev/null |
    grep -vE "include \"($2)\"" || true)
  [ -z "$bad" ] || { printf 'include against the layers:\n%s\n' "$bad" >&2; failed=1; }
}

layer include ''
layer codec 'mqc_fes_intf\.h|codec/[a-z_]+\.h|platform/(log|bounded_memory)\.h'
layer msg 'mqc_fes_intf\.h|codec/[a-z_]+\.h|msg/[a-z_]+\.h'
layer methods 'mqc_fes_intf\.h|codec/[a-z_]+\.h|msg/messages\.h|methods/[a-z_]+\.h'
layer stubs 'mqc_fes_intf\.h|msg/[a-z_]+\.h|stubs/[a-z_]+\.h|platform/rpc\.h'
layer inspect 'inspect/[a-z_]+\.h|platform/common/(printable|report)\.h'
promises='mqc_fes_intf\.h|platform/[a-z_]+\.h'
layer platform "$promises"
layer platform/common "$promises|platform/common/[a-z_]+\.h"
for delivery in loopback grpc; do
  layer platform/$delivery "$promises|platform/(common|$delivery)/[a-z_]+\.h"
done
layer service 'mqc_service\.h|mqc_reply_generated\.h|(service|inspect)/[a-z_]+\.h|platform/common/(capture|grpc_errors|printable|report|tls)\.h'
exit $failed
