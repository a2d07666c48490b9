"""Fixtures for all tests of the package."""

import gc
import os
import subprocess
import sys
from pathlib import Path

import pytest
from hypothesis import HealthCheck, settings

import tavlo

sys.path.insert(0, str(Path(__file__).resolve().parent))  # what the folders share

# Every run of `make test` tries the same cases; `make fuzz` tries new ones.
settings.register_profile("quick", derandomize=True, deadline=None, max_examples=300, database=None)
settings.register_profile(
    "nightly", deadline=None, max_examples=5000, suppress_health_check=list(HealthCheck), print_blob=True
)
settings.load_profile("quick")


@pytest.fixture
def stopped_library():
    """The solver library stopped before and after the test, the module's defaults as after import."""
    while tavlo.free():
        pass
    yield
    while tavlo.free():
        pass


@pytest.fixture
def clean_defaults():
    """Module-level control values as after import: only the module's own entry."""

    def reset():
        tavlo.setdefaults()
        tavlo.controls.tslp_postsolve = 1

    reset()
    yield
    reset()


@pytest.fixture
def run_python():
    """Runs code in an interpreter of its own and returns its output; fails when it fails or writes to stderr."""

    def run(code):
        paths = [os.path.dirname(os.path.dirname(tavlo.__file__)), *filter(None, [os.environ.get("PYTHONPATH")])]
        env = {**os.environ, "PYTHONPATH": os.pathsep.join(paths)}
        done = subprocess.run([sys.executable, "-c", code], capture_output=True, text=True, env=env, timeout=120)
        assert done.returncode == 0, f"exit code {done.returncode}\n{done.stdout}\n{done.stderr}"
        assert done.stderr == ""
        return done.stdout

    return run


@pytest.fixture
def reference_growth():
    """How much the reference counts of the given objects grow over 1,000 calls of a function."""

    def growth(function, objects, calls=1000):
        for _ in range(10):
            function()
        gc.collect()
        before = [sys.getrefcount(o) for o in objects]
        for _ in range(calls):
            function()
        gc.collect()
        after = [sys.getrefcount(o) for o in objects]
        return [a - b for a, b in zip(after, before)]

    return growth
