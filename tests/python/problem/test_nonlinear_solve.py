"""Solving quadratic and nonlinear problems, their results, and user functions while a solve calls them."""

import math

import numpy as np
import pytest

import tavlo as tv


@pytest.fixture
def xy():
    x, y = tv.var(name="x", lb=-5, ub=5), tv.var(name="y", lb=-5, ub=5)
    p = tv.problem(x, y)
    return p, x, y


def near(value):
    return pytest.approx(value, abs=2e-6, rel=2e-6)


# ---- routes and results ----
def test_results_of_a_nonlinear_solve():
    x, y, z = tv.var(name="x", lb=0.1), tv.var(name="y", lb=0.1), tv.var(name="z", lb=0.5, ub=9)
    c = tv.constraint(body=x + 2 * y, ub=4, name="c")
    p = tv.problem(x, y, z, c)
    p.setObjective(tv.log(x) + tv.log(y) - z * z + 3, sense=tv.maximize)
    assert (p.getProbStatus(), p.getProbStatusString()) == (tv.nlp_unstarted, "nlp_unstarted")
    p.solve()
    assert (p.getProbStatus(), p.getProbStatusString()) == (tv.nlp_solution, "nlp_solution")
    assert p.getObjVal() == near(math.log(2) + 2.75)
    assert p.getSolution([x, y, {"z": z}, x * y + 1]) == [near(2), near(1), {"z": near(0.5)}, near(3)]
    assert p.getSolution()[:3] == [near(2), near(1), near(0.5)] and len(p.getSolution()) == 4
    assert tv.evaluate(tv.exp(x), problem=p) == near(math.exp(2))
    assert (p.getSlack(c), p.getSlack("c")) == (near(0), [near(0)])
    assert p.getDual(c) == near(0.5)  # of log(b/2) + log(b/4) at b = 4
    assert p.getRCost(z) == near(-1)
    assert p.getRCost([x, y]) == [near(0), near(0)]


def test_a_small_change_is_solved_from_the_last_point(xy):
    p, x, y = xy
    p.addConstraint(tv.exp(x) + tv.exp(y) <= 10)
    p.setObjective(-x - y)
    p.solve()
    assert p.getSolution(x, y) == (near(math.log(5)), near(math.log(5)))
    p.addConstraint(x <= 1)
    p.solve()
    assert p.getSolution(x, y) == (near(1), near(math.log(10 - math.e)))
    p.delConstraint(1)
    p.setObjective(tv.exp(-x) - y)
    p.solve()
    assert p.getObjVal() == near(p.getSolution(tv.exp(-x) - y))


def test_the_route_follows_the_content(xy):
    p, x, y = xy
    p.addConstraint(tv.sin(x) >= 0.5, x + y >= 1)
    p.setObjective(tv.exp(x))
    p.solve()
    assert p.getProbStatusString() == "nlp_solution"
    p.setObjective(x + 2 * y)
    p.solve()
    assert p.getProbStatusString() == "nlp_solution"
    p.delConstraint(0)
    p.solve()
    assert (p.getProbStatusString(), p.getObjVal(), p.getSolution(x)) == ("lp_optimal", near(-3), near(5))
    p.setObjective((x - 1) ** 2 + (y - 2) ** 2 + 3 * x * y)
    p.addConstraint(x * x + y * y <= 4)
    with pytest.raises(tv.SolverError) as error:
        p.solve()
    assert str(error.value) == (
        "The problem was determined to be nonconvex, and the optimizer cannot solve it. Call nlpoptimize() to find a "
        "solution using SLP"
    )
    p.nlpoptimize()
    assert p.getProbStatusString() == "nlp_solution"
    assert p.getObjVal() == near(p.getSolution((x - 1) ** 2 + (y - 2) ** 2 + 3 * x * y))
    p.setObjective((x - 1) ** 2 + (y - 2) ** 2)
    p.solve()
    assert (p.getProbStatusString(), p.getObjVal()) == ("lp_optimal", near((math.sqrt(5) - 2) ** 2))


def test_infeasible_problems_are_told():
    x, z = tv.var(lb=-5, ub=5), tv.var()
    for row in (tv.sin(x) >= 2, tv.exp(z) <= -1, tv.sin(x) * tv.cos(z) >= 1.5, z**0.5 + tv.abs(x) * z <= -1):
        assert statusOf(x, z, row) == "nlp_infeasible"
    assert statusOf(x, z, x + tv.exp(z) <= 0, x >= 3) == "nlp_locally_infeasible"  # true, but not seen
    rounded = tv.var(lb=0.1 + 0.2, ub=0.3)  # bounds that cross by rounding only
    assert statusOf(rounded, x, tv.exp(rounded) + x <= 4, -x - rounded) == "nlp_solution"
    assert statusOf(x, tv.max(x * 0 + 1, 2) <= 1) == "nlp_infeasible"
    assert statusOf(x, tv.max(x * 0 + 1, 2) <= 3) == "nlp_globally_optimal"


def test_flags_of_nonlinear_solves(xy):
    p, x, _ = xy
    p.setObjective(tv.exp(x))
    for wrong in (7, None):
        with pytest.raises(tv.InterfaceError, match=r"^The optional 'flags' parameter should be a string$"):
            p.solve(flags=wrong)
    p.solve(flags="")
    n = tv.var(vartype=tv.integer, ub=3)
    p.addVariable(n)
    with pytest.raises(tv.SolverError) as error:
        p.solve("d" * 511)
    assert str(error.value) == ("Problem is mixed integer but the flag string is full; cannot add 'g' to the flags")


# ---- user functions ----
def rosenbrock(x, y):
    return 100 * (y - x * x) ** 2 + (1 - x) ** 2


def rosenbrock_with_derivatives(x, y):
    return rosenbrock(x, y), -400 * x * (y - x * x) - 2 * (1 - x), 200 * (y - x * x)


class Method:
    def call(self, x, y):
        return np.float64(rosenbrock(x, y))


@pytest.mark.parametrize(
    ("function", "derivatives"),
    [
        (rosenbrock, False),
        (rosenbrock_with_derivatives, True),
        (rosenbrock_with_derivatives, False),
        (Method().call, 0),
    ],
)
def test_user_functions_of_both_kinds(function, derivatives, xy):
    p, x, y = xy
    p.addConstraint(x + y <= 3)
    p.setObjective(tv.user(function, x, y, derivatives=derivatives))
    for copy in (p, p.copy()):
        copy.chgvar(x, initial=-1.2)
        copy.chgvar(y, initial=1)
        copy.solve()
        assert copy.getProbStatus() == tv.nlp_solution
        assert copy.getSolution([x, y]) == pytest.approx([1, 1], abs=1e-4)


@pytest.mark.parametrize(
    ("function", "lower", "upper"),
    [
        (lambda x: tv.exp(tv.sqrt(x)), -2, -1),
        (lambda x: tv.log10(x) ** 2 + x, -3, -0.5),
        (lambda x: tv.cos(x) * tv.asin(x), 1.5, 4),
        (lambda x: 1 + (x - 3) ** 1.5, 0, 2),
        (lambda x: 1 / (x * x), 0, 0),
    ],
)
def test_functions_without_a_value_within_the_bounds(function, lower, upper):
    for objective in (False, True):
        x, y = tv.var(lb=lower, ub=upper), tv.var()
        p = tv.problem(x, y)
        if objective:
            p.setObjective(function(x))
        else:
            p.addConstraint(function(x) <= y)
        p.solve()
        assert p.getProbStatus() == tv.nlp_infeasible


@pytest.mark.parametrize("width", [0, 1e-9, 1e-4])
def test_a_function_without_derivatives_of_a_variable_with_no_room(width):
    x, y = tv.var(lb=3, ub=3 + width), tv.var()
    p = tv.problem(x, y, tv.user(lambda v: v * v, x) - y == 0)
    p.setObjective(y)
    p.solve()
    assert p.getProbStatus() == tv.nlp_solution
    assert p.getSolution(y) == pytest.approx(9, abs=1e-6)


def test_no_value_in_a_trial_point_shortens_the_step(xy):
    p, x, _ = xy

    def root(v):
        return math.sqrt(v) if v >= 0 else math.nan

    p.setObjective(tv.user(root, x) + (x - 0.01) ** 2 * 100 - 5 * x)
    p.chgvar(x, initial=4)
    p.solve()
    assert p.getProbStatus() == tv.nlp_solution and p.getSolution(x) >= 0


class Stop(Exception):
    pass


def raising(*values):
    raise Stop(values)


@pytest.mark.parametrize(
    ("function", "derivatives", "error", "text"),
    [
        (raising, False, Stop, r"^\("),
        (raising, True, Stop, r"^\("),
        (lambda v: None, False, tv.ModelError, "User function must return a number"),
        (lambda v: "1", False, tv.ModelError, "User function must return a number"),
        (lambda v: (), False, tv.ModelError, "User function must return a number"),
        *(
            (wrong, True, tv.ModelError, "User function must return a tuple containing result and all derivatives")
            for wrong in (lambda v: v, lambda v: (v,), lambda v: (v, 1, 2), lambda v: (v, "1"), lambda v: [v, 1])
        ),
        (lambda v, w: v, False, TypeError, "missing 1 required positional argument"),
    ],
)
def test_failing_user_functions_stop_the_solve(function, derivatives, error, text, xy):
    p, x, _ = xy
    p.addConstraint(tv.user(function, x, derivatives=derivatives) <= 1)
    with pytest.raises(error, match=text):
        p.solve()
    assert p.getProbStatusString() in ("nlp_unfinished", "nlp_unstarted")
    p.delConstraint(0)
    p.setObjective(tv.exp(x))
    p.solve()  # none the worse
    assert p.getSolution(x) == near(-5)


def test_an_exception_in_mid_solve(xy):
    p, x, y = xy
    calls = []

    def late(v, w):
        calls.append(v)
        if len(calls) > 10:
            raise Stop
        return rosenbrock(v, w)

    p.setObjective(tv.user(late, x, y))
    p.chgvar(x, initial=-1.2)
    with pytest.raises(Stop):
        p.solve()
    assert len(calls) == 11  # none after the one that raised


def test_what_a_user_function_may_do_meanwhile(xy):
    p, x, y = xy
    refused = []

    def busy(v):
        for call in (lambda: p.addConstraint(x <= 1), lambda: p.setObjective(y), p.solve, lambda: p.delVariable(y)):
            try:
                call()
            except tv.SolverError as error:
                refused.append(str(error))
        q = tv.problem(y, y)  # another problem can be solved
        q.solve()
        return v * v

    p.setObjective(tv.user(busy, x))
    p.solve()
    assert p.getProbStatus() == tv.nlp_solution
    assert len(refused) >= 4 and len(refused) % 4 == 0
    assert (p.attributes.rows, p.attributes.cols) == (1, 3)

    q = tv.problem(x, tv.user(lambda v: q.__exit__() or v * v, x))
    with pytest.raises(tv.SolverError, match="released while it was being solved"):
        q.solve()


def test_attributes_tell_of_the_last_solve_of_any_kind(xy):
    p, x, y = xy
    for objective, method, limit, engine, stop in [
        (tv.exp(x) + y, 0, 3000, "ipopt", 0),
        (tv.cos(x) * tv.exp(y), 1, 1, "slp", 4),
        (tv.abs(x) + y, 0, 3000, "highs", 0),
        (x + y, 0, 3000, "highs", 0),
    ]:
        p.setControl({"nlp_method": method, "nlp_iterlimit": limit})
        p.setObjective(objective)
        p.solve()
        assert (p.attributes.engine, p.attributes.stopstatus) == (engine, stop)
        assert p.attributes.time > 0


def test_nonlinear_models_survive_files(xy, tmp_path):
    p, x, y = xy
    p.addConstraint(tv.exp(x) + y * y + x * tv.cos(y) <= 4, tv.pwl({(-5, 0): -1 * x, (0, 5): 2 * x}) + y >= 0)
    p.setObjective(tv.sqrt(x + 6) - 2 * y + x * y, sense=tv.maximize)
    p.solve()
    name, again = tmp_path / "model.txt", tmp_path / "again.txt"
    p.write(str(name))
    q = tv.problem()
    q.read(str(name))
    assert [v.name for v in q.getVariable()] == [v.name for v in p.getVariable()]
    assert q.getProbStatusString() == "nlp_unstarted"
    q.solve()
    assert q.getObjVal() == near(p.getObjVal())
    q.write(str(again))
    assert again.read_text() == name.read_text()


# ---- kinks ----
def test_optima_at_kinks(xy):
    p, x, y = xy
    u = tv.var(lb=-10, ub=20)
    parts = tv.pwl({(-10, 1): -u, (1, 3): u - 2, (3, 20): 3 * u - 8})
    for model, point in [
        ((x, y, tv.max(x, y) <= 1, tv.min(x, y) >= 0, -x - y), [1, 1]),
        ((x, y, tv.abs(x) + tv.abs(y) <= 1, -x - 2 * y), [0, 1]),
        ((u, u <= 8, parts), [1]),
    ]:
        p = tv.problem(*model)
        p.solve()
        assert p.getProbStatusString() == "nlp_globally_optimal"
        assert p.getSolution()[: len(point)] == near(point)
        assert (p.attributes.cols, p.attributes.rows) == (len(p.getVariable()), len(p.getConstraint()))
    assert p.getObjVal() == near(-1) and p.getDual(0) == near(0)


def statusOf(*model):
    p = tv.problem(*model)
    p.solve()
    return p.getProbStatusString()


def test_stationary_points_of_the_wrong_kind_are_left():
    y, z = tv.var(lb=-5, ub=5), tv.var(lb=-5, ub=5)
    p = tv.problem(y, z, tv.cos(y) + tv.cos(z))  # starts at the maximum
    p.solve()
    assert p.getObjVal() == near(-2)
    for objective, most in [((y * y + z * z) ** 2, 2500), (tv.exp(y * y / 5) + z * z, math.exp(5) + 25)]:
        p.setObjective(objective, sense=tv.minimize)
        p.solve()
        p.setObjective(objective, sense=tv.maximize)  # starts at the minimum, warm
        p.solve()
        assert (p.getProbStatusString(), p.getObjVal()) == ("nlp_solution", near(most))
    # Symmetry keeps y and z at a saddle while the flat terms of the others keep the solve busy.
    y, z, v, w = (tv.var(lb=lb, ub=4) for lb in (-4, -4, -4, 0))
    p = tv.problem(y, z, v, w, -y * z - tv.sqrt(1 + z**2) + (y**4 + z**4 + v**4 + w**4) / 100)
    p.solve()
    assert (p.getProbStatusString(), p.getObjVal()) == ("nlp_solution", near(-15.00310563))
    p = tv.problem(y, z, tv.sin(y) * tv.sin(z), y + z == 0)  # a maximum along the row
    p.solve()
    assert p.getObjVal() == near(-1)


def test_inflection_points_are_left():
    y, z = tv.var(lb=-5, ub=5), tv.var(lb=-5, ub=5)
    for start in (0, 1, 4):  # 0 is the inflection point; from the others the steps shorten towards it
        for model, least in [
            ([y**3 + z * z], -125),
            ([y**5 + tv.exp(z)], -3125 + math.exp(-5)),
            ([z, z == y**3], -5),
            ([tv.exp(z) - (5 - y) ** 3 - y * 1e-3], math.exp(-5) - 1000 + 5e-3),
        ]:
            p = tv.problem(y, z, *model)
            p.chgvar(y, initial=start)
            p.solve()
            assert (p.getProbStatusString(), p.getObjVal()) == ("nlp_solution", near(least))
    p = tv.problem(y, z, y**4 + z**4)  # flat, but a minimum
    p.chgvar(y, initial=3)
    p.solve()
    assert p.getObjVal() == near(0)


def test_objectives_without_bound(xy):
    z = tv.var()
    for objective in (-z * z * z, -tv.exp(z), tv.abs(z - 5) - z**2, -tv.log(z + 1), -(z**4)):
        assert statusOf(z, objective) == "nlp_unbounded"
    z = tv.var(lb=-tv.infinity)
    for objective in (z**3, 2 * z + tv.sin(z), tv.min(z, 5)):
        assert statusOf(z, objective) == "nlp_unbounded"
    y = tv.var()
    assert statusOf(y, z, -tv.exp(z) - y, y >= z) == "nlp_unbounded"
    # Only where there is a feasible point.
    x, _ = u = tv.var(lb=-tv.infinity), tv.var(ub=5)
    assert statusOf(*u, tv.max(3 - 4 * x, 7 - 9 * x)) == "nlp_unbounded"
    assert statusOf(*u, tv.max(3 - 4 * x, 7 - 9 * x), u[1] >= 6) == "nlp_infeasible"
    assert statusOf(*u, x**3, x + tv.exp(u[1]) <= x - 1) in ("nlp_infeasible", "nlp_locally_infeasible")
    # Not those that level off, that a row holds far out, or that have no value there.
    w = tv.var()
    v = tv.var(lb=-tv.infinity)
    assert statusOf(w, v, -w, v >= tv.exp(w)) not in ("nlp_solution", "nlp_globally_optimal")  # like -log(v)
    for model in [(1 / (w + 1),), (tv.exp(-w),), (-(w**9), tv.sqrt(w) <= 100), (-tv.exp(w) - tv.log(400 - w),)]:
        assert statusOf(w, *model) != "nlp_unbounded"
    p, x, _ = xy
    p.setObjective(-1e22 * tv.exp(x))  # large, but bounded
    p.solve()
    assert p.getProbStatus() == tv.nlp_solution and p.getSolution(x) == near(5)
