"""What single operations cost, in nanoseconds, and what the import adds to NumPy's."""

from __future__ import annotations

import subprocess
import sys
from typing import Any

import tavlo as tv
from benchmarks.timing import per_call


def variables(n: int) -> Any:
    return [tv.var() for _ in range(n)]


def import_ms() -> float:
    code = "import time, numpy; t = time.perf_counter(); import tavlo; print(time.perf_counter() - t)"
    runs = [subprocess.run([sys.executable, "-c", code], capture_output=True, text=True, check=True) for _ in range(9)]
    return min(float(run.stdout) for run in runs) * 1e3


def main() -> None:
    n = 100_000
    x = variables(n)
    terms = [3.5 * v for v in x]
    bodies = [a + 2 * b for a, b in zip(x, x[1:])]

    def in_place(n: int) -> Any:
        e = tv.Sum([])
        for v in x:
            e += 2.5 * v
        return e

    def added_in_random_order(n: int) -> Any:
        e = tv.Sum([])
        for k in range(n):
            e += x[k * 7919 % n]
        return e

    figures = {
        "tv.var()": variables,
        "tv.var(lb=, ub=)": lambda n: [tv.var(lb=-1, ub=4) for _ in range(n)],
        "2.5 * x": lambda n: [2.5 * v for v in x],
        "x + 2 * y": lambda n: [a + 2 * b for a, b in zip(x, x[1:])],
        "x + 2 * y <= 4": lambda n: [e <= 4 for e in bodies],
        "e += 2.5 * x": in_place,
        "e += x, scattered order": added_in_random_order,
        "Sum of variables": lambda n: tv.Sum(x),
        "Sum of terms": lambda n: tv.Sum(terms),
        "Sum of 2.5 * x, generated": lambda n: tv.Sum(2.5 * v for v in x),
    }
    for label, work in figures.items():
        print(f"  {label:34}{per_call(work, n):10.0f} ns")
    print(f"  {'import tavlo over import numpy':34}{import_ms():10.1f} ms")
