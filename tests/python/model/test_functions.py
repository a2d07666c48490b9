"""The functions that make nonlinear nodes."""

import math
import random

import numpy as np
import pytest

import tavlo as tv

FUNCTIONS = {
    "sin": math.sin,
    "cos": math.cos,
    "tan": math.tan,
    "asin": math.asin,
    "acos": math.acos,
    "atan": math.atan,
    "exp": math.exp,
    "log": math.log,
    "log10": math.log10,
    "abs": math.fabs,
    "sqrt": math.sqrt,
    "sign": lambda v: math.copysign(1.0, v),
    "erf": math.erf,
    "erfc": math.erfc,
}


@pytest.mark.parametrize("name", FUNCTIONS)
def test_elementary_functions(name, x, y):
    function, reference = getattr(tv, name), FUNCTIONS[name]
    for value in (0.625, 1, np.float32(0.25), np.int16(1), True):
        folded = function(value)
        assert type(folded) is float and folded == pytest.approx(reference(value), rel=1e-14, abs=1e-14)
        node = function(x * x)
        assert tv.evaluate(node, solution={x: math.sqrt(value)}) == pytest.approx(folded, rel=1e-12, abs=1e-12)
    for argument in (x, 2 * x, x * y, x + y, x**3):
        assert str(function(argument)) == f"{name} ({argument})"

    mixed = np.array([[x, 0.5], [y + 1, function(x)]], dtype=object)
    result = function(mixed)
    assert result.shape == (2, 2) and result.dtype == object and mixed[0, 0] is x
    assert [str(e) for e in result.flat] == [str(function(e)) for e in mixed.flat]
    for array in (np.array([0.25, 0.5]), np.array([0.5, 0.25], dtype=np.float32)[::-1], np.array(0.5)):
        assert function(array).dtype == array.dtype and function(array).shape == array.shape
        assert np.allclose(function(array), np.vectorize(reference)(array))
    assert np.allclose(function(np.array([1, 1])), reference(1))  # integers could not hold the results

    class Subclass(np.ndarray):
        pass

    for argument, text in (
        ([x], "Could not create a unary nonlinear expression: the argument must be a single expression"),
        ((x, y), "Could not create a unary nonlinear expression: the argument must be a single expression"),
        (None, "Invalid object in unary operation"),
        ("x", "Invalid object in unary operation"),
        (x <= 1, "Invalid object in unary operation"),
        (np.array([x]).view(Subclass), "Cannot iterate on sequence of arguments"),
        (np.array([x, None]), "Invalid object in unary operation"),
    ):
        with pytest.raises(tv.ModelError) as failure:
            function(argument)
        assert str(failure.value) == text


@pytest.mark.parametrize("name", FUNCTIONS)
def test_a_number_and_an_expression_have_the_same_value(name, x):
    function, rng = getattr(tv, name), random.Random(name)
    node = function(x)
    for _ in range(500):
        value = rng.uniform(-1, 1) * rng.choice((1, 30))
        folded, evaluated = function(value), tv.evaluate(node, solution={x: value})
        assert folded == evaluated or (math.isnan(folded) and math.isnan(evaluated))


def test_values_at_the_edges():
    assert math.isnan(tv.sqrt(-1)) and math.isnan(tv.log(-1)) and tv.log(0) == -math.inf
    assert (tv.sign(-3), tv.sign(0), tv.sign(2.5), tv.sin(0)) == (-1.0, 0.0, 1.0, 0.0)
    assert tv.log10(1000) == math.log(1000) / math.log(10) and tv.exp(1000) == math.inf


@pytest.mark.parametrize("name", ["max", "min"])
def test_extrema(name, x, y):
    function = getattr(tv, name)
    operands = [x, 2 * y]
    node = function(operands)
    operands.append(3)
    assert str(node) == f"{name} (x, 2*y, 3)"  # the very list
    for same in (function(x, 2 * y), function((x, 2 * y)), function(np.array([x, 2 * y]))):
        assert str(same) == f"{name} (x, 2*y)"
    for single in (x, [x], (x,), np.array([x]), np.array([[x]]), np.array(x)):
        assert function(single) is x
    assert function(3.5) == 3.5
    assert str(function(range(3))) == f"{name} (0, 1, 2)" and str(function(1, 2)) == f"{name} (1, 2)"
    for empty in ((), ([],), ((),)):
        with pytest.raises(tv.ModelError, match=rf"^The function tavlo.{name} must have at least one argument$"):
            function(*empty)
    for wrong, cause in (
        (None, "Incorrect argument for expression"),
        ("a", "Incorrect argument for expression"),
        ([None], "Incorrect argument for expression"),
        (np.array([[x, y]]), "Only a 1-dimensional array can be used in a nonlinear expression"),
    ):
        with pytest.raises(tv.ModelError, match=rf"^Incorrect argument for tavlo.{name} function$") as failure:
            function(wrong)
        assert str(failure.value.__cause__) == cause
    for wrong in ([x, None], [x, [y]], [x, np.array([1, 2])], (x, "text"), "text"):
        with pytest.raises(tv.ModelError, match=r"^Invalid object in n-ary operation$"):
            function(wrong)


def test_user_functions(x, y):
    assert str(tv.user(math.hypot, x, y)) == "user (user, x, y)"
    assert str(tv.user(math.hypot, x, derivatives=True)) == "user (user, x)"
    with pytest.raises(tv.ModelError, match=r"^Insufficient number of arguments declared for operator$"):
        tv.user()
    for wrong in ((x, y), (max, None), (max, [x]), (max, max)):
        with pytest.raises(tv.ModelError, match=r"^Invalid object in n-ary operation$"):
            tv.user(*wrong)
    with pytest.raises(TypeError):
        tv.user(max, x, order=2)


def test_piecewise_linear_points(x, y):
    def points(pieces):
        return str(tv.pwl(pieces))[len("pwl (") : -1]

    assert points({(1, 2): 2 * x - 1, (0, 1): x}) == "x, 0.0, 0.0, 1.0, 1.0, 2.0, 3.0"
    assert points({(0, 1): x, (1, 2): x + 1}) == "x, 0.0, 0.0, 1.0, 1.0, 1.0, 2.0, 2.0, 3.0"
    assert points({(0, 1): 5, (3, 4): 6, None: y}) == "y, 0.0, 5.0, 1.0, 5.0, 3.0, 6.0, 4.0, 6.0"
    assert points({(0, 1): x, (1 + 5e-7, 2): x, None: x}).count(",") == 6
    assert points({(0, 2): x + 3 * y - 3 * y, (2, 3): 2 * (x - x + y - y + 1)}) == "x, 0.0, 0.0, 2.0, 2.0, 3.0, 2.0"


@pytest.mark.parametrize(
    "pieces, text",
    [
        (
            "[(0, 1)]",
            "Function tavlo.pwl only accepts a dictionary; a call must be for example tavlo.pwl({(1,4): 2*x+1",
        ),
        ("{None: 3}", "Tuple (None, Obj) must have an tavlo.var() object as Obj, found <3>"),
        ("{3: x}", "All keys in the dictionary argument of tavlo.pwl must be two-tuples; <3> is not"),
        ("{(1, 1): x}", "must be two-tuples with two constant numbers: [a,b] such that a<b; <(1, 1)> is not"),
        ("{(0, float('inf')): x}", "must be two-tuples with two constant numbers: [a,b] such that a<b"),
        ("{(0, x): x}", "must be two-tuples with two constant numbers"),
        ("{(0, 1): x * x}", "Expression x**2 not suitable for a piecewise linear function; it must be a constant or a"),
        ("{(0, 1): 'a'}", "Expression a not suitable for a piecewise linear function; it must be a constant or a"),
        ("{(0, 1): x**3}", "Expression (x ** 3) not suitable for a piecewise linear function; it must be a constant"),
        ("{(0, 1): x + y}", "Expression   x + y not suitable for a piecewise linear function; it must contain one"),
        ("{(0, 1): x, (1, 2): y}", "Expression in [1,2] interval contains variable y while another variable has been"),
        ("{(0, 1): x, None: y}", "Expression in [0,1] interval contains variable x while another variable has been"),
        (
            "{(0, 1): 3}",
            "No variable specified for this piecewise linear function: {(0, 1): 3}; Are all values constant?",
        ),
        ("{(1, 3): x, (0, 2): x}", "Interval [0,2] overlaps with [1,3] in piecewise linear function"),
    ],
)
def test_refused_piecewise_linear_functions(pieces, text, x, y):
    with pytest.raises(tv.ModelError) as failure:
        tv.pwl(eval(pieces, {"x": x, "y": y}))
    assert text in str(failure.value)
