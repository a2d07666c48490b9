"""The operator tables: the class and content of every result, and every refusal."""

import operator

import pytest

import tavlo as tv

# Operand names in the expressions below: V, W variables; L, M linear terms; Q, R quadratic terms; E, F expressions;
# C a constant expression. V precedes W in order of creation.
RESULTS = """
V + 0 | V
0 + V | expression 0 + 1*V
3 + V | expression 3 + 1*V
V + 3 | expression 3 + 1*V
V + V | linterm 2*V
V + W | expression 1*V + 1*W
V - 0 | V
0 - V | expression -1*V
3 - V | expression 3 + -1*V
V - 3 | expression -3 + 1*V
V - V | float 0
V - W | expression 1*V + -1*W
V * 1 | V
1 * V | V
V * 0 | float 0
0 * V | float 0
2 * V | linterm 2*V
True * V | V
V * V | quadterm 1*V*V
W * V | quadterm 1*V*W
V / 1 | V
V / 4 | linterm 0.25*V
V / V | float 1
0 / V | float 0
V ** 0 | float 1
V ** 1 | V
V ** 2 | quadterm 1*V*V
1 ** V | float 1
-V | linterm -1*V
L + 0 | linterm 2*V
0 + L | linterm 2*V
0 - L | linterm -2*V
L + 3 | expression 3 + 2*V
3 - L | expression 3 + -2*V
L - V | linterm 1*V
V - L | linterm -1*V
V + L | linterm 3*V
L - W | expression 2*V + -1*W
W - L | expression 1*W + -2*V
L + L | linterm 4*V
L - L | float 0
L - M | expression 2*V + -3*W
0 * L | float 0
L * 3 | linterm 6*V
L * W | quadterm 2*V*W
W * L | quadterm 2*V*W
L * M | quadterm 6*V*W
L / 4 | linterm 0.5*V
L / C | linterm 1*V
L / L | float 1
L / V | float 2
L ** 0 | float 1
L ** 1 | L
L ** 2 | quadterm 4*V*V
1 ** L | float 1
-L | linterm -2*V
Q + 0 | quadterm 5*V*W
0 - Q | quadterm -5*V*W
3 + Q | expression 3 + 5*V*W
Q - 3 | expression -3 + 5*V*W
V - Q | expression 1*V + -5*V*W
Q - V | expression -1*V + 5*V*W
L - Q | expression 2*V + -5*V*W
Q - L | expression -2*V + 5*V*W
Q + Q | quadterm 10*V*W
Q - Q | quadterm 0*V*W
Q - R | expression 5*V*W + -7*V*V
0 * Q | quadterm 0*V*W
Q * 2 | quadterm 10*V*W
Q * C | quadterm 10*V*W
Q / 2 | quadterm 2.5*V*W
Q / C | quadterm 2.5*V*W
Q / V | linterm 5*W
Q / W | linterm 5*V
Q / L | linterm 2.5*W
R / V | linterm 7*V
Q / Q | float 1
Q ** 0 | float 1
Q ** 1 | quadterm 5*V*W
1 ** Q | float 1
-Q | quadterm -5*V*W
E + 0 | expression 1 + 1*V + 2*W
3 - E | expression 2 + -1*V + -2*W
E - V | expression 1 + 2*W
V - E | expression -1 + -2*W
L - E | expression -1 + 1*V + -2*W
E + M | expression 1 + 1*V + 5*W
E + Q | expression 1 + 1*V + 2*W + 5*V*W
Q - E | expression -1 + -1*V + -2*W + 5*V*W
E - E | expression 0
E - F | expression 1 + 1*V + 2*W + -5*V*W
0 * E | expression 0
E * 2 | expression 2 + 2*V + 4*W
E * C | expression 2 + 2*V + 4*W
C * E | expression 2 + 2*V + 4*W
C * C | expression 4
V * C | linterm 2*V
C * L | linterm 4*V
E * V | expression 1*V + 1*V*V + 2*V*W
L * E | expression 2*V + 2*V*V + 4*V*W
E * E | expression 1 + 2*V + 4*W + 1*V*V + 4*V*W + 4*W*W
E * (V - W) | expression 1*V + -1*W + 1*V*V + 1*V*W + -2*W*W
(V - V + 2 + (W - W)) * F | expression 10*V*W
E / 2 | expression 0.5 + 0.5*V + 1*W
E / C | expression 0.5 + 0.5*V + 1*W
E ** 0 | float 1
E ** 1 | expression 1 + 1*V + 2*W
E ** 2 | expression 1 + 2*V + 4*W + 1*V*V + 4*V*W + 4*W*W
C ** 2 | expression 4
1 ** E | float 1
-E | expression -1 + -1*V + -2*W
"""

# Operations that only a nonlinear node can hold, and its text.
NONLINEAR = """
V ** 3 | (V ** 3)
V ** W | (V ** W)
2 ** V | (2 ** V)
0 ** V | (0 ** V)
V ** 0.5 | (V ** 0.5)
V / W | (V / W)
1 / V | (1 / V)
V / L | (V / 2*V)
V / Q | (V / 5*V*W)
V / E | (V / 1 + V +2 W)
V / C | (V / 2)
abs(V) | abs (V)
V & W | and (V, W)
V | W | or (V, W)
L ** 3 | (2*V ** 3)
L ** V | (2*V ** V)
V ** L | (V ** 2*V)
2 ** L | (2 ** 2*V)
1 / L | (1 / 2*V)
L / W | (2*V / W)
L / M | (2*V / 3*W)
L / Q | (0.4 / W)
L / E | (2*V / 1 + V +2 W)
abs(L) | abs (2*V)
L | 1 | or (2*V, 1)
Q ** 2 | (5*V*W ** 2)
Q ** V | (5*V*W ** V)
2 ** Q | (2 ** 5*V*W)
Q * V | (5*V*W * V)
V * Q | (V * 5*V*W)
Q * L | (5*V*W * 2*V)
Q * Q | (5*V*W * 5*V*W)
1 / Q | (1 / 5*V*W)
R / W | (7*V**2 / W)
Q / R | (0.714286*W / V)
Q / E | (5*V*W / 1 + V +2 W)
abs(Q) | abs (5*V*W)
Q & 1 | and (5*V*W, 1)
E ** 3 | (1 + V +2 W ** 3)
F ** 2 | ( 5 V*W *  5 V*W)
E ** V | (1 + V +2 W ** V)
2 ** E | (2 ** 1 + V +2 W)
E * Q | (1 + V +2 W * 5*V*W)
Q * E | (5*V*W * 1 + V +2 W)
V * F | (V *  5 V*W)
F * L | ( 5 V*W * 2*V)
E * F | (1 + V +2 W *  5 V*W)
F * F | ( 5 V*W *  5 V*W)
E / V | (1 + V +2 W / V)
1 / E | (1 / 1 + V +2 W)
E / E | (1 + V +2 W / 1 + V +2 W)
abs(E) | abs (1 + V +2 W)
(E * E) * V | (1 +2 V +4 W + V**2 +4 V*W +4 W**2 * V)
E & E | and (1 + V +2 W, 1 + V +2 W)
E | V | or (1 + V +2 W, V)
(F - Q) * V | (0 * V)
"""

REFUSED = [
    ("V + None", "Invalid operands in addition"),
    ("None + V", "Invalid operands in addition"),
    ("V + [1]", "Invalid operands in addition"),
    ("V - None", "Invalid object in subtraction"),
    ("V * None", "Invalid operands in multiplication"),
    ("[1, 2] * V", "Invalid operands in multiplication"),
    ("V * [1, 2]", "Invalid operands in multiplication"),
    ("V / None", "Invalid operands in division"),
    ("V / 0", "Division of variable by zero"),
    ("V ** None", "Invalid object in operation: <None>"),
    ("V ** [1, 2]", "Cannot obtain a power with a vector as an exponent"),
    ("V + 2j", "Invalid operands in addition"),
    ("V * 'text'", "Invalid operands in multiplication"),
    ("L + None", "Invalid operands in sum"),
    ("L - None", "Invalid operands in sum"),
    ("L + [1]", "Invalid operands in sum"),
    ("L * None", "Invalid operands in product of linear terms"),
    ("L / None", "Invalid operands in product of linear terms"),
    ("L / 0", "Division by zero"),
    ("L / (C - 2)", "Division by zero"),
    ("L ** None", "Invalid object in operation: <None>"),
    ("L ** (1, 2)", "Cannot obtain a power with a vector as an exponent"),
    ("Q + None", "Invalid operands in sum with quadratic term"),
    ("None - Q", "Invalid operands in sum with quadratic term"),
    ("Q * None", "Invalid object in operation: <None>"),
    ("Q / None", "Invalid object in operation: <None>"),
    ("Q / 0", "Division by zero of a bilinear term"),
    ("Q / (0 * Q)", "Division by zero of a bilinear term"),
    ("L / (0 * Q)", "Division by zero of a linear term"),
    ("Q ** [2]", "Cannot obtain a power with a vector as an exponent"),
    ("E + None", "Invalid object in operation"),
    ("E * None", "Invalid object in operation"),
    ("E / None", "Invalid object in operation: <None>"),
    ("E / 0", "Division by zero"),
    ("E / (C - 2)", "Division by zero"),
    ("E ** None", "Invalid object in operation: <None>"),
    ("E ** [2]", "Cannot obtain a power with a vector as an exponent"),
    ("pow(V, 2, 3)", "A power of an expression cannot have a modulus"),
    ("V & None", "Invalid object in operation: <None>"),
]


def operands():
    v, w = tv.var(name="V"), tv.var(name="W")
    nothing = tv.Sum([])
    return {
        "V": v,
        "W": w,
        "L": 2 * v,
        "M": 3 * w,
        "Q": 5 * v * w,
        "R": 7 * v * v,
        "E": v + 2 * w + 1,
        "F": nothing + 5 * v * w,
        "C": nothing + 2,
    }


def expected_content(text, names):
    constant, linear, quadratic = 0.0, {}, {}
    for part in text.split(" + "):
        coef, *factors = part.split("*")
        indices = [hash(names[f]) for f in factors]
        if not indices:
            constant = float(coef)
        elif len(indices) == 1:
            linear[indices[0]] = float(coef)
        else:
            quadratic[tuple(indices)] = float(coef)
    return constant, linear, quadratic


def rows(table):
    return table.strip().splitlines()


@pytest.mark.parametrize("row", rows(RESULTS))
def test_results(row, content):
    source, result = row.split(" | ")
    names = operands()
    before = {name: (str(o), content(o)) for name, o in names.items()}
    got = eval(source, {}, names)
    kind, _, polynomial = result.partition(" ")
    if polynomial:
        assert type(got).__name__ == kind
        assert content(got) == expected_content(polynomial, names)
        if kind in ("linterm", "quadterm"):
            _constant, linear, quadratic = expected_content(polynomial, names)
            assert got.extractLinear()[1] == list(linear.values())
            assert got.extractQuadratic()[2] == list(quadratic.values())
    else:
        assert got is names[kind]
    assert {name: (str(o), content(o)) for name, o in names.items()} == before


@pytest.mark.parametrize("row", rows(NONLINEAR))
def test_nonlinear_results(row, content):
    source, _, text = row.rpartition(" | ")
    names = operands()
    before = {name: (str(o), content(o)) for name, o in names.items()}
    got = eval(source, {}, names)
    assert type(got).__name__ == "nonlinear" and str(got) == repr(got) == text
    values = {names["V"]: 1.75, names["W"]: 0.625}
    numbers = {name: tv.evaluate(o, solution=values) for name, o in names.items()}
    if "&" not in source and "|" not in source:
        assert tv.evaluate(got, solution=values) == pytest.approx(eval(source, {}, numbers), rel=1e-14)
    assert {name: (str(o), content(o)) for name, o in names.items()} == before


@pytest.mark.parametrize("source, text", REFUSED)
def test_refusals(source, text):
    with pytest.raises(tv.ModelError) as failure:
        eval(source, {}, operands())
    assert str(failure.value) == text


def test_numbers_beyond_the_doubles_overflow(x):
    for use in (lambda n: n * x, lambda n: x + n, lambda n: x <= n, lambda n: tv.Sum([x, x + 1, n])):
        with pytest.raises(OverflowError):
            use(10**400)
    assert str(float("inf") * x) == "inf*x"


IN_PLACE = {
    "+=": operator.iadd,
    "-=": operator.isub,
    "*=": operator.imul,
    "/=": operator.itruediv,
    "**=": operator.ipow,
}


@pytest.mark.parametrize("name", ["V", "L", "Q"])
def test_in_place_operators_leave_variables_and_terms_alone(name, same):
    names = operands()
    t, text = names[name], str(names[name])
    for sign, neutral in (("+=", 0), ("-=", 0.0), ("*=", 1), ("/=", 1), ("**=", 1)):
        assert IN_PLACE[sign](t, neutral) is t
    assert IN_PLACE["**="](t, 0) == 1.0
    for sign, other, plain in (
        ("+=", 1, t + 1),
        ("-=", names["W"], t - names["W"]),
        ("*=", 3, t * 3),
        ("/=", 2, t / 2),
    ):
        assert same(IN_PLACE[sign](t, other), plain)
    with pytest.raises(tv.ModelError, match=r"^Division by zero$"):
        IN_PLACE["/="](t, 0)
    if name != "V":
        assert IN_PLACE["/="](t, names["C"] - 1) is t
    assert str(t) == text


def test_expressions_change_in_place(x, y, content, same):
    e = x + y
    f = e
    e += 3
    e -= 2 * x
    e += x * y
    e -= tv.Sum([2])
    e += x + y * y
    assert f is e and same(f, 1 + y + x * y + y * y)
    e *= 2
    e /= 4
    assert f is e and same(e, (1 + y + x * y + y * y) / 2)
    e *= 1
    e /= tv.Sum([1])
    e **= 1
    assert f is e
    nothing = e
    nothing *= 0
    assert nothing == 0.0 and type(nothing) is float
    nothing = e
    nothing **= 0
    assert nothing == 1.0 and type(nothing) is float
    assert same(e, (1 + y + x * y + y * y) / 2)
    e += e
    assert same(e, 1 + y + x * y + y * y)
    e -= e
    assert content(e) == (0, {}, {})


@pytest.mark.parametrize(
    "sign, other, error",
    [
        ("+=", None, "Invalid object in operation"),
        ("-=", "text", "bad operand type"),
        ("*=", None, "Invalid object in operation: <None>"),
        ("/=", 0, "Division by zero"),
        ("/=", None, "Invalid object in operation: <None>"),
        ("**=", [1], "Cannot obtain a power with a vector as an exponent"),
        ("&=", None, "Invalid object in operation: <None>"),
    ],
)
def test_a_failed_operation_in_place_changes_nothing(sign, other, error, x, y, content):
    e = x + 2 * y + x * y - 3
    before = content(e)
    with pytest.raises((tv.ModelError, TypeError), match=error):
        {**IN_PLACE, "&=": operator.iand}[sign](e, other)
    assert content(e) == before


def test_a_product_in_place_is_a_new_object(x, y, same):
    e = f = x + 1
    e *= y + 2
    assert e is not f and same(f, x + 1) and same(e, x * y + 2 * x + y + 2)


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
