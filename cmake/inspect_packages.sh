# shellcheck shell=bash
# Beside the installed inspect.sh in place of packages.sh: an installed command installs nothing.

need() {
  command -v flatc >/dev/null && return
  echo "tarn-inspect: flatc is missing, install the package $*" >&2
  return 1
}
