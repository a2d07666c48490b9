"""Sums over arrays: their values, what they may change, and what they cost."""

import signal
import time

import numpy as np
import pytest

import tavlo as tv

V, E = tv.npvar, tv.npexpr


class Expression(tv.expression):
    pass


def values(array, at):
    return np.asarray(tv.evaluate(np.asarray(array, dtype=E), solution=at))


def test_values():
    x, y = tv.var(name="x"), tv.var(name="y")
    a, m = np.array([x, y], dtype=V), np.array([[x, y], [y, x]], dtype=V)
    at = {x: 2.0, y: 3.0}
    sums = [np.sum(a), a.sum(), sum(a), tv.Sum(a), np.add.reduce(a * 1), np.mean(a), np.prod(a), np.subtract.reduce(a)]
    assert tv.evaluate(sums, solution=at) == [5] * 5 + [2.5, 6, -1]
    assert values(np.sum(m, axis=0), at).tolist() == [5, 5] and np.sum(m, keepdims=True).shape == (1, 1)
    assert tv.evaluate([np.sum(a, where=[True, False]), np.sum(a, initial=2.5)], solution=at) == [2, 7.5]
    assert np.sum(a[:0]) == 0 and values(m, at).tolist() == [[2, 3], [3, 2]]
    nodes = np.array([tv.sin(x), y + 1, tv.exp(y), x, 2 * tv.cos(x) - y], dtype=E)
    for reduce, step in ((np.add, 1), (np.subtract, -1)):
        whole = values(nodes, at)
        assert tv.evaluate(reduce.reduce(nodes), solution=at) == pytest.approx(whole[0] + step * whole[1:].sum())


def test_nothing_that_others_hold_is_changed():
    x = [tv.var(name=f"x{i}") for i in range(4)]
    at = {v: 1.5 + i for i, v in enumerate(x)}
    first, shared, special = x[0] + x[1], tv.sin(x[0]) + tv.cos(x[1]), Expression()
    special += x[2] + x[3]
    objects = [first, x[1], shared, 2 * x[2] - 1, special, first, x[0] * x[1], shared]
    kept = [str(o) for o in objects]
    a = np.array(objects, dtype=E)
    expected = values(a, at)
    for k in range(len(a)):
        turned = np.roll(a, -k)
        assert tv.evaluate(turned.sum(), solution=at) == pytest.approx(expected.sum())
        assert tv.evaluate(np.sum(turned, initial=first), solution=at) == pytest.approx(expected.sum() + 4)
    grid = a.reshape(2, 4)
    out = np.array([first, shared, special, x[3]], dtype=E)
    for axis in (0, 1):
        assert values(grid.sum(axis=axis), at) == pytest.approx(expected.reshape(2, 4).sum(axis=axis))
    assert np.add.reduce(grid, out=out) is out
    held = out[0]
    text = str(held)
    for _ in range(2):
        out += a[:4]
        out -= 2.5
    assert str(held) == text
    assert values(out, at) == pytest.approx(expected[:4] * 3 + expected[4:] - 5)
    assert [str(o) for o in objects] == kept


def test_an_accumulator_among_the_terms():
    x = tv.vars(5, name="x")
    at = {v: 1.0 + i for i, v in enumerate(x)}
    for made in (lambda: x + 1, lambda: tv.sin(x + 1) + tv.exp(x) + x):
        a, plain = made(), values(made(), at)
        a += a
        assert values(a, at) == pytest.approx(2 * plain)
        a[1:] += a[:-1]
        plain[1:] += plain[:-1]
        assert values(a, at) == pytest.approx(2 * plain)
        grid = made()[None] + made()[:, None]
        column = values(grid, at).sum(axis=0)
        np.add.reduce(grid, axis=0, out=grid[0])
        assert values(grid[0], at) == pytest.approx(column)
        b = made()
        np.add.at(b, [0, 0, 1], x[:3])
        assert values(b, at)[:2] == pytest.approx(values(made(), at)[:2] + [3, 3])


@pytest.mark.parametrize("terms", [lambda x: x, lambda x: np.arange(1.0, len(x) + 1) * x, lambda x: x * x, tv.sin])
def test_the_time_grows_with_the_number_of_terms(terms):
    n = 60_000  # a copy of the sum for each term takes seconds
    a = terms(tv.vars(n, name=""))
    rows = a.reshape(-1, 10)
    began = time.process_time()
    a.sum(), np.mean(a), np.add.reduce(a)
    acc = np.zeros(10, E)
    for row in rows:
        acc += row
    assert time.process_time() - began < 2


def test_loops_heed_ctrl_c():
    def interrupt(*_):
        raise KeyboardInterrupt

    x = tv.vars(3000, name="")
    members = np.full(10**6, x.sum(), dtype=E)
    for work in (members.sum, lambda: tv.Sum(members), lambda: tv.Dot(np.ones(10**6), members)):
        before = signal.signal(signal.SIGALRM, interrupt)
        began = time.process_time()
        signal.setitimer(signal.ITIMER_REAL, 0.1)
        try:
            with pytest.raises(KeyboardInterrupt):
                work()  # half a minute
        finally:
            signal.setitimer(signal.ITIMER_REAL, 0)
            signal.signal(signal.SIGALRM, before)
        assert time.process_time() - began < 5
