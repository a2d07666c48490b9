"""Convex quadratic models, solved through us and by PIQP's own package on the same data."""

from __future__ import annotations

from dataclasses import dataclass
from typing import Any

import numpy as np
import piqp
import scipy.sparse as sp

import tavlo as tv
from benchmarks.timing import ratio_line, seconds

INFINITE = 1e20


@dataclass
class Data:
    """minimise x'Px/2 + c'x where Ax = b, Gx <= h, lower <= x <= upper"""

    P: Any
    c: np.ndarray
    lower: np.ndarray
    upper: np.ndarray
    A: Any = None
    b: Any = None
    G: Any = None
    h: Any = None


def free(n: int) -> np.ndarray:
    return np.full(n, np.inf)


def random_sparse(rng: np.random.Generator, rows: int, columns: int, density: float) -> Any:
    return sp.random(rows, columns, density, "csc", random_state=rng, data_rvs=rng.standard_normal)


def portfolio(n: int) -> Data:
    """n assets whose risk comes from n/100 factors."""
    rng = np.random.default_rng(1)
    k = n // 100
    factors = random_sparse(rng, n, k, 0.5)
    own, returns = rng.random(n) * np.sqrt(k), rng.standard_normal(n)
    budget = sp.csc_matrix(np.concatenate([np.ones(n), np.zeros(k)]))
    return Data(
        P=sp.block_diag([sp.diags(own), sp.eye(k)], "csc"),
        c=np.concatenate([-returns, np.zeros(k)]),
        lower=np.concatenate([np.zeros(n), -free(k)]),
        upper=free(n + k),
        A=sp.vstack([sp.hstack([factors.T, -sp.eye(k)]), budget], "csc"),
        b=np.concatenate([np.zeros(k), [1.0]]),
    )


def lasso(n: int) -> Data:
    """Least squares over n features and n/2 points, and a price for each feature's absolute value."""
    rng = np.random.default_rng(1)
    m = n // 2
    points = random_sparse(rng, m, n, 0.15)
    truth = (rng.random(n) > 0.5) * rng.standard_normal(n) / np.sqrt(n)
    target = points @ truth + rng.standard_normal(m)
    price = 0.2 * np.max(np.abs(points.T @ target))
    one, none = sp.eye(n), sp.csc_matrix((n, m))
    return Data(
        P=sp.block_diag([sp.csc_matrix((n, n)), 2 * sp.eye(m), sp.csc_matrix((n, n))], "csc"),
        c=np.concatenate([np.zeros(n + m), np.full(n, price)]),
        lower=-free(2 * n + m),
        upper=free(2 * n + m),
        A=sp.hstack([points, -sp.eye(m), sp.csc_matrix((m, n))], "csc"),
        b=target,
        G=sp.bmat([[one, none, -one], [-one, none, -one]], "csc"),
        h=np.zeros(2 * n),
    )


def support_vectors(m: int) -> Data:
    """m points in two classes, in m/10 dimensions."""
    rng = np.random.default_rng(1)
    n = m // 10
    label = np.where(np.arange(m) < m // 2, 1.0, -1.0)
    points = sp.csr_matrix(random_sparse(rng, m, n, 0.15))
    points.data = points.data / np.sqrt(n) + np.repeat(label, np.diff(points.indptr)) / n
    return Data(
        P=sp.block_diag([sp.eye(n), sp.csc_matrix((m, m))], "csc"),
        c=np.concatenate([np.zeros(n), np.ones(m)]),
        lower=np.concatenate([-free(n), np.zeros(m)]),
        upper=free(n + m),
        G=sp.hstack([-sp.diags(label) @ points, -sp.eye(m)], "csc"),
        h=-np.ones(m),
    )


def control(steps: int) -> Data:
    """A linear system of 8 states and 4 inputs follows a target for so many steps."""
    rng = np.random.default_rng(1)
    states, inputs = 8, 4
    move = np.eye(states) + 0.1 * rng.standard_normal((states, states))
    move /= max(1.0, np.max(np.abs(np.linalg.eigvals(move))))
    push = rng.standard_normal((states, inputs))
    weight = sp.kron(sp.eye(steps + 1), sp.diags(10 * rng.random(states) * (rng.random(states) > 0.3)))
    target = np.repeat(rng.standard_normal((steps // 20 + 1, states)), 20, axis=0)[: steps + 1].ravel()
    later = sp.vstack([sp.csc_matrix((1, steps)), sp.eye(steps)])
    dynamics = sp.kron(sp.eye(steps + 1, k=-1), move) - sp.eye(states * (steps + 1))
    bound = np.concatenate([np.full(states * (steps + 1), 4.0), np.full(inputs * steps, 0.5)])
    return Data(
        P=sp.block_diag([weight, 0.1 * sp.eye(inputs * steps)], "csc"),
        c=np.concatenate([-weight @ target, np.zeros(inputs * steps)]),
        lower=-bound,
        upper=bound,
        A=sp.hstack([dynamics, sp.kron(later, push)], "csc"),
        b=np.concatenate([-rng.standard_normal(states), np.zeros(states * steps)]),
    )


def built(data: Data) -> tv.problem:
    x = [
        tv.var(lb=max(low, -INFINITE), ub=min(up, INFINITE))
        for low, up in zip(data.lower.tolist(), data.upper.tolist())
    ]
    p = tv.problem(x)
    p.setOutputEnabled(False)
    for matrix, right, equal in ((data.A, data.b, True), (data.G, data.h, False)):
        if matrix is None:
            continue
        rows = sp.csr_matrix(matrix)
        starts, columns, values = rows.indptr.tolist(), rows.indices.tolist(), rows.data.tolist()
        for i, rhs in enumerate(right.tolist()):
            left = tv.Sum(values[k] * x[columns[k]] for k in range(starts[i], starts[i + 1]))
            p.addConstraint(left == rhs if equal else left <= rhs)
    form = sp.triu(data.P).tocoo()
    entries = zip(form.row.tolist(), form.col.tolist(), form.data.tolist())
    products = tv.Sum((v / 2 if i == j else v) * x[i] * x[j] for i, j, v in entries)
    p.setObjective(products + tv.Sum(v * x[j] for j, v in enumerate(data.c.tolist()) if v))
    return p


def by_piqp(data: Data) -> float:
    solver = piqp.SparseSolver()
    low = None if data.h is None else np.full(len(data.h), -np.inf)
    solver.setup(data.P, data.c, data.A, data.b, data.G, low, data.h, data.lower, data.upper)
    solver.solve()
    return solver.result.info.primal_obj


MODELS = {
    "factor portfolio, 5,000 assets": (portfolio, 5_000),
    "LASSO, 1,000 features": (lasso, 1_000),
    "support vectors, 3,000 points": (support_vectors, 3_000),
    "predictive control, 2,000 steps": (control, 2_000),
}


def main() -> None:
    for name, (make, size) in MODELS.items():
        data = make(size)
        best = {"tavlo": float("inf"), "piqp": float("inf")}
        for _ in range(5):
            p = built(data)
            best["tavlo"] = min(best["tavlo"], seconds(p.solve))
            best["piqp"] = min(best["piqp"], seconds(lambda d=data: by_piqp(d)))
        theirs = by_piqp(data)
        if p.attributes.lpstatus != 1 or abs(p.getObjVal() - theirs) > 1e-7 * abs(theirs):
            print(f"  {name}: {p.getProbStatusString()}, {p.getObjVal()} and {theirs} differ")
        print("  " + ratio_line(name, best))
