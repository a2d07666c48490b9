"""The quick half of scripts/check_instances.py, and that its check of an answer can fail."""

import sys
from pathlib import Path

import numpy as np
import pytest

import tavlo as tv

ROOT = Path(__file__).resolve().parents[3]
sys.path.insert(0, str(ROOT / "scripts"))

import check_instances  # noqa: E402
import stored_model  # noqa: E402


@pytest.fixture(scope="module")
def library():
    return stored_model.Library()


@pytest.mark.parametrize("entry", check_instances.instances(check_instances.QUICK), ids=lambda entry: entry["file"])
def test_instance(entry, library):
    assert check_instances.check(check_instances.QUICK, entry, library).faults == []


def test_wrong_expectations_are_found(library):
    entry = next(e for e in check_instances.instances(check_instances.QUICK) if e["file"] == "afiro.mps")
    for change in ({"objective": -464.0}, {"status": "infeasible"}):
        assert check_instances.check(check_instances.QUICK, entry | change, library).faults


def test_violations_are_found(library):
    filename = str(check_instances.QUICK / "p0033.mps")
    model = stored_model.StoredModel.read(library, filename)
    p = tv.problem()
    p.setOutputEnabled(False)
    p.read(filename)
    p.solve()
    x = np.array(p.getSolution())
    assert model.violation(x) <= 1e-6
    for j in (0, len(x) // 2):
        assert model.violation(np.where(np.arange(len(x)) == j, 0.5, x)) >= 0.5  # not integer
        assert model.violation(np.where(np.arange(len(x)) == j, -3.0, x)) >= 3.0  # below its bound
    assert model.violation(np.zeros(len(x))) > 0  # within the bounds, against the rows


def test_differences_are_found(library):
    models = [stored_model.StoredModel.read(library, str(check_instances.QUICK / "kb2.mps")) for _ in range(2)]
    assert models[0].difference(models[1]) == ""
    models[1].coefficient[7] *= 1 + 1e-15
    assert "coefficients of row" in models[0].difference(models[1])
    models[1].upper[3] = 17.0
    assert "upper[3]" in models[0].difference(models[1])
