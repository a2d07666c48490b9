"""Arrays of npvar, npexpr and npconstraint: arithmetic, comparisons, casts, and who owns the elements."""

import copy
import gc
import operator
import pickle
import sys
import threading

import numpy as np
import pytest

import tavlo as tv

V, E, C, OBJECT = tv.npvar, tv.npexpr, tv.npconstraint, np.dtype(object)
NUMPY = tuple(int(part) for part in np.__version__.split(".")[:2])
NUMBERS = "?bhilqBHILQefd"


@pytest.fixture
def arrays():
    x, y = tv.var(name="x"), tv.var(name="y")
    return x, y, np.array([x, y], dtype=V), np.array([x + 1, 2 * y], dtype=E), np.array([x, y], dtype=object)


def texts(array):
    return [str(o) for o in np.asarray(array, dtype=object).ravel()]


def rows(array):
    return [(c.lb, str(c.body), c.ub) for c in array.ravel()]


@pytest.mark.parametrize("code", NUMBERS)
def test_numbers_of_every_type_on_either_side(arrays, code):
    _, _, a, e, _ = arrays
    n = np.array([1, 1], dtype=code)
    for array in (a, e):
        for op in (operator.add, operator.sub, operator.mul, operator.truediv):
            left, right = op(n, array), op(array, n)
            assert left.dtype == right.dtype == E
            assert texts(left) == [str(op(1.0, o)) for o in array] and texts(right) == [str(op(o, 1.0)) for o in array]
        for op in (operator.le, operator.ge, operator.eq):
            left, right = op(n, array), op(array, n)
            assert left.dtype == right.dtype == C
            assert rows(left) == rows(np.array([op(1.0, o) for o in array]))
            assert rows(right) == rows(np.array([op(o, 1.0) for o in array]))


def test_operators_between_arrays_and_bare_objects(arrays):
    x, y, a, e, o = arrays
    for op in (operator.add, operator.sub, operator.mul, operator.truediv, operator.and_, operator.or_):
        for left, right in (
            (a, e),
            (e, a),
            (a, a),
            (a, x),
            (x, e),
            (a, o),
            (a, [x, 1.0]),
            (np.ones(2), x),
            (x, np.ones(2)),
        ):
            result = op(left, right)
            assert result.dtype == E
            pairs = zip(*np.broadcast_arrays(np.asarray(left, dtype=OBJECT), np.asarray(right, dtype=OBJECT)))
            expected = [op(p, q) for p, q in pairs]
            values = [tv.evaluate(r, solution={x: 1, y: 2}) for r in result]
            assert values == pytest.approx([tv.evaluate(r, solution={x: 1, y: 2}) for r in expected])
    assert (o + a).dtype == OBJECT and (o * x).dtype == OBJECT
    assert texts(a**2) == texts(np.square(a)) == ["x**2", "y**2"] and texts(-a) == [str(-x), str(-y)]
    assert texts(2**a) == [str(2.0**x), str(2.0**y)]
    for left, right in ((a, e), (a, x), (x, a), (a, o), (o, a), (np.arange(2.0), x), (x, np.arange(2.0))):
        assert (left <= right).dtype == (left >= right).dtype == C
    if NUMPY >= (1, 25):  # earlier ones swallow errors inside ==
        with pytest.raises((tv.ModelError, TypeError)):
            a == None  # noqa: B015, E711
    for strict in (operator.lt, operator.gt):
        for left, right in ((a, 1), (1, a), (a, a), (a, x)):
            with pytest.raises(tv.ModelError, match="cannot enforce"):
                strict(left, right)
    with pytest.raises(tv.ModelError, match="Cannot obtain a power with a vector as an exponent"):
        x**a


def test_bare_objects_in_numpy_functions_and_in_place(arrays):
    x, y, a, e, o = arrays
    assert texts(np.add(a, x)) == texts(a + x) and str(np.multiply(x, 2.0)) == "2*x"
    assert isinstance(np.less_equal(x, 3), tv.constraint)
    e += x
    e *= np.float64(2)
    e -= a
    assert e.dtype == E and texts(e) == [str(2 * (x + 1 + x) - x), str(2 * (2 * y + x) - y)]
    z = np.empty(2, E)
    assert np.add(a, 1, out=z) is z and texts(z) == texts(a + 1)
    o += a
    assert o.dtype == OBJECT and texts(o) == ["2*x", "2*y"]
    for options in ({"out": x}, {"out": (x,)}):
        with pytest.raises(tv.ModelError, match="cannot be the output"):
            np.add(a, 1, **options)
    for number in (np.float64(3), np.float32(3), np.float16(3), np.int64(3), np.int8(3), np.array(3.0)):
        assert str(number * x) == str(3.0 * x) and str(x - number) == str(x - 3.0)
        for c in (number >= x, x <= number):
            assert (c.lb, str(c.body).strip(), c.ub) == (-1e20, "x", 3)


def test_casts_share_elements(arrays):
    x, y, a, e, o = arrays
    for array, dtype in ((a, E), (a, OBJECT), (o, V), (o, E), (e, OBJECT), (e, V)):
        assert array.astype(dtype)[1] is array[1]
    assert np.arange(2).astype(E).tolist() == [0, 1] and np.ones(2, E).tolist() == [1, 1]
    for array, dtype in ((a, C), (a <= 1, E), (a, float), (np.arange(2), V)):
        with pytest.raises(TypeError):
            array.astype(dtype)
    assert a.byteswap()[0] is x and a.T[1] is y and a[[True, False]][0] is x
    assert np.concatenate([a, a]).dtype == V and np.where([True, False], a, a)[1] is y
    assert np.stack([a, e]).dtype == V  # holds the expressions themselves
    s = e.copy()
    s[:] = [5, 6]
    assert s.tolist() == [5, 6]


def test_elements_that_were_never_set(arrays):
    x = arrays[0]
    assert np.empty(2, V).tolist() == [None, None] and np.zeros(2, E).tolist() == [0, 0]
    for broken in (np.empty(2, V), np.array([x, None], dtype=E), np.array([x, "q"], dtype=V)):
        for use in (lambda a: a + 1, lambda a: -a, lambda a: a <= 1, np.sum, lambda a: tv.evaluate(a, solution={x: 1})):
            with pytest.raises((tv.ModelError, TypeError)):
                use(broken)
    with pytest.raises(tv.ModelError):
        tv.problem().addVariable(np.empty(2, V))
    assert [bool(np.array([e], dtype=E)) for e in (x + 1, x - x + 0 * x, tv.expression())] == [True, False, False]


def test_what_numpy_has_no_answer_for_is_a_clear_error(arrays):
    x, _, a, _, _ = arrays
    calls = [
        lambda: np.ones(2, complex) * a, lambda: a * np.ones(2, np.longdouble), lambda: a @ a, lambda: np.sort(a),
        lambda: a.argsort(), lambda: np.max(a), lambda: np.sin(x), lambda: a.view(np.int64), lambda: a.view(E),
        lambda: np.einsum("i,i", a, a), lambda: np.cumsum(a), lambda: pickle.dumps(a), lambda: copy.deepcopy(a),
        lambda: np.add.reduce(a, initial="q"),
    ]  # fmt: skip
    for call in calls:
        with pytest.raises((TypeError, SystemError, tv.ModelError)):
            call()


def test_objects_have_one_owner_each(arrays, reference_growth):
    x, y, a, e, o = arrays
    big, numbers, few = np.array([x, y] * 500, dtype=V), np.ones(1000, np.int32), np.array([True, False])
    unaligned = np.zeros(17, np.uint8)[1:].view(np.float64)

    def use():
        for op in (operator.add, operator.mul, operator.le):
            op(a, 1), op(1.5, a), op(a, e), op(x, a), op(a, o), op(o, a), op(np.float64(2), x), op(unaligned, a)
        big[::3] + numbers[::3], numbers[::-1] >= big, big.astype(E), big[::2].astype(OBJECT), big.copy()
        for kept in (e.copy(), np.empty(2, E), np.zeros(2, E)):
            kept[:] = a
            kept[few] = y
            kept[0] = None
            kept[:] = 5
        b = e.copy()
        b += 1
        b -= a
        np.add(a, 1, out=b[::-1]), np.sum(big), np.sum(a, where=few), np.repeat(a, 3), np.insert(a, 0, x)
        np.concatenate([a, e]), np.where(few, a, e), np.multiply.outer(a, e), a.tolist(), a.byteswap()
        for failing in (lambda: a + None, lambda: a @ a, lambda: a < 1, lambda: np.sum(np.array([x, "q"], dtype=E))):
            with pytest.raises((TypeError, tv.ModelError)):
                failing()

    assert reference_growth(use, [x, y, V, E, C], calls=40) == [0] * 5


def test_numbers_of_numpy_in_single_elements(arrays):
    x, _, _, e, _ = arrays
    numbers = [np.array([1001]).astype(code)[0] for code in NUMBERS]

    def use():
        for number in numbers:
            e[0] = e.flat[1] = number
            e[:] = number
            e[[True, False]] = number
            e.fill(number)
            e.put([0], number)
            np.array([x, number], dtype=E), np.full(2, number, dtype=E), np.insert(e, 0, number)
            np.pad(e, 1, constant_values=number), np.sum(e, initial=number)

    growth = []
    for _ in range(4):  # what is cached settles after some rounds
        gc.collect()
        before = sys.getallocatedblocks()
        for _ in range(50):
            use()
        gc.collect()
        growth.append(sys.getallocatedblocks() - before)
    assert min(growth) < 300, growth  # an operation that keeps one reference keeps 700
    e[:] = np.float16(2.5), np.int8(3)
    assert e.tolist() == [2.5, 3] and [type(o) for o in e.tolist()] == [float, int]


def test_arrays_release_what_they_hold(arrays):
    before = sys.getrefcount(x := tv.var())
    for make in (lambda: np.full(1000, x, V), lambda: np.full(1000, x, E), lambda: np.full(1000, x, V)[::2].copy()):
        array = make()
        assert sys.getrefcount(x) > before + 400
        del array
        assert sys.getrefcount(x) == before


def test_large_copies_in_threads_keep_counts_right():
    x = tv.vars(20000)
    first, f, failures = x[0], x + 1, []
    before = sys.getrefcount(first)

    def work():
        try:
            for _ in range(25):
                b = f.copy()
                b[:] = f[::-1]
                b[...] = x
                b = b.reshape(100, 200).T.copy()
                x.copy()
        except BaseException as error:
            failures.append(error)

    interval = sys.getswitchinterval()
    sys.setswitchinterval(1e-5)
    threads = [threading.Thread(target=work) for _ in range(4)]
    try:
        for t in threads:
            t.start()
        for t in threads:
            t.join()
    finally:
        sys.setswitchinterval(interval)
    gc.collect()
    assert failures == []
    assert sys.getrefcount(first) == before


def test_half_precision_numbers_convert(arrays):
    x = arrays[0]
    for value in (1.0, -2.5, 65504.0, 6e-8, 0.0):
        half = np.array([value], dtype=np.float16)
        assert tv.evaluate(half * x, solution={x: 1.0}).tolist() == [float(half[0])]


def test_an_interpreter_that_ends_with_arrays_alive_ends_cleanly(run_python):
    run_python("import tavlo as tv\na = tv.vars(1000)\ne = a + 1\nkeep = [a, e, e <= a]")
    run_python("import tavlo as tv\na = tv.vars(3).astype(object)\na[0] = a")
