"""First-order conditions at returned points, recomputed with SymPy's derivatives of the same formulas."""

import random

import pytest

import tavlo as tv

sympy = pytest.importorskip("sympy")


class Symbolic:
    """What the formulas call of the package, in SymPy."""

    max, min, abs = sympy.Max, sympy.Min, sympy.Abs

    @staticmethod
    def log10(v):
        return sympy.log(v, 10)

    @staticmethod
    def pwl(pieces):
        (variable,) = next(iter(pieces.values())).free_symbols
        return sympy.Piecewise(*((piece, variable < to) for (_, to), piece in pieces.items()))

    def __getattr__(self, name):
        return getattr(sympy, name)


X = sympy.symbols("x0:3", real=True)

# Of the module (the package or SymPy) and three variables; no point below is near a kink.
OPERATORS = {
    "plus, minus": lambda m, x, y, z: m.sin(x) + 3 - (y - m.cos(z)) - (4 - x),
    "times": lambda m, x, y, z: -x * y * z * 2.5,
    "divide": lambda m, x, y, z: x / y + 2 / z - m.sin(x) / 3,
    "powers": lambda m, x, y, z: x**3 + y**-2 + z**1.7 + x**0.5 + (x - 2 * y) ** 4,
    "power of variables": lambda m, x, y, z: x**y + 2.5**z + x**x,
    "squares": lambda m, x, y, z: (x + y * z) ** 2 * (x - z) + m.sin(x) ** 2,
    "exp": lambda m, x, y, z: m.exp(x * y - z),
    "log": lambda m, x, y, z: m.log(x + y * z),
    "log10": lambda m, x, y, z: m.log10(x / z + y),
    "sin": lambda m, x, y, z: m.sin(x * y + z),
    "cos": lambda m, x, y, z: m.cos(x - y / z),
    "tan": lambda m, x, y, z: m.tan(x * y) * z,
    "asin": lambda m, x, y, z: m.asin(x * z / 2) + y,
    "acos": lambda m, x, y, z: m.acos(x * z / 2) * y,
    "atan": lambda m, x, y, z: m.atan(x + y * z),
    "sqrt": lambda m, x, y, z: m.sqrt(x * y + z),
    "erf": lambda m, x, y, z: m.erf(x * y - z),
    "erfc": lambda m, x, y, z: m.erfc(x - y * z),
    "abs": lambda m, x, y, z: abs(x - y) * z + abs(y + z),
    "sign": lambda m, x, y, z: m.sign(x - y) * z + m.sign(x * y),
    "max": lambda m, x, y, z: m.max(x, y * 2, m.sin(z)) * z,
    "min": lambda m, x, y, z: m.min(x, y * 2, m.exp(z)) * z,
    "pwl": lambda m, x, y, z: m.pwl({(0, 0.5): 3 * x, (0.5, 1): x + 1, (1, 9): 3 - x}) * y * m.sin(z),
}


def solved(p):
    p.setOutputEnabled(False)
    p.solve()
    assert p.getProbStatusString() == "nlp_solution"
    return p


@pytest.mark.parametrize("name", OPERATORS)
@pytest.mark.parametrize("point", [(0.3, 1.2, 0.7), (0.8, 0.45, 1.1)])
def test_duals_of_rows_that_fix_every_variable_are_the_derivatives(name, point):
    x = [tv.var(lb=-tv.infinity) for _ in point]
    fixed = [v == at for v, at in zip(x, point)]
    p = tv.problem(x, fixed)
    p.setObjective(OPERATORS[name](tv, *x))
    for v, at in zip(x, point):
        p.chgvar(v, initial=at)
    at = dict(zip(X, point))
    f = OPERATORS[name](Symbolic(), *X)
    assert solved(p).getObjVal() == pytest.approx(float(f.subs(at).evalf()), rel=1e-9)
    assert p.getDual(fixed) == pytest.approx([float(f.diff(s).subs(at).evalf()) for s in X], rel=1e-7, abs=1e-7)


# ---- random problems ----
FUNCTIONS = {  # those of one argument, made to have a value everywhere
    "sin": lambda m, a: m.sin(a),
    "cos": lambda m, a: m.cos(a),
    "tan": lambda m, a: m.tan(m.sin(a) / 2),
    "asin": lambda m, a: m.asin(m.cos(a) / 2),
    "acos": lambda m, a: m.acos(m.sin(a) * 0.75),
    "atan": lambda m, a: m.atan(a),
    "exp": lambda m, a: m.exp(m.atan(a)),
    "log": lambda m, a: m.log(2 + m.cos(a)),
    "log10": lambda m, a: m.log10(1 + a * a),
    "sqrt": lambda m, a: m.sqrt(1 + a**2),
    "erf": lambda m, a: m.erf(a),
    "erfc": lambda m, a: m.erfc(a),
    "cube": lambda m, a: m.sin(a) ** 3,
    "root": lambda m, a: (1 + a * a) ** 0.3,
    "power": lambda m, a: 1.5 ** m.atan(a),
}


def random_tree(draw, depth):
    """A formula as a function of the module and the variables."""
    if depth == 0:
        i, j, c = draw.randrange(3), draw.randrange(3), draw.choice([-2.0, 0.5, 1.0, 3.0])
        leaf = draw.choice([lambda m, x: c * x[i], lambda m, x: c * x[i] * x[j] + x[j], lambda m, x: x[i] - c])
        return leaf
    a, b = random_tree(draw, draw.randrange(depth)), random_tree(draw, draw.randrange(depth))
    function = FUNCTIONS[draw.choice(list(FUNCTIONS))]
    return draw.choice(
        [
            lambda m, x: function(m, a(m, x)),
            lambda m, x: function(m, a(m, x)) - b(m, x),
            lambda m, x: a(m, x) * function(m, b(m, x)),
            lambda m, x: function(m, a(m, x)) + 2 * b(m, x),
            lambda m, x: a(m, x) / (2 + m.sin(b(m, x))),
            lambda m, x: (2 + m.sin(a(m, x))) ** m.cos(b(m, x)),
            lambda m, x: function(m, a(m, x) + b(m, x)),
        ]
    )


def jet_of(tree):
    """Value and gradient of a formula at a point, in SymPy's code."""
    f = tree(Symbolic(), X)
    return sympy.lambdify(X, [f, *(sympy.diff(f, s) for s in X)], "math")


@pytest.mark.parametrize("seed", range(75))
def test_random_problems(seed):
    draw = random.Random(seed)
    first, second = random_tree(draw, 3), random_tree(draw, 3)

    def objective(m, x):
        return first(m, x) + m.exp(x[1]) * 0.01

    def body(m, x):
        return second(m, x) + m.sin(x[0])

    start = [draw.uniform(-0.5, 0.5) for _ in X]
    objective_jet, body_jet = jet_of(objective), jet_of(body)
    x = [tv.var(lb=-1.5, ub=1.5) for _ in X]
    row = tv.constraint(body=body(tv, x), ub=body_jet(*start)[0] + 0.1)
    sense = draw.choice([tv.minimize, tv.maximize])
    p = tv.problem(x, row)
    p.setObjective(objective(tv, x), sense=sense)
    for v, at in zip(x, start):
        p.chgvar(v, initial=at)
    at = solved(p).getSolution(x)

    sign = 1 if sense == tv.minimize else -1
    value, *gradient = objective_jet(*at)
    scale = max(1.0, *map(abs, gradient))
    dual, slack = sign * p.getDual(row), p.getSlack(row)
    body_value, *normal = body_jet(*at)
    assert p.getObjVal() == pytest.approx(value, abs=1e-9)
    assert slack == pytest.approx(row.ub - body_value, abs=1e-9) and slack >= -1e-6
    assert dual <= 1e-6 * scale and abs(dual * slack) <= 1e-5 * scale
    for v, g, a, cost in zip(at, gradient, normal, p.getRCost(x)):
        residual = sign * g - dual * a
        assert sign * cost == pytest.approx(residual, abs=2e-6 * scale)
        assert residual * (v + 1.5 if residual > 0 else v - 1.5) <= 1e-5 * scale


def test_what_has_no_second_derivatives_is_not_linear():
    for kinked in (tv.sign, lambda v: -abs(v), lambda v: tv.min(v, -v), lambda v: tv.pwl({(-1, 0): v, (0, 1): -v})):
        x = tv.var(lb=-1, ub=1)
        p = tv.problem(x, kinked(x) - 0.1 * x)
        p.chgvar(x, initial=0.5)
        solved(p)  # locally: the other side of the kink may be better
