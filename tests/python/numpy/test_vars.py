"""vars(): shapes, keys, names that are made when they are asked for, and errors."""

import gc
import os
import resource

import numpy as np
import pytest

import tavlo as tv


def test_shapes_and_keys():
    a = tv.vars(2, 3, name="a", ub=5, vartype=tv.integer)
    assert a.shape == (2, 3) and a.dtype == tv.npvar
    assert [v.name for v in a.flat] == [f"a({i},{j})" for i in range(2) for j in range(3)]
    assert {(v.lb, v.ub, v.vartype) for v in a.flat} == {(0, 5, tv.integer)}
    assert [hash(v) - hash(a[0, 0]) for v in a.flat] == list(range(6)) or a[0, 0].index + 5 == a[1, 2].index
    one = tv.vars(name="one", lb=2)  # the product of no index sets has one member
    assert one.shape == () and one.dtype == tv.npvar and (one.item().name, one.item().lb) == ("one()", 2)
    d = tv.vars([0, 1], "abc")
    assert list(d) == [(i, c) for i in (0, 1) for c in "abc"] and d[1, "b"].name == "x(1,b)"
    assert list(tv.vars({7})) == [(7,)] and list(tv.vars(range(2), 2)) == [(0, 0), (0, 1), (1, 0), (1, 1)]
    mixed = tv.vars([1.5, (2, 3), -4, 10**20, np.int64(6)], name="m")
    assert [v.name for v in mixed.values()] == [
        "m(1.5)", "m((2, 3))", "m(-4)", f"m({10**20})", "m(6)"
    ]  # fmt: skip
    assert tv.vars(np.int8(3)).shape == (3,) and tv.vars(iter([0, 1]))[(1,)].name == "x(1)"


def test_bounds_and_types():
    b = tv.vars(3, vartype=tv.binary, lb=-3, ub=9)
    assert {(v.lb, v.ub) for v in b} == {(0, 1)}
    s = tv.vars(2, vartype=tv.semicontinuous, ub=9, threshold=2)
    assert {(v.lb, v.ub, v.threshold) for v in s} == {(0, 9, 2)}
    free = tv.vars(2, lb=-tv.infinity)
    assert {v.lb for v in free} == {-tv.infinity}


def test_default_names():
    v = tv.vars(2, name="")
    assert all(n.name[0] == "C" and n.name[1:].isdigit() for n in v)


def test_names_live_with_their_variables():
    a = tv.vars(4, name="long")
    a[1].name = "mine"
    keep, linear = a[2], 3 * a[3]
    a[0].__init__(name="fresh")
    first = a[0]
    del a
    gc.collect()
    assert (keep.name, first.name, str(linear)) == ("long(2)", "fresh", "3*long(3)")
    b = tv.vars(2, name="b")
    b[0].__init__()
    assert (b[0].name, b[1].name) == ("b(0)", "b(1)")
    p = tv.problem(tv.vars(2, 2, name="p"))
    assert [v.name for v in p.getVariable()] == ["p(0,0)", "p(0,1)", "p(1,0)", "p(1,1)"]


@pytest.mark.parametrize(
    "args, options, text",
    [
        ((0,), {}, "must be positive"),
        ((-(10**30),), {}, "must be positive"),
        (([],), {}, "empty dimension"),
        ((["a", "b", "a"],), {}, "Duplicate item in argument 1"),
        ((2, [1, 1]), {}, "Duplicate item in argument 2"),
        ((3.5,), {}, "must have a tuple of lists, sets"),
        ((3,), {"lb": 2, "ub": 1}, r"empty feasible set: lower bound > upper bound"),
        ((3,), {"name": "n" * 2500}, "cannot exceed 2499 characters"),
        ((["k" * 1300], ["l" * 1300]), {}, "cannot exceed 2499 characters"),
        ((10**9, 10**9, 10**9), {}, "No memory to create variables"),
        ((10**30,), {}, "No memory to create variables"),
    ],
)
def test_errors(args, options, text):
    with pytest.raises(tv.ModelError, match=text):
        tv.vars(*args, **options)


def test_too_many_variables_use_up_no_indices():
    before = hash(tv.var())
    for counts, text in (((2**56,), "Could not initialize"), (([1], 2**53), "No memory to create variables")):
        with pytest.raises(tv.ModelError, match=text):
            tv.vars(*counts)
    assert hash(tv.var()) == before + 1


def test_names_are_limited_in_characters():
    assert len(tv.vars(["\u00e9" * 1200], name="\u4e2d" * 1297)[("\u00e9" * 1200,)].name) == 2499
    with pytest.raises(tv.ModelError, match="cannot exceed 2499 characters"):
        tv.vars(["\u00e9" * 1200], name="\u4e2d" * 1298)


def test_indices_that_have_no_text():
    class Mute:
        def __str__(self):
            raise ValueError("no text")

    with pytest.raises(tv.ModelError, match="cannot be represented"):
        tv.vars([Mute()])
    with pytest.raises(tv.ModelError, match="Bad index tuple"):
        tv.vars(["\ud800"])
    assert len(tv.vars([Mute()], name="")) == 1


@pytest.mark.skipif("TAVLO_SANITIZED" in os.environ, reason="the sanitizer's memory is measured too")
def test_a_million_named_variables_take_little_memory(reference_growth):
    before = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss
    big = tv.vars(1000, 1000)
    assert resource.getrusage(resource.RUSAGE_SELF).ru_maxrss - before < 60_000  # kB; 32 MB are objects and array
    assert big[999, 7].name == "x(999,7)"
    assert reference_growth(lambda: tv.vars(10, name="r")[3].name, [tv.npvar, None], calls=100) == [0, 0]
