"""Finds the smallest circle around points of the plane: a convex program with a quadratic constraint for each point."""

from __future__ import annotations

import random

import tavlo as tv


def generate(number: int = 60, seed: int = 3) -> list[tuple[float, float]]:
    draw = random.Random(seed)
    return [(draw.gauss(4.0, 3.0), draw.gauss(-2.0, 2.0)) for _ in range(number)]


def circle(points: list[tuple[float, float]]) -> tuple[float, float, float]:
    """Centre and radius."""
    x, y = tv.var(name="x", lb=-tv.infinity), tv.var(name="y", lb=-tv.infinity)
    square = tv.var(name="squared radius")
    p = tv.problem(x, y, square, name="circle")
    p.setOutputEnabled(False)
    p.addConstraint((x - a) ** 2 + (y - b) ** 2 <= square for a, b in points)
    p.setObjective(square)
    p.solve()
    if p.getProbStatus() != tv.lp_optimal:
        raise RuntimeError(p.getProbStatusString())
    return p.getSolution(x), p.getSolution(y), p.getObjVal() ** 0.5


def main() -> float:
    points = generate()
    x, y, radius = circle(points)
    on_it = sum(abs(((x - a) ** 2 + (y - b) ** 2) ** 0.5 - radius) < 1e-4 for a, b in points)
    print(f"Smallest circle around {len(points)} points: centre ({x:.4f}, {y:.4f}), radius {radius:.6f}")
    print(f"  {on_it} points lie on it")
    return radius


if __name__ == "__main__":
    main()
