"""Garbage collection of constraints, sets and trees that lead back to themselves."""

import gc
import weakref

import pytest

import tavlo as tv


class Variable(tv.var):
    pass


class Name(str):
    pass


class Model:
    def __init__(self, v):
        self.v = v

    def value(self, *_):
        return 1.0


def bound_of(v, c):
    v.bound = c
    return c


def named(v):
    c = tv.constraint(body=tv.var(), lb=1, name=Name("n"))
    c.name.owner = v
    v.bound = c


def renamed(v):
    c = tv.var() <= 1
    c.name = Name("n")
    c.name.owner = v
    v.bound = c


def assigned(v):
    v.bound = tv.var() <= 1
    v.bound.body += v


def operands(v):
    members = [v, 2]
    n = tv.max(members)
    members.append(n + 1)


def own_member(v):
    f = v & 1
    f &= tv.sin(f)


def set_again(v):
    c = tv.constraint(body=v, lb=1)
    for _ in range(3):
        gc.collect()
        c.__init__(body=2 * v + 1, ub=4)
    v.bound = c


CYCLES = {
    "variable": lambda v: bound_of(v, v <= 3),
    "term": lambda v: bound_of(v, 2 * v >= 0),
    "expression": lambda v: bound_of(v, v + tv.var() <= tv.Sum(tv.vars(3))),
    "quadratic": lambda v: bound_of(v, v * v + v * tv.var() <= v),
    "product": lambda v: bound_of(v, tv.constraint(body=v * tv.var(), lb=2)),
    "node": lambda v: bound_of(v, tv.sin(2 * v) <= tv.var()),
    "sum of nodes": lambda v: bound_of(v, tv.sin(tv.var()) + 2 * v + 1 <= v * v),
    "difference": lambda v: bound_of(v, (tv.var() + v) - tv.exp(v + 1) <= 0),
    "constructed": lambda v: bound_of(v, tv.constraint(body=v + 1, lb=1, ub=2)),
    "copied": lambda v: bound_of(v, (v + 1 <= 2).copy()),
    "user function": lambda v: bound_of(v, tv.user(Model(v).value, tv.var()) <= 3),
    "method": lambda v: setattr(v, "model", m := Model(v)) or setattr(m, "row", tv.user(m.value, v + 1) <= 3),
    "set": lambda v: bound_of(v, tv.sos([v, tv.var()], [1, 2])),
    "copied set": lambda v: bound_of(v, tv.sos([v, tv.var()], [1, 2]).copy()),
    "named": named,
    "renamed": renamed,
    "assigned": assigned,
    "operands": operands,
    "own member": own_member,
    "initialised again": set_again,
}


@pytest.mark.parametrize("name", CYCLES)
def test_cycles_are_collected(name):
    gone = []
    for _ in range(10):
        v = Variable()
        weakref.finalize(v, gone.append, name)
        CYCLES[name](v)
    del v
    gc.collect()
    assert len(gone) == 10


def test_what_is_still_held_stays():
    v, w = Variable(name="v"), Variable(name="w")
    body = 2 * v + w
    v.bound, w.bound = body <= 3, tv.max(v, 3 * w) <= 1
    rows, held = [v.bound, w.bound, tv.sos([v, w], [1, 2])], weakref.ref(v)
    del v, w
    for _ in range(3):
        gc.collect()
    assert str(body) == " 2 v + w" and str(rows[1].body) == "max (v, 3*w)" and held() is body.extractLinear()[0][0]
    del body, rows
    gc.collect()
    assert held() is None


def test_rows_that_close_no_cycle_are_not_looked_at(run_python):
    run_python(
        "import gc, tavlo as tv\n"
        "x = tv.vars(3)\n"
        "rows = [x[0] <= 3, x[0] + x[1] <= 2, x[0] * x[1] == 1, tv.constraint(body=2 * x[0], lb=1, name='n'),"
        " (x.sum() <= 1).copy()]\n"
        "assert not any(map(gc.is_tracked, rows))"
    )
