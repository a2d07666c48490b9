"""evaluate: every kind of object and argument, against plain Python numbers."""

import collections
import math

import numpy as np
import pytest

import tavlo as tv


def test_objects_and_containers(x, y):
    at = {x: 3, y: np.float32(0.5)}
    for e, expected in ((x, 3.0), (2 * x, 6.0), (x * y, 1.5), (x * x, 9.0), (x + 2 * y - 3 * x * y, -0.5), (7, 7.0)):
        result = tv.evaluate(e, solution=at)
        assert type(result) is float and result == expected
    assert tv.evaluate([x, (y, 2 * x)], solution=at) == [3.0, (0.5, 6.0)]
    assert tv.evaluate({"a": x, 2: [y]}, solution=at) == {"a": 3.0, 2: [0.5]}
    assert tv.evaluate(x, [y], solution=at) == (3.0, [0.5])
    array = np.array([[x, y], [x / y, 4]], dtype=object)
    assert np.array_equal(tv.evaluate(array.T, solution=at), [[3, 6], [0.5, 4]])
    assert tv.evaluate(x / y, solution=collections.defaultdict(float, at)) == 6
    nested = x
    for _ in range(63):
        nested = [nested]
    assert str(tv.evaluate(nested, solution=at)).count("[") == 63
    with pytest.raises(RuntimeError, match="Evaluation of expression exceeded recursion depth limit"):
        tv.evaluate([nested], solution=at)


NODES = [
    ("x - y / 4", 2.875),
    ("2 ** x", 8),
    ("-(x ** 3)", -27),
    ("tv.max(x, y, 5)", 5),
    ("tv.min([x, y, 5])", 0.5),
    ("tv.And(x, 1, 1e-6)", 0),
    ("tv.And(x, 1, 1e-5)", 1),
    ("tv.Or(0, 0.9999999)", 1),
    ("tv.Or(0, y)", 0),
    ("tv.And(0, 1 / (x - 3))", 0),  # what comes after the decisive one is not looked at
    ("tv.log10(tv.exp(x))", 3 / math.log(10)),
    ("tv.user(math.hypot, x, 4)", 5),
    ("tv.user(lambda a, b: (a * b, b, a), x, y, derivatives=True)", 1.5),
    ("tv.user(lambda: 4)", 4),
    ("tv.user(lambda a: 2, x / y) + x * y * x", 6.5),
    ("abs(-y)", 0.5),
]


@pytest.mark.parametrize("source, expected", NODES)
def test_nodes(source, expected, x, y):
    result = tv.evaluate(eval(source, {"x": x, "y": y, "tv": tv, "math": math}), solution={x: 3, y: 0.5})
    assert result == pytest.approx(expected, rel=1e-15)


def test_piecewise_linear_values(x):
    line = tv.pwl({(0, 10): 0.5 * x})
    steps = tv.pwl({(0, 1): x, (1, 2): x + 1, (3, 4): 9 - x})
    for f, points in (
        (line, {-2: -1, 0: 0, 4: 2, 10: 5, 14: 7}),
        (steps, {-1: -1, 0.5: 0.5, 1: 2, 1.5: 2.5, 2: 3, 2.5: 4.5, 3: 6, 4: 5, 6: 3}),
    ):
        for t, expected in points.items():
            assert tv.evaluate(f, solution={x: t}) == pytest.approx(expected, abs=1e-15), t
    assert math.isnan(tv.evaluate(line, solution={x: math.nan}))


def test_tolerance_of_the_logical_operators(x, clean_defaults):
    both, either = tv.And(x, 1), tv.Or(1 - x, 0)
    assert tv.evaluate([both, either], solution={x: 1e-4}) == [1, 0]
    tv.controls.miptol = 1e-3
    assert tv.evaluate([both, either], solution={x: 1e-4}) == [0, 1]


def test_problems(x, y, z):
    p = tv.problem(x, y, x + y <= 4, x <= 3)
    p.setObjective(2 * x + y, sense=tv.maximize)
    p.solve()
    assert tv.evaluate(x, [y, x**y], problem=p) == (3.0, [1.0, 3.0])
    assert p.getSolution(tv.max(x, y) - x / 4) == 2.25
    for values in ([5, 0.5], np.array([5, 0.5]), np.array([5, 0.5], dtype=np.float32), [np.int64(5), 0.5]):
        assert tv.evaluate(x + 2 * y, problem=p, solution=values) == 6
    assert tv.evaluate(x, problem=p, solution={x: 9}) == 9
    for values in ([1], [1, 2, 3]):
        with pytest.raises(tv.InterfaceError, match="Mismatched lengths in arguments: expected 2, found"):
            tv.evaluate(x, problem=p, solution=values)
    for values in ([1, None], ["a", 2], [1, x]):
        with pytest.raises(TypeError):
            tv.evaluate(x, problem=p, solution=values)
    with pytest.raises(tv.ModelError, match="Object does not belong to problem or cannot be identified within"):
        tv.evaluate(x + z, problem=p)
    assert tv.evaluate(3, problem=tv.problem(), solution=[]) == 3


def test_refusals(x, y, run_python):
    argument = tv.InterfaceError
    for call, error, text in (
        (lambda: tv.evaluate(x), argument, 'requires at least one of the two arguments "solution" and "problem".\nSee'),
        (lambda: tv.evaluate(x, problem=None, solution=None), argument, "requires at least one of the two arguments"),
        (lambda: tv.evaluate(solution={x: 1}), argument, "requires one or more objects to evaluate"),
        (lambda: tv.evaluate(x, problem=3), argument, 'Argument "problem" must be an tavlo.problem object'),
        (
            lambda: tv.evaluate(x, solution=(1,)),
            argument,
            '"solution" must be a dictionary, a list, or a one-dimension',
        ),
        (
            lambda: tv.evaluate(x, solution=np.ones((1, 1))),
            argument,
            "must be a dictionary, a list, or a one-dimension",
        ),
        (
            lambda: tv.evaluate(x, solution=[1]),
            argument,
            'Argument "problem" is necessary when passing a list or NumPy',
        ),
        (lambda: tv.evaluate("x", solution={x: 1}), argument, "Call to tavlo.evaluate cannot contain strings as argum"),
        (lambda: tv.evaluate([b"x"], solution={x: 1}), argument, "Call to tavlo.evaluate cannot contain strings"),
        (lambda: tv.evaluate(np.ones(2), solution={}), argument, "requires one or more Python objects;\nNumPy arrays"),
        (lambda: tv.evaluate(x + y, solution={x: 1}), tv.ModelError, "Variable has no value"),
        (lambda: tv.evaluate(tv.sin(y), solution={x: 1}), tv.ModelError, "Variable has no value"),
        (lambda: tv.evaluate(x <= 1, solution={x: 1}), tv.ModelError, "Evaluation of object of incorrect type"),
        (lambda: tv.evaluate(np.array([x, None]), solution={x: 1}), tv.ModelError, "Evaluation of object of incorrect"),
        (lambda: tv.evaluate(x, solution={x: "one"}), TypeError, "must be real number"),
        (lambda: tv.evaluate(tv.user(lambda: ()), solution={}), tv.ModelError, "User function must return a value"),
        (lambda: tv.evaluate(tv.user(lambda v: "a", x), solution={x: 1}), TypeError, "must be real number"),
        (lambda: tv.evaluate(tv.user(lambda v: {}[v], x), solution={x: 1}), KeyError, "1.0"),
        (lambda: tv.evaluate(x, values={}), TypeError, ""),
    ):
        with pytest.raises(error) as failure:
            call()
        assert text in str(failure.value)
    for fraction in (x / tv.sin(y), x / y, 1 / (y * y), x / (y + 0 * x)):
        with pytest.raises(ZeroDivisionError, match="Division by zero in evaluation of expression containing fraction"):
            tv.evaluate(fraction, solution={x: 1, y: 0})


def test_values_that_change_what_is_evaluated(x, y):
    e = x + y

    class Meddling:
        def __float__(self):
            e.__iadd__(tv.var())
            return 1.0

    assert tv.evaluate(tv.sin(e) * 0 + e, solution={x: Meddling(), y: 1}) == 2.0
