"""How things are timed: contenders take turns in one process and each keeps its best."""

from __future__ import annotations

import gc
import resource
import time
from collections.abc import Callable
from typing import Any


def seconds(work: Callable[[], Any]) -> float:
    gc.collect()
    began = time.perf_counter()
    kept = work()
    took = time.perf_counter() - began
    del kept  # what was built is released outside the measurement
    return took


def best_in_turns(contenders: dict[str, Callable[[], Any]], rounds: int) -> dict[str, float]:
    best = dict.fromkeys(contenders, float("inf"))
    for _ in range(rounds):
        for name, work in contenders.items():
            best[name] = min(best[name], seconds(work))
    return best


def per_call(work: Callable[[int], Any], n: int, rounds: int = 7) -> float:
    """Nanoseconds that one of the n repetitions in `work(n)` takes."""
    return min(seconds(lambda: work(n)) for _ in range(rounds)) / n * 1e9


def resident_mb() -> float:
    with open("/proc/self/statm") as statm:
        return int(statm.read().split()[1]) * resource.getpagesize() / 2**20


def ratio_line(label: str, best: dict[str, float], ours: str = "tavlo") -> str:
    cells = [f"{label:34}{best[ours] * 1e3:10.1f} ms"]
    cells += [
        f"{name} {took * 1e3:9.1f} ms  ratio {best[ours] / took:5.2f}" for name, took in best.items() if name != ours
    ]
    return "   ".join(cells)
