"""The algebra against a plain reference polynomial, over random trees of operators of degree two at most."""

import pytest
from hypothesis import given
from hypothesis import strategies as st

import tavlo as tv

VARIABLES = [tv.var() for _ in range(4)]
NODE = type(tv.sin(VARIABLES[0]))


class Poly:
    """A polynomial as a dict from sorted tuples of indices to exact small numbers."""

    def __init__(self, terms):
        self.terms = {k: c for k, c in terms.items() if c != 0}

    def plus(self, other, sign):
        keys = {*self.terms, *other.terms}
        return Poly({k: self.terms.get(k, 0) + sign * other.terms.get(k, 0) for k in keys})

    def times(self, other):
        result = {}
        for k, c in self.terms.items():
            for m, d in other.terms.items():
                key = tuple(sorted(k + m))
                result[key] = result.get(key, 0) + c * d
        return Poly(result)

    @property
    def degree(self):
        return max(map(len, self.terms), default=0)


numbers = st.integers(-4, 4).map(float) | st.integers(-4, 4) | st.sampled_from([0.5, -0.25])
leaves = st.one_of(
    st.sampled_from(VARIABLES).map(lambda v: (v, Poly({(hash(v),): 1}), False)),
    numbers.map(lambda n: (n, Poly({(): n}), False)),
)
steps = st.lists(
    st.tuples(st.sampled_from("+-*/n2+-~^"), st.integers(0, 50), st.integers(0, 50)), min_size=1, max_size=25
)


def combine(op, a, b):
    """(object, reference, tainted) of a op b, or None when that is of a higher degree or an error.

    An object that came of a product of variables may hold a quadratic part that cancelled; its products then count as
    nonlinear. Such objects are tainted; only their products may be nodes, which are left out.
    """
    (x, p, dirty), (y, q, dirty2) = a, b
    tainted = dirty or (dirty2 and op not in "n2")
    if op in "*2":
        y, q = (x, p) if op == "2" else (y, q)
        if p.degree + q.degree > 2:
            return None
        product = x**2 if op == "2" else x * y
        if isinstance(product, NODE):
            assert tainted
            return None
        return product, p.times(q), tainted or not isinstance(product, (int, float, tv.var))
    if op == "/":
        if not isinstance(y, (int, float)) or y not in (1, 2, 4, -2, 0.5, -0.25):
            return None
        return x / y, p.times(Poly({(): 1 / y})), tainted
    if op == "n":
        return -x, Poly({}).plus(p, -1), tainted
    if op in "~^":
        target = x + 0.0 if isinstance(x, tv.expression) else x  # a copy, since an expression changes in place
        if op == "^":
            target += y
        else:
            target -= y
    else:
        target = x + y if op == "+" else x - y
    return target, p.plus(q, 1 if op in "+^" else -1), tainted


@given(st.lists(leaves, min_size=2, max_size=8), steps)
def test_the_algebra_is_that_of_polynomials(pool, program):
    for op, i, j in program:
        result = combine(op, pool[i % len(pool)], pool[j % len(pool)])
        if result:
            pool.append(result)
    for obj, reference, _ in pool:
        check(obj, reference)
    total = tv.Sum([obj for obj, _, _ in pool])
    reference = Poly({})
    for _, p, _ in pool:
        reference = reference.plus(p, 1)
    check(total, reference)
    check(tv.Sum(obj for obj, _, _ in reversed(pool)), reference)


def check(obj, reference):
    if isinstance(obj, (int, float)):
        assert Poly({(): obj}).terms == reference.terms
        return
    terms = {(): 0 - (obj <= 0).ub}
    terms.update({(hash(v),): c for v, c in zip(*obj.extractLinear())})
    terms.update({(hash(u), hash(v)): c for u, v, c in zip(*obj.extractQuadratic())})
    assert Poly(terms).terms == reference.terms


@given(st.data())
def test_products_of_linear_expressions_are_quadratic(data):
    def linear():
        coefs = data.draw(st.lists(st.integers(-3, 3), min_size=5, max_size=5))
        expr = tv.Sum([c * v for c, v in zip(coefs, VARIABLES)] + [coefs[4]])
        return expr, Poly({**{(hash(v),): c for c, v in zip(coefs, VARIABLES)}, (): coefs[4]})

    (a, p), (b, q) = linear(), linear()
    check(a * b, p.times(q))
    check((a + b) * (a - b), p.plus(q, 1).times(p.plus(q, -1)))
    for v in VARIABLES:
        check(v * a + a * (3 * v), Poly({(hash(v),): 4}).times(p))
    check(a**2 - b**2, p.times(p).plus(q.times(q), -1))


def test_the_constructor_copies(x, y, content):
    def same(a, b):
        return content(a) == content(b)

    for source in (0, 2.5, x, 2 * x, x * y, 3 + x - 2 * x * y):
        e = tv.expression(source)
        assert type(e) is tv.expression and same(e, source)
        before = str(source)
        e += y
        assert str(source) == before
    assert same(tv.expression(), tv.Sum([]))
    e = x + 1
    e.__init__(e)
    assert same(e, x + 1)
    e.__init__()
    assert same(e, tv.Sum([]))
    for refused in (tv.sin(x), "x", None, [x], x <= 1):
        with pytest.raises(tv.ModelError):
            tv.expression(refused)
    for arguments in (([x, y], {}), ([], {"e": x})):
        with pytest.raises(TypeError):
            tv.expression(*arguments[0], **arguments[1])
