#!/usr/bin/env python3
"""Solves every LP, MIP, continuous QP and QCQP of a folder of instances and checks each answer.

An instance passes when it is read and solved within its time limit (20 s, 120 s for a MIP), status and objective are
those of the folder's index.json, no bound, row or integrality is violated by more than 1e-6 (scaled, recomputed here
from the stored model), the duals prove a continuous problem's answer, and the model is the same, row by row, after it
was written and read back. Quadratic problems with integers are read, written and refused.
Where highspy is installed its reader's view of the file is compared as well.

usage: check_instances.py [--quick] [FOLDER] [FILE...]
"""

from __future__ import annotations

import json
import sys
import tempfile
import time
from dataclasses import dataclass, field
from pathlib import Path
from typing import Any

import numpy as np
from stored_model import INFINITY, Library, StoredModel

import tavlo as tv

ROOT = Path(__file__).resolve().parent.parent
QUICK = ROOT / "tests/data/instances"
# And the seconds that each may take.
CLASSES = {"LP": 20.0, "QP": 20.0, "QCQP": 20.0, "MIP": 120.0, "MIP-SC": 120.0}
REFUSED = ("MIQCP", "MIQCP-SC", "MIQCQP")
CONTINUOUS = ("LP", "QP", "QCQP")
STATUS = {
    "optimal": ("lp_optimal", "mip_optimal"),
    "infeasible": ("lp_infeas", "mip_infeas"),
    "unbounded": ("lp_unbounded", "mip_unbounded"),
}
VIOLATION = 1e-6


@dataclass
class Result:
    entry: dict[str, Any]
    status: str = ""
    objective: float | None = None
    violation: float | None = None
    residual: float | None = None  # of the duals
    seconds: float = 0.0
    faults: list[str] = field(default_factory=list)


def instances(folder: Path) -> list[dict[str, Any]]:
    return [
        entry for entry in json.loads((folder / "index.json").read_text()) if entry["class"] in (*CLASSES, *REFUSED)
    ]


def check(folder: Path, entry: dict[str, Any], library: Library) -> Result:
    result = Result(entry)
    filename = str(folder / entry["file"])
    try:
        p = tv.problem()
        p.setOutputEnabled(False)
        began = time.perf_counter()
        p.read(filename)
        if entry["class"] in REFUSED:
            check_refusal(p, result)
        else:
            p.controls.timelimit = CLASSES[entry["class"]]
            p.solve()
            result.seconds = time.perf_counter() - began
            result.status = p.getProbStatusString()
            check_answer(p, StoredModel.read(library, filename), result)
        check_files(p, filename, library, result)
    except Exception as error:  # an instance that raises is a row of the table, not the end of it
        result.faults.append(f"{type(error).__name__}: {error}")
    return result


def check_refusal(p: tv.problem, result: Result) -> None:
    try:
        p.solve()
    except tv.SolverError as error:
        result.status = "refused"
        if "Quadratic problems with integer entities are not supported yet" not in str(error):
            result.faults.append(str(error))
    else:
        result.faults.append("a refusal expected")


def check_answer(p: tv.problem, model: StoredModel, result: Result) -> None:
    entry = result.entry
    if result.seconds > CLASSES[entry["class"]]:
        result.faults.append(f"took {result.seconds:.0f} s")
    if result.status not in STATUS[entry["status"]]:
        result.faults.append(f"{entry['status']} expected")
    if entry["status"] != "optimal" or result.status not in STATUS["optimal"]:
        return
    x = np.array(p.getSolution())
    result.objective = p.getObjVal()
    result.violation = model.violation(x)
    allowed = entry.get("rel_tol", 1e-6) * max(1.0, abs(entry["objective"]))
    if abs(result.objective - entry["objective"]) > allowed:
        result.faults.append(f"objective {entry['objective']:.12g} expected")
    if abs(model.value(x) - result.objective) > 1e-7 * max(1.0, abs(result.objective)):
        result.faults.append(f"the solution's objective is {model.value(x):.12g}")
    if result.violation > VIOLATION:
        result.faults.append(f"violation {result.violation:.1e}")
    if entry["class"] in CONTINUOUS:
        residuals = model.residuals(x, np.array(p.getDual()), np.array(p.getRCost()))
        result.residual = max(residuals)
        if result.residual > VIOLATION:
            result.faults.append(f"stationarity {residuals[0]:.1e}, complementarity {residuals[1]:.1e}")


def check_files(p: tv.problem, filename: str, library: Library, result: Result) -> None:
    """Writes the problem free and zipped, and compares what is read back with the original."""
    original = StoredModel.read(library, filename)
    with tempfile.TemporaryDirectory() as folder:
        for name in ("again.mps", "again.mps.gz"):
            p.write(f"{folder}/{name}")
            difference = original.difference(StoredModel.read(library, f"{folder}/{name}"))
            if difference:
                result.faults.append(f"{name}: {difference}")
        difference = peer_difference(original, filename)
        if difference:
            result.faults.append(f"another reader: {difference}")
        difference = peer_difference(original, f"{folder}/again.mps")
        if difference:
            result.faults.append(f"another reader of what was written: {difference}")


def peer_difference(model: StoredModel, filename: str) -> str:
    """Compares with what highspy reads, by position; empty where it agrees, is missing or can't read the file."""
    try:
        import highspy
    except ImportError:
        return ""
    if model.quadratic.keys() - {-1}:
        return ""
    peer = highspy.Highs()
    peer.silent()
    if peer.readModel(filename) != highspy.HighsStatus.kOk:
        return ""
    lp = peer.getLp()
    if (lp.num_row_, lp.num_col_) != (len(model.row_type), len(model.column_type)):
        return f"{lp.num_row_} rows and {lp.num_col_} columns"
    sign = 1 if lp.sense_ == highspy.ObjSense.kMinimize else -1
    if sign != model.sense or not np.isclose(lp.offset_, model.constant, rtol=1e-12, atol=0):
        return f"sense {sign}, constant {lp.offset_}"
    semi = np.array([letter in "SR" for letter in model.column_type], dtype=bool)
    lower = np.where(semi, np.maximum(model.lower, model.threshold), model.lower)
    bounds = np.array([model.row_bounds(i) for i in range(lp.num_row_)]).reshape(-1, 2)
    pairs = {
        "objective": (model.objective, lp.col_cost_),
        "lower bounds": (lower, lp.col_lower_),
        "upper bounds": (model.upper, lp.col_upper_),
        "row lower bounds": (bounds[:, 0], lp.row_lower_),
        "row upper bounds": (bounds[:, 1], lp.row_upper_),
    }
    for name, (mine, theirs) in pairs.items():
        theirs = np.clip(np.array(theirs, dtype=float), -INFINITY, INFINITY)
        different = np.flatnonzero(~np.isclose(mine, theirs, rtol=1e-12, atol=0))
        if different.size:
            k = int(different[0])
            return f"{name}[{k}] is {theirs[k]!r}, ours {mine[k]!r}"
    matrix = lp.a_matrix_
    matrix_start, matrix_index, matrix_value = np.array(matrix.start_), np.array(matrix.index_), np.array(matrix.value_)
    mine = {(i, j): c for i in range(lp.num_row_) for j, c in model.row(i).items()}
    by_column = matrix.format_ == highspy.MatrixFormat.kColwise
    theirs_matrix = {}
    for major in range(len(matrix_start) - 1):
        for k in range(matrix_start[major], matrix_start[major + 1]):
            key = (int(matrix_index[k]), major) if by_column else (major, int(matrix_index[k]))
            theirs_matrix[key] = float(matrix_value[k])
    if mine != theirs_matrix:
        return "coefficients differ"
    hessian = peer.getModel().hessian_
    start, index, value = np.array(hessian.start_), np.array(hessian.index_), np.array(hessian.value_)
    theirs_hessian = {
        (j, int(index[k])): float(value[k])
        for j in range(hessian.dim_)
        for k in range(start[j], start[j + 1])
        if value[k]
    }
    return "" if model.quadratic.get(-1, {}) == theirs_hessian else "quadratic objectives differ"


def line(result: Result) -> str:
    def number(value: float | None, form: str) -> str:
        return "" if value is None else format(value, form)

    entry = result.entry
    return (
        f"{entry['file']:22}{entry['class']:9}{result.status:13}{number(result.objective, '18.10g'):>18}"
        f"{number(result.violation, '.1e'):>10}{number(result.residual, '.1e'):>10}{result.seconds:8.2f}  "
        + ("; ".join(result.faults) or "ok")
    )


def main(arguments: list[str]) -> int:
    quick = "--quick" in arguments
    names = [argument for argument in arguments if not argument.startswith("-")]
    shared = next((up / "shared/data" for up in ROOT.parents if (up / "shared/data").is_dir()), ROOT / "shared/data")
    folder = QUICK if quick else Path(names.pop(0)) if names and Path(names[0]).is_dir() else shared
    if not folder.is_dir():
        print(f"no folder {folder}", file=sys.stderr)
        return 2
    entries = [entry for entry in instances(folder) if not names or entry["file"] in names]
    library = Library()
    print(
        f"{'instance':22}{'class':9}{'status':13}{'objective':>18}{'violation':>10}{'duals':>10}{'seconds':>8}  verdict"
    )
    failed = 0
    for entry in entries:
        result = check(folder, entry, library)
        failed += bool(result.faults)
        print(line(result), flush=True)
    print(f"{len(entries) - failed} passed, {failed} failed")
    return 1 if failed or not entries else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
