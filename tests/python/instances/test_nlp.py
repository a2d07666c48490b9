"""The quick part of scripts/check_nlp.py, and that its check of an answer can fail."""

import sys
from pathlib import Path

import pytest

sys.path.insert(0, str(Path(__file__).resolve().parents[3] / "scripts"))

import check_nlp

ELSEWHERE = ("hs2", "hs57")  # where a local solver ends from the listed start
QUICK = [entry for entry in check_nlp.problems() if entry["name"] not in ELSEWHERE][::2]


@pytest.mark.parametrize("entry", QUICK, ids=lambda entry: entry["name"])
def test_problem(entry):
    result = check_nlp.check(entry)
    assert result.solved, check_nlp.line(result)


def test_successive_linear_programming():
    results = [check_nlp.check(entry, slp=True) for entry in check_nlp.problems()]
    assert not any(result.wrong or result.failure for result in results)
    assert sum(result.solved for result in results) >= check_nlp.SHARE_SLP * len(results)


def test_faults_are_found():
    (entry,) = check_nlp.problems(["hs71"])
    right = check_nlp.check(entry)
    assert right.solved and not right.wrong
    assert not check_nlp.check(entry | {"optimum": 17.02}).solved
    right.violation = 1e-4
    assert right.wrong
    assert check_nlp.violation(entry, [1.0, 1.0, 1.0, 1.0]) == 24 / 25
    assert check_nlp.check(entry | {"objective": "nothing"}).failure
