"""Optimal control, second solves after a small change, translation of formulas, and quadratic models by operators."""

from __future__ import annotations

import ctypes
import statistics
import subprocess
import tempfile
from collections.abc import Callable
from pathlib import Path
from typing import Any

import pyoptinterface as poi
from pyoptinterface import highs as poi_highs

import tavlo as tv
from benchmarks.timing import best_in_turns, ratio_line, seconds
from examples import rocket
from scripts.stored_model import Library, handle

ROOT = Path(__file__).resolve().parent.parent
EVALUATION = ROOT / "build/release/benchmarks/tvlo_evaluation"


def flight(variables: int) -> Any:
    return rocket.build(variables // 4 - 1)


# ---- optimal control: our functions and derivatives against the local solver's own work --------------------------


def solve_rocket() -> None:
    for n in (1_000, 10_000, 50_000):
        totals, shares = [], []
        for _ in range({1_000: 5, 10_000: 3, 50_000: 1}[n]):
            p, _ = flight(n)
            p.solve()
            a = p.attributes
            if a.nlpstatus != 1:
                print(f"  {n} variables: {p.getProbStatusString()}")
            totals.append(a.nlptime)
            shares.append(a.nlpevaltime / a.nlptime)
        print(
            f"  {f'rocket, {a.cols:,} variables':34}{min(totals) * 1e3:10.1f} ms   {a.nlpiter} iterations, "
            f"{statistics.median(shares):.1%} of it in our functions and derivatives (at most 30%)"
        )


def evaluate() -> None:
    for n in (1_000, 50_000):
        p, _ = flight(n)
        with tempfile.TemporaryDirectory() as folder:
            p.write(f"{folder}/rocket.mps")
            run = [str(EVALUATION), f"{folder}/rocket.mps"]
            count, values, first, second = subprocess.run(
                run, check=True, capture_output=True, text=True
            ).stdout.split()
        print(f"  {f'rocket, {int(count):,} operations':34}{values:>10} ns values, {first} with first derivatives,")
        print(f"  {'':44} {second} second derivatives, each per operation")


# ---- a second solve after one bound has changed -----------------------------------------------------------------


def tracking(n: int) -> tuple[tv.problem, tv.var]:
    """A chain that follows a target: a convex quadratic program."""
    x, u = [tv.var(lb=-9, ub=9) for _ in range(n)], [tv.var(lb=-0.2, ub=0.2) for _ in range(n)]
    p = tv.problem(x, u)
    p.setOutputEnabled(False)
    p.addConstraint(x[k + 1] == 0.95 * x[k] + u[k] for k in range(n - 1))
    p.addConstraint(x[0] == 0)
    p.setObjective(tv.Sum((v - (k % 50) / 50) ** 2 for k, v in enumerate(x)) + 0.1 * tv.Sum(v * v for v in u))
    return p, x[n // 2 - 5]


def launched() -> tuple[tv.problem, tv.var]:
    p, series = flight(4_000)
    return p, series["thrust"][20]


def solve_again() -> None:
    cases: dict[str, tuple[Callable[[], tuple[tv.problem, tv.var]], float, str]] = {
        "quadratic, 4,000 variables": (lambda: tracking(2_000), 0.5, "bariter"),
        "rocket, 4,000 variables": (launched, 1.5, "nlpiter"),
    }
    library = Library()
    for name, (build, bound, counter) in cases.items():
        best = [float("inf")] * 2
        iterations = [0, 0]
        for _ in range(3):
            p, variable = build()
            for k in range(2):
                best[k] = min(best[k], seconds(p.solve))
                iterations[k] = getattr(p.attributes, counter)
                column = ctypes.byref(ctypes.c_int(p.getIndex(variable)))
                library.call("TVLOchgbounds", handle(p), 1, column, b"U", ctypes.byref(ctypes.c_double(bound)))
        counts = f"{iterations[1]} iterations after {iterations[0]}" if any(iterations) else ""
        first, again = best
        print(f"  {name:34}{again * 1e3:10.1f} ms   first {first * 1e3:9.1f} ms  ratio {again / first:5.2f}   {counts}")


# ---- handing formulas over to the solver ------------------------------------------------------------------------


def translate() -> None:
    n = 20_000
    x = [tv.var() for _ in range(n + 3)]
    two = [tv.sin(x[k]) * x[k + 1] + tv.exp(x[k + 2] / x[k + 3]) <= 1 for k in range(n)]  # ( x sin, ( z w / exp
    one = [tv.log(2 + tv.cos(x[k]) * tv.sin(x[k + 1])) <= 1 for k in range(n)]  # ( 2 ( x cos ( y sin * + log
    cases: dict[str, tuple[Callable[[tv.problem], Any], int]] = {  # with the token that ends each formula
        "rows, 10 tokens in two formulas": (lambda p: p.addConstraint(two), 10 * n),
        "rows, 11 tokens in one formula": (lambda p: p.addConstraint(one), 11 * n),
        "an objective of 20,000 sines": (lambda p: p.setObjective(tv.Sum(sines)), 4 * n),
    }
    sines = [tv.sin(v) for v in x[:n]]
    for name, (translated, tokens) in cases.items():
        best = float("inf")
        for _ in range(5):
            p = tv.problem(x)
            best = min(best, seconds(lambda work=translated, p=p: work(p)))
        print(f"  {name:34}{best / tokens * 1e9:10.0f} ns per token")


# ---- quadratic models written with the operators of each contender ----------------------------------------------


def control_tavlo(n: int) -> Any:
    """Heating a rod: a quadratic objective, and the heat equation as linear rows."""
    dx, dt, steps = 1 / n, 1.58 / n, range(n + 1)
    y = [[tv.var(ub=1) for _ in steps] for _ in steps]
    u = [tv.var(lb=-1, ub=1) for _ in steps]
    p = tv.problem(y, u)
    half = 0.5 / dx**2
    p.setObjective(
        0.25 * dx * tv.Sum((y[n][j] - 0.5 * (1 - (dx * j) ** 2)) ** 2 for j in steps)
        + 0.25 * 0.001 * dt * tv.Sum(u[i] ** 2 for i in steps)
    )
    p.addConstraint(
        (y[i + 1][j] - y[i][j]) / dt
        == half * (y[i][j - 1] - 2 * y[i][j] + y[i][j + 1] + y[i + 1][j - 1] - 2 * y[i + 1][j] + y[i + 1][j + 1])
        for i in range(n)
        for j in range(1, n)
    )
    p.addConstraint(y[0][j] == 0 for j in steps)
    p.addConstraint(y[i][2] - 4 * y[i][1] + 3 * y[i][0] == 0 for i in steps)
    p.addConstraint((y[i][n - 2] - 4 * y[i][n - 1] + 3 * y[i][n]) / (2 * dx) == u[i] - y[i][n] for i in steps)
    return p


def control_poi(n: int) -> Any:
    dx, dt, steps = 1 / n, 1.58 / n, range(n + 1)
    m = poi_highs.Model()
    m.set_model_attribute(poi.ModelAttribute.Silent, True)
    y = [[m.add_variable(lb=0, ub=1) for _ in steps] for _ in steps]
    u = [m.add_variable(lb=-1, ub=1) for _ in steps]
    half = 0.5 / dx**2
    m.set_objective(
        0.25 * dx * poi.quicksum((y[n][j] - 0.5 * (1 - (dx * j) ** 2)) ** 2 for j in steps)
        + 0.25 * 0.001 * dt * poi.quicksum(u[i] ** 2 for i in steps)
    )
    for i in range(n):
        for j in range(1, n):
            flow = y[i][j - 1] - 2 * y[i][j] + y[i][j + 1] + y[i + 1][j - 1] - 2 * y[i + 1][j] + y[i + 1][j + 1]
            m.add_linear_constraint((y[i + 1][j] - y[i][j]) / dt - half * flow, poi.Eq, 0)
    for j in steps:
        m.add_linear_constraint(y[0][j], poi.Eq, 0)
    for i in steps:
        m.add_linear_constraint(y[i][2] - 4 * y[i][1] + 3 * y[i][0], poi.Eq, 0)
        left = (y[i][n - 2] - 4 * y[i][n - 1] + 3 * y[i][n]) / (2 * dx)
        m.add_linear_constraint(left - (u[i] - y[i][n]), poi.Eq, 0)
    return m


def covariance_tavlo(n: int) -> Any:
    x = [tv.var(ub=1) for _ in range(n)]
    p = tv.problem(x)
    p.addConstraint(tv.Sum(x) == 1)
    p.setObjective(tv.Sum((2 * n if i == j else 1) * x[i] * x[j] for i in range(n) for j in range(n)))
    return p


def covariance_poi(n: int) -> Any:
    m = poi_highs.Model()
    m.set_model_attribute(poi.ModelAttribute.Silent, True)
    x = [m.add_variable(lb=0, ub=1) for _ in range(n)]
    m.add_linear_constraint(poi.quicksum(x), poi.Eq, 1)
    m.set_objective(poi.quicksum((2 * n if i == j else 1) * x[i] * x[j] for i in range(n) for j in range(n)))
    return m


def build_quadratic() -> None:
    for label, ours, peers, n in (
        ("heat control, 200 x 200", control_tavlo, control_poi, 200),
        ("covariances, 500 x 500", covariance_tavlo, covariance_poi, 500),
    ):
        contenders = {
            "tavlo": lambda build=ours, n=n: build(n),
            "pyoptinterface": lambda build=peers, n=n: build(n),
        }
        print("  " + ratio_line(label, best_in_turns(contenders, rounds=3)))


def main() -> None:
    solve_rocket()
    evaluate()
    solve_again()
    translate()
    build_quadratic()
