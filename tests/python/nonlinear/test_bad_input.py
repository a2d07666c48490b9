"""What a solve says of problems that have no answer, or no value where it starts."""

import math

import pytest

import tavlo as tv

INF = tv.infinity


def problem(objective, lb=-5.0, ub=5.0, start=None, row=None):
    x = tv.var(lb=lb, ub=ub)
    p = tv.problem(x)
    p.setOutputEnabled(False)
    p.setObjective(objective(x))
    if row is not None:
        p.addConstraint(row(x))
    if start is not None:
        p.chgvar(x, initial=start)
    return p, x


@pytest.mark.parametrize(
    ("arguments", "answer"),
    [
        ({"objective": lambda x: x - tv.log(x), "start": -3}, 1),
        ({"objective": lambda x: x, "row": lambda x: tv.log(x) >= 0.5, "start": -3}, math.exp(0.5)),
        ({"objective": lambda x: x + 1 / x, "lb": 0, "start": 0}, 1),
        ({"objective": lambda x: x, "row": lambda x: 1 / x <= 4, "lb": 0, "start": 0}, 0.25),
        ({"objective": lambda x: tv.sqrt(x) - x, "start": -5}, 5),
    ],
)
def test_a_start_without_a_value_is_replaced(arguments, answer):
    p, x = problem(**arguments)
    p.solve()
    assert p.getProbStatusString() == "nlp_solution"
    assert p.getSolution(x) == pytest.approx(answer, abs=1e-5)


@pytest.mark.parametrize(
    ("arguments", "proven"),
    [
        ({"objective": lambda x: x - tv.log(x), "ub": -1}, True),
        ({"objective": lambda x: x + 1 / x, "lb": 0, "ub": 0}, True),
        ({"objective": lambda x: x, "row": lambda x: tv.sqrt(x - 9) <= 4}, True),
        ({"objective": lambda x: tv.user(lambda v: math.nan, x)}, False),
        ({"objective": lambda x: tv.user(lambda v: -math.inf, x)}, False),
        ({"objective": lambda x: x, "row": lambda x: tv.user(lambda v: math.nan, x) <= 1}, False),
        ({"objective": lambda x: tv.user(lambda v: (v * v, math.nan), x, derivatives=True)}, False),
    ],
)
def test_without_a_value_anywhere_a_problem_has_no_answer(arguments, proven):
    p, x = problem(**arguments)
    p.solve()
    assert p.getProbStatusString() == ("nlp_infeasible" if proven else "nlp_unfinished")
    p.setObjective(tv.exp(x) + (x + 1) ** 4)  # none the worse
    if p.attributes.rows > 1:
        p.delConstraint(0)
    p.solve()
    assert p.getProbStatusString() in ("nlp_solution", "nlp_globally_optimal")


def test_a_nonconvex_quadratic_problem_has_its_status():
    for change in (
        {"objective": lambda x: -x * x},
        {"objective": lambda x: x, "row": lambda x: x * x >= 1},
        {"objective": lambda x: x, "row": lambda x: x * x == 1},
    ):
        p, _ = problem(**change)
        with pytest.raises(tv.SolverError, match="The problem was determined to be nonconvex"):
            p.solve()
        assert (p.attributes.lpstatus, p.getProbStatus(), p.getProbStatusString()) == (8, 8, "lp_nonconvex")
        p.nlpoptimize()
        assert p.getProbStatusString() == "nlp_solution"


@pytest.mark.parametrize(
    ("row", "proven"),
    [
        (lambda x: [x + x >= 3, x <= 1], True),  # the linear part alone
        (lambda x: tv.exp(x) <= -1, True),  # no value of x
        (lambda x: tv.sin(x) >= 1.5, True),
        (lambda x: x * x <= -1, True),
        (lambda x: tv.sin(x) + tv.cos(x) >= 1.45, False),
    ],
)
def test_infeasible_problems(row, proven):
    p, _ = problem(lambda x: tv.cos(x), row=row)
    p.solve()
    assert p.getProbStatusString() == ("nlp_infeasible" if proven else "nlp_locally_infeasible")


def test_unbounded_problems():
    for body in (lambda x: tv.exp(-x) - x, lambda x: x + tv.atan(x), lambda x: tv.erf(x) - 3 * x):
        p, _ = problem(body, lb=-INF, ub=INF)
        p.solve()
        assert p.getProbStatusString() == "nlp_unbounded"
