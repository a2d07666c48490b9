"""Variables: construction, attributes, identity, and what is freed with them."""

import copy
import sys

import pytest

import tavlo as tv

INF = tv.infinity


def test_a_variable_is_a_header_and_one_word():
    assert sys.getsizeof(tv.var()) == 24


def test_the_first_variable_of_a_process_is_number_one(run_python):
    assert run_python("import tavlo as tv\nx = tv.var()\nprint(x, hash(x), repr(tv.var()))") == "C1 1 C2\n"


def test_defaults(x):
    plain = tv.var()
    assert (plain.lb, plain.ub, plain.threshold, plain.vartype) == (0, INF, -INF, tv.continuous)
    assert plain.name == str(plain) == f"C{hash(plain)}"
    assert str(x) == repr(x) == x.name == "x"


@pytest.mark.parametrize(
    "args, kwargs, expected",
    [
        ((), {"lb": 1, "ub": 1}, (1, 1, -INF, 0)),
        ((), {"lb": 1, "ub": 0.9999995}, (1, 0.9999995, -INF, 0)),
        ((), {"vartype": tv.binary, "lb": -3, "ub": 7}, (0, 1, -INF, 1)),
        ((), {"vartype": tv.integer, "lb": -3, "ub": 7}, (-3, 7, -INF, 2)),
        (("n", -5.5, 10, 2.5, 3), {}, (-5.5, 10, 2.5, 3)),
        (("n", True), {"ub": 10**3}, (1, 1000, -INF, 0)),
        ((), {"lb": -5e20, "ub": 3e20, "threshold": 0}, (-INF, INF, 0, 0)),
    ],
)
def test_construction(args, kwargs, expected):
    class Subclass(tv.var):  # goes by the general way of construction, the exact type by the fast one
        pass

    for make in (tv.var, Subclass):
        v = make(*args, **kwargs)
        assert (v.lb, v.ub, v.threshold, v.vartype) == expected
        assert str(v) == (args[0] if args else f"C{hash(v)}")


@pytest.mark.parametrize(
    "args, kwargs, error, text",
    [
        ((), {"lb": 1, "ub": 0.5}, tv.ModelError, "Variable has empty feasible set: lower bound > upper bound"),
        ((3,), {}, tv.ModelError, r"Invalid variable name \(must be a string\)"),
        ((), {"name": None}, tv.ModelError, r"Invalid variable name \(must be a string\)"),
        ((), {"lb": "1"}, TypeError, None),
        ((), {"lb": 10**400}, OverflowError, None),
        ((), {"vartype": 1.5}, TypeError, None),
        ((), {"bound": 1}, TypeError, None),
        (("n",), {"name": "m"}, TypeError, None),
        ((1,) * 6, {}, TypeError, None),
    ],
)
def test_refused_construction(args, kwargs, error, text):
    class Subclass(tv.var):
        pass

    for make in (tv.var, Subclass):
        with pytest.raises(error, match=text):
            make(*args, **kwargs)


def test_bounds_keep_every_value(x):
    for value in (0, 1, -1, 0.5, 0, 7, 1, -INF, 2.5, 0.0):
        x.lb = value
        assert x.lb == value
    for value in (INF, 0, 1, 0.25, INF, -3, 1, 1e19):
        x.ub = value
        assert x.ub == value
    x.lb, x.ub = -1e30, 2e20
    assert (x.lb, x.ub) == (-INF, INF)
    x.threshold = 3
    x.threshold = -INF
    assert x.threshold == 3
    x.lb = float("nan")
    assert x.lb != x.lb


def test_attributes_are_checked(x):
    with pytest.raises(tv.InterfaceError, match=r"Incorrect member name of type tavlo\.var"):
        x.foo = 1
    for attribute in ("lb", "ub", "threshold", "vartype", "name"):
        with pytest.raises(tv.InterfaceError):
            delattr(x, attribute)
    for attribute in ("lb", "ub", "threshold", "vartype"):
        with pytest.raises(TypeError):
            setattr(x, attribute, "1")
    for attribute in ("foo", "__array__", "__array_priority__", "__array_interface__"):
        with pytest.raises(AttributeError):
            getattr(x, attribute)
    assert (x.lb, x.ub, str(x)) == (0, INF, "x")
    assert x.__class__ is tv.var
    assert x.__dict__ == dict.fromkeys(["lb", "ub", "threshold", "vartype", "name"])


def test_names_of_any_kind(x):
    x.name = "y"
    assert (str(x), str(2 * x)) == ("y", "2*y")
    x.name = "µ" * 1000
    assert str(2 * x * x) == "2*" + "µ" * 1000 + "**2"
    assert (str(tv.var(name=b"bytes")), str(tv.var(name=""))) == ("bytes", "")
    marker = object()
    before = sys.getrefcount(marker)
    for _ in range(3):
        x.name = marker
    assert x.name is marker and str(x) == str(marker)
    assert sys.getrefcount(marker) == before + 1


def test_a_freed_variable_leaves_nothing_behind():
    marker = "a name of its own"
    before = sys.getrefcount(marker)
    variables = [tv.var(name=marker, lb=i + 2, ub=1000 * i + 500, threshold=1) for i in range(1000)]
    assert sys.getrefcount(marker) == before + 1000
    assert [v.lb for v in variables] == [i + 2 for i in range(1000)]
    del variables[::2]
    assert [v.ub for v in variables] == [1000 * i + 500 for i in range(1, 1000, 2)]
    variables.clear()
    assert sys.getrefcount(marker) == before


def test_variables_are_keys_not_values(x, y):
    table = {x: 1, y: 2}
    assert table[x] == 1 and table[y] == 2 and len({x, y, x}) == 2
    assert (y in [y]) and isinstance(x == y, tv.constraint)
    with pytest.raises(tv.ModelError, match="truth value"):
        x in [y]  # noqa: B015
    with pytest.raises(tv.ModelError, match="truth value"):
        {hash(x): 1, x: 2}  # a number with the same hash must not count as the same key


def test_initialising_again_gives_another_index_and_keeps_the_rest(x):
    x.lb, x.ub, x.threshold = -2, 9, 4
    old = hash(x)
    x.__init__()
    assert hash(x) > old and (x.lb, x.ub, x.threshold, str(x)) == (-2, 9, 4, "x")


def test_subclasses_behave_as_variables(y):
    class Choice(tv.var):
        def __init__(self, label):
            super().__init__(name=label, vartype=tv.binary)
            self.label = label

        def __getitem__(self, i):  # makes it a sequence for the interpreter, and still a variable for us
            return i

    c = Choice("c")
    assert (c.label, c.ub, c.vartype, type(c)) == ("c", 1, tv.binary, Choice)
    assert [str(e) for e in (2 * c, c + y, y * c, c - c, c * c)] == ["2*c", "  y + c", "y*c", "0.0", "c**2"]
    assert (c + c).extractLinear()[0][0] is c


def test_what_no_constructor_filled_is_an_error_never_a_crash(x):
    class Forgetful(tv.var):
        def __init__(self):
            pass

    empty = [Forgetful(), type(2 * x)(), type(x * x)()]
    operations = [
        lambda e: e + x,
        lambda e: x - e,
        lambda e: 2 * e,
        lambda e: e / 2,
        lambda e: e**2,
        lambda e: -e,
        lambda e: e <= 3,
        lambda e: tv.Sum([x, x + 1, e]),
        lambda e: tv.constraint(body=e, lb=0),
    ]
    for e in empty:
        assert "?" in str(e)
        for operation in operations:
            with pytest.raises(tv.ModelError):
                operation(e)
    for read in (hash, lambda e: e.lb, lambda e: e.name, lambda e: e.extractLinear(), lambda e: setattr(e, "lb", 3)):
        with pytest.raises(tv.ModelError, match="Variable is not initialized"):
            read(empty[0])
    assert str(type(x + 1)() + x) == "  x"
    with pytest.raises(TypeError):
        copy.deepcopy(x)
