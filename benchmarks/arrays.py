"""A p-median model written with arrays against the same by operators and Sum, in CPU time, and the memory of it."""

from __future__ import annotations

import gc
import subprocess
import sys
import time
from collections.abc import Callable
from typing import Any

import numpy as np

import tavlo as tv
from benchmarks.models import P_MEDIAN, distances, p_median_tavlo
from benchmarks.timing import resident_mb


def by_arrays(n: int, binary: bool) -> Any:
    d, kind = np.array(distances(n)), tv.binary if binary else tv.continuous
    x = tv.vars(n, n, name="", ub=1, vartype=kind)
    y = tv.vars(n, name="", ub=1, vartype=kind)
    p = tv.problem()
    p.addVariable(x, y)
    p.addConstraint(x.sum(axis=1) == 1, x <= y, y.sum() == n // 10)
    p.setObjective((d * x).sum())
    return p


def cpu_seconds(work: Callable[..., Any], *arguments: Any) -> float:
    gc.collect()
    began = time.process_time()
    kept = work(*arguments)
    took = time.process_time() - began
    del kept
    return took


def main() -> None:
    took = {}
    for n in (300, 600):
        distances(n)
        rounds = [(cpu_seconds(by_arrays, n, True), cpu_seconds(p_median_tavlo, n, True)) for _ in range(5)]
        took[n], operators = (min(times) for times in zip(*rounds))
        print(
            f"  p-median {n} x {n}, arrays {took[n] * 1e3:8.1f} ms   operators {operators * 1e3:8.1f} ms  "
            f"ratio {took[n] / operators:5.2f}"
        )
    print(f"  four times the terms in {took[600] / took[300]:5.2f} times the time")
    x = tv.vars(640_000, name="")
    sums = {n: min(cpu_seconds(x[:n].sum) for _ in range(5)) for n in (320_000, 640_000)}
    print(f"  twice the terms of one sum in {sums[640_000] / sums[320_000]:5.2f} times the time")


def memory() -> None:
    for name in P_MEDIAN:
        subprocess.run([sys.executable, "-m", "benchmarks.arrays", name], check=True)


def resident(name: str, n: int = 600) -> None:
    distances(n)
    before = resident_mb()
    kept = P_MEDIAN[name](n, True)
    print(f"  {name:16}p-median {n} x {n}: {resident_mb():6.0f} MB resident, {resident_mb() - before:6.0f} MB grown")
    del kept


if __name__ == "__main__":
    resident(sys.argv[1])
