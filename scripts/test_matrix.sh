#!/usr/bin/env bash
# Runs the package's tests on every CPython and NumPy that are promised and at hand, and prints a table. Each CPython gets one
# build, against NumPy 2 headers, that all its NumPy versions use. Interpreters are looked for on the PATH and among
# pyenv's; what is not there, or has no wheel, is a line of the table too. Everything is under build/matrix.
#
# usage: test_matrix.sh [PYTHON[:NUMPY]...]    such as 3.9:1.22.4 3.13
set -euo pipefail
cd "$(dirname "$0")/.."

combinations=(3.9:1.22.4 3.9:2.0.2 3.11:1.23.5 3.11:1.26.4 3.11:2.4.6 3.13:2.4.6)
chosen=("${@:-}")
mkdir -p build/matrix
table=build/matrix/table.txt
: >"$table"
failed=0

say() { printf '%-8s %-8s %s\n' "$@" | tee -a "$table"; }

interpreter() {
  local found
  found=$(command -v "python$1" || true)
  if [[ -n $found ]] && "$found" -c '' 2>/dev/null; then echo "$found"; return; fi
  for found in "${PYENV_ROOT:-$HOME/.pyenv}"/versions/"$1".*/bin/python; do
    if [[ -x $found ]]; then echo "$found"; return; fi
  done
}

# An environment at $1 of the interpreter $2 with the packages that follow.
environment() {
  local at=$1 python=$2
  shift 2
  if [[ $(cat "$at/packages" 2>/dev/null) == "$*" ]]; then return; fi
  rm -rf "$at"
  "$python" -m venv "$at" && "$at/bin/python" -m pip install -qq --disable-pip-version-check --only-binary :all: "$@" || return 1
  echo "$*" >"$at/packages"
}

wanted() {
  [[ -z ${chosen[0]} ]] && return
  local one
  for one in "${chosen[@]}"; do
    if [[ $1 == "$one" || ${1%%:*} == "$one" ]]; then return; fi
  done
  return 1
}

say CPython NumPy result
for combination in "${combinations[@]}"; do
  wanted "$combination" || continue
  version=${combination%%:*} numpy=${combination##*:} at=build/matrix/$version
  python=$(interpreter "$version")
  if [[ -z $python ]]; then
    say "$version" "$numpy" "no interpreter"
    continue
  fi
  headers="numpy>=2.0"
  if ! environment "$at/build-env" "$python" "$headers"; then
    say "$version" "$numpy" "no wheel of NumPy 2 for the build"
    continue
  fi
  log=$at/build.log
  # The engines' wheels are those of .venv: they don't depend on the interpreter.
  if ! { .venv/bin/cmake -S . -B "$at/build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DTAVLO_TESTS=OFF \
      -DCMAKE_MAKE_PROGRAM="$PWD/.venv/bin/ninja" -DTAVLO_WHEELS_PYTHON="$PWD/.venv/bin/python" \
      -DPython_EXECUTABLE="$PWD/$at/build-env/bin/python" && .venv/bin/cmake --build "$at/build"; } >"$log" 2>&1; then
    say "$version" "$numpy" "build failed: $log"
    failed=1
    continue
  fi
  env=$at/numpy-$numpy
  if ! environment "$env" "$python" "numpy==$numpy" pytest hypothesis 2>"$at/pip.log"; then
    say "$version" "$numpy" "no wheel"
    continue
  fi
  # Peers and references of some tests, which skip where these have no wheel.
  for peer in highspy==1.15.1 casadi==3.8.2 sympy; do
    [[ -e $env/${peer%%=*}.tried ]] || "$env/bin/python" -m pip install -qq --disable-pip-version-check \
      --only-binary :all: "numpy==$numpy" "$peer" >>"$at/pip.log" 2>&1 || true
    touch "$env/${peer%%=*}.tried"
  done
  if ! PYTHONPATH=$at/build/python "$env/bin/python" -m pytest tests/python -q >"$at/test-$numpy.log" 2>&1; then failed=1; fi
  say "$version" "$numpy" "$(tail -1 "$at/test-$numpy.log")"
done
exit $failed
