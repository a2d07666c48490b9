"""Each example's answer against an optimum computed on another way: by hand, or by highspy from the raw data."""

import importlib
import itertools
import math
import runpy
import subprocess
import sys
from pathlib import Path

import numpy as np
import pytest

highspy = pytest.importorskip("highspy")

ROOT = Path(__file__).resolve().parents[3]
INSTANCES = ROOT / "tests/data/instances"


@pytest.fixture
def example(monkeypatch):
    monkeypatch.syspath_prepend(str(ROOT / "examples"))
    return importlib.import_module


def optimum(cost, rows, lower, upper, row_lower, row_upper, integers=()):
    """The optimum of a dense model, as highspy finds it."""
    h = highspy.Highs()
    h.silent()
    h.setOptionValue("mip_rel_gap", 1e-9)
    h.addVars(len(cost), np.asarray(lower, float), np.asarray(upper, float))
    for j, c in enumerate(cost):
        h.changeColCost(j, float(c))
    for j in integers:
        h.changeColIntegrality(j, highspy.HighsVarType.kInteger)
    for row, least, most in zip(np.asarray(rows, float), row_lower, row_upper):
        (columns,) = np.nonzero(row)
        h.addRow(float(least), float(most), len(columns), columns.astype(np.int32), row[columns])
    h.run()
    assert h.getModelStatus() == highspy.HighsModelStatus.kOptimal
    return h.getObjectiveValue()


def test_blending(example, capsys):
    blending = example("blending")
    names = list(blending.INGREDIENTS)
    data = np.array([blending.INGREDIENTS[name] for name in names])
    rows = [np.ones(len(names)), *data[:, 1:4].T]
    limits = [(1.0, 1.0), *(blending.LIMITS[content] for content in blending.CONTENTS)]
    least, most = (np.array(side) * blending.BATCH for side in zip(*limits))
    expected = optimum(data[:, 0], rows, np.zeros(len(names)), data[:, 4], least, most)
    assert blending.main() == pytest.approx(expected, rel=1e-9)
    printed = capsys.readouterr().out
    assert "lp_optimal" in printed and "maize" in printed


def test_blending_dual_is_the_price_of_protein(example):
    blending = example("blending")
    p, _, limits = blending.build()
    p.setOutputEnabled(False)
    p.solve()
    before, price = p.getObjVal(), p.getDual(limits["protein"])
    blending.LIMITS["protein"] = (180.5, blending.tv.infinity)
    try:
        p, *_ = blending.build()
    finally:
        blending.LIMITS["protein"] = (180.0, blending.tv.infinity)
    p.setOutputEnabled(False)
    p.solve()
    assert price > 0
    assert (p.getObjVal() - before) / (0.5 * blending.BATCH) == pytest.approx(price, rel=1e-6)


def test_transport(example, capsys):
    transport = example("transport")
    network = transport.generate()
    arcs = list(network.cost)
    plants, customers = len(network.supply), len(network.demand)
    rows = np.zeros((plants + customers, len(arcs)))
    for k, (i, j) in enumerate(arcs):
        rows[i, k] = rows[plants + j, k] = 1
    least = [-highspy.kHighsInf] * plants + network.demand
    most = network.supply + [highspy.kHighsInf] * customers
    big = np.full(len(arcs), highspy.kHighsInf)
    expected = optimum([network.cost[arc] for arc in arcs], rows, np.zeros(len(arcs)), big, least, most)
    assert transport.main() == pytest.approx(expected, rel=1e-9)
    assert "lp_optimal" in capsys.readouterr().out


def test_facility(example, capsys):
    facility = example("facility")
    plan = facility.generate()
    sites, customers = len(plan.fixed), len(plan.demand)
    columns = sites + sites * customers
    rows, least, most = [], [], []
    for j in range(customers):
        row = np.zeros(columns)
        row[sites + j :: customers] = 1
        rows.append(row), least.append(1), most.append(1)
    for i in range(sites):
        row = np.zeros(columns)
        row[sites + i * customers : sites + (i + 1) * customers] = plan.demand
        row[i] = -plan.capacity[i]
        rows.append(row), least.append(-highspy.kHighsInf), most.append(0)
    # Without the rows share <= open: they tighten the relaxation and leave the optimum where it is, because a closed
    # site has no capacity.
    cost = [*plan.fixed, *np.ravel(plan.cost)]
    expected = optimum(cost, rows, np.zeros(columns), np.ones(columns), least, most, range(sites))
    assert facility.main() == pytest.approx(expected, rel=1e-7)
    assert "mip_optimal" in capsys.readouterr().out


def test_cutting_stock(example, capsys):
    cutting = example("cutting_stock")
    # No cut uses less than the material ordered, 73 rolls rounded up, and 73 rolls do.
    material = math.ceil(sum(width * pieces for width, pieces in cutting.ORDERS.items()) / cutting.ROLL)
    assert material == 73
    assert cutting.main() == material
    p, rolls = cutting.build()
    p.setOutputEnabled(False)
    p.solve()
    widths = sorted(cutting.ORDERS, reverse=True)
    times = p.getSolution(rolls)
    for k, width in enumerate(widths):
        assert sum(cut[k] * round(n) for cut, n in times.items()) >= cutting.ORDERS[width]
    assert all(sum(n * width for n, width in zip(cut, widths)) <= cutting.ROLL for cut in times)


@pytest.mark.parametrize(
    ("name", "printed"),
    [("afiro.mps", "-464.7531429"), ("flugpl.mps", "1201500"), ("galenet.mps", "lp_infeas")],
)
def test_read_mps(name, printed):
    run = subprocess.run(
        [sys.executable, ROOT / "examples/read_mps.py", INSTANCES / name], capture_output=True, text=True, check=True
    )
    assert printed in run.stdout
    assert ("violation" in run.stdout) == (name != "galenet.mps")


def test_read_mps_says_what_is_wrong(example, tmp_path, capsys):
    read_mps = example("read_mps")
    garbage = tmp_path / "garbage.mps"
    garbage.write_text("NAME x\nROWS\n Q what\n")
    for filename in (garbage, tmp_path / "missing.mps"):
        assert read_mps.main([str(filename)]) == 1
        assert capsys.readouterr().err.strip()
    assert read_mps.main([]) == 2


# ---- quadratic and nonlinear models ----
def test_portfolio(example, tmp_path, capsys):
    portfolio = example("portfolio")
    picture = tmp_path / "frontier.png"
    points = portfolio.main(str(picture))
    assert picture.exists() == ("picture in" in capsys.readouterr().out)
    risks = [risk for _, risk in points]
    assert risks == sorted(risks)
    model = portfolio.Portfolio()
    expected, covariance = (np.array(data) for data in portfolio.market())
    for level, risk in points[::5]:  # optimal: the conditions of the convex program hold
        variance, x = model.least_variance(level)
        x, inner = np.array(x), (np.array(x) > 1e-5) & (np.array(x) < 0.25 - 1e-5)
        assert (variance, x @ covariance @ x) == (pytest.approx(risk**2), pytest.approx(risk**2))
        assert abs(x.sum() - 1) < 1e-6 and expected @ x > level - 1e-6 and -1e-7 < x.min() <= x.max() < 0.25 + 1e-7
        gradient = 2 * covariance @ x
        columns = np.column_stack([np.ones(len(x)), expected])
        prices, *_ = np.linalg.lstsq(columns[inner], gradient[inner], rcond=None)
        rest = gradient - columns @ prices
        assert prices[1] > -1e-5 and abs(rest[inner]).max() < 1e-5
        assert rest[x <= 1e-5].min(initial=0) > -1e-5 and (rest[x >= 0.25 - 1e-5] < 1e-5).all()


def test_smallest_circle(example, capsys):
    smallest = example("smallest_circle")
    points = np.array(smallest.generate())
    radius = smallest.main()
    assert "points lie on it" in capsys.readouterr().out

    def around(chosen):  # the circle through two points as ends of a diameter, or through three
        first = chosen[0]
        sides = np.array([q - first for q in chosen[1:]])
        centre = first + np.linalg.lstsq(2 * sides, (sides**2).sum(axis=1), rcond=None)[0]
        return np.linalg.norm(points - centre, axis=1).max(), np.linalg.norm(first - centre)

    circles = (around(list(c)) for size in (2, 3) for c in itertools.combinations(points, size))
    assert radius == pytest.approx(min(r for worst, r in circles if worst <= r * (1 + 1e-9)), rel=1e-6)


def test_rocket(example, capsys):
    # The height that is published for this problem.
    assert example("rocket").main(400) == pytest.approx(1.01283, abs=2e-5)
    assert "1605 variables and 1204 constraints: nlp_solution" in capsys.readouterr().out


@pytest.mark.parametrize("derivatives", [True, False])
def test_curve_fit(example, derivatives):
    # The certified values of the data set.
    b1, b2, squares = example("curve_fit").main(derivatives)
    assert (b1, b2) == (pytest.approx(238.94212918, rel=1e-4), pytest.approx(5.5015643181e-4, rel=1e-4))
    assert squares == pytest.approx(0.12455138894, rel=1e-6)


def test_hs71(example, capsys):
    assert example("hs71").main() == pytest.approx(17.0140172935, rel=1e-7)
    assert "nlp_solution" in capsys.readouterr().out


def test_demo(example, capsys):
    example("blending")
    runpy.run_path(str(ROOT / "examples/demo.py"), run_name="__main__")
    printed = capsys.readouterr().out
    # Of all pairs within 40 of wood and 48 of work, 12 chairs and 3 tables give the most: 25 * 12 + 45 * 3.
    assert "profit 435" in printed
    assert "-315.018728" in printed
