#!/usr/bin/env python3
"""Solves the Hock-Schittkowski problems of tests/data/nonlinear and prints a table.

The models are built from each formula's text by the modelling layer. Objective and violations are recomputed from the
same text with Python's floats. A local solver may end at another local optimum than the listed one.

Fails when fewer than 95% of the problems end at the listed optimum (relative 1e-5), or when one is called optimal at a
point that violates a bound or constraint by more than 1e-6 (scaled). With --slp they are solved by successive linear
programming, which converges slowly where the optimum is no vertex: fewer than 85% fail.

usage: check_nlp.py [--slp] [NAME...]
"""

from __future__ import annotations

import json
import math
import sys
import time
from dataclasses import dataclass
from pathlib import Path
from typing import Any

import tavlo as tv

FILE = Path(__file__).resolve().parent.parent / "tests/data/nonlinear/hock_schittkowski.json"
FUNCTIONS = ("sin", "cos", "exp", "log")
OPTIMAL = ("nlp_solution", "nlp_globally_optimal", "lp_optimal")
SHARE, SHARE_SLP, VIOLATION = 0.95, 0.85, 1e-6


@dataclass
class Result:
    entry: dict[str, Any]
    status: str = ""
    objective: float = math.nan  # recomputed
    told: float = math.nan
    violation: float = math.nan
    seconds: float = 0.0
    failure: str = ""

    @property
    def claimed(self) -> bool:
        return self.status in OPTIMAL

    @property
    def error(self) -> float:
        return abs(self.objective - self.entry["optimum"]) / max(1.0, abs(self.entry["optimum"]))

    @property
    def solved(self) -> bool:
        return self.claimed and not self.wrong and self.error <= self.entry["rel_tol"]

    @property
    def wrong(self) -> bool:
        """Called optimal where it is infeasible, or with an objective value that is not the point's."""
        told = abs(self.told - self.objective) <= 1e-6 * max(1.0, abs(self.objective))
        return self.claimed and not (self.violation <= VIOLATION and told)


def problems(names: list[str] | None = None) -> list[dict[str, Any]]:
    return [entry for entry in json.loads(FILE.read_text()) if not names or entry["name"] in names]


def value(text: str, x: list[Any], module: Any) -> Any:
    return eval(text, {"__builtins__": {}}, {"x": x, **{name: getattr(module, name) for name in FUNCTIONS}})


def bound(number: float | None, infinite: float) -> float:
    return infinite if number is None else number


def build(entry: dict[str, Any]) -> tuple[tv.problem, list[tv.var]]:
    infinity = tv.infinity
    x = [tv.var(lb=bound(lb, -infinity), ub=bound(ub, infinity)) for lb, ub in zip(entry["lb"], entry["ub"])]
    p = tv.problem(x, name=entry["name"])
    p.setOutputEnabled(False)
    p.addConstraint(
        tv.constraint(body=value(c["expr"], x, tv), lb=bound(c["lb"], -infinity), ub=bound(c["ub"], infinity))
        for c in entry["constraints"]
    )
    sense = tv.maximize if entry["sense"] == "max" else tv.minimize
    p.setObjective(value(entry["objective"], x, tv), sense=sense)
    for v, start in zip(x, entry["x0"]):
        p.chgvar(v, initial=start)
    return p, x


def violation(entry: dict[str, Any], x: list[float]) -> float:
    """The worst one, relative to the right-hand side: the bound minus the constant of the formula."""
    sides = [(v, 0.0, lb, ub) for v, lb, ub in zip(x, entry["lb"], entry["ub"])]
    for c in entry["constraints"]:
        try:
            constant = value(c["expr"], [0.0] * entry["n"], math)
        except (ArithmeticError, ValueError):
            constant = 0.0
        sides.append((value(c["expr"], x, math), constant, c["lb"], c["ub"]))
    worst = 0.0
    for activity, constant, lb, ub in sides:
        if lb is not None:
            worst = max(worst, (lb - activity) / max(1.0, abs(lb - constant)))
        if ub is not None:
            worst = max(worst, (activity - ub) / max(1.0, abs(ub - constant)))
    return worst


def check(entry: dict[str, Any], slp: bool = False) -> Result:
    result = Result(entry)
    try:
        p, x = build(entry)
        p.controls.nlp_method = int(slp)
        began = time.perf_counter()
        p.nlpoptimize()
        result.seconds = time.perf_counter() - began
        result.status = p.getProbStatusString()
        if result.claimed:
            point = p.getSolution(x)
            result.objective, result.told = value(entry["objective"], point, math), p.getObjVal()
            result.violation = violation(entry, point)
    except Exception as error:  # a problem that raises is a row of the table, not the end of it
        result.failure = f"{type(error).__name__}: {error}"
    return result


def line(result: Result) -> str:
    verdict = result.failure or ("WRONG" if result.wrong else "ok" if result.solved else "other")
    return (
        f"{result.entry['name']:8}{result.status:24}{result.objective:18.10g}{result.entry['optimum']:18.10g}"
        f"{result.error:10.1e}{result.violation:10.1e}{1000 * result.seconds:9.1f}  {verdict}"
    )


def main(arguments: list[str]) -> int:
    slp = "--slp" in arguments
    names = [name for name in arguments if name != "--slp"]
    share = SHARE_SLP if slp else SHARE
    results = []
    print(f"{'problem':8}{'status':24}{'objective':>18}{'listed':>18}{'error':>10}{'violation':>10}{'ms':>9}")
    for entry in problems(names):
        results.append(check(entry, slp))
        print(line(results[-1]), flush=True)
    solved, wrong = sum(r.solved for r in results), sum(r.wrong for r in results)
    print(f"{solved} of {len(results)} at the listed optimum, {wrong} wrong")
    return 0 if results and not wrong and solved >= share * len(results) else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
