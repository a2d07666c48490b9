#!/usr/bin/env bash
# clang-tidy over our own sources, with the release tree's compile commands; arguments narrow it to some files.
set -euo pipefail
cd "$(dirname "$0")/.."
commands=$(mktemp -d)
trap 'rm -rf "$commands"' EXIT
# The compiler's warnings are the build's business; clang does not know all of its flags.
sed 's/ -Werror\b//g; s/ -Wno-restrict\b//g' build/release/compile_commands.json >"$commands/compile_commands.json"
if (($#)); then files=("$@"); else mapfile -t files < <(find libtvlo src -name '*.cpp' | sort); fi
printf '%s\0' "${files[@]}" |
  xargs -0 -n 1 -P "$(nproc)" .venv/bin/clang-tidy -p "$commands" --quiet --warnings-as-errors='*'
