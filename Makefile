# Short names for what the presets and scripts do. Every target sets up what it needs; a second call takes seconds.
SHELL := /bin/bash
.SHELLFLAGS := -euo pipefail -c
.NOTPARALLEL:
.DEFAULT_GOAL := build

ROOT := $(CURDIR)
PY := $(ROOT)/.venv/bin/python
JOBS ?= $(shell nproc)
export PATH := $(ROOT)/.venv/bin:$(PATH)

CXX_FILES = $(shell find common libtvlo src tests benchmarks -name '*.h' -o -name '*.cpp')
PY_DIRS := python examples benchmarks scripts tests

.PHONY: help setup build everything dev demo test test-cpp test-python test-matrix check lint format bench fuzz claims asan wheel docs pins \
  clean distclean

help:  ## lists the targets
	@sed -n 's/^\([a-z-]*\):.*## /\1\t/p' $(ROOT)/Makefile | expand -t 14

setup:  ## Debian packages, .venv, the wheels that the build needs
	@scripts/bootstrap.sh build

# A build tree is configured once; from then on the generator watches the CMake files itself.
build/%/build.ninja: .venv/build.installed CMakePresets.json
	@cmake --preset $* -DPython_EXECUTABLE=$(PY) --log-level=WARNING
	@touch $@
.venv/build.installed: | setup ;

build: setup build/release/build.ninja  ## the package, importable by .venv/bin/python
	@cmake --build build/release -j $(JOBS) --target tavlolib

everything: setup build/release/build.ninja  # the package, its C++ tests and what benchmarks need
	@cmake --build build/release -j $(JOBS)

dev: setup build/dev/build.ninja  ## the same with assertions and without optimisation, in build/dev
	@cmake --build build/dev -j $(JOBS)

demo: build  ## builds a small model, solves it, then reads and solves a file
	@$(PY) examples/demo.py

test: everything  ## everything that must pass: C++ tests, form, stubs, Python tests
	@scripts/bootstrap.sh build test
	@$(MAKE) --no-print-directory test-cpp check test-python

test-cpp:
	@ctest --test-dir build/release --output-on-failure --no-tests=error -j $(JOBS)

test-python:
	@$(PY) -m pytest tests/python

check:  # form, types and stubs
	@ruff check $(PY_DIRS)
	@ruff format --check $(PY_DIRS)
	@$(PY) scripts/check_includes.py
	@clang-format --dry-run -Werror $(CXX_FILES)
	@$(PY) scripts/gen_docs.py --check
	@scripts/check_types.sh

lint: everything  ## check, and clang-tidy over the C++ sources (minutes)
	@scripts/bootstrap.sh build test lint
	@$(MAKE) --no-print-directory check
	@scripts/run_clang_tidy.sh

format: setup  ## formats every source
	@scripts/bootstrap.sh build test
	@ruff check --fix -q $(PY_DIRS)
	@ruff format -q $(PY_DIRS)
	@clang-format -i $(CXX_FILES)

bench: everything  ## ratios against the peers, in one run
	@scripts/bootstrap.sh build test bench
	@$(PY) -m benchmarks.run $(BENCH)

# Rounds of 5,000 new cases for every property test, each in a process of its own, for at most 15 minutes.
ROUNDS ?= 20
fuzz: build  ## 100,000 random cases for every property test
	@scripts/bootstrap.sh build test
	@for round in $$(seq $(ROUNDS)); do \
	  [ $$SECONDS -lt 900 ] || { echo "fuzz: out of time before round $$round"; break; }; \
	  $(PY) -m pytest -q -p no:cacheprovider --hypothesis-profile=nightly $(shell find tests -name 'test_*properties.py'); \
	done

# Random models, each solved in every way; a certificate in rational arithmetic settles what highspy sees otherwise.
MODELS ?= 100000
claims: build  ## 100,000 small LPs and MIPs: no false claim, no hang (make claims MODELS=1000 for fewer)
	@scripts/bootstrap.sh build test
	@$(PY) scripts/check_claims.py $(MODELS)

asan: setup build/asan/build.ninja  ## every test under the address and undefined-behaviour sanitizers
	@scripts/bootstrap.sh build test
	@cmake --build build/asan -j $(JOBS)
	@scripts/run_asan.sh

test-matrix: setup  ## the Python tests on every CPython and NumPy at hand, as a table
	@scripts/test_matrix.sh $(COMBINATIONS)

wheel: setup  ## dist/*.whl, tried in an environment of its own
	@scripts/make_wheel.sh

docs: setup  ## regenerates the tables in docs/
	@$(PY) scripts/gen_docs.py

pins:  # rewrites the pinned wheels with their hashes from requirements/*.in
	@scripts/pin_requirements.sh

clean:  ## removes what was built
	@rm -rf build dist

distclean: clean  ## and the virtual environment
	@rm -rf .venv
