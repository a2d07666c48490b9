#!/usr/bin/env bash
# Builds dist/tavlo-*.whl with the pinned tools of .venv and tries it in an environment that has NumPy and nothing else.
set -euo pipefail
cd "$(dirname "$0")/.."
rm -rf dist
.venv/bin/python -m pip wheel -q --disable-pip-version-check --no-build-isolation --no-deps -w dist .
trial=$(mktemp -d)
trap 'rm -rf "$trial"' EXIT
.venv/bin/python -m venv "$trial"
"$trial/bin/pip" install -qq --disable-pip-version-check dist/*.whl
(cd "$trial" && bin/python "$OLDPWD/examples/blending.py")
ls -l dist
