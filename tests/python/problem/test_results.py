"""Solving and asking for results, on small models whose answers are known."""

import math

import numpy as np
import pytest

import tavlo as tv


@pytest.fixture
def lp():
    """Maximise 3a + 2b on two constraints: a = 2, b = 2, both binding, duals 1 and 1."""
    a, b = tv.var(name="a"), tv.var(name="b")
    first, second = tv.constraint(body=a + b, ub=4, name="first"), tv.constraint(body=2 * a + b, ub=6, name="second")
    p = tv.problem(a, b, tv.var(name="idle", ub=1), first, second, 3 * a + 2 * b + 1, sense=tv.maximize)
    p.solve()
    return p, a, b, first, second


@pytest.fixture
def mip():
    z = [tv.var(name=f"z{i}", vartype=tv.binary) for i in range(3)]
    p = tv.problem(z, tv.Sum(c * v for c, v in zip((2, 3, 4), z)) <= 6.5)
    p.setObjective(tv.Sum(c * v for c, v in zip((3, 4, 5), z)), sense=tv.maximize)
    p.solve()
    return p, z


def test_linear_results(lp):
    p = lp[0]
    assert (p.getProbStatus(), p.getProbStatusString()) == (tv.lp_optimal, "lp_optimal")
    assert p.getObjVal() == pytest.approx(11)
    assert p.getSolution() == pytest.approx([2, 2, 0])
    assert p.getDual() == pytest.approx([1, 1])
    assert p.getSlack() == pytest.approx([0, 0])
    assert p.getRCost() == pytest.approx([0, 0, 0])


def test_signs_of_slacks_and_reduced_costs():
    x, y = tv.var(ub=3), tv.var(ub=5)
    p = tv.problem(x, y, x + y >= 1, x - y <= 7, 2 * x - 3 * y)
    p.solve()
    assert p.getSolution() == pytest.approx([0, 5])
    assert p.getRCost() == pytest.approx([2, -3])
    assert p.getSlack() == pytest.approx([1 - 5, 7 + 5])
    assert p.getDual() == pytest.approx([0, 0])


def test_shapes_of_flat_results(lp):
    p, a, _, first, second = lp
    for get, one, name, bad in (
        (p.getRCost, a, "a", first),
        (p.getDual, first, "first", a),
        (p.getSlack, second, b"second", 1.5),
    ):
        value = get(one)
        assert isinstance(value, float)
        assert get(0) == get(np.int8(0)) == get([0])[0]
        for several in ([one], (one,), [[one]], iter([one]), (o for o in [one]), np.array([one]), {"k": one}, name):
            assert get(several) == [value]
        assert get(one, [one, (0,)]) == [value, value, get(0)]
        assert get([]) == []
        for wrong in (bad, [bad], None, 2.0):
            with pytest.raises(tv.ModelError, match=r"^Incorrect object\(s\) passed: need index, variable,"):
                get(wrong)
        for outside in (3, -1, "nobody", [0, 3], 10**30, "a\0"):
            with pytest.raises(tv.ModelError, match=r"^Index out of range$"):
                get(outside)
    with pytest.raises(tv.ModelError, match=r"^Index out of range$"):
        p.getDual(a <= 1)


def test_solution_has_the_shape_of_the_arguments(lp):
    p, a, b, *_ = lp
    assert p.getSolution(a) == pytest.approx(2)
    assert p.getSolution(a * b + a * a - 1) == pytest.approx(7)
    assert p.getSolution([a, (b, 2 * a)]) == [pytest.approx(2), pytest.approx((2, 4))]
    assert p.getSolution({"k": [a]}) == {"k": pytest.approx([2])}
    assert p.getSolution(a, [b]) == (pytest.approx(2), pytest.approx([2]))
    assert p.getSolution("a", 2) == p.getSolution(b"a", np.int64(2)) == pytest.approx((2, 0))
    assert p.getSolution(3.5) == 3.5
    array = p.getSolution(np.array([[a, 2 * b]], dtype=object))
    assert (array.dtype, array.tolist()) == (np.float64, [pytest.approx([2, 4])])
    assert p.getSolution(a, [b, (a,)], flatten=True) == pytest.approx([2, 2, 2])
    assert p.getSolution(a, flatten=True) == pytest.approx(2)
    assert p.getSolution([a], flatten=False) == pytest.approx([2])


@pytest.mark.parametrize(
    ("argument", "error", "text"),
    [
        (tv.var(), tv.ModelError, "Object does not belong to problem or cannot be identified within expression"),
        (tv.var() + 1, tv.ModelError, "Object does not belong to problem or cannot be identified within expression"),
        (None, tv.ModelError, "Evaluation of object of incorrect type"),
        (tv.var() + 1 <= 2, tv.ModelError, "Evaluation of object of incorrect type"),
        ("nobody", tv.InterfaceError, "Call to tavlo.problem.getSolution() contains an out-of-range index"),
        ([0, 3], tv.InterfaceError, "Call to tavlo.problem.getSolution() contains an out-of-range index"),
        (-1, tv.InterfaceError, "Call to tavlo.problem.getSolution() contains an out-of-range index"),
        (10**30, tv.InterfaceError, "Call to tavlo.problem.getSolution() contains an out-of-range index"),
    ],
)
def test_refused_solutions(argument, error, text, lp):
    with pytest.raises(error) as raised:
        lp[0].getSolution(argument)
    assert str(raised.value) == text


def test_integer_results(mip):
    p, z = mip
    assert (p.getProbStatus(), p.getProbStatusString()) == (tv.mip_optimal, "mip_optimal")
    assert p.getObjVal() == pytest.approx(8)
    assert p.getSolution(z) == pytest.approx([1, 0, 1])
    assert p.getSlack(0) == pytest.approx(0.5)
    with pytest.raises(tv.SolverError, match=r"^Cannot retrieve dual variables in a MIP$"):
        p.getDual()
    with pytest.raises(tv.SolverError, match=r"^Cannot retrieve reduced cost in a MIP$"):
        p.getRCost(z)


def build(*rows, integer=False, ub=1e20):
    x = tv.var(ub=ub, vartype=tv.integer if integer else tv.continuous)
    p = tv.problem(x, [row(x) for row in rows], -1 * x)
    return p


@pytest.mark.parametrize(
    ("rows", "integer", "status"),
    [
        ([lambda x: x <= 1, lambda x: x >= 2], False, "lp_infeas"),
        ([lambda x: x <= 1, lambda x: x >= 2], True, "mip_infeas"),
        ([], False, "lp_unbounded"),
        ([], True, "mip_unbounded"),
        ([lambda x: tv.constraint(body=2 * x, lb=1, ub=1)], True, "mip_infeas"),
    ],
)
def test_statuses_without_an_answer(rows, integer, status):
    p = build(*rows, integer=integer)
    assert p.getProbStatusString() == ("mip_not_loaded" if integer else "lp_unstarted")
    assert p.getProbStatus() == 0
    assert math.isnan(p.getObjVal()) and p.attributes.bestbound == -math.inf
    for get in (p.getSolution, lambda: p.getSolution([0])):
        with pytest.raises(tv.SolverError, match="no"):
            get()
    with pytest.raises(tv.SolverError, match=r"^Could not get constraints' slack$"):
        p.getSlack()
    p.solve()
    assert p.getProbStatusString() == status
    assert math.isnan(p.getObjVal())
    if "infeas" in status:
        assert p.attributes.bestbound == math.inf and math.isnan(p.attributes.maxabsprimalinfeas)
        with pytest.raises(tv.SolverError):
            p.getSolution()


def test_empty_problems_and_rows(stored):
    p = tv.problem()
    p.solve()
    assert (p.getProbStatusString(), p.getSolution(), p.getDual(), p.getObjVal()) == ("lp_optimal", [], [], 0)
    p = build(lambda x: tv.constraint(body=3, ub=5), ub=4)
    p.solve()
    assert (p.getSolution(), p.getSlack()) == ([4], [2])


def test_solve_again_after_changes(lp):
    p, a, b, *_ = lp
    p.addConstraint(a <= 1)
    p.solve()
    assert p.getSolution([a, b]) == pytest.approx([1, 3])
    p.delConstraint(2)
    p.delVariable("idle")
    p.setObjective(a + b)
    p.solve()
    assert (p.getObjVal(), p.getSolution()) == (0, [0, 0])
    c = tv.var(vartype=tv.integer, ub=2.5)
    p.addVariable(c)
    p.setObjective(c + a, sense=tv.maximize)
    p.solve()
    assert (p.getProbStatusString(), p.getSolution(c), p.getObjVal()) == ("mip_optimal", 2, pytest.approx(5))


def test_what_a_solve_has_not_seen_has_no_values(lp):
    p, a, b, first, second = lp
    values, slacks = p.getSolution(), p.getSlack()
    late, row = tv.var(name="late", lb=3), tv.constraint(body=a, ub=1, name="row")
    p.addVariable(late)
    p.addConstraint(row)
    assert (p.getSolution([a, b]), p.getObjVal()) == (values[:2], 11)
    assert p.getSlack(first, second) == slacks == p.getSlack([0, 1])
    assert p.getDual([first, second]) == pytest.approx([1, 1]) and p.getRCost(a) == pytest.approx(0)
    assert math.isnan(p.attributes.maxabsprimalinfeas)
    variable = "Variable late was added after the last solve, which has left no value for it"
    constraint = variable.replace("Variable late", "Constraint row")
    for ask, text in (
        (lambda: p.getSolution(), variable),
        (lambda: p.getSolution([a, {"k": late}]), variable),
        (lambda: p.getSolution(a + 2 * late), variable),
        (lambda: p.getSolution("late"), variable),
        (lambda: p.getSolution(3, flatten=True), variable),
        (lambda: p.getRCost(late), variable),
        (lambda: tv.evaluate(late, problem=p), variable),
        (lambda: p.getSlack(), constraint),
        (lambda: p.getSlack([row]), constraint),
        (lambda: p.getDual("row"), constraint),
    ):
        with pytest.raises(tv.SolverError) as raised:
            ask()
        assert str(raised.value) == text
    assert math.isnan(tv.evaluate(late, problem=p, solution=[1, 1, 1, math.nan]))
    p.delVariable(0)
    p.delConstraint(0)
    assert (p.getSolution(b), p.getSlack(second)) == (values[1], slacks[1])
    p.delVariable(late)
    assert p.getSolution() == values[1:]
    p.solve()
    assert p.getSlack(row) == p.getSlack()[1]


def test_flags(lp):
    p = lp[0]
    for flags in ("p", "d", "b", b"p", ""):
        p.solve(flags)
        assert p.getObjVal() == pytest.approx(11)
        p.solve(flags=flags)
    for flags in (3, None, ["p"]):
        with pytest.raises(tv.InterfaceError, match=r"^The optional 'flags' parameter should be a string$"):
            p.solve(flags)
    with pytest.raises(TypeError):
        p.solve("p", "d")


def test_semicontinuous_columns():
    x = tv.var(ub=10, threshold=4, vartype=tv.semicontinuous)
    for floor, value in ((1, 4), (0, 0)):
        p = tv.problem(x, tv.constraint(body=x, lb=floor), x)
        p.solve()
        assert p.getSolution(x) == pytest.approx(value)


def test_output_switch(capfd, printing):
    p = build(lambda x: x <= 1)
    p.setOutputEnabled(False)
    p.solve()
    assert capfd.readouterr().out == ""
    p.setOutputEnabled(np.int64(1))
    assert p.getOutputEnabled() is True
    p.solve()
    assert capfd.readouterr().out != ""
    for bad in ("yes", 1.0, None):
        with pytest.raises(tv.ModelError, match=r"^Incorrect argument in setOutputEnabled: should be True or False$"):
            p.setOutputEnabled(bad)
    p.setOutputEnabled(10**30)
    assert p.getOutputEnabled() is True


def test_code_that_runs_during_an_evaluation_may_change_the_problem(lp):
    p, a, b, first, second = lp

    class Sequence:
        def __init__(self, action):
            self.action = action

        def __len__(self):
            return 1

        def __getitem__(self, i):
            if i:
                raise IndexError
            self.action()
            return a

    assert p.getSolution(Sequence(lambda: p.addVariable(tv.var()))) == pytest.approx([2])

    def deleting(*objects):
        yield objects[0]
        (p.delConstraint if isinstance(objects[1], tv.constraint) else p.delVariable)(objects[0])
        yield objects[1]

    def deleted():
        p.delVariable(-1 + p.attributes.cols)
        return a

    # Numbers, or the order of what is left, would mean other objects than those of the values.
    for ask in (
        lambda: p.getSolution(deleting("idle", b), flatten=True),
        lambda: p.getSolution(Sequence(deleted)),
        lambda: p.getSlack(deleting(first, second)),
        lambda: p.getVariable(0 if deleted() is a else 1 for _ in range(2)),
        lambda: tv.evaluate(Sequence(deleted), problem=p, solution=[0] * p.attributes.cols),
    ):
        p.addVariable(tv.var())
        p.solve()
        with pytest.raises(tv.ModelError, match=r"deleted from the problem while|changed while"):
            ask()
    with pytest.raises(tv.ModelError, match=r"^Problem is not initialized$"):
        p.getSolution(Sequence(lambda: p.__exit__()))
