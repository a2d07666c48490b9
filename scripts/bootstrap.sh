#!/usr/bin/env bash
# Prepares a machine: Debian packages that are missing, the virtual environment .venv, and the pinned wheels of the
# groups named as arguments (build test bench lint; see requirements/). A call with nothing to do takes milliseconds.
set -euo pipefail
cd "$(dirname "$0")/.."

python=${PYTHON:-python3}

# Each needed thing is looked for itself, not its package: a machine may have it from elsewhere.
missing=()
need() { "${@:2}" >/dev/null 2>&1 || missing+=("$1"); }
need g++ command -v g++
need make command -v make
need ccache command -v ccache
need zlib1g-dev test -e /usr/include/zlib.h
need libeigen3-dev test -e /usr/include/eigen3/Eigen/Cholesky
need libgtest-dev test -e /usr/include/gtest/gtest.h
if command -v "$python" >/dev/null 2>&1; then
  need python3-venv "$python" -c 'import ensurepip, venv'
  need python3-dev "$python" -c 'import os, sysconfig; os.stat(sysconfig.get_path("include") + "/Python.h")'
else
  missing+=(python3 python3-venv python3-dev)
fi

if ((${#missing[@]})); then
  echo "bootstrap: installing ${missing[*]}"
  if ! command -v apt-get >/dev/null; then
    echo "bootstrap: this is not a Debian system; install what these Debian packages hold: ${missing[*]}" >&2
    exit 1
  fi
  as_root=()
  if (($(id -u) != 0)); then as_root=(sudo); fi
  export DEBIAN_FRONTEND=noninteractive
  "${as_root[@]}" apt-get update -qq
  "${as_root[@]}" apt-get install -qq -y --no-install-recommends "${missing[@]}" >/dev/null
fi

version=$("$python" -c 'import sys; print("%d.%d" % sys.version_info[:2])')
if [[ $("$python" -c 'import sys; print(sys.version_info >= (3, 11))') != True ]]; then
  echo "bootstrap: development needs Python 3.11 or newer, $python is $version (set PYTHON=...)" >&2
  exit 1
fi

# A clone that was moved, another interpreter or another pin makes the environment stale.
identity="$version $PWD"
if [[ $(cat .venv/identity 2>/dev/null) != "$identity" ]]; then
  echo "bootstrap: creating .venv (Python $version)"
  rm -rf .venv
  "$python" -m venv .venv
  echo "$PWD/build/release/python" >"$(.venv/bin/python -c 'import sysconfig; print(sysconfig.get_path("purelib"))')/tavlo-build.pth"
  echo "$identity" >.venv/identity
fi

for group in "${@:-build}"; do
  if ! cmp -s "requirements/$group.txt" ".venv/$group.installed"; then
    echo "bootstrap: installing the wheels of requirements/$group.txt"
    .venv/bin/python -m pip install -qq --disable-pip-version-check --require-hashes -r "requirements/$group.txt"
    cp "requirements/$group.txt" ".venv/$group.installed"
  fi
done
