#!/usr/bin/env bash
# Rewrites requirements/*.txt from requirements/*.in, in the order in which they constrain each other.
set -euo pipefail
cd "$(dirname "$0")/../requirements"
tools=$(mktemp -d)
trap 'rm -rf "$tools"' EXIT
"${PYTHON:-python3}" -m venv "$tools"
"$tools/bin/pip" install -qq pip-tools
for group in build test lint bench; do
  "$tools/bin/pip-compile" -q --upgrade --generate-hashes --no-strip-extras --no-header --no-emit-options "$group.in" -o "$group.txt"
done
