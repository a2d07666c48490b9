"""Kinks where no row can stand for them: optima at them, and the local search over their pieces."""

import itertools
import random

import pytest

import tavlo as tv


def near(value):
    return pytest.approx(value, abs=2e-6, rel=2e-6)


def solved(*model, **controls):
    p = tv.problem(*model)
    p.setControl(controls)
    p.solve()
    return p


def free(count):
    return [tv.var(lb=-tv.infinity) for _ in range(count)]


METHODS = pytest.mark.parametrize("method", [0, 1], ids=["interior points", "linear programs"])


@METHODS
def test_corners_of_the_unit_square(method):
    rng = random.Random(1)
    for _ in range(10):
        x, y = free(2)
        a, b = rng.uniform(-2, 2), rng.uniform(-2, 2)
        p = solved(x, y, tv.abs(x) + tv.abs(y) == 1, a * x + b * y, nlp_method=method)
        assert (p.getProbStatusString(), p.getObjVal()) == ("nlp_solution", near(-max(abs(a), abs(b))))
        row = p.getConstraint(0)
        assert p.getDual(row) == near(-max(abs(a), abs(b)))


def test_each_kind_of_kink():
    x, y = tv.var(lb=-5, ub=5), tv.var(lb=-5, ub=5)
    zigzag = tv.pwl({(-5, -1): 2 * x + 3, (-1, 0): -1 * x, (0, 2): 3 * x, (2, 5): -4 * x + 14})
    for optima, *model in [
        ([9], tv.max(x, y) >= 3, x**2 + y**2),
        ([9], tv.min(-x, -y) <= -3, x**2 + y**2),
        ([-1.5, -0.5, 0.5], tv.abs(tv.abs(x) - 1) == 0.5, x),
        ([0.25], tv.exp(tv.abs(x) - 1) >= 1, (tv.abs(x) - 1.5) ** 2 + 0.25),
        ([0, 4], zigzag == 6, (x - 2) ** 2),
        ([-7, 0, -6], zigzag),
        ([-6, -1], -zigzag),
        ([-9], tv.max(x, y) - tv.min(x, y) == 1, x + y),
    ]:
        p = solved(x, y, *model)
        assert p.getProbStatusString() in ("nlp_solution", "nlp_globally_optimal")
        assert p.getObjVal() in [near(value) for value in optima]


def test_optima_beside_flat_pieces_are_left():
    x, y = tv.var(lb=-5, ub=5), tv.var(lb=-5, ub=5)
    # At 0, where each solve starts, the derivative to one side is 0.
    for objective, least in [(tv.min(0, x), -5), (tv.min(0, x) + tv.min(0, -y * 2), -15), (-tv.max(0, x, -y), -5)]:
        assert solved(x, y, objective).getObjVal() == near(least)


def test_jumps_are_not_taken_for_kinks():
    x = tv.var(lb=-5, ub=5)
    p = solved(x, tv.pwl({(-5, 0): x, (0, 5): x + 3}))
    assert p.getProbStatusString() in ("nlp_solution", "nlp_unfinished")
    p = solved(x, tv.pwl({(-5, 0): 3 - x, (0, 5): -x}))
    assert (p.getProbStatusString(), p.getObjVal()) == ("nlp_solution", near(-5))


def piecewiseModel(rng):
    """Rows of kinks as (coefficient, function, linear operands), and the operands' numbers."""
    columns = rng.randint(1, 3)

    def linear():
        return [rng.choice([-2, -1, 0.5, 1, 2]) for _ in range(columns)], rng.choice([0, 1, -1.5])

    rows = []
    for _ in range(rng.randint(1, 2)):
        kinks = []
        for _ in range(rng.randint(1, 2)):
            a = linear()
            b = ([-c for c in a[0]], -a[1]) if rng.random() < 0.5 else linear()
            kinks.append((rng.choice([-1, 1, 2]), rng.choice([tv.max, tv.min]), a, b))
        rows.append((kinks, rng.choice("EGL"), rng.choice([0.5, 1, 2])))
    return columns, rows, [rng.uniform(-2, 2) for _ in range(columns)]


def build(columns, rows, target, choices=None):
    """The model, or the convex one in which each kink is the piece chosen for it."""
    x = [tv.var(lb=-5, ub=5) for _ in range(columns)]
    zero = [tv.var(lb=0, ub=0) for _ in range(9)]  # one for each constraint, lest it be of constants only
    made = []

    def value(linear):
        return tv.Sum(c * v for c, v in zip(linear[0], x)) + linear[1]

    choice = iter(choices or ())
    for kinks, sense, rhs in rows:
        body = zero[len(made)] + 0
        for coefficient, function, *operands in kinks:
            a, b = map(value, operands)
            if choices is None:
                body = body + coefficient * function(a, b)
                continue
            if next(choice):
                a, b = b, a
            a = a + zero[len(made)]
            made.append(a >= b if function is tv.max else a <= b)
            body = body + coefficient * a
        made.append(body == rhs if sense == "E" else body >= rhs if sense == "G" else body <= rhs)
    p = tv.problem(x, zero, made)
    p.setObjective(tv.Sum((v - t) ** 2 for v, t in zip(x, target)))
    p.solve()
    return p


def test_against_all_choices_of_pieces():
    rng = random.Random(7)
    best = local = 0
    for _ in range(40):
        model = piecewiseModel(rng)
        p = build(*model)
        optima = []
        for choices in itertools.product((0, 1), repeat=sum(len(kinks) for kinks, _, _ in model[1])):
            q = build(*model, choices)
            assert q.getProbStatusString() in ("lp_optimal", "lp_infeas")
            if q.getProbStatusString() == "lp_optimal":
                optima.append(q.getObjVal())
        status = p.getProbStatusString()
        if not optima:
            assert status in ("nlp_infeasible", "nlp_locally_infeasible")
            continue
        assert status != "nlp_infeasible"
        if status in ("nlp_solution", "nlp_globally_optimal"):
            assert any(p.getObjVal() == near(value) for value in optima)  # of its own pieces at least
            local += 1
            best += p.getObjVal() == near(min(optima))
    assert local >= 25 and best >= 0.6 * local
