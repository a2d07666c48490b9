"""A million variables and a million rows in one process, with the memory that each step takes."""

from __future__ import annotations

import sys
import time
from collections.abc import Callable
from typing import Any

import tavlo as tv
from benchmarks.timing import resident_mb


def step(label: str, n: int, work: Callable[[], Any]) -> Any:
    before, began = resident_mb(), time.perf_counter()
    result = work()
    took, grown = time.perf_counter() - began, resident_mb() - before
    print(f"  {label:34}{took:7.2f} s{grown:9.0f} MB{grown * 2**20 / n:8.0f} bytes each")
    return result


def main(n: int = 1_000_000) -> None:
    p = tv.problem()
    x = step(f"{n:,} variables", n, lambda: [tv.var() for _ in range(n)])
    step("added to a problem", n, lambda: p.addVariable(x))
    rows = step(f"{n:,} rows of two coefficients", n, lambda: [x[i] - 2 * x[i - 1] <= i for i in range(n)])
    step("added to the problem", n, lambda: p.addConstraint(rows))
    print(f"  {'variable object':34}{sys.getsizeof(x[0]):7} bytes")
    print(f"  {'resident in all':34}{resident_mb():7.0f} MB")


if __name__ == "__main__":
    main()
