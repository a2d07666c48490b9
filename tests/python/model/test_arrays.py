"""Modelling objects beside NumPy scalars, arrays and other sequences: right results or clear errors, on either side."""

import operator

import numpy as np
import pytest

import tavlo as tv

NUMBERS = [np.float16, np.float32, np.float64, np.int8, np.int16, np.int32, np.int64]
OTHERS = [np.uint8, np.uint64, np.longdouble, np.complex128, np.bool_]
PLAIN = [operator.add, operator.sub, operator.mul]
RELATIONS = [operator.le, operator.ge, operator.eq]


# Before 1.25, NumPy hides what == and != raise behind this warning and leaves the answer to the other operand.
HIDES = tuple(map(int, np.__version__.split(".")[:2])) < (1, 25)
pytestmark = pytest.mark.filterwarnings("ignore:elementwise comparison failed:DeprecationWarning")


def described(obj):
    if isinstance(obj, tv.constraint):
        return obj.lb, obj.ub, str(obj.body)
    if isinstance(obj, np.ndarray):
        return obj.shape, [described(o) for o in obj.flat]
    return type(obj), str(obj)


def objects(x, y):
    return [x, 2 * x, 3 * x * y, x + 2 * y + 1, x * y + x]


@pytest.mark.parametrize("number", NUMBERS)
def test_scalars_count_as_numbers(number, x, y):
    for obj in objects(x, y):
        for op in PLAIN + RELATIONS:
            assert described(op(obj, number(3))) == described(op(obj, 3.0))
            assert described(op(number(3), obj)) == described(op(3.0, obj))
        assert described(obj / number(2)) == described(obj / 2)
        for op in (operator.lt, operator.gt, operator.ne):
            for a, b in ((obj, number(3)), (number(3), obj)):
                with pytest.raises(tv.ModelError, match="Invalid constraint: cannot enforce"):
                    op(a, b)
    assert described(x ** number(2)) == described(x * x)
    e = x + y
    e += number(3)
    e *= number(2)
    assert described(e) == described(6 + 2 * x + 2 * y)


@pytest.mark.parametrize("number", OTHERS)
def test_other_scalars_are_refused(number, x, y):
    for obj in objects(x, y):
        for op in [*PLAIN, operator.truediv, operator.pow, *RELATIONS, operator.ne]:
            for a, b in ((obj, number(3)), (number(3), obj)):
                if HIDES and op is operator.eq and b is obj:
                    continue  # the other operand is then asked about an array
                with pytest.raises(tv.ModelError):
                    op(a, b)


@pytest.mark.parametrize("dtype", "?bhilBHILefd")
@pytest.mark.parametrize("shape", [(4,), (2, 2), (1, 4)])
def test_arrays_of_numbers_go_element_by_element(dtype, shape, x, y):
    array = np.array([0, 1, 1, 1] if dtype == "?" else [0, 1, 3, 120]).astype(dtype).reshape(shape)
    numbers = [float(n) for n in array.flat]
    for obj in objects(x, y):
        for op in PLAIN + RELATIONS:
            left, right = op(array, obj), op(obj, array)
            assert left.shape == right.shape == shape
            assert left.dtype == right.dtype == (tv.npconstraint if op in RELATIONS else tv.npexpr)
            for n, a, b in zip(numbers, left.flat, right.flat):
                assert same_value(a, op(n, obj)) and same_value(b, op(obj, n))
        if dtype != "?":
            divided = obj / array.reshape(-1)[1:]
            assert all(same_value(a, obj / n) for n, a in zip(numbers[1:], divided))


def same_value(a, b):
    """Equal but for the class."""
    if isinstance(a, tv.constraint):
        return (a.lb, a.ub) == (b.lb, b.ub) and same_value(a.body, b.body)
    if isinstance(a, float) or isinstance(b, float):
        return str(a - b) in ("0.0", "0")
    (v, c), (w, d) = a.extractLinear(), b.extractLinear()
    return [hash(o) for o in v] == [hash(o) for o in w] and np.allclose(c, d) and same_parts(a, b)


def same_parts(a, b):
    (u, v, c), (w, z, d) = a.extractQuadratic(), b.extractQuadratic()
    pairs = [(hash(p), hash(q)) for p, q in zip(u, v)], [(hash(p), hash(q)) for p, q in zip(w, z)]
    return pairs[0] == pairs[1] and np.allclose(c, d) and abs((a <= 0).ub - (b <= 0).ub) < 1e-12


def test_arrays_of_objects(x, y):
    array = np.array([x, 2 * y, x + y, 3.0], dtype=object)
    for op in PLAIN + RELATIONS:
        result = op(array, y)
        assert [described(r) for r in result] == [described(op(a, y)) for a in array]
    assert [described(r) for r in array + array] == [described(a + a) for a in array]
    assert str(np.sum(array)) == str(array.sum()) == "3 +2 x +3 y"
    assert str(np.dot(np.array([1.0, 2.0]), np.array([x, y]))) == "  x +2 y"
    single = np.array(2.0)
    assert described(single * x) == described(x * single) == described(2 * x)
    with pytest.raises(tv.ModelError, match="truth value"):
        array <= array  # noqa: B015


def test_no_array_arithmetic_gives_a_wrong_answer_in_silence(x):
    array = np.array([1.0, 2.0])
    with pytest.raises(TypeError):  # doubles can't take the sum
        array += x
    assert array.tolist() == [1, 2]
    for times in (np.array([1], dtype="M8[ns]"), np.array([1], dtype="m8[ns]")):
        for op in [*PLAIN, operator.le]:
            for a, b in ((times, x), (x, times)):
                with pytest.raises((tv.ModelError, TypeError)):
                    op(a, b)
    for odd in (np.array([1], dtype=np.longdouble), np.array([1j]), np.array(["a"]), np.array([None])):
        for a, b in ((odd, x), (x, odd)):
            with pytest.raises((tv.ModelError, TypeError)):
                operator.mul(a, b)
    with pytest.raises(tv.ModelError, match="Cannot obtain a power with a vector as an exponent"):
        x**array
    for strict in (operator.lt, operator.gt, operator.ne):
        for a, b in ((array, x), (x, array)):
            with pytest.raises(tv.ModelError, match="Invalid constraint: cannot enforce"):
                strict(a, b)
    with pytest.raises(tv.ModelError, match="Division of variable by zero"):
        x / np.array([0.0])


def test_in_place_with_an_array_makes_an_array(x, y):
    array = np.array([1.0, 2.0])
    for start in objects(x, y):
        e = start
        e += array
        assert described(e) == described(array + start)
        e = start
        e *= array
        assert [str(a) for a in e] == [str(start * 1), str(start * 2)]
    assert str(x + 2 * y + 1) == "1 + x +2 y"


def test_subclasses_of_arrays_and_sequences_with_operators(x):
    class Vector(np.ndarray):
        pass

    vector = np.array([1.0, 2.0]).view(Vector)
    assert type(vector * x) is Vector and type(x * vector) is Vector

    class Row:
        """A sequence with operators of its own."""

        def __len__(self):
            return 2

        def __getitem__(self, i):
            return (1, 2)[i]

        def __add__(self, other):
            return "added", other

    assert (x + Row())[0] == "added" and (x + Row())[1] is x
    with pytest.raises(tv.ModelError):
        x * Row()


def test_an_array_within_itself(x):
    array = np.empty(1, object)
    array[0] = array
    for use in (lambda: x + array, lambda: x - array, lambda: array / x, lambda: x & array, lambda: tv.sin(array)):
        with pytest.raises(RecursionError):
            use()
    array[0] = None


def test_scalars_and_arrays_leave_no_references(x, reference_growth):
    array, number = np.array([1.0, 2.0]), np.float32(3)

    def use():
        array * x, x - array, array <= x, number * x, x >= number, array**x
        for failing in (lambda: np.uint8(2) * x, lambda: x**array):
            with pytest.raises(tv.ModelError):
                failing()

    assert max(reference_growth(use, [x, array, number, None, tv.var], calls=200)) <= 0


def test_a_half_whose_own_conversion_fails(x):
    class Half(np.float16):
        def __float__(self):
            raise ZeroDivisionError

    for use in (lambda h: h * x, lambda h: x + h, lambda h: tv.Sum([x, h]), lambda h: tv.expression(h) + x):
        assert tv.evaluate(use(Half(2.5)), solution={x: 2}) == tv.evaluate(use(2.5), solution={x: 2})
