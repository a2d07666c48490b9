"""Expressions as the solver gets them: rows and the objective."""

import math

import numpy as np
import pytest

import tavlo as tv


@pytest.mark.parametrize(
    ("body", "linear", "entries", "constant"),
    [
        (lambda x, y: x, {0: 1}, {}, 0),
        (lambda x, y: -3 * y, {1: -3}, {}, 0),
        (lambda x, y: 2 * x * y, {}, {(0, 1): 1}, 0),
        (lambda x, y: 5 * y * y, {}, {(1, 1): 5}, 0),
        (lambda x, y: y * x - 4 * x**2 + 7 * y - 2.5, {1: 7}, {(0, 1): 0.5, (0, 0): -4}, -2.5),
        (lambda x, y: tv.expression(), {}, {}, 0),
        (lambda x, y: 4, {}, {}, 4),
        (lambda x, y: np.float32(1.5), {}, {}, 1.5),
    ],
)
def test_bodies_of_rows_and_objectives(body, linear, entries, constant, xy, stored, quadratic):
    p, x, y = xy
    p.addConstraint(tv.constraint(body=body(x, y), ub=10))
    p.setObjective(body(x, y))
    m = stored(p)
    assert (m.row(0), m.rhs[0], quadratic(p, 0)) == (linear, 10 - constant, entries)
    assert {j: c for j, c in enumerate(m.objective) if c} == linear
    assert (m.constant, quadratic(p, None)) == (constant, {pair: 2 * c for pair, c in entries.items()})


def test_zero_coefficients_are_left_out(xy, stored, quadratic):
    p, x, y = xy
    e = x + y
    e *= 0
    p.addConstraint(tv.constraint(body=e, ub=1), tv.constraint(body=(x + x * y) * 0, ub=1))
    assert p.attributes.elems == 0
    assert quadratic(p, 1) == {}


def test_rows_keep_their_quadratic_parts_apart(xy, quadratic):
    p, x, y = xy
    p.addConstraint(x <= 1, x * x + y <= 1, x + y >= 0, 2 * x * y + y * y <= 5)
    assert [quadratic(p, i) for i in range(4)] == [{}, {(0, 0): 1}, {}, {(0, 1): 1, (1, 1): 1}]
    p.delConstraint(0)
    assert [quadratic(p, i) for i in range(3)] == [{(0, 0): 1}, {}, {(0, 1): 1, (1, 1): 1}]


@pytest.mark.parametrize("order", ["ascending", "descending", "shuffled", "sparse", "mixed problems"])
def test_columns_are_found_whatever_the_order_of_the_variables(order, stored):
    x = [tv.var() for _ in range(20000 if order == "sparse" else 600)]
    if order == "descending":
        x.reverse()
    elif order == "shuffled":
        x = [x[i * 7 % 600] for i in range(600)]
    elif order == "sparse":
        x = x[::199]
    elif order == "mixed problems":
        x = x[::2]
    p = tv.problem()
    for v in x:  # one by one, with rows between
        p.addVariable(v)
        p.addConstraint(v + x[0] >= 0 if v is not x[0] else v >= 0)
    p.delVariable([3, 4])
    p.delConstraint([3, 4])
    x = x[:3] + x[5:]
    p.addVariable(tv.var())
    p.addConstraint(tv.Sum(v * i for i, v in enumerate(x, 1)) <= 1)
    m = stored(p)
    for i in range(1, len(x)):
        assert m.row(i) == {0: 1, i: 1}
    assert m.row(len(x)) == {i: i + 1 for i in range(len(x))}


# ---- the objective ----
def test_objective_is_replaced_whole(xy, stored, quadratic):
    p, x, y = xy
    p.setObjective(3 * x + 2 * x * y + x * x + 5, sense=tv.maximize)
    m = stored(p)
    assert (m.objective.tolist(), m.constant, m.sense) == ([3, 0], 5, -1)
    assert quadratic(p, None) == {(0, 1): 2, (0, 0): 2}
    p.setObjective(x * x + y)
    m = stored(p)
    assert (m.objective.tolist(), m.constant, m.sense, quadratic(p, None)) == ([0, 1], 0, 1, {(0, 0): 2})
    p.setObjective(np.array([7.0]))
    m = stored(p)
    assert (m.objective.tolist(), m.constant, quadratic(p, None)) == ([0, 0], 7, {})
    empty = tv.problem()
    empty.setObjective(3)
    assert stored(empty).constant == 3


@pytest.mark.parametrize(
    ("objective", "text"),
    [
        ("x", "Invalid object set as objective"),
        ([1], "Invalid object set as objective"),
        (None, "Invalid object set as objective"),
        (np.array([]), "Invalid object set as objective"),
        (np.array([1.0, 2.0]), "Only one objective can be set, passed a sequence or NumPy array"),
        (tv.var(), "Variable in linear term defining constraint has not been added to problem yet"),
        (tv.var() + 1, "Variable in linear part of constraint has not been added to problem yet"),
        (lambda x: math.nan * x, "Coefficient of x in the objective is NaN"),
        (lambda x: x + math.inf * x * x, "Coefficient of x*x in the objective is infinite"),
        (lambda x: 1e308 * x * x, "Coefficient of x*x in the objective is infinite"),
        (math.inf, "Constant of the objective is infinite"),
        (lambda x: x + math.nan, "Constant of the objective is NaN"),
    ],
)
def test_refused_objectives_leave_the_old_one(objective, text, xy, stored, quadratic):
    p, x, y = xy
    p.setObjective(x + 2 * y * y + 1, sense=tv.maximize)
    with pytest.raises(tv.ModelError) as error:
        p.setObjective(objective(x) if callable(objective) else objective)
    assert str(error.value) == text
    with pytest.raises(tv.ModelError, match=r"^Invalid optimization sense$"):
        p.setObjective(y, sense=0)
    m = stored(p)
    assert (m.objective.tolist(), m.constant, m.sense, quadratic(p, None)) == ([1, 0], 1, -1, {(1, 1): 4})


def test_quadratic_models_are_solved_where_they_are_convex(xy):
    p, x, y = xy
    p.setObjective(x * x - 2 * x)
    assert p.attributes.qelems == 1
    p.solve()
    assert (p.getProbStatus(), p.getObjVal()) == (tv.lp_optimal, pytest.approx(-1))
    assert p.getSolution(x) == pytest.approx(1)
    p.setObjective(x)
    p.addConstraint(x * y <= 1)
    assert p.attributes.qconstraints == 1
    with pytest.raises(tv.SolverError) as error:
        p.solve()
    assert str(error.value) == (
        "The problem was determined to be nonconvex, and the optimizer cannot solve it. "
        "Call nlpoptimize() to find a solution using SLP"
    )
    assert (p.getProbStatus(), p.getProbStatusString()) == (tv.lp_nonconvex, "lp_nonconvex")
    p.delConstraint(0)
    p.solve()
    assert p.getProbStatus() == tv.lp_optimal
