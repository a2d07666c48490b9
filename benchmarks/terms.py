"""What a nonzero of one long sum costs by each way of writing it, and a million variables, against the peers."""

from __future__ import annotations

from collections.abc import Callable, Sequence
from typing import Any

import highspy
import numpy as np
import pyoptinterface as poi
from pyoptinterface import highs as poi_highs

import tavlo as tv
from benchmarks.timing import best_in_turns

N, MANY = 200_000, 10**6
NAMES = ("tavlo", "highspy", "pyoptinterface")


def highspy_model() -> Any:
    h = highspy.Highs()
    h.silent()
    return h


def poi_model() -> Any:
    m = poi_highs.Model()
    m.set_model_attribute(poi.ModelAttribute.Silent, True)
    return m


def added(start: Callable[[], Any], c: Sequence[Any], x: Sequence[Any]) -> Any:
    e = start()
    for a, v in zip(c, x):
        e += a * v
    return e


def line(label: str, contenders: dict[str, Callable[[], Any]], n: int) -> None:
    best = best_in_turns(contenders, rounds=5)
    cells = [f"  {label:34}{best['tavlo'] / n * 1e9:8.0f} ns"]
    cells += [f"{k} {t / n * 1e9:6.0f} ns  ratio {best['tavlo'] / t:5.2f}" for k, t in best.items() if k != "tavlo"]
    print("   ".join(cells), flush=True)


def main() -> None:
    h, m = highspy_model(), poi_model()
    x = dict(zip(NAMES, ([tv.var() for _ in range(N)], list(h.addVariables(N)), [m.add_variable() for _ in range(N)])))
    total = dict(zip(NAMES, (tv.Sum, h.qsum, poi.quicksum)))
    start = dict(zip(NAMES, (tv.expression, highspy.highs.highs_linear_expression, poi.ExprBuilder)))
    c = [1.0 + i % 97 for i in range(N)]
    scalars = list(np.array(c))
    terms = {k: [a * v for a, v in zip(c, x[k])] for k in NAMES}

    def each(work: Callable[[str], Any]) -> dict[str, Callable[[], Any]]:
        return {k: lambda k=k: work(k) for k in NAMES}

    line("sum over a generator", each(lambda k: total[k](a * v for a, v in zip(c, x[k]))), N)
    line("sum over a list of terms", each(lambda k: total[k](terms[k])), N)
    line("sum over a list of variables", each(lambda k: total[k](x[k])), N)
    line("+= of terms", each(lambda k: added(start[k], c, x[k])), N)
    line("generator, NumPy coefficients", each(lambda k: total[k](a * v for a, v in zip(scalars, x[k]))), N)
    numbers, ours = np.array(c), np.array(x["tavlo"], dtype=tv.npvar)
    arrays = {"tavlo": lambda: tv.Sum(numbers * ours)}
    theirs = h.addVariables(N)
    arrays["highspy"] = lambda: h.qsum(numbers * theirs)
    line("coefficients times array, summed", arrays, N)
    made = {
        "tavlo": lambda: tv.vars(MANY),
        "highspy": lambda: highspy_model().addVariables(MANY),
        "pyoptinterface": lambda: poi_model().add_m_variables(MANY),
    }
    line(f"an array of {MANY:,} variables", made, MANY)


if __name__ == "__main__":
    main()
