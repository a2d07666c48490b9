"""What the tests of the modelling objects share: reading any of them as a polynomial."""

import pytest

import tavlo as tv


def _content(obj):
    """(constant, {index: coefficient}, {(index, index): coefficient}) of a number, term or expression."""
    if isinstance(obj, (int, float)):
        return float(obj), {}, {}
    constraint = obj <= 0  # the constant is where the comparison puts it
    variables, coefs = obj.extractLinear()
    first, second, products = obj.extractQuadratic()
    assert [hash(v) for v in variables] == sorted(hash(v) for v in variables)
    assert all(hash(u) <= hash(v) for u, v in zip(first, second))
    linear = {hash(v): c for v, c in zip(variables, coefs)}
    quadratic = {(hash(u), hash(v)): c for u, v, c in zip(first, second, products)}
    assert len(linear) == len(coefs) and len(quadratic) == len(products)
    return 0.0 - constraint.ub, linear, quadratic


@pytest.fixture
def content():
    return _content


@pytest.fixture
def same(content):
    """Whether two objects are of one class and hold the same polynomial."""

    def compare(a, b):
        return type(a) is type(b) and content(a) == content(b)

    return compare


@pytest.fixture
def x():
    return tv.var(name="x")


@pytest.fixture
def y():
    return tv.var(name="y")


@pytest.fixture
def z():
    return tv.var(name="z")
