"""A second solve after one changed bound starts from the first one's answer."""

import ctypes

import pytest
from stored_model import handle

import tavlo as tv


def quadratic(x):
    return [x[k + 1] - x[k] <= 0.1 for k in range(39)], tv.Sum((v - k % 7) ** 2 for k, v in enumerate(x))


def cones(x):
    return [tv.Sum(v * v for v in x) <= 30], tv.Sum((k % 5 - 2.5) * v for k, v in enumerate(x))


def nonlinear(x):
    rows = [tv.sin(x[k]) + x[k + 1] ** 2 <= 1 + 0.1 * x[k] for k in range(39)]
    return rows, tv.Sum(tv.exp(-v) * (1 + k % 3) for k, v in enumerate(x))


def linear(x):
    return [x[k] + 2 * x[k + 1] <= 3 + k % 4 for k in range(39)], -tv.Sum(v * (k % 3 + 1) for k, v in enumerate(x))


@pytest.mark.parametrize("model", [linear, quadratic, cones, nonlinear])
def test_fewer_iterations(model, library):
    def fresh():
        x = [tv.var(lb=-5, ub=5) for _ in range(40)]
        p = tv.problem(x, *model(x))
        return p, x

    def solve(p):
        p.solve()
        assert p.getProbStatusString() in ("lp_optimal", "nlp_solution", "nlp_globally_optimal")
        a = p.attributes
        return max(a.simplexiter, a.bariter) if p.getProbStatusString() == "lp_optimal" else a.nlpiter

    def lower_upper_bound(p, column, value):
        library.call(
            "TVLOchgbounds",
            handle(p),
            1,
            ctypes.byref(ctypes.c_int(column)),
            b"U",
            ctypes.byref(ctypes.c_double(value)),
        )

    p, x = fresh()
    first = solve(p)
    bound = p.getSolution(x[6]) - 0.02
    lower_upper_bound(p, 6, bound)
    again = solve(p)
    cold, _ = fresh()
    lower_upper_bound(cold, 6, bound)
    solve(cold)
    assert p.getObjVal() == pytest.approx(cold.getObjVal(), rel=1e-6)
    assert again < first
