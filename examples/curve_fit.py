"""Fits b1 * (1 - exp(-b2 * x)) to measurements by least squares, with the sum of squares computed by a Python function.

The data are Misra1a of the NIST Statistical Reference Datasets: dental research on monomolecular adsorption, with
certified values of the fit. The function tells its derivatives too; without them the solver takes differences.
"""

from __future__ import annotations

from math import exp

import tavlo as tv

X = (77.6, 114.9, 141.1, 190.8, 239.9, 289.0, 332.8, 378.4, 434.8, 477.3, 536.8, 593.1, 689.1, 760.0)
Y = (10.07, 14.73, 17.94, 23.93, 29.61, 35.18, 40.02, 44.82, 50.76, 55.05, 61.01, 66.40, 75.47, 81.78)
START = (250.0, 5.0)  # b2 in units of 1e-4, so that both are of like size


def squares(b1: float, b2: float) -> tuple[float, float, float]:
    """The sum of squared residuals, and its derivatives."""
    total = by_b1 = by_b2 = 0.0
    for x, y in zip(X, Y):
        decay = exp(-1e-4 * b2 * x)
        residual = b1 * (1 - decay) - y
        total += residual**2
        by_b1 += 2 * residual * (1 - decay)
        by_b2 += 2 * residual * b1 * 1e-4 * x * decay
    return total, by_b1, by_b2


def main(derivatives: bool = True) -> tuple[float, float, float]:
    b1, b2 = tv.var(name="b1", ub=1000), tv.var(name="b2", lb=0.1, ub=100)
    p = tv.problem(b1, b2, name="fit")
    p.setOutputEnabled(False)
    p.setObjective(tv.user(squares, b1, b2, derivatives=derivatives))
    for variable, start in zip((b1, b2), START):
        p.chgvar(variable, initial=start)
    p.solve()
    first, second = p.getSolution(b1), 1e-4 * p.getSolution(b2)
    print(f"Curve fit: {p.getProbStatusString()}, b1 = {first:.8g}, b2 = {second:.8g}, squares {p.getObjVal():.8g}")
    return first, second, p.getObjVal()


if __name__ == "__main__":
    main()
