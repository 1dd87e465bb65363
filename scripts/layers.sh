#!/usr/bin/env bash
# Includes run one way: no file includes what its room may not know.
set -eu
cd "$(dirname "$0")/.."
failed=0

# room FOLDER ALLOWED: each include of this tree's files in the folder's files matches the pattern
room() {
  local bad
  bad=$(grep -nE '^ *# *include ("|<((codec|msg|stubs|methods|shared|platform|record|reader|script|page|inspect|service|send|tarn)/|mqc_))' "$1"/*.h "$1"/*.c "$1"/*.cpp 2>/dev/null |
    grep -vE "include \"($2)\"" || true)
  [ -z "$bad" ] || { printf 'include against the layers:\n%s\n' "$bad" >&2; failed=1; }
}

public='mqc_fes_intf\.h|tarn/[a-z_]+\.h'
room include 'mqc_methods\.h'
room platform/include/tarn "$public"
room codec 'mqc_fes_intf\.h|codec/[a-z_]+\.h|tarn/(log|bounded_memory)\.h'
room msg 'mqc_fes_intf\.h|(codec|msg)/[a-z_]+\.h'
room stubs 'mqc_fes_intf\.h|(msg|stubs)/[a-z_]+\.h|tarn/rpc\.h'
room methods 'mqc_fes_intf\.h|(codec|methods)/[a-z_]+\.h|msg/messages\.h'
room shared "$public|shared/[a-z_]+\.h"
room platform/common "$public|(shared|platform/common)/[a-z_]+\.h"
made='mqc_(reply|stream)_generated\.h'
room platform/loopback "$public|script/script\.h|(shared|platform/common|platform/loopback)/[a-z_]+\.h"
room platform/grpc "$public|$made|(shared|platform/common|platform/grpc)/[a-z_]+\.h"
room record "$public|(shared|record)/[a-z_]+\.h"
room reader '(methods/(fields|methods)|reader/[a-z_]+)\.h'
room script '(methods/[a-z_]+|reader/(bytes|number)|script/[a-z_]+|shared/grpc_codes)\.h'
room send "$public|(send|methods|reader|shared)/[a-z_]+\.h"
room python 'methods/methods\.h'
room page '(page|reader)/[a-z_]+\.h'
room inspect '(inspect|page|reader|methods|shared)/[a-z_]+\.h'
room service "mqc_(service|stream|methods)\.h|$made|tarn/grpc\.h|script/script\.h|(service|page|reader|shared)/[a-z_]+\.h"
exit $failed
