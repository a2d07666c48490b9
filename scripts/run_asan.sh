#!/usr/bin/env bash
# Runs every test on build/asan. The interpreter is not instrumented, so the sanitizer's run-time library and the C++
# one (whose throw it wraps) come first by LD_PRELOAD, and objects are allocated by malloc, where it sees them.
# Leaks are looked for in the C++ tests; an interpreter leaves too much at exit, so the Python tests have their own
# checks of reference counts and memory.
set -euo pipefail
cd "$(dirname "$0")/.."
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
common=abort_on_error=0:strict_string_checks=1:detect_stack_use_after_return=1:allocator_may_return_null=1

# The leak checker's own walk over the thread-local storage of libraries that were opened at run time crashes.
LSAN_OPTIONS=use_tls=0 ASAN_OPTIONS=$common:detect_leaks=1 ctest --test-dir build/asan --output-on-failure --no-tests=error -j "$(nproc)"

# A test that starts another program would hand the preload on; they start only this interpreter.
env PYTHONPATH="$PWD/build/asan/python" PYTHONMALLOC=malloc TAVLO_SANITIZED=1 \
  ASAN_OPTIONS=$common:detect_leaks=0 \
  LD_PRELOAD="$(g++ -print-file-name=libasan.so) $(g++ -print-file-name=libstdc++.so)" \
  .venv/bin/python -X faulthandler -m pytest tests/python "$@"
