#!/usr/bin/env bash
# Runs the examples that test a caller and a service with pytest, as docs/shell-and-python.md says.
# usage: pytest_examples.sh SCHEMA_DIR
# environment: PATH with flatc and tarn-serve; PYTHON, with pytest, grpc and tarn_mqc
set -eu
schema=$1 python=${PYTHON:-python3}
examples=$(cd "$(dirname "$0")/../../examples" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
cp "$examples"/*.py .
flatc --python --grpc "$schema"/*.fbs
"$python" -B -m pytest -q -W error -p no:cacheprovider
