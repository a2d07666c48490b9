"""Adding, deleting and finding variables and constraints; the registry matches the solver after every call."""

import itertools
import math
from collections import UserList

import numpy as np
import pytest

import tavlo as tv


def variables(n):
    return [tv.var() for _ in range(n)]


def is_same(objects, others):
    return list(map(id, objects)) == list(map(id, others))


@pytest.mark.parametrize(
    "shape",
    [
        list, tuple, iter, UserList, set, lambda x: (v for v in x), lambda x: dict(enumerate(x)),
        lambda x: dict(enumerate(x)).values(), lambda x: [[x[0]], (), (x[1:],)], lambda x: np.array(x, dtype=object),
        lambda x: np.array(x, dtype=object).reshape(2, -1), lambda x: [np.array([x[0]], dtype=object), x[1:]],
    ],
)  # fmt: skip
def test_aggregates(shape, agrees):
    x = variables(300)
    p = tv.problem()
    p.addVariable(shape(x))
    assert is_same(sorted(agrees(p)[0], key=hash), x)
    rows = [v <= 1 for v in x]
    p.addConstraint(shape(rows))
    assert len(agrees(p)[1]) == 300


def nested(obj, levels):
    for _ in range(levels):
        obj = [obj]
    return obj


def test_depth():
    p = tv.problem()
    p.addVariable(nested(tv.var(), 32), nested([], 32))
    with pytest.raises(tv.ModelError, match=r"^Maximum recursion \(inclusion\) level reached$"):
        p.addVariable(nested(tv.var(), 33))
    endless = []
    endless.append(endless)
    with pytest.raises(tv.ModelError, match="recursion"):
        p.addVariable(endless)


def with_(obj, **values):
    for name, value in values.items():
        setattr(obj, name, value)
    return obj


THRESHOLD = (
    "Incorrect semi-continuous, semi-integer, or partially integer variable; check that its threshold is between its "
    "lower and upper bounds"
)


@pytest.mark.parametrize(
    ("make", "text"),
    [
        (lambda: 3, "Incorrect objects added as variables to problem"),
        (lambda: "x", "Incorrect objects added as variables to problem"),
        (lambda: np.array([1.0, 2.0]), "Incorrect objects added as variables to problem"),
        (
            lambda: np.array([1, 2], dtype=np.int64),
            "Incorrect objects used in Sum, Dot, Prod, or aggregate functions",
        ),
        (lambda: tv.var.__new__(tv.var), "Variable is not initialized"),
        (lambda: tv.var(ub=4, threshold=5, vartype=tv.semicontinuous), THRESHOLD),
        (lambda: tv.var(ub=4, threshold=math.nan, vartype=tv.partiallyinteger), THRESHOLD),
        (lambda: with_(tv.var(), vartype=7), "Incorrect variable type passed to addVariable()"),
        (lambda: tv.var(name="v", lb=math.nan), "Lower bound of variable v is NaN"),
        (lambda: tv.var(name="v", ub=math.nan), "Upper bound of variable v is NaN"),
        (lambda: with_(tv.var(name="v"), lb=math.inf), "Lower bound of variable v is plus infinity"),
        (lambda: tv.var(name="v", lb=-2e20, ub=-1e20), "Upper bound of variable v is minus infinity"),
        (lambda: with_(tv.var(), name=3), "Invalid variable name (must be a string)"),
        (lambda: tv.var(name="a\0b"), "Invalid variable name 'a\\x00b' (holds a zero byte)"),
        (lambda: tv.var(name="\udcff"), "Invalid variable name '\\udcff' (not valid Unicode)"),
    ],
)
def test_refused_variables(make, text, agrees):
    x, y = variables(2)
    p = tv.problem(x)
    bad = make()
    for arguments in ((y, bad), ([y, [bad]],), (iter([y, bad]),)):
        with pytest.raises(tv.ModelError) as error:
            p.addVariable(*arguments)
        assert str(error.value) == text
        assert is_same(agrees(p)[0], [x])


def row(**values):
    return with_(tv.constraint(body=X, lb=0, ub=1, name="r"), **values)


X = tv.var(name="X")


@pytest.mark.parametrize(
    ("make", "text"),
    [
        (lambda: 3, "Invalid constraint"),
        (lambda: X, "Invalid constraint"),
        (lambda: tv.constraint.__new__(tv.constraint), "Stale expression link, cannot add constraint"),
        (lambda: row(body="text"), "Invalid expression"),
        (lambda: row(body=[X]), "Invalid expression"),
        (lambda: row(body=tv.var()), "Variable in linear term defining constraint has not been added to problem yet"),
        (lambda: X + tv.var() <= 1, "Variable in linear part of constraint has not been added to problem yet"),
        (
            lambda: row(body=X * tv.var()),
            "Variable in quadratic term defining constraint has not been added to problem yet",
        ),
        (lambda: X + X * tv.var() <= 1, "Variable in quadratic part of constraint has not been added to problem yet"),
        (lambda: row(body=X + math.nan), "Constant of constraint r is NaN"),
        (lambda: row(body=X + math.inf), "Constant of constraint r is infinite"),
        (lambda: row(body=math.nan), "Constant of constraint r is NaN"),
        (lambda: row(body=math.nan * X), "Coefficient of X in constraint r is NaN"),
        (lambda: row(body=X * X + math.inf * X), "Coefficient of X in constraint r is infinite"),
        (lambda: row(body=math.inf * X * X), "Coefficient of X*X in constraint r is infinite"),
        (lambda: row(lb=math.nan), "Lower bound of constraint r is NaN"),
        (lambda: row(ub=math.nan), "Upper bound of constraint r is NaN"),
        (lambda: row(lb=1e20, ub=1e20), "Lower bound of constraint r is plus infinity"),
        (lambda: row(lb=-1e20, ub=-1e20), "Upper bound of constraint r is minus infinity"),
        (lambda: row(lb=2), "Constraint r is infeasible: lower bound > upper bound"),
        (lambda: row(body=X - 2e20), "Right-hand side of constraint r is infinite"),
        (lambda: row(name=3), "Invalid constraint name (must be a string)"),
        (lambda: row(name=b"\0"), "Invalid constraint name b'\\x00' (holds a zero byte)"),
    ],
)
def test_refused_constraints(make, text, agrees):
    kept, good = X >= 0, X <= 5
    p = tv.problem(X, kept)
    bad = make()
    for arguments in ((good, bad), ([good, (c for c in [bad])],)):
        with pytest.raises(tv.ModelError) as error:
            p.addConstraint(*arguments)
        assert str(error.value) == text
        assert is_same(agrees(p)[1], [kept])


def test_nothing_is_added_twice(agrees):
    x = variables(5)
    rows = [v <= 1 for v in x]
    p = tv.problem(x[1])
    for repeated in ([x[1]], [x[0], x[0]], [x[2], x[4], x[3], x[2]], itertools.repeat(x[0]), itertools.cycle(x[2:])):
        with pytest.raises(tv.ModelError, match=r"^Variable already added to problem$"):
            p.addVariable(repeated)
        assert is_same(agrees(p)[0], [x[1]])
    p.addVariable(x[0], x[2:])
    p.addConstraint(rows[1])
    for repeated in ([rows[1]], [rows[0], rows[0]], [rows[2], rows[4], rows[3], rows[4]], itertools.cycle(rows[2:])):
        with pytest.raises(tv.ModelError, match=r"^Constraint already added to problem$"):
            p.addConstraint(repeated)
        assert is_same(agrees(p)[1], [rows[1]])


# ---- code that runs while a call walks its arguments ----
def test_generators_may_add_to_the_problem_that_walks_them(stored, agrees):
    p, made = tv.problem(), []

    def auxiliary():
        made.append(tv.var())
        p.addVariable(made[-1])
        return made[-1]

    def rows():
        for _ in range(5):
            p.addConstraint(auxiliary() >= 0)
            yield auxiliary() + auxiliary() <= 1

    p.addConstraint(rows())
    assert len(agrees(p)[1]) == 10
    m = stored(p)
    assert [sorted(m.row(i)) for i in range(5, 10)] == [[3 * i + 1, 3 * i + 2] for i in range(5)]

    outer = variables(2)
    p.addVariable(v for v in outer if auxiliary() is not None)
    assert is_same(agrees(p)[0], made + outer)


def test_constraint_is_what_it_was_when_it_was_reached(stored):
    x = variables(3)
    p = tv.problem(x)

    def rows():
        e = tv.Sum([x[0]])
        for i in range(3):
            c = tv.constraint(body=e, ub=i, name=f"r{i}")
            yield c
            e += x[(i + 1) % 3]
            c.ub, c.name = 9, "later"

    p.addConstraint(rows())
    m = stored(p)
    assert [m.row(i) for i in range(3)] == [{0: 1}, {0: 1, 1: 1}, {0: 1, 1: 1, 2: 1}]
    assert (m.rhs.tolist(), m.row_name) == ([0, 1, 2], ["r0", "r1", "r2"])


@pytest.mark.parametrize(
    ("meanwhile", "text"),
    [
        (lambda p, x: p.delVariable(x[0]), "Variables were deleted from the problem while"),
        (lambda p, x: p.reset(), "Variable in linear part|Variables were deleted"),
        (lambda p, x: p.__exit__(), "^Problem is not initialized$"),
        (lambda p, x: p.addConstraint(ROWS), "^Constraint already added to problem$"),
        (lambda p, x: [][1], "list index out of range"),
    ],
)
def test_changes_that_a_walk_of_constraints_does_not_survive(meanwhile, text, agrees):
    x = variables(4)
    p = tv.problem(x)
    ROWS[:] = [v <= 1 for v in x]

    def rows():
        yield from ROWS[:2]
        meanwhile(p, x)
        yield from ROWS[2:]

    with pytest.raises((tv.ModelError, IndexError), match=text):
        p.addConstraint(rows())
    if p.attributes is not None:
        agrees(p)


ROWS = []


def test_lists_that_change_while_they_are_walked(agrees):
    x = variables(6)
    p = tv.problem()
    given = [x[0], None, x[1]]

    class Shrinking:
        def __iter__(self):
            del given[2:]
            given.append(x[2])
            yield x[3]

    given[1] = Shrinking()
    p.addVariable(given)
    assert is_same(agrees(p)[0], [x[0], x[3], x[2]])


def test_collections_in_the_middle_of_calls(run_python):
    """Finalizers that the garbage collector runs change the problem at the worst moments. A collection goes through all
    objects of an interpreter, so this has one of its own."""
    code = """
import gc
import tavlo as tv

x = [tv.var(ub=10) for _ in range(200)]
p = tv.problem(x, [v <= 1 for v in x])

class Finalized:
    def __init__(self):
        self.me = self

    def __del__(self):
        if p.attributes is not None and p.attributes.cols > 50:
            try:
                p.delConstraint(p.attributes.rows - 1)
                p.delVariable(0)
            except tv.ModelError:  # of the objective's transfer row, or of a variable in it
                p.setObjective(0)

def check():
    for objects, count in (p.getVariable(), p.attributes.cols), (p.getConstraint(), p.attributes.rows):
        assert [p.getIndex(o) for o in objects] == list(range(count))

actions = [
    lambda: p.delVariable([p.attributes.cols - 1]),
    lambda: p.addVariable([tv.var()]),
    lambda: p.addConstraint([p.getVariable(0) <= 1]),
    lambda: p.delConstraint(0),
    lambda: p.getVariable([0, 1]),
    lambda: p.getVariable(first=3, last=5),
    lambda: p.setObjective(tv.sin(p.getVariable(1))),
    lambda: p.copy(),
]
before, refused = gc.get_threshold(), 0
for i in range(200):
    gc.collect()
    check()
    Finalized()
    gc.set_threshold(1, 1, 1)
    try:
        actions[i % len(actions)]()
    except tv.ModelError:
        refused += 1
    finally:
        gc.set_threshold(*before)
gc.collect()
check()
print(p.attributes.cols < 200, refused > 0)
"""
    assert run_python(code).split() == ["True", "True"]


# ---- columns and rows as they are sent ----
def test_columns_are_what_the_variables_say(stored):
    kinds = [tv.continuous, tv.binary, tv.integer, tv.semicontinuous, tv.semiinteger, tv.partiallyinteger]
    x = [tv.var(name=f"v{k}", lb=-k, ub=20 + k, threshold=k / 2, vartype=k) for k in kinds]
    x += [tv.var(name="ä" * 100), tv.var(name=b"b" * 200), tv.var(lb=-1e30, ub=1e30), tv.var(name="")]
    p = tv.problem()
    p.addVariable(x)
    m = stored(p)
    assert "".join(m.column_type) == "CBISRP" + 4 * "C"
    assert m.lower[:6].tolist() == [0, 0, -2, -3, -4, -5]
    assert m.upper[:6].tolist() == [20, 1, 22, 23, 24, 25]
    assert m.threshold[3:6].tolist() == [1.5, 2, 2.5]
    assert (m.lower[8], m.upper[8]) == (-1e20, 1e20)
    assert m.column_name[:8] == [f"v{k}" for k in kinds] + ["ä" * 75, "b" * 150]
    assert m.column_name[8] == x[8].name
    x[0].ub = 3
    assert stored(p).upper[0] == 20  # a variable is read when it is added


@pytest.mark.parametrize(
    ("lb", "ub", "letter", "rhs", "width"),
    [
        (-1e20, 10, "L", 7, 0), (-math.inf, math.inf, "N", -3, 0), (2, 1e20, "G", -1, 0), (5, 5, "E", 2, 0),
        (0, 5, "R", 2, 5), (5 + 1e-8, 5, "E", 2, 0), (-1e20, 0, "L", -3, 0),
    ],
)  # fmt: skip
def test_row_types(lb, ub, letter, rhs, width, xy, stored):
    p, x, y = xy
    p.addConstraint(tv.constraint(body=2 * x + y + 3, lb=lb, ub=ub))
    m = stored(p)
    assert (m.row_type, m.rhs[0], m.row(0)) == ([letter], rhs, {0: 2, 1: 1})
    assert letter != "R" or m.range[0] == width


# ---- deletion ----
def names(objects):
    return [o.name for o in objects]


@pytest.mark.parametrize(
    ("index", "left"),
    [
        (lambda x: {"index": 1}, "acde"), (lambda x: {"index": x[4]}, "abcd"), (lambda x: {"index": "c"}, "abde"),
        (lambda x: {"index": np.int32(0)}, "bcde"), (lambda x: {"index": [x[3], 1, "a"]}, "ce"),
        (lambda x: {"index": (i for i in (4, 0))}, "bcd"), (lambda x: {"index": np.array([1, 3])}, "ace"),
        (lambda x: {"first": 1, "last": 3}, "ae"), (lambda x: {"index": []}, "abcde"),
        (lambda x: {"index": x}, ""), (lambda x: {"index": [2, x[2], 2]}, "abde"),
    ],
)  # fmt: skip
def test_deletion(index, left, stored, agrees):
    x = [tv.var(name=n) for n in "abcde"]
    rows = [tv.constraint(body=sum(x), ub=k, name=n) for k, n in enumerate("abcde")]
    p = tv.problem(x, rows)
    p.delVariable(**index(x))
    p.delConstraint(**index(rows))
    assert [names(objects) for objects in agrees(p)] == [list(left), list(left)]
    m = stored(p)
    assert (m.column_name, m.row_name) == (list(left), list(left))
    assert m.rhs.tolist() == ["abcde".index(n) for n in left]
    p.addVariable(v for v in x if v.name not in left)
    p.addConstraint(2 * v >= 1 for v in x)  # in the new columns
    agrees(p)
    m = stored(p)
    assert [m.row(i + len(left)) for i in range(5)] == [{m.column_name.index(n): 2} for n in "abcde"]


@pytest.mark.parametrize(
    ("arguments", "error", "text"),
    [
        ({}, tv.ModelError, "At least one parameter must be specified"),
        ({"first": 3, "last": 1}, tv.ModelError, "Parameter 'first' must be less than, or equal to, 'last'"),
        ({"first": 1}, tv.ModelError, "Parameters 'first' and 'last' must be both nonnegative when specified"),
        ({"last": 1}, tv.ModelError, "Parameters 'first' and 'last' must be both nonnegative when specified"),
        ({"first": 0, "last": 5}, tv.ModelError, "Parameters 'first' or 'last' are out of range"),
        (
            {"index": 1, "first": 0, "last": 1},
            tv.ModelError,
            "Parameters 'first' and 'last' cannot be specified if 'index' is also specified",
        ),
        ({"index": 5}, tv.ModelError, "Index out of bounds"),
        ({"index": [0, -1]}, tv.ModelError, "Index out of bounds"),
        ({"index": -1}, tv.InterfaceError, "Invalid sequence of objects"),
        ({"index": {1: 2}}, tv.InterfaceError, "Invalid sequence of objects"),
        ({"index": "nobody"}, tv.SolverError, "There is no Column named nobody"),
        ({"index": tv.var(name="s")}, tv.ModelError, "Variable s not in problem"),
        ({"index": [0, 1.5]}, tv.ModelError, "Invalid variable object 1.5"),
    ],
)
def test_refused_deletions(arguments, error, text, agrees):
    p = tv.problem(variables(5))
    with pytest.raises(error) as raised:
        p.delVariable(**arguments)
    assert str(raised.value) == text
    assert len(agrees(p)[0]) == 5


def test_deletion_by_iterators_that_delete(agrees):
    x = variables(5)
    p = tv.problem(x)

    def some():
        yield x[3]
        p.delVariable(0)
        yield 0

    p.delVariable(some())
    assert is_same(agrees(p)[0], [x[2], x[4]])


def test_constructor_called_again_on_registered_objects(agrees):
    x = variables(4)
    c = x[0] <= 1
    p = tv.problem(x, c)
    x[1].__init__()
    c.__init__(body=x[2], ub=3)
    p.delVariable(1)
    p.delConstraint(0)
    p.addVariable(x[1])
    p.addConstraint(x[1] + x[2] <= 1, c)
    variables_left, rows = agrees(p)
    assert is_same(variables_left, [x[0], x[2], x[3], x[1]])
    assert len(rows) == 2


# ---- queries ----
def test_queries():
    x = variables(5)
    p = tv.problem(x, [v <= 1 for v in x])
    for query, objects in ((p.getVariable, x), (p.getConstraint, p.getConstraint())):
        assert is_same(query(), objects) and query() is not query()
        assert query(2) is query(np.int64(2)) is query(index=2) is objects[2]
        assert is_same(query([2, 0]), [objects[2], objects[0]])
        assert is_same(query(i for i in ([1], 1)), [objects[1], objects[1]])
        assert is_same(query(first=1, last=3), objects[1:4])
        for index in (5, -1, [0, 5]):
            with pytest.raises(IndexError):
                query(index)
        for index in ("x", [1.0], x[0], np.array([0.0, 1.0])):
            with pytest.raises(tv.ModelError, match=r"^Error in index list\(s\): must contain only integers$"):
                query(index)
        for arguments, text in [
            ({"first": 0}, "Parameters 'first' and 'last' must be both nonnegative when specified"),
            ({"first": 0, "last": 5}, "Parameters 'first' and 'last' are out of range"),
            ({"first": 2, "last": 1}, "Parameter 'first' must be less than, or equal to, 'last'"),
            (
                {"index": 0, "last": 2},
                "Parameters 'first' and 'last' cannot be specified if 'index' is also specified",
            ),
        ]:
            with pytest.raises(tv.ModelError) as error:
                query(**arguments)
            assert str(error.value) == text
    assert p.getSOS() == []
    for stranger in (tv.var(), 0, "x", x[0] <= 1, tv.sos([x[0]], [1])):
        with pytest.raises(tv.ModelError, match=r"^Incorrect object\(s\) passed: need variable, constraint, or SOS$"):
            p.getIndex(stranger)
