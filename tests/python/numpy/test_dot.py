"""Products of arrays with Dot, against numpy.dot of the values."""

import itertools

import numpy as np
import pytest

import tavlo as tv

NUMBERS = [np.int8, np.int16, np.int32, np.int64, np.float16, np.float32, np.float64]
SHAPES = [
    ((4,), (4,)),
    ((3, 4), (4,)),
    ((4,), (4, 3)),
    ((2, 4), (4, 9)),
    ((1,), (1, 2)),
    ((4,), (3, 4, 2)),
    ((2, 3, 4), (4,)),
    ((2, 1, 4), (2, 3, 4, 2)),
    ((3, 0), (0, 2)),
    ((0, 3), (3,)),
]


@pytest.fixture
def model():
    """Variables with values, and how to make an array of any class together with its values."""
    rng = np.random.default_rng(7)
    x = tv.vars(40)
    values = dict(zip(x, rng.integers(-3, 4, 40)))

    def make(kind, shape):
        if kind in NUMBERS:
            a = rng.integers(-3, 4, shape).astype(kind)
            return a, a.astype(float)
        items = rng.choice(x, shape)
        if kind == "expr":
            items = items + 2.0 * rng.choice(x, shape) - 1.0
        elif kind == "object":
            items = np.asarray(items).astype(object)
            for i in np.ndindex(*shape):
                items[i] = [items[i], 2, 3 * items[i], np.int16(-1), 1.5, items[i] - items[i]][sum(i) % 6]
        result = np.asarray(items, dtype={"var": tv.npvar, "expr": tv.npexpr, "object": object}[kind])
        return result, tv.evaluate(result, solution=values) if result.size else np.zeros(shape)

    return make, lambda r: tv.evaluate(r, solution=values)


def test_numbers(model):
    make, _ = model
    for (a_type, b_type), (s, t) in itertools.product(itertools.product(NUMBERS, NUMBERS), SHAPES):
        (a, _), (b, _) = make(a_type, s), make(b_type, t)
        r = tv.Dot(a, b)
        expected = np.dot(a.astype(float), b.astype(float))
        assert r.dtype == max(a_type, b_type, key=NUMBERS.index)
        assert type(r) is np.ndarray and r.shape == expected.shape
        assert np.array_equal(r, expected)
    # Whole numbers wrap; halves are rounded after every term.
    big = np.full(3, 2**62)
    assert tv.Dot(big, big * 0 + 3).item() == (9 * 2**62 + 2**63) % 2**64 - 2**63
    assert tv.Dot(np.full(2, 100, np.int8), np.full(2, 3, np.int8)).item() == 88
    assert tv.Dot(np.full(3000, 1, np.float16), np.ones(3000, np.float16)).item() == 3952


@pytest.mark.parametrize("kind", ["var", "expr", "object"])
def test_objects(model, kind):
    make, evaluate = model
    for other, (s, t) in itertools.product([*NUMBERS, "var", "expr", "object"], SHAPES):
        for first, second in ((kind, other), (other, kind)):
            (a, p), (b, q) = make(first, s), make(second, t)
            r, expected = tv.Dot(a, b), np.dot(p, q)
            assert r.dtype == tv.npexpr and r.shape == np.shape(expected)
            if expected.size:
                assert np.allclose(np.asarray(evaluate(r), float), expected), (first, second, s, t)


def test_layouts_do_not_matter(model):
    make, evaluate = model
    (a, _), (x, p), (q, _) = make(np.float64, (6, 8)), make("var", (8,)), make("expr", (5, 8))
    packed = np.zeros(6, dtype=[("skip", "i1"), ("a", "f8", 8)])
    packed["a"] = a
    assert not packed["a"].flags.aligned
    for same in (a, np.asfortranarray(a), a[::-1][::-1], a.astype(">f8"), packed["a"], np.repeat(a, 2, axis=1)[:, ::2]):
        assert np.allclose(evaluate(tv.Dot(same, x)), a @ p)
        assert np.allclose(evaluate(tv.Dot(x, same.T)), a @ p)
        assert np.allclose(tv.Dot(same, a.T), a @ a.T)
    assert np.allclose(evaluate(tv.Dot(a[:, ::-1], x[::-1])), a @ p)
    assert np.allclose(evaluate(tv.Dot(q.T[::-1].T, x[::-1])), evaluate(tv.Dot(q, x)))

    class Marked(np.ndarray):
        pass

    assert type(tv.Dot(a.view(Marked), x.view(Marked))) is np.ndarray


def test_form_of_the_elements():
    x, y = tv.vars(3), tv.vars(3, name="y")
    r = tv.Dot(np.array([[1, 0, 2], [0, 0, 0]]), x)
    assert [e.extractLinear() for e in r] == [([x[0], x[2]], [1.0, 2.0]), ([], [])]
    assert all(type(e) is tv.expression for e in (*r, tv.Dot(np.zeros(0), x[:0]).item()))
    assert tv.Dot(x, y).item().extractQuadratic() == (list(x), list(y), [1.0] * 3)
    assert tv.Dot(x, np.arange(9.0).reshape(3, 3), x).item().extractQuadratic()[2] == [0, 4, 8, 4, 12, 8][1:]
    assert str(tv.Dot(np.array([x[0] ** 3, x[1] ** 3, x[2] ** 3, 1], object), np.array([2, 0, 1, 5]))) == str(
        tv.Sum(2.0 * x[0] ** 3, x[2] ** 3, 5)
    )
    assert type(tv.Dot(np.array([2, 3], object), np.array([4, 5], object)).item()) is float
    # A result refers to no factor's elements: both can be changed afterwards.
    e = np.array([x[0] + 1, x[1] + 1], tv.npexpr)
    r = tv.Dot(e[:1], np.ones((1, 1)))
    r[0] += y[0]
    assert str(e[0]) == str(x[0] + 1)


def test_folding():
    x, q = tv.vars(3), np.arange(9.0).reshape(3, 3)
    tensor = np.arange(18).reshape(2, 3, 3)
    values = dict(zip(x, (1, 2, 3)))
    v = np.array([1, 2, 3])
    form = v @ q @ v
    for call in (
        lambda: tv.Dot(x, q, x),
        lambda: tv.Dot([x, q, x]),
        lambda: tv.Dot({"a": x, "b": q, "c": x}),
        lambda: tv.Dot(f for f in (x, None, q, x, None)),
        lambda: tv.Dot(tv.Dot(x, q), x),
    ):
        assert call().shape == () and tv.evaluate(call().item(), solution=values) == form
    assert list(tv.evaluate(tv.Dot(x, tensor, x), solution=values)) == list(np.dot(np.dot(v, tensor), v))
    assert tv.Dot() is None and tv.Dot([]) is None and tv.Dot([None]) is None
    assert tv.Dot([x]) is x


def test_output_array():
    x, a = tv.vars(4), np.arange(12.0).reshape(3, 4)
    out = np.full(3, x[0], dtype=tv.npexpr)
    assert tv.Dot(a, x, out=out) is out and str(out[0]) == str(tv.Dot(a, x)[0])
    strided = np.zeros((3, 6), order="F")[:, ::2]
    assert tv.Dot(a, a.T, out=strided) is strided and np.array_equal(strided, a @ a.T)
    square = np.arange(9.0).reshape(3, 3)
    expected = square @ square @ square
    assert np.array_equal(tv.Dot(square, square, square, out=square), expected)  # also a factor
    wrong = "Output argument set with wrong type: must be float/int for products"
    for bad in (np.zeros(3), np.zeros(3, object), np.empty(3, tv.npvar), [0, 0, 0]):
        with pytest.raises(tv.ModelError, match=wrong):
            tv.Dot(a, x, out=bad)
    with pytest.raises(tv.ModelError, match=wrong):
        tv.Dot(a, a.T, out=np.zeros((3, 3), np.float32))
    with pytest.raises(ValueError, match="shape"):
        tv.Dot(a, x, out=np.empty((2, 3), tv.npexpr))
    with pytest.raises(tv.ModelError, match="matching sizes"):
        tv.Dot(a, x[:3], out=np.empty((2, 3), tv.npexpr))
    out.flags.writeable = False
    with pytest.raises(ValueError, match="read-only"):
        tv.Dot(a, x, out=out)


@pytest.mark.parametrize(
    "factors, text",
    [
        (lambda x: ([1, 2], x), "Dot product can only occur between NumPy arrays"),
        (lambda x: (x, 2.0), "Dot product can only occur between NumPy arrays"),
        (lambda x: (x[0],), "Dot product should only be on NumPy arrays"),
        (lambda x: (x,), "Dot product should only be on NumPy arrays"),
        (lambda x: (np.array(2.0), x), "Dot product between incompatible objects: first one is a scalar"),
        (lambda x: (x, x, x), "Dot product between incompatible objects: first one is a scalar"),
        (lambda x: (x, np.array(2.0)), "Dot product between incompatible objects: second one is a scalar"),
        (lambda x: (x, np.ones(2, np.uint8)), "Dot product must be between long, double, and expressions/variables"),
        (lambda x: (x <= 1, x), "Dot product must be between long, double, and expressions/variables"),
        (lambda x: (np.ones(2, complex), x), "Dot product must be between long, double, and expressions/variables"),
        (lambda x: (np.ones((2, 3)), np.ones((4, 5))), "Dot product must occur between NumPy vectors with matching"),
        (lambda x: ("ab",), "Invalid object in Sum or Prod operators"),
        (lambda x: (np.ones(2),), "Dot product should only be on NumPy arrays"),
        (lambda x: (np.ones(2, int),), "Incorrect objects used in Sum, Dot, Prod, or aggregate functions"),
        (lambda x: (np.array(["a", 1], object), x), "Invalid object in operation: <a>"),
        (lambda x: (np.ones(2), np.empty(2, tv.npvar)), "Invalid object in operation: <None>"),
        (lambda x: (np.array([None, 1]), x), "Invalid object in operation: <None>"),
    ],
)
def test_errors(factors, text):
    with pytest.raises(tv.ModelError, match="^" + text):
        tv.Dot(*factors(tv.vars(2)))


def test_references_and_failures_half_way(reference_growth):
    x = tv.vars(3)
    node, e = x[0] ** 3, x[0] + x[1]
    objects = np.array([e, node, x[2]], object)
    broken = np.array([[1, 2, "no"]], object)
    out = np.full(3, e, dtype=tv.npexpr)
    square = np.arange(9.0).reshape(3, 3)

    def products():
        for factors in ((x, square, x), (square, x), (objects, objects), (objects, square), (square, objects)):
            tv.Dot(*factors)
        tv.Dot(square, objects, out=out)
        out[:] = e
        with pytest.raises(tv.ModelError):
            tv.Dot(np.repeat(broken, 3, axis=0), objects, out=out)
        assert all(o is e for o in out)

    assert reference_growth(products, [*x, node, e, objects, square, out, tv.npexpr], calls=100) == [0] * 9
