"""Spreads money over shares: least variance for each expected return, a quadratic program, and the efficient frontier.

Where matplotlib is installed, a file name as the first argument gets a picture of the frontier.
"""

from __future__ import annotations

import random
import sys
from importlib import import_module

import tavlo as tv

SHARES, FACTORS, SEED = 40, 5, 7


def market() -> tuple[list[float], list[list[float]]]:
    """Expected returns and covariances of a market that a few factors move."""
    draw = random.Random(SEED)
    loads = [[draw.gauss(0.0, 0.1) for _ in range(FACTORS)] for _ in range(SHARES)]
    own = [draw.uniform(0.01, 0.06) for _ in range(SHARES)]
    expected = [0.02 + 0.3 * sum(map(abs, load)) / FACTORS + draw.gauss(0.0, 0.01) for load in loads]
    covariance = [[sum(a * b for a, b in zip(first, second)) for second in loads] for first in loads]
    for i, variance in enumerate(own):
        covariance[i][i] += variance
    return expected, covariance


class Portfolio:
    """The model; only the required return changes from one point of the frontier to the next."""

    def __init__(self) -> None:
        self.expected, covariance = market()
        self.shares = [tv.var(name=f"share{i}", ub=0.25) for i in range(SHARES)]
        self.earned = tv.var(name="earned")
        x = self.shares
        self.problem = tv.problem(
            x,
            self.earned,
            tv.Sum(x) == 1,
            tv.Sum(r * v for r, v in zip(self.expected, x)) == self.earned,
            tv.Sum(covariance[i][j] * x[i] * x[j] for i in range(SHARES) for j in range(SHARES)),
            name="portfolio",
        )
        self.problem.setOutputEnabled(False)

    def least_variance(self, required: float) -> tuple[float, list[float]]:
        p = self.problem
        floor = self.earned >= required
        p.addConstraint(floor)
        p.solve()
        if p.getProbStatus() != tv.lp_optimal:
            raise RuntimeError(p.getProbStatusString())
        answer = p.getObjVal(), p.getSolution(self.shares)
        p.delConstraint(floor)
        return answer


def frontier(points: int = 15) -> list[tuple[float, float]]:
    """(expected return, least standard deviation) from the safest portfolio to nearly the most profitable one."""
    portfolio = Portfolio()
    _, safest = portfolio.least_variance(0.0)
    low = sum(r * v for r, v in zip(portfolio.expected, safest))
    high = sum(sorted(portfolio.expected)[-4:]) / 4  # a quarter of the money each
    levels = [low + (high - low) * k / points for k in range(points)]
    return [(level, portfolio.least_variance(level)[0] ** 0.5) for level in levels]


def picture(points: list[tuple[float, float]], filename: str) -> bool:
    try:
        matplotlib = import_module("matplotlib")
    except ImportError:
        return False
    matplotlib.use("Agg")
    pyplot = import_module("matplotlib.pyplot")
    figure, axes = pyplot.subplots()
    axes.plot([risk for _, risk in points], [level for level, _ in points], marker="o")
    axes.set(xlabel="standard deviation", ylabel="expected return", title="Efficient frontier")
    figure.savefig(filename)
    pyplot.close(figure)
    return True


def main(filename: str | None = None) -> list[tuple[float, float]]:
    points = frontier()
    print("Efficient frontier: expected return, standard deviation")
    for level, risk in points:
        print(f"  {100 * level:6.2f}%  {100 * risk:6.2f}%")
    if filename:
        print(f"picture in {filename}" if picture(points, filename) else "no picture: matplotlib is not installed")
    return points


if __name__ == "__main__":
    main(*sys.argv[1:2])
