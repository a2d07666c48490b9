"""Large nonlinear models against CasADi with its Ipopt: iterations, and processor time from a model to its answer.

Each model is written once, over a small interface that both have. Our time and the first of CasADi's hold the making of
derivatives, its second one the run of Ipopt alone.
"""

from __future__ import annotations

import math
import os
import random
import sys
import time
from collections.abc import Callable
from dataclasses import dataclass
from typing import Any

import tavlo as tv

INFINITY = math.inf


class Tavlo:
    sin, cos, exp, sqrt = tv.sin, tv.cos, tv.exp, tv.sqrt
    sum = staticmethod(tv.Sum)

    def __init__(self) -> None:
        self.p = tv.problem()
        self.p.setOutputEnabled(False)

    def var(self, lb: float = -INFINITY, ub: float = INFINITY, start: float = 0.0) -> Any:
        v = tv.var(lb=max(lb, -tv.infinity), ub=min(ub, tv.infinity))
        self.p.addVariable(v)
        if start:
            self.p.chgvar(v, initial=start)
        return v

    def row(self, body: Any, lb: float, ub: float) -> None:
        self.p.addConstraint(tv.constraint(body=body, lb=max(lb, -tv.infinity), ub=min(ub, tv.infinity)))

    def minimise(self, objective: Any) -> None:
        self.p.setObjective(objective)

    def solve(self) -> Answer:
        began = time.process_time()
        self.p.nlpoptimize()
        took = time.process_time() - began
        solved = self.p.getProbStatus() in (tv.nlp_solution, tv.nlp_globally_optimal)
        return Answer(solved, self.p.getObjVal(), self.p.attributes.nlpiter, took)


class Casadi:
    def __init__(self) -> None:
        os.environ["OPENBLAS_NUM_THREADS"] = "1"
        import casadi

        self.casadi = casadi
        self.sin, self.cos, self.exp, self.sqrt = casadi.sin, casadi.cos, casadi.exp, casadi.sqrt
        self.x: list[Any] = []
        self.bounds: list[tuple[float, float]] = []
        self.start: list[float] = []
        self.rows: list[Any] = []
        self.sides: list[tuple[float, float]] = []

    def sum(self, terms: Any) -> Any:
        return self.casadi.sum1(self.casadi.vertcat(*terms))

    def var(self, lb: float = -INFINITY, ub: float = INFINITY, start: float = 0.0) -> Any:
        self.x.append(self.casadi.SX.sym("x"))
        self.bounds.append((lb, ub))
        self.start.append(start)
        return self.x[-1]

    def row(self, body: Any, lb: float, ub: float) -> None:
        self.rows.append(body)
        self.sides.append((lb, ub))

    def minimise(self, objective: Any) -> None:
        self.objective = objective

    def solve(self) -> Answer:
        options = {"print_time": False, "ipopt": {"print_level": 0, "sb": "yes"}}
        began = time.process_time()
        join = self.casadi.vertcat
        model = {"x": join(*self.x), "f": self.objective, "g": join(*self.rows) if self.rows else self.casadi.SX(0, 1)}
        solver = self.casadi.nlpsol("solver", "ipopt", model, options)
        arguments = {"x0": self.start}
        arguments["lbx"], arguments["ubx"] = map(list, zip(*self.bounds))
        if self.rows:
            arguments["lbg"], arguments["ubg"] = map(list, zip(*self.sides))
        built = time.process_time()
        answer = solver(**arguments)
        ended = time.process_time()
        stats = solver.stats()
        return Answer(stats["success"], float(answer["f"]), stats["iter_count"], ended - began, ended - built)


@dataclass
class Answer:
    solved: bool
    objective: float
    iterations: int
    seconds: float
    engine: float = 0.0  # seconds of it


def beam(m: Any, n: int) -> None:
    """Least energy that bends a clamped beam under a load: optimal control by the trapezoidal rule."""
    h, alpha = 1 / n, 350
    t = [m.var(-1, 1, 0.05 * math.cos(k * h)) for k in range(n + 1)]
    x = [m.var(-0.05, 0.05, 0.05 * math.cos(k * h)) for k in range(n + 1)]
    u = [m.var() for _ in range(n + 1)]
    m.minimise(
        m.sum(
            0.5 * h * (u[k + 1] ** 2 + u[k] ** 2) + 0.5 * alpha * h * (m.cos(t[k + 1]) + m.cos(t[k])) for k in range(n)
        )
    )
    for k in range(n):
        m.row(x[k + 1] - x[k] - 0.5 * h * (m.sin(t[k + 1]) + m.sin(t[k])), 0, 0)
        m.row(t[k + 1] - t[k] - 0.5 * h * u[k + 1] - 0.5 * h * u[k], 0, 0)


def power_flow(m: Any, n: int) -> None:
    """Cheapest generation in an alternating-current network, in polar coordinates: a ring of rings with chords."""
    rng = random.Random(4)
    lines = {(k, k + 1) for k in range(n - 1)}
    while len(lines) < 1.5 * n:
        a = rng.randrange(n)
        b = min(n - 1, a + rng.randrange(2, 30))
        if a < b:
            lines.add((a, b))
    generators = sorted(rng.sample(range(n), n // 5))
    voltage = [m.var(0.94, 1.06, 1) for _ in range(n)]
    angle = [m.var(-INFINITY, INFINITY) for _ in range(n)]
    real = {k: m.var(0, rng.uniform(1.5, 4)) for k in generators}
    reactive = {k: m.var(-1.5, 1.5) for k in generators}
    m.row(angle[0], 0, 0)
    out: list[list[Any]] = [[] for _ in range(n)]
    outq: list[list[Any]] = [[] for _ in range(n)]
    for a, b in sorted(lines):
        r, x, c = rng.uniform(0.002, 0.02), rng.uniform(0.02, 0.1), rng.uniform(0, 0.04)
        g, s = r / (r * r + x * x), -x / (r * r + x * x)
        for i, j in ((a, b), (b, a)):
            product, turn = voltage[i] * voltage[j], angle[i] - angle[j]
            p = m.var(-2.5, 2.5)
            q = m.var(-2.5, 2.5)
            m.row(p - g * voltage[i] ** 2 + product * (g * m.cos(turn) + s * m.sin(turn)), 0, 0)
            m.row(q + (s + c / 2) * voltage[i] ** 2 + product * (g * m.sin(turn) - s * m.cos(turn)), 0, 0)
            m.row(p**2 + q**2, -INFINITY, 6.25)
            out[i].append(p)
            outq[i].append(q)
        m.row(angle[a] - angle[b], -0.5, 0.5)
    for k in range(n):
        load = rng.uniform(0.05, 0.45)
        m.row(m.sum([*out[k], *([-1 * real[k]] if k in real else [])]), -load, -load)
        m.row(m.sum([*outq[k], *([-1 * reactive[k]] if k in reactive else [])]), -0.3 * load, -0.3 * load)
    m.minimise(m.sum(rng.uniform(10, 50) * v + rng.uniform(1, 20) * v**2 for v in real.values()))


def obstacle(m: Any, n: int) -> None:
    """The least surface over a square that spans a parabola on its edge and stays above a block."""
    h = 1 / (n - 1)
    at = range(n)

    def edge(i: int, j: int) -> float:
        return 1 - (2 * i * h - 1) ** 2 if j in (0, n - 1) else 0.0

    z = []
    for i in at:
        z.append([])
        for j in at:
            border = i in (0, n - 1) or j in (0, n - 1)
            block = 1.0 if abs(i * h - 0.5) <= 0.25 and abs(j * h - 0.5) <= 0.25 else 0.0
            value = edge(i, j)
            start = 1 - (2 * i * h - 1) ** 2
            z[-1].append(m.var(value, value, value) if border else m.var(block, INFINITY, max(start, block)))
    area = []
    for i in range(n - 1):
        for j in range(n - 1):
            a, b = (z[i + 1][j] - z[i][j]) / h, (z[i][j + 1] - z[i][j]) / h
            c, d = (z[i + 1][j + 1] - z[i][j + 1]) / h, (z[i + 1][j + 1] - z[i + 1][j]) / h
            area.append(0.5 * h * h * (m.sqrt(1 + a**2 + b**2) + m.sqrt(1 + c**2 + d**2)))
    m.minimise(m.sum(area))


def bearing(m: Any, n: int) -> None:
    """Pressure in a journal bearing: a quadratic form over a grid, with the pressure nowhere below zero."""
    width, eccentricity = 10.0, 0.1
    hx, hy = 2 * math.pi / (n + 1), 2 * width / (n + 1)
    v = [
        [
            m.var(0, 0 if i in (0, n + 1) or j in (0, n + 1) else INFINITY, max(0, math.sin(i * hx)))
            for j in range(n + 2)
        ]
        for i in range(n + 2)
    ]
    w = [(1 + eccentricity * math.cos(i * hx)) ** 3 for i in range(n + 2)]
    terms = []
    for i in range(n + 1):
        for j in range(n + 1):
            below, above = 0.5 * (hx * hy) * (2 * w[i] + w[i + 1]) / 6, 0.5 * (hx * hy) * (w[i] + 2 * w[i + 1]) / 6
            terms.append(below * (((v[i + 1][j] - v[i][j]) / hx) ** 2 + ((v[i][j + 1] - v[i][j]) / hy) ** 2))
            terms.append(
                above * (((v[i + 1][j + 1] - v[i][j + 1]) / hx) ** 2 + ((v[i + 1][j + 1] - v[i + 1][j]) / hy) ** 2)
            )
            terms.append(-hx * hy * eccentricity * math.sin(i * hx) * v[i][j])
    m.minimise(m.sum(terms))


def estimation(m: Any, n: int) -> None:
    """Rates of a chain of reactions from noisy observations: implicit midpoint steps, squared errors."""
    rng = random.Random(2)
    true = (0.9, 0.4, 0.25, 0.6)
    horizon, species = 10.0, 4
    h = horizon / n

    def slopes(y: list[Any], k: list[Any]) -> list[Any]:
        ab, bc, cd = k[0] * y[0], k[1] * y[1] ** 2, k[2] * y[2] * y[1]
        loss = k[3] * y[3] / (1 + y[3])
        return [-1 * ab, ab - bc, bc - cd, cd - loss]

    state, seen = [1.0, 0.3, 0.0, 0.1], []
    for step in range(n):
        mid = [a + 0.5 * h * b for a, b in zip(state, slopes(state, list(true)))]
        state = [a + h * b for a, b in zip(state, slopes(mid, list(true)))]
        if step % max(1, n // 50) == 0:
            seen.append((step + 1, [v + rng.gauss(0, 0.01) for v in state]))
    k = [m.var(0, 5, 0.5) for _ in true]
    y = [[m.var(0, 2, 0.3) for _ in range(species)] for _ in range(n + 1)]
    for v, value in zip(y[0], (1.0, 0.3, 0.0, 0.1)):
        m.row(v, value, value)
    for step in range(n):
        mid = [(a + b) / 2 for a, b in zip(y[step], y[step + 1])]
        for a, b, slope in zip(y[step], y[step + 1], slopes(mid, k)):
            m.row(b - a - h * slope, 0, 0)
    m.minimise(m.sum((y[step][s] - value) ** 2 for step, values in seen for s, value in enumerate(values)))


MODELS: dict[str, tuple[Callable[[Any, int], None], int]] = {
    "beam control, n = 1,000": (beam, 1_000),
    "beam control, n = 10,000": (beam, 10_000),
    "power flow, 1,000 buses": (power_flow, 1_000),
    "obstacle, 100 x 100": (obstacle, 100),
    "journal bearing, 100 x 100": (bearing, 100),
    "parameter estimation, n = 2,000": (estimation, 2_000),
}


def solve(build: Callable[[Any, int], None], n: int, contender: type) -> Answer:
    m = contender()
    build(m, n)
    return m.solve()


def main(names: list[str] | None = None) -> None:
    for label, (build, n) in MODELS.items():
        if names and not any(name in label for name in names):
            continue
        peer = solve(build, n, Casadi)
        ours = solve(build, n, Tavlo)
        agree = ours.solved and peer.solved and abs(ours.objective / peer.objective - 1) < 1e-4
        print(
            f"  {label:34}{ours.seconds:8.2f} s"
            f"   casadi {peer.seconds:7.2f} s  ratio {ours.seconds / peer.seconds:5.2f}"
            f"   its Ipopt {peer.engine:7.2f} s  ratio {ours.seconds / peer.engine:5.2f}"
            f"   {ours.iterations} iterations against {peer.iterations}" + ("" if agree else "   ANSWERS DIFFER"),
            flush=True,
        )


if __name__ == "__main__":
    main(sys.argv[1:])
