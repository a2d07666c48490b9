#!/usr/bin/env bash
# clang-tidy over our own sources, with the release tree's compile commands; arguments narrow it to some files.
set -euo pipefail
cd "$(dirname "$0")/.."
if (($#)); then files=("$@"); else mapfile -t files < <(find libtvlo src -name '*.cpp' | sort); fi
printf '%s\0' "${files[@]}" | xargs -0 -n 1 -P "$(nproc)" .venv/bin/clang-tidy -p build/release --quiet --warnings-as-errors='*'
