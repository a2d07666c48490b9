"""Constraints from comparisons and from the constructor, their attributes and copies."""

import sys

import numpy as np
import pytest

import tavlo as tv

INF = tv.infinity
STRICT = r"Invalid constraint: cannot enforce f\(x\) != 0, f\(x\) > 0, or f\(x\) < 0"
ARGUMENTS = "Arguments required for tavlo.constraint(): constraint OR {body, lb and/or ub} OR {body,sense,rhs}."
BOTH = "Cannot create constraint by specifying both rhs AND lb/ub."


def bounds(c):
    return c.lb, c.ub


def test_comparisons(x, y, same):
    none = tv.Sum([])
    for constraint, body, lb, ub in [
        (x <= 5, none + x, -INF, 5),
        (x >= 5, none + x, 5, INF),
        (3 >= x, none + x, -INF, 3),
        (x == 5, none + x, 5, 5),
        (x <= 0, x, -INF, 0),
        (x == y, x - y, 0, 0),
        (3 * x >= x, 2 * x, 0, INF),
        (3 - x >= 1, none - x, -2, INF),
        (x + 2 * y <= 4, x + 2 * y, -INF, 4),
        (x + 1 <= y + 4, x - y, -INF, 3),
        (x * y <= 0, x * y, -INF, 0),
        (x * y + x >= 1, x * y + x, 1, INF),
        (x <= 1e21, none + x, -INF, INF),
        (tv.Sum([2]) <= 3, none, -INF, 1),
    ]:
        assert type(constraint) is tv.constraint
        assert bounds(constraint) == (lb, ub)
        assert same(constraint.body, body)
    trivial = 2 * x <= 2 * x
    assert trivial.body == 0.0 and bounds(trivial) == (-INF, 0)


def test_a_constraint_does_not_share_its_expression(x, y, content):
    e = x + y + 1
    c = e <= 5
    e += 7 * x
    assert content(c.body) == (0, {hash(x): 1, hash(y): 1}, {}) and c.ub == 4
    assert content(e) == (1, {hash(x): 8, hash(y): 1}, {})


def test_refused_comparisons(x, y):
    for compare in (lambda: x < 5, lambda: x > y, lambda: x != y, lambda: 2 * x < 1, lambda: x + y != 3):
        with pytest.raises(tv.ModelError, match=STRICT):
            compare()
    for compare in (lambda: x <= None, lambda: None == x, lambda: (x + y) == "text"):  # noqa: E711
        with pytest.raises((tv.ModelError, TypeError)):
            compare()
    with pytest.raises(tv.ModelError, match=STRICT):
        x**3 < 1  # noqa: B015


def test_a_constraint_has_no_truth_value(x):
    for use in (lambda: bool(x <= 1), lambda: 1 <= x <= 4, lambda: (x <= 1) and (x >= 0)):
        with pytest.raises(tv.ModelError, match="A constraint has no truth value"):
            use()
    c = x <= 1
    assert {c: 3}[c] == 3 and c in [c] and tv.constraint(c).ub == 1


@pytest.mark.parametrize(
    "kwargs, expected",
    [
        ({"lb": 1, "ub": 4}, (1, 4)),
        ({"lb": 2, "ub": 2 - 1e-7}, (2, 2 - 1e-7)),
        ({"ub": 3}, (-INF, 3)),
        ({"lb": -1e30}, (-INF, INF)),
        ({"sense": tv.leq, "rhs": 4}, (-INF, 4)),
        ({"sense": tv.geq, "rhs": 4}, (4, INF)),
        ({"sense": tv.eq, "rhs": 4}, (4, 4)),
        ({"sense": tv.rng, "rhs": 4}, (-INF, INF)),
        ({"sense": tv.leq}, (-INF, INF)),
        ({"sense": tv.leq, "lb": 1}, (1, INF)),
    ],
)
def test_constructor(kwargs, expected, x):
    c = tv.constraint(body=x, **kwargs)
    assert c.body is x and bounds(c) == expected
    assert bounds(tv.constraint(None, x, name="n", **kwargs)) == expected


@pytest.mark.parametrize(
    "kwargs, text",
    [
        ({}, ARGUMENTS),
        ({"body": "x"}, ARGUMENTS),
        ({"lb": 1}, ARGUMENTS),
        ({"body": "x", "rhs": 3}, ARGUMENTS),
        ({"body": "x", "lb": 1, "rhs": 2}, BOTH),
        ({"body": "x", "lb": 1, "rhs": 2, "sense": tv.leq}, BOTH),
        ({"body": "x", "lb": 3, "ub": 2}, "Constraint defined infeasible: lower bound > upper bound"),
        ({"body": [1]}, "Invalid expression passed as body of constraint"),
        (
            {"constraint": True},
            "Attempt to generate an empty constraint failed. Consider using tavlo.constraint(body=..., sense=..., "
            "rhs=...) instead.",
        ),
    ],
)
def test_refused_construction(kwargs, text, x):
    if kwargs.get("body") == "x":
        kwargs = {**kwargs, "body": x}
    with pytest.raises(tv.ModelError) as failure:
        tv.constraint(**kwargs)
    assert str(failure.value) == text


def test_only_the_first_element_of_an_array_is_a_body(x):
    assert tv.constraint(body=np.array([[x, 1]], object), lb=1).body is x
    array = np.empty(1, object)
    array[0] = array
    with pytest.raises(tv.ModelError, match="Invalid expression passed as body of constraint"):
        tv.constraint(body=array, lb=1)


def test_attributes(x, y):
    c = tv.constraint(body=x, lb=0.5, ub=7)
    for value in (-1e30, 1, 0, 2.5, -4, 0):
        c.lb = value
        assert c.lb == max(value, -INF)
    for value in (1, 2e20, 0, 2.5, 1):
        c.ub = value
        assert c.ub == min(value, INF)
    assert str(c) == repr(c) == c.name and c.name.startswith("R")
    c.name, c.body = "limit", y
    assert (str(c), c.body) == ("limit", y) and c.body is y
    assert c.__dict__ == dict.fromkeys(["lb", "ub", "name", "body", "copy"])
    for attribute in ("lb", "ub", "name", "body"):
        with pytest.raises(tv.InterfaceError):
            delattr(c, attribute)
    with pytest.raises(TypeError):
        c.lb = "1"
    with pytest.raises(AttributeError):
        c.foo = 1
    with pytest.raises(tv.ModelError):
        tv.constraint.__new__(tv.constraint).body  # noqa: B018


def test_copies(x, y, content):
    c = x + y <= 3
    d = c.copy()
    number = c.name[1:]
    assert d.name == f"R{number}_copy_R{number}" and bounds(d) == bounds(c)
    assert d.body is not c.body and content(d.body) == content(c.body)
    c.name = "limit"
    assert c.copy().name == f"R{number}_copy_limit"
    e = tv.constraint(c)
    assert e.body is c.body and bounds(e) == bounds(c) and e.name != c.name


def test_indices_advance_by_one_for_a_comparison_and_two_for_the_constructor(x):
    def index(c):
        return int(c.name[1:])

    a, b = x <= 1, x <= 2
    c = tv.constraint(body=x, lb=1)
    assert index(b) == index(a) + 1 and index(c) == index(b) + 2


def test_what_a_constraint_holds_is_freed_with_it(x):
    name, before = "a name", sys.getrefcount(x)
    names = sys.getrefcount(name)
    constraints = [tv.constraint(body=3 * x, lb=-i - 2, ub=i + 2, name=name) for i in range(500)]
    assert sys.getrefcount(x) == before + 500 and sys.getrefcount(name) == names + 500
    constraints += [c.copy() for c in constraints]
    assert constraints[700].lb == -202
    del constraints
    assert sys.getrefcount(x) == before and sys.getrefcount(name) == names


def test_sets(x, y):
    weights = [1, 2]
    variables = [x, y]
    s = tv.sos(variables, weights, 2, "pair")
    assert str(s) == repr(s) == s.name == "pair"
    s.name = "other"
    first = tv.sos(variables, weights)
    assert first.name.startswith("sos")
    number = first.name[3:]
    assert tv.sos(variables, weights).name == f"sos{int(number) + 2}"
    assert first.copy().name == f"sos{number}_copy_sos{number}"
    before = sys.getrefcount(weights)
    for _ in range(100):
        tv.sos(variables, weights, type=1, name="n").copy()
    assert sys.getrefcount(weights) == before
    for args, text in [
        (([x, y], (1, 2)), "SOS weights must be passed as a list"),
        (((x, y), [1, 2]), "SOS indices must be passed as a list"),
        (([x, y], [1, 2], 3), "SOS type must be 1 or 2"),
        (([x, y], [1, 2], "1"), "SOS type must be 1 or 2"),
    ]:
        with pytest.raises(tv.ModelError, match=text):
            tv.sos(*args)
    with pytest.raises(TypeError):
        tv.sos([x])


def test_sets_whose_lists_or_names_meddle(x, y):
    class Members(list):
        def __iter__(self):
            s.__init__([y], [5])
            raise ZeroDivisionError

    class Name(str):
        def __str__(self):
            s.__init__([y], [5])
            return "n"

    s = tv.sos(Members([x, y]), Members([1, 2]), 2, "n")
    assert s.copy().name.endswith("_copy_n")
    s = tv.sos([x, y], Members([1, 2]), 2, Name("n"))
    assert s.copy().name.endswith("_copy_n")
    with pytest.raises(tv.ModelError, match="Set is not initialized"):
        tv.sos.__new__(tv.sos).copy()
