"""Reference counts: every operation and every failure gives back what it took."""

import gc
import os
import sys
import threading

import pytest

import tavlo as tv


def test_operations_keep_no_references(x, y, reference_growth):
    kept = tv.Sum([x, 2 * y, x * y])

    def use():
        e = 3 + x - y * 2 + x * y
        e += x
        e -= 2 * x * x
        e *= 2
        str((e + 1) * 2 - e / 4)
        results = (x + y) ** 2, (x + 1) * (y - 2) - x * y, x.lb, x.ub, x.name, x.__dict__
        str(e), results, e.extractLinear(), e.extractQuadratic(), x.extractLinear()
        c = e <= kept
        c.copy().body, c.name
        tv.Sum([kept, x, y * y, kept])
        tv.Sum(v for v in (x, y, x * x))
        for failing in (lambda: e / 0, lambda: x + None, lambda: e < x, lambda: x**3 < 1, lambda: bool(c)):
            with pytest.raises(tv.ModelError):
                failing()

    watched = [x, y, kept, None, tv.var, tv.expression, tv.constraint, type(2 * x), type(x * x), 1.0]
    assert reference_growth(use, watched, calls=300)[:3] == [0, 0, 0]
    assert all(growth < 10 for growth in reference_growth(use, watched, calls=300))


def test_expressions_hold_exactly_their_variables():
    a, b = tv.var(), tv.var()
    before = sys.getrefcount(a), sys.getrefcount(b)
    e = 2 * a + 3 * b + a * b + a * a
    assert sys.getrefcount(a) > before[0]
    e -= 2 * a
    e -= 3 * b
    e -= a * b + a * a
    assert (sys.getrefcount(a), sys.getrefcount(b)) == before
    f = e + a * b + a
    copies = [f * 2 for _ in range(10)]
    del f, e, copies
    assert (sys.getrefcount(a), sys.getrefcount(b)) == before


def test_a_variable_lives_as_long_as_what_uses_it():
    freed = []

    class Name(str):
        def __del__(self):
            freed.append(str(self))

    a = tv.var(name=Name("a"))
    c = 2 * a + tv.var(name=Name("b")) <= 4
    del a
    assert freed == [] and str(c.body) == " 2 a + b"
    del c
    assert sorted(freed) == ["a", "b"]


def test_a_name_that_meddles_when_it_goes():
    rest = []

    class Name(str):
        def __del__(self):
            rest.append(tv.var(name="late", lb=3))

    variables = [tv.var(name=Name(i)) for i in range(50)]
    e = tv.Sum(variables)
    for i in range(50):
        variables[i] = None
    del e
    assert len(rest) == 50 and {v.lb for v in rest} == {3} and {str(v) for v in rest} == {"late"}


@pytest.mark.skipif("TAVLO_SANITIZED" in os.environ, reason="the sanitizer keeps freed memory")
def test_memory_stays_flat():
    def rss():
        with open("/proc/self/statm") as f:
            return int(f.read().split()[1]) * 4096

    variables = [tv.var(lb=i + 0.5, ub=i + 9, name=f"v{i}") for i in range(200)]

    def cycle():
        products = tv.Sum(v * w for v, w in zip(variables, variables[1:]))
        assert (products <= tv.Sum(variables)).ub == 0
        [tv.var(lb=-3, ub=5, name="t") for _ in range(500)]

    for _ in range(50):
        cycle()
    gc.collect()
    start = rss()
    for _ in range(500):
        cycle()
    assert rss() - start < 4 << 20


@pytest.mark.parametrize("attribute", ["name", "body"])
def test_long_chains_are_released_within_a_small_stack(attribute, x):
    before, last = sys.getrefcount(x), x
    for _ in range(50_000):
        c = tv.constraint(body=x, lb=1)
        setattr(c, attribute, last)
        last = c
    del c
    chain, last = [last], None
    size = threading.stack_size(256 * 1024)
    thread = threading.Thread(target=chain.clear)
    thread.start()
    threading.stack_size(size)
    thread.join()
    assert sys.getrefcount(x) == before
