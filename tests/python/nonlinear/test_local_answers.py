"""What local solves tell: a point and its status belong together, and no point stands where there is none."""

import math

import pytest

import tavlo as tv


def near(value, **tolerance):
    return pytest.approx(value, **(tolerance or {"rel": 1e-6, "abs": 1e-6}))


def solved(p, **controls):
    p.setOutputEnabled(False)
    p.setControl(controls)
    p.solve()
    return p


def test_steep_rows_hold_at_bounds_that_a_solve_relaxed():
    x, z = tv.var(ub=1.1), tv.var(lb=-1e4, ub=1e4)
    for steepness in (100, 1e4):
        p = tv.problem(x, z, steepness * tv.exp(x) - steepness * math.exp(1.1) == z)
        p.setObjective(x, sense=tv.maximize)
        solved(p)
        assert (p.getProbStatusString(), p.getSolution(x)) == ("nlp_solution", near(1.1))
        assert p.attributes.nlpprimalinfeas <= 1e-6


# ---- cheapest generation in a network of five buses ----
LOADS = {1: (300, 98.61), 2: (300, 98.61), 3: (400, 131.47)}
GENERATORS = [(0, 40, 30, 14), (0, 170, 127.5, 15), (2, 520, 390, 30), (3, 200, 150, 40), (4, 600, 450, 10)]
LINES = [  # ends, resistance, reactance, charging, limit
    (0, 1, 0.00281, 0.0281, 0.00712, 400),
    (0, 3, 0.00304, 0.0304, 0.00658, None),
    (0, 4, 0.00064, 0.0064, 0.03126, None),
    (1, 2, 0.00108, 0.0108, 0.01852, None),
    (2, 3, 0.00297, 0.0297, 0.00674, None),
    (3, 4, 0.00297, 0.0297, 0.00674, 240),
]


def network(level, base):
    """Power in units of a `base`-th part of 100 MW: the larger, the steeper the rows."""
    voltage = [tv.var(lb=0.9, ub=1.1) for _ in range(5)]
    angle = [tv.var(lb=-tv.infinity) for _ in range(5)]
    real = [tv.var(lb=0, ub=most * base / 100) for _, most, _, _ in GENERATORS]
    reactive = [tv.var(lb=-most * base / 100, ub=most * base / 100) for _, _, most, _ in GENERATORS]
    p = tv.problem(voltage, angle, real, reactive)
    flow = {bus: ([], []) for bus in range(5)}
    p.addConstraint(angle[3] == 0)
    for a, b, r, x, charging, limit in LINES:
        g, s = base * r / (r * r + x * x), -base * x / (r * r + x * x)
        for i, j in ((a, b), (b, a)):
            product, turn = voltage[i] * voltage[j], angle[i] - angle[j]
            active = g * voltage[i] ** 2 - product * (g * tv.cos(turn) + s * tv.sin(turn))
            passive = -(s + base * charging / 2) * voltage[i] ** 2 - product * (g * tv.sin(turn) - s * tv.cos(turn))
            if limit:
                p.addConstraint(active**2 + passive**2 <= (limit * base / 100) ** 2)
            flow[i][0].append(active)
            flow[i][1].append(passive)
        p.addConstraint(angle[a] - angle[b] <= math.pi / 6, angle[a] - angle[b] >= -math.pi / 6)
    for bus, (active, passive) in flow.items():
        load = LOADS.get(bus, (0, 0))
        here = [k for k, generator in enumerate(GENERATORS) if generator[0] == bus]
        p.addConstraint(tv.Sum(active) + level * load[0] * base / 100 == tv.Sum(real[k] for k in here))
        p.addConstraint(tv.Sum(passive) + level * load[1] * base / 100 == tv.Sum(reactive[k] for k in here))
    for v in voltage:
        p.chgvar(v, initial=1)
    p.setObjective(tv.Sum(cost * 100 / base * v for (*_, cost), v in zip(GENERATORS, real)))
    return p


@pytest.mark.parametrize("base", [1, 100])
def test_power_flow_at_each_load(base):
    costs = []
    for level in [0.7 + 0.025 * k for k in range(13)]:
        p = solved(network(level, base))
        assert p.getProbStatusString() == "nlp_solution"
        assert p.attributes.nlpprimalinfeas <= 1e-6
        costs.append(p.getObjVal())
    assert costs[12] == near(17551.891, rel=1e-6)
    assert costs == sorted(costs)


# ---- retries ----
def generators():
    """Two generators and three voltages by rectangular bounds; from 0 a monotone barrier under scaling gets nowhere."""
    infinite = tv.infinity
    lower = [0, 0, -0.55, -0.55, 196, 196, 196, -400, -400]
    upper = [infinite, infinite, 0.55, 0.55, 252, 252, 252, 800, 800]
    x = [tv.var(lb=lb, ub=ub) for lb, ub in zip(lower, upper)]
    p1, p2, a1, a2, v0, v1, v2, q1, q2 = x
    a, s, c = 50.176, math.sin(0.25), math.cos(0.25)
    d = 0.7533e-3 * a - 2 * c
    sin, cos = tv.sin, tv.cos
    p = tv.problem(
        x,
        [a2 - a1 >= -0.55, a1 - a2 >= -0.55, p1**2 + q1**2 <= 2250000, p2**2 + q2**2 <= 2250000],
        v0 * v1 * sin(-a1 - 0.25) + v0 * v2 * sin(-a2 - 0.25) + 2 * s * v0**2 - a * p1 + 400 * a == 0,
        v0 * v1 * sin(a1 - 0.25) + v1 * v2 * sin(a1 - a2 - 0.25) + 2 * s * v1**2 - a * p2 + 400 * a == 0,
        v0 * v2 * sin(a2 - 0.25) + v1 * v2 * sin(a2 - a1 - 0.25) + 2 * s * v2**2 + 881.779 * a == 0,
        a * q1 + v0 * v1 * cos(-a1 - 0.25) + v0 * v2 * cos(-a2 - 0.25) + d * v0**2 - 200 * a == 0,
        a * q2 + v0 * v1 * cos(a1 - 0.25) + v1 * v2 * cos(a1 - a2 - 0.25) + d * v1**2 - 200 * a == 0,
        v0 * v2 * cos(a2 - 0.25) + v1 * v2 * cos(a2 - a1 - 0.25) + d * v2**2 + 22.938 * a == 0,
    )
    p.setObjective(3 * p1 + 1e-6 * p1**3 + 2 * p2 + 2e-6 / 3 * p2**3)
    return p


def test_other_settings_follow_where_a_small_model_has_no_answer():
    p = solved(generators())
    assert (p.getProbStatusString(), p.getObjVal()) == ("nlp_solution", near(5520.0273557))
    assert p.attributes.nlpiter < 1000
    p = solved(generators(), nlp_iterlimit=20)  # which the user gave stands
    assert (p.getProbStatusString(), p.attributes.nlpiter, p.attributes.stopstatus) == ("nlp_unfinished", 20, 4)


# ---- no point where there is none ----
def test_points_belong_to_their_status():
    x, y = tv.var(lb=-tv.infinity), tv.var(lb=-5, ub=5)
    p = solved(tv.problem(x, y, tv.exp(x) <= -1, y * tv.sin(y)))
    assert p.getProbStatusString() == "nlp_infeasible"
    with pytest.raises(tv.SolverError, match="no nonlinear solution"):
        p.getSolution(x)
    p = solved(tv.problem(x, y, x**2 - x * y + y**2 == -1, x + tv.exp(y)))  # which the ranges of its terms do not prove
    assert p.getProbStatusString() == "nlp_locally_infeasible"
    assert p.getSolution([x, y]) == [near(0, abs=1e-3), near(0, abs=1e-3)]  # the least violation
    assert p.attributes.maxabsprimalinfeas == near(1)
    p = solved(tv.problem(x, y, x**3 + tv.exp(y), y + x <= 4))
    assert p.getProbStatusString() == "nlp_unbounded"
    try:
        point = p.getSolution([x, y])
    except tv.SolverError:
        pass
    else:
        assert sum(point) <= 4 + 1e-6 and max(map(abs, point)) < 1e20


def test_violations_of_nonlinear_answers_are_told():
    x, y = tv.var(lb=-5, ub=5), tv.var(lb=-5, ub=5)
    p = solved(tv.problem(x, y, 1000 * tv.exp(x) + y == 3, (x - y) ** 4))
    a = p.attributes
    assert 0 <= a.maxrelprimalinfeas <= a.maxabsprimalinfeas <= 1e-5
    assert a.maxabsprimalinfeas == near(abs(p.getSolution(1000 * tv.exp(x) + y) - 3), abs=1e-9)


def test_a_fractional_optimum_of_a_relaxation_is_no_solution():
    n, x = tv.var(vartype=tv.integer, ub=5), tv.var(lb=-5, ub=5)
    for best, status in ((2.5, "nlp_unfinished"), (2, "nlp_solution")):
        p = tv.problem(n, x, (n - best) ** 2 + tv.exp(x))
        p.setOutputEnabled(False)
        p.solve("l")
        assert (p.getProbStatusString(), p.getSolution(n)) == (status, near(best))
        assert p.attributes.maxabsprimalinfeas == near(min(p.getSolution(n) % 1, -p.getSolution(n) % 1), abs=1e-9)
