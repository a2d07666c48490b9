"""Single deletions from a problem of a million rows and columns, in CPU time."""

from __future__ import annotations

import random
import time
from typing import Any

import tavlo as tv


def model(n: int) -> Any:
    x = [tv.var(name=f"x{i}") for i in range(n)]
    return tv.problem(x, [tv.constraint(body=x[i] + x[i - 1], ub=i, name=f"c{i}") for i in range(n)])


def deletions(way: str, n: int, count: int, anywhere: bool) -> float:
    """The time of `count` deletions."""
    p, chance = model(n), random.Random(7)
    which = chance.sample(range(n), count) if anywhere else list(range(n - 1, n - 1 - count, -1))
    gone: list[Any] = {
        "rows by object": lambda: p.getConstraint(which),
        "rows by name": lambda: [f"c{i}" for i in which],
        "rows by number": lambda: [chance.randrange(n - k) for k in range(count)] if anywhere else which,
        "columns by object": lambda: p.getVariable(which),
    }[way]()
    delete = p.delVariable if way.startswith("columns") else p.delConstraint
    began = time.process_time()
    for one in gone:
        delete(one)
    return time.process_time() - began


def main(n: int = 1_000_000, count: int = 10_000) -> None:
    for anywhere in (False, True):
        for way in ("rows by object", "rows by name", "rows by number", "columns by object"):
            took = deletions(way, n, count, anywhere)
            label = f"{way}, {'anywhere' if anywhere else 'the last'}"
            print(f"  {label:34}{took:8.2f} s{took / count * 1e3:9.4f} ms each")
