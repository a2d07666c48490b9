"""Runs the benchmarks named as arguments, or all. Ratios are our time over the peer's: below 1 we are faster."""

from __future__ import annotations

import subprocess
import sys
from pathlib import Path
from typing import Any

from benchmarks import arrays, deletion, large_nonlinear, nonlinear, quadratic, searches, small, solving, terms
from benchmarks.models import FORM, P_MEDIAN, PRODUCT, TRANSPORT, transport_tavlo
from benchmarks.timing import best_in_turns, ratio_line, seconds


def bound(builders: dict[str, Any], *arguments: Any) -> dict[str, Any]:
    return {name: lambda build=build: build(*arguments) for name, build in builders.items()}


def build_p_median() -> None:
    for n in (100, 200, 400):
        for binary in (True, False):
            rounds = {100: 7, 200: 5, 400: 3}[n]
            best = best_in_turns(bound(P_MEDIAN, n, binary), rounds)
            print("  " + ratio_line(f"p-median {n} x {n}, {'binary' if binary else 'continuous'}", best))


def per_nonzero(label: str, best: dict[str, float], nonzeros: int) -> None:
    print("  " + ratio_line(f"{label}, {nonzeros:,} nonzeros", best))
    print("  " + ", ".join(f"{name} {took / nonzeros * 1e9:.0f} ns" for name, took in best.items()) + " per nonzero")


def build_transport() -> None:
    plants, customers = 500, 1000
    per_nonzero("transport", best_in_turns(bound(TRANSPORT, plants, customers), rounds=3), 2 * plants * customers)


def products() -> None:
    n = 1000
    per_nonzero("A x", best_in_turns(bound(PRODUCT, n), rounds=3), n * n)
    per_nonzero("x' A x", best_in_turns(bound(FORM, n), rounds=3), n * n)


def doubling() -> None:
    for plants in (125, 250):
        transport_tavlo(plants, 1000)  # warms the allocator up
    sizes = (125, 250, 500)
    took = {plants: min(seconds(lambda p=plants: transport_tavlo(p, 1000)) for _ in range(5)) for plants in sizes}
    for small_size, large_size in zip(sizes, sizes[1:]):
        label = f"{2000 * large_size:,} over {2000 * small_size:,} nonzeros"
        print(f"  {label:34}{took[large_size] / took[small_size]:10.2f} times the time")


def million() -> None:
    subprocess.run([sys.executable, "-m", "benchmarks.million"], check=True)


def maps() -> None:
    subprocess.run([Path(__file__).resolve().parent.parent / "build/release/benchmarks/tvlo_maps"], check=True)


PARTS = {
    "build": (
        "Building a p-median model by operators (the peers also pass it to HiGHS, tavlo does at the solve)",
        build_p_median,
    ),
    "transport": ("Building a transport model by operators", build_transport),
    "products": ("Dense products of matrices and variables", products),
    "arrays": ("A p-median model by arrays over operators, CPU time", arrays.main),
    "memory": ("Memory of a p-median model by operators", arrays.memory),
    "terms": ("Writing one long sum, for each nonzero", terms.main),
    "maps": ("The container of coefficients, for each term", maps),
    "doubling": ("Doubling the model", doubling),
    "solve": ("Solving", solving.main),
    "mip": ("Tree searches, CPU time", searches.main),
    "million": ("A million variables and a million rows", million),
    "deletion": ("Single deletions, CPU time (at most 2 s for the last, 20 s anywhere)", deletion.main),
    "quadratic": ("Convex quadratic models, solving (at most 1.3)", quadratic.main),
    "nonlinear": ("Quadratic and nonlinear models", nonlinear.main),
    "large": ("Large nonlinear models, CPU time (at most 0.7) and iterations (at most 1.1)", large_nonlinear.main),
    "small": ("Single operations", small.main),
}


def main(names: list[str]) -> None:
    for name in names or PARTS:
        title, part = PARTS[name]
        print(f"\n{title}", flush=True)
        part()
        sys.stdout.flush()


if __name__ == "__main__":
    main(sys.argv[1:])
