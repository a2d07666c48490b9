"""Duals and reduced costs of quadratic problems against their optimality systems, solved or recomputed by NumPy."""

import numpy as np
import pytest

import tavlo as tv

SENSES = [(tv.minimize, 1), (tv.maximize, -1)]


def definite(rng, n):
    root = rng.normal(size=(n, n))
    return root @ root.T + np.eye(n)


def quadratic(matrix, x):
    """x'Mx in terms."""
    return tv.Sum(matrix[i, j] * x[i] * x[j] for i in range(len(x)) for j in range(len(x)))


def solved(p):
    p.setOutputEnabled(False)
    p.solve()
    assert p.getProbStatusString() == "lp_optimal"
    return p


@pytest.mark.parametrize(("sense", "sign"), SENSES)
@pytest.mark.parametrize("seed", range(5))
def test_qp_solves_its_optimality_system(seed, sense, sign):
    rng = np.random.default_rng(seed)
    n, m = 9, 4
    q, c = sign * definite(rng, n), rng.normal(size=n) * 3
    a, b = rng.normal(size=(m, n)), rng.normal(size=m)
    box = 0.6 if seed else 50.0
    x = [tv.var(lb=-box, ub=box) for _ in range(n)]
    rows = [tv.Sum(a[i, j] * x[j] for j in range(n)) == b[i] for i in range(2)]
    rows += [tv.Sum(a[i, j] * x[j] for j in range(n)) <= b[i] for i in range(2, m)]
    p = tv.problem(x, rows)
    p.setObjective(quadratic(q / 2, x) + tv.Sum(c[j] * x[j] for j in range(n)) + 7, sense=sense)
    at, dual, cost, slack = (
        np.array(v) for v in (solved(p).getSolution(x), p.getDual(rows), p.getRCost(x), p.getSlack(rows))
    )

    # What is active at the answer makes a system of equations: Qx + c = A'y + z, active rows and bounds hold.
    active, free = np.abs(slack) < 1e-6, np.abs(np.abs(at) - box) > 1e-6
    normals = np.vstack([a[active], np.eye(n)[~free]])
    k = len(normals)
    system = np.block([[q, -normals.T], [normals, np.zeros((k, k))]])
    solution = np.linalg.solve(system, np.concatenate([-c, b[active], np.copysign(box, at[~free])]))
    expected_dual, expected_cost = np.zeros(m), np.zeros(n)
    expected_dual[active] = solution[n : n + active.sum()]
    expected_cost[~free] = solution[n + active.sum() :]
    assert at == pytest.approx(solution[:n], abs=1e-6)
    assert dual == pytest.approx(expected_dual, abs=2e-5)
    assert cost == pytest.approx(expected_cost, abs=2e-5)
    assert (sign * dual[2:] <= 1e-6).all() and (sign * cost * at <= 1e-6).all() and (slack[2:] >= -1e-6).all()
    assert p.getObjVal() == pytest.approx(at @ q @ at / 2 + c @ at + 7, rel=1e-9)


@pytest.mark.parametrize(("sense", "sign"), SENSES)
@pytest.mark.parametrize("seed", range(5))
def test_qcqp_is_stationary(seed, sense, sign):
    rng = np.random.default_rng(seed)
    n, m = 6, 3
    q, a = [definite(rng, n) for _ in range(m)], rng.normal(size=(m, n))
    c, b = 20 * rng.normal(size=n), rng.uniform(1, 3, size=m)
    x = [tv.var(lb=-0.3 if seed else -tv.infinity) for _ in range(n)]
    bodies = [quadratic(q[k], x) + tv.Sum(a[k, j] * x[j] for j in range(n)) for k in range(m)]
    # The last row is the same set written from below.
    rows = [*(body <= limit for body, limit in zip(bodies[:-1], b)), -bodies[-1] >= -b[-1]]
    p = tv.problem(x, rows)
    p.setObjective(tv.Sum(c[j] * x[j] for j in range(n)) + (sign * quadratic(q[0], x) if seed % 2 else 0), sense=sense)
    at, dual, cost, slack = (
        np.array(v) for v in (solved(p).getSolution(x), p.getDual(rows), p.getRCost(x), p.getSlack(rows))
    )
    turned = np.array([1, 1, -1])
    normals = turned[:, None] * np.array([2 * q[k] @ at + a[k] for k in range(m)])
    values = turned * np.array([at @ q[k] @ at + a[k] @ at for k in range(m)])
    gradient = c + (2 * sign * q[0] @ at if seed % 2 else 0)
    assert gradient - dual @ normals == pytest.approx(cost, abs=1e-5)
    assert slack == pytest.approx(turned * b - values, abs=1e-6)
    assert (turned * slack >= -1e-6).all() and (sign * turned * dual <= 1e-6).all()
    assert np.abs(dual * slack).max() <= 1e-4 and np.abs(cost * (at + 0.3)).max() <= 1e-4
    assert np.abs(dual).max() > 1e-3  # something binds
