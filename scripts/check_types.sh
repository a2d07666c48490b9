#!/usr/bin/env bash
# The type stubs: consistent in themselves, and with the compiled module (stubtest).
set -euo pipefail
cd "$(dirname "$0")/.."
export MYPYPATH=$PWD/build/release/python
.venv/bin/python -m mypy --no-error-summary python/tavlo/__init__.py examples
.venv/bin/python -m mypy.stubtest --concise tavlo | sed '/^Success/d'
