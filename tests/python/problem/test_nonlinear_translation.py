"""Nonlinear trees as the solver gets them: rows, the objective's transfer row, and what is refused."""

import gc
import math
import random
import weakref

import pytest

import tavlo as tv

X, Y, Z, W = ((10, j) for j in range(4))
PLUS, MINUS, TIMES, DIVIDE, POWER, NEGATE = ((31, v) for v in (5, 6, 3, 4, 2, 1))
MARK = (22, 0)


def c(value):
    return 1, value


def f(number):
    return 12, number


@pytest.fixture
def problem():
    x = [tv.var(name=name) for name in "xyzw"]
    p = tv.problem(x)
    return p, *x


def cosine(token):
    return MARK, token, f(28)


@pytest.mark.parametrize(
    ("body", "linear", "coefficients"),
    [
        (lambda x, y, z, w: tv.sin(x) + 2 * y, {1: 2}, {-1: (1, [MARK, X, f(27)])}),
        (lambda x, y, z, w: 3 * x * tv.exp(y), {}, {0: (3, [MARK, Y, f(16)])}),
        (lambda x, y, z, w: tv.Prod(tv.log(y), -2, x, z), {}, {0: (-2, [MARK, Y, f(15), Z, TIMES])}),
        (lambda x, y, z, w: x - tv.sin(y), {0: 1}, {-1: (-1, [MARK, Y, f(27)])}),
        (lambda x, y, z, w: tv.sin(y) - x, {0: -1}, {-1: (1, [MARK, Y, f(27)])}),
        (lambda x, y, z, w: x & y, {}, {-1: (1, [MARK, X, Y, f(33)])}),
        (lambda x, y, z, w: tv.Or(x, y, z), {}, {-1: (1, [MARK, X, Y, Z, f(34)])}),
        (lambda x, y, z, w: x / y, {}, {-1: (1, [X, Y, DIVIDE])}),
        (lambda x, y, z, w: 2**x, {}, {-1: (1, [c(2), X, POWER])}),
        (lambda x, y, z, w: x * y * z, {}, {2: (1, [X, Y, TIMES])}),
        (lambda x, y, z, w: -(x**3), {}, {-1: (1, [X, c(3), POWER, NEGATE])}),
        (lambda x, y, z, w: tv.max(x, 2), {}, {-1: (1, [MARK, X, c(2), f(34)])}),
        (
            lambda x, y, z, w: tv.pwl({(0, 1): x, (1, 3): 2 * x - 1}),
            {},
            {-1: (1, [MARK, c(5), c(3), c(1), c(1), c(0), c(0), X, f(35)])},
        ),
        # Sums and products are balanced trees of binary operators; terms keep their coefficients where they have any.
        (
            lambda x, y, z, w: tv.exp(3 - x + 2 * y - x * z + 5 * w * w),
            {},
            {
                -1: (
                    1,
                    [MARK, c(3), X, NEGATE, PLUS, c(2), Y, TIMES]
                    + [X, Z, TIMES, NEGATE, PLUS, PLUS, c(5), W, W, TIMES, TIMES, PLUS, f(16)],
                )
            },
        ),
        (
            lambda x, y, z, w: abs(tv.Sum(tv.cos(v) for v in (x, y, z, w))),
            {},
            {-1: (1, [MARK, *cosine(X), *cosine(Y), PLUS, *cosine(Z), *cosine(W), PLUS, PLUS, f(17)])},
        ),
    ],
)
def test_rows_get_coefficients_with_formulas(body, linear, coefficients, problem, stored, formulas):
    p, *x = problem
    p.addConstraint(x[0] >= 0, tv.constraint(body=body(*x), ub=7))
    assert (stored(p).row(1), stored(p).rhs[1], formulas(p, 0), formulas(p, 1)) == (linear, 7, {}, coefficients)


def test_every_function_has_its_token(problem, formulas):
    p, x, *_ = problem
    numbers = {"exp": 16, "log": 15, "log10": 14, "sin": 27, "cos": 28, "tan": 29, "asin": 30, "acos": 31, "atan": 32}
    numbers |= {"abs": 17, "sign": 46, "erf": 49, "erfc": 50, "sqrt": 18}
    p.addConstraint(getattr(tv, name)(x) <= 1 for name in numbers)
    assert [formulas(p, i)[-1][1][-1] for i in range(len(numbers))] == [f(n) for n in numbers.values()]


def test_coefficients_of_one_row_and_column_add_up(problem, formulas):
    p, x, y, *_ = problem
    p.addConstraint(tv.sin(x) + 4 * tv.cos(x) * y + 2 * tv.exp(x) * y + x * y + 3 <= 5)
    (constant, column) = (formulas(p, 0)[k] for k in (-1, 1))
    assert constant == (1, [MARK, X, f(27)])
    assert {c(4), c(2)} <= set(column[1]) and column[0] == 1


# ---- random trees: what the solver holds, evaluated here, against evaluate() ----
FUNCTIONS = {27: math.sin, 28: math.cos, 16: math.exp, 17: abs, 32: math.atan, 33: min, 34: max, 49: math.erf}
OPERATORS = {5: float.__add__, 6: float.__sub__, 3: float.__mul__, 4: float.__truediv__, 2: math.pow}


def value_of(tokens, x):
    stack, marks = [], []
    for kind, value in tokens:
        if kind == 22:
            marks.append(len(stack))
        elif kind == 12:
            arguments = stack[marks[-1] :]
            del stack[marks.pop() :]
            stack.append(float(FUNCTIONS[value](*arguments)))
        elif kind == 31 and value == 1:
            stack.append(-stack.pop())
        elif kind == 31:
            right = stack.pop()
            stack.append(OPERATORS[value](stack.pop(), right))
        else:
            stack.append(value if kind == 1 else x[int(value)])
    (result,) = stack
    return result


def random_tree(draw, x, depth):
    if depth == 0:
        a, b = draw.choice(x), draw.choice(x)
        return draw.choice([a, 2.5 * a, a * b, a - 3 * b * b + 1, -1 * a, draw.uniform(-2, 2), a * 0 + 1])

    def sub():
        return random_tree(draw, x, draw.randrange(depth))

    kind = draw.randrange(9)
    if kind < 3:
        return getattr(tv, draw.choice(["sin", "cos", "abs", "atan", "erf"]))(sub())
    if kind == 3:
        return sub() + sub()
    if kind == 4:
        return draw.choice([tv.Sum, tv.Prod, tv.max, tv.min])([sub() for _ in range(draw.randrange(2, 7))])
    return [lambda: sub() - sub(), lambda: sub() * sub(), lambda: sub() / (2 + tv.cos(sub())), lambda: -sub()][
        kind - 5
    ]()


@pytest.mark.parametrize("seed", range(150))
def test_random_trees(seed, problem, stored, quadratic, formulas):
    p, *x = problem
    draw = random.Random(seed)
    tree = tv.Sum(random_tree(draw, x, 4), 2 * x[0], tv.sin(x[1]) * 3, -1.5)
    p.addConstraint(tv.constraint(body=tree, ub=10))
    m, at = stored(p), [draw.uniform(-1, 1) for _ in x]
    total = 10 - m.rhs[0] + sum(c * at[j] for j, c in m.row(0).items())
    total += sum(c * at[i] * at[j] * (1 if i == j else 2) for (i, j), c in quadratic(p, 0).items())
    for column, (factor, tokens) in formulas(p, 0).items():
        total += factor * (1 if column < 0 else at[column]) * value_of(tokens, at)
    assert total == pytest.approx(tv.evaluate(tree, solution=dict(zip(x, at))), rel=1e-9, abs=1e-9)


def test_user_functions_are_registered_once(problem, formulas):
    p, x, y, *_ = problem

    def g(*a):
        return sum(a)

    uses = [tv.user(g, x, y), tv.user(g, y, x + 1), tv.user(g, x), tv.user(g, x, y, derivatives=True), tv.user(max, x)]
    p.addConstraint(u <= 1 for u in uses)
    tokens = [formulas(p, i)[-1][1] for i in range(5)]
    assert tokens[1][:-1] == [MARK, Y, c(1), X, PLUS]
    ids = [run[-1][1] for run in tokens]
    assert {run[-1][0] for run in tokens} == {11}
    assert ids[0] == ids[1] and len(set(ids)) == 4


def test_user_functions_live_as_long_as_a_problem_that_calls_them(problem):
    p, x, *_ = problem

    def g(a):
        return a

    alive = weakref.ref(g)
    p.addConstraint(tv.user(g, x) <= 1)
    q = p.copy()
    del g
    for last in (p, q):
        p.delConstraint(0) if last is p else None
        q.delConstraint(0) if last is q else None
        gc.collect()
        assert alive()
    p.reset()
    assert alive()
    q.reset()
    assert not alive()


# ---- refused ----
def nest(v, levels):
    for _ in range(levels):
        v = tv.sin(v)
    return v


@pytest.mark.parametrize(
    ("body", "text"),
    [
        (lambda x, s: tv.sin(s), "Variable in nonlinear part of constraint has not been added to problem yet"),
        (lambda x, s: tv.sin(x + s), "Variable in nonlinear part of constraint has not been added to problem yet"),
        (lambda x, s: tv.sin(2 * s), "Variable in nonlinear expression has not been added to problem yet"),
        (lambda x, s: tv.sin(s * x), "Variable in nonlinear expression has not been added to problem yet"),
        (lambda x, s: tv.sin(x) * s, "Variable in nonlinear term not added to problem yet"),
        (
            lambda x, s: tv.sin(x) + s,
            "Variable in linear (term defining|part of) constraint has not been added to problem yet",
        ),
        (lambda x, s: nest(x, 65), "The expression tree depth reached the maximum limit, please reformulate or"),
        (lambda x, s: tv.sin(x + math.nan), "A number in the nonlinear part of .* is NaN"),
        (lambda x, s: tv.sin(x) * math.inf, "A number in the nonlinear part of .* is infinite"),
    ],
)
def test_refused_trees_change_nothing(body, text, problem, agrees):
    p, x, y, *_ = problem
    p.addConstraint(tv.cos(x) <= 1)
    p.setObjective(tv.exp(y))
    before = agrees(p)
    tree = body(x, tv.var())
    with pytest.raises(tv.ModelError, match=text):
        p.addConstraint(tv.sin(y) <= 1, x + y <= 1, tree <= 1)
    with pytest.raises(tv.ModelError, match=text):
        p.setObjective(tree)
    assert agrees(p) == before and p.getConstraint(1).name == "objtransferrow"


def test_64_levels_are_taken(problem, formulas):
    p, x, *_ = problem
    p.addConstraint(nest(x, 64) <= 1)
    assert len(formulas(p, 0)[-1][1]) == 129


def test_changed_operand_lists_are_refused(problem):
    p, x, y, *_ = problem
    operands = [x, y]
    node = tv.max(operands)
    for change in (["text"], []):
        operands[:] = change
        with pytest.raises(tv.ModelError, match=r"^Incorrect argument of nonlinear function$"):
            p.addConstraint(tv.constraint(body=node, ub=1))


# ---- the objective ----
def test_transfer_row_and_column_come_and_go(problem, stored, formulas, agrees):
    p, x, y, z, w = problem
    p.addConstraint(x + y <= 4, tv.sin(z) <= 1)
    p.setObjective(tv.sin(x) + 2 * y + 3 * y * y + 5, sense=tv.maximize)
    m = stored(p)
    assert (m.objective.tolist(), m.constant, m.sense) == ([0, 2, 0, 0, 1], 5, -1)
    assert (m.row_type[2], m.rhs[2], m.row(2)) == ("E", 0, {4: -1})
    assert (m.row_name[2], m.column_name[4]) == ("objtransferrow", "objtransfercol")
    assert (m.lower[4], m.upper[4]) == (-tv.infinity, tv.infinity)
    assert formulas(p, 2) == {-1: (1, [MARK, X, f(27)])}
    agrees(p)

    v = tv.var(name="v")
    p.addVariable(v)  # behind the transfer column: positions stay the solver's indices
    p.addConstraint(v + x <= 1)
    p.delConstraint(0)
    assert p.getIndex(v) == 5 and stored(p).row(2) == {0: 1, 5: 1}
    for refused in (lambda: p.delVariable(4), lambda: p.delConstraint(first=0, last=1)):
        with pytest.raises(tv.ModelError, match="transfer row and column"):
            refused()
    with pytest.raises(tv.ModelError, match="transfer column"):
        p.setObjective(p.getVariable(4) ** 3)
    using = tv.cos(p.getVariable(4)) <= 1
    p.addConstraint(using)
    for objective in (z, tv.exp(z)):
        with pytest.raises(tv.ModelError, match="transfer column of the old objective"):
            p.setObjective(objective)
        assert formulas(p, 1) == {-1: (1, [MARK, X, f(27)])} and stored(p).objective.tolist() == [0, 2, 0, 0, 1, 0]
    p.delConstraint(using)

    p.setObjective(tv.cos(y))  # another nonlinear one: one pair still
    m = stored(p)
    assert (m.objective.tolist(), m.constant, m.sense) == ([0, 0, 0, 0, 0, 1], 0, 1)
    assert (m.row_name[2], m.column_name[4:]) == ("objtransferrow", ["v", "objtransfercol"])
    assert (formulas(p, 2), formulas(p, 0)) == ({-1: (1, [MARK, Y, f(28)])}, {-1: (1, [MARK, Z, f(27)])})
    p.setObjective(x)
    assert (p.attributes.rows, p.attributes.cols) == (2, 5)
    assert agrees(p)[0] == [x, y, z, w, v]


def test_copies_and_resets_keep_count_of_nonlinear_content(problem, formulas, agrees):
    p, x, y, *_ = problem
    p.setObjective(tv.exp(x))
    p.addConstraint(tv.sin(y) <= 1)
    q = p.copy()
    p.setObjective(0)
    assert p.getProbStatusString() == q.getProbStatusString() == "nlp_unstarted"
    q.setObjective(y)
    assert (len(agrees(q)[0]), formulas(q, 0)) == (4, {-1: (1, [MARK, Y, f(27)])})
    p.delConstraint(0)
    q.reset()
    assert p.getProbStatusString() == q.getProbStatusString() == "lp_unstarted"


def test_formulas_that_repeat_their_parts_without_end():
    x = tv.var(lb=1)
    often = few = tv.exp(x)
    for _ in range(60):
        often = often / often
    for _ in range(12):
        few = few / few
    knot = tv.And(x, x)
    around = tv.exp(knot)
    knot &= around
    p = tv.problem(x, name="repeats")
    for row in (often <= 1, tv.sin(x) + often == 2, x * often >= 0, 2 * x - often <= 1):
        with pytest.raises(tv.ModelError, match=r"uses the same parts so often .* let variables stand for those parts"):
            p.addConstraint(row)
    with pytest.raises(tv.ModelError, match="The objective uses the same parts so often"):
        p.setObjective(often)
    with pytest.raises(tv.ModelError, match="tree depth"):
        p.addConstraint(knot <= 1)
    assert p.attributes.rows == 0
    p.addConstraint(few <= 1)
    assert p.getcoefformula(0, -1, 1, 20000)[1] > 4096
