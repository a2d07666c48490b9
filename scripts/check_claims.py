#!/usr/bin/env python3
"""Compares what solves of random small models claim (optimal, infeasible, unbounded) with highspy and, where they
differ or a model is drawn for it, with rational arithmetic (exact_lp.py).

    scripts/check_claims.py MODELS [--seed N] [--only NUMBER]

Models are linear or mixed-integer, with small integer data or badly scaled; each is solved with default settings,
without presolve and with each flag. A claim is false where rational arithmetic proves another one and bounds relaxed
by the solve's tolerance do not explain it.
"""

from __future__ import annotations

import argparse
import faulthandler
import multiprocessing
import random
import sys
import time
from collections import Counter
from fractions import Fraction

from exact_lp import INFEASIBLE, INFINITY, OPTIMAL, UNBOUNDED, UNKNOWN, Model

SETTINGS = [("", -1), ("", 0), ("p", -1), ("d", -1), ("b", -1), ("c", -1), ("f", -1), ("b", 0), ("l", -1)]
LP_STATUS = {1: OPTIMAL, 2: INFEASIBLE, 5: UNBOUNDED}
MIP_STATUS = {5: INFEASIBLE, 6: OPTIMAL, 7: UNBOUNDED}
TOLERANCE = 1e-6  # ten times the controls', as answers are checked
REACH = 10**14
FAR = 10**10  # an optimum that moving sides by the tolerance brings so far away is none
CHUNK = 250
LIMIT = 2  # seconds that a solve may take
PATIENCE = 120  # seconds for a model with all its settings


def random_model(number: int, seed: int) -> Model:
    r = random.Random(f"{seed} {number}")
    bad = r.random() < 0.5
    mixed = r.random() < 0.3

    def scale(most=6):
        return 10.0 ** r.randint(-most, most) if bad and r.random() < 0.7 else 1.0

    def value():
        return float(r.choice([-1, 1]) * r.choice([1, 1, 1, 2, 3, 4, 5, 7, 10])) * (
            r.random() if bad and r.random() < 0.2 else 1
        )

    model = Model(sense=r.choice([1, -1]))
    sizes = []
    for _ in range(r.randint(1, 6)):
        whole = mixed and r.random() < 0.6
        size = scale(3 if whole else 6)
        size = max(1.0, size) if whole else size
        lower = r.choice([0, 0, 0, -INFINITY, -r.randint(0, 9) * size, r.randint(0, 4) * size])
        upper = r.choice([INFINITY, INFINITY, INFINITY, r.randint(0, 9) * size])
        if lower > upper:
            lower, upper = upper, lower
        if whole:
            lower, upper = (v if abs(v) >= INFINITY else float(round(v)) for v in (lower, upper))
        cost = r.choice([0, 1, 1]) * value() / size
        model.columns.append((float(lower), float(upper), cost, whole))
        sizes.append(size)
    for _ in range(r.randint(1, 5)):
        width = scale()
        terms = {j: value() * width / size for j, size in enumerate(sizes) if r.random() < 0.6}
        if bad and terms and r.random() < 0.06:  # smaller than what engines keep
            j = r.choice(list(terms))
            terms[j] *= 1e-12
        side = r.choice([0.0, value(), float(r.randint(-9, 9)), 10 * value()]) * width
        kind = r.choice("LLGGERN") if r.random() < 0.9 else "E"
        bounds = {"L": (-INFINITY, side), "G": (side, INFINITY), "E": (side, side), "N": (-INFINITY, INFINITY)}
        bounds["R"] = (side - r.randint(0, 5) * width, side)
        model.rows.append((*bounds[kind], terms))
    if r.random() < 0.2:  # the same again, or nearly, in other units
        lower, upper, terms = r.choice(model.rows)
        by = r.choice([2.0, 4.0, -1.0, 1024.0, 0.5]) if not bad else r.choice([3.0, 1e3, 1e-3, -10.0])
        move = r.choice([0, 0, 1, -1, 0.05]) * (abs(upper) if abs(upper) < INFINITY else 1)
        ends = sorted(v * by if abs(v) < INFINITY else v * (1 if by > 0 else -1) for v in (lower, upper))
        ends = [v + move * by if abs(v) < INFINITY else v for v in ends]
        model.rows.append((*ends, {j: v * by for j, v in terms.items()}))
    return model


def solve_ours(model: Model, flags: str, presolve: int):
    import tavlo as tv

    p = tv.problem()
    p.setOutputEnabled(False)
    p.controls.presolve = presolve
    p.controls.timelimit = LIMIT
    p.controls.miprelstop = 1e-9
    x = [tv.var(lb=lo, ub=up, vartype=tv.integer if whole else tv.continuous) for lo, up, _, whole in model.columns]
    p.addVariable(x)
    for lower, upper, terms in model.rows:
        if terms:
            p.addConstraint(tv.constraint(body=tv.Sum(v * x[j] for j, v in terms.items()), lb=lower, ub=upper))
    p.setObjective(
        tv.Sum(c * v for (_, _, c, _), v in zip(model.columns, x)),
        sense=tv.minimize if model.sense > 0 else tv.maximize,
    )
    p.solve(flags)
    mixed = "l" not in flags and any(column[3] for column in model.columns)
    status = (MIP_STATUS if mixed else LP_STATUS).get(
        p.attributes.mipstatus if mixed else p.attributes.lpstatus, UNKNOWN
    )
    stop = p.attributes.stopstatus
    value = p.attributes.mipobjval if mixed else p.attributes.lpobjval
    return status, value if status == OPTIMAL else None, stop


def solve_peer(model: Model, relaxation: bool):
    import highspy
    import numpy as np

    h = highspy.Highs()
    h.silent()
    h.setOptionValue("threads", 1)
    h.setOptionValue("time_limit", float(LIMIT))
    h.setOptionValue("mip_rel_gap", 1e-9)
    for lower, upper, _, _ in model.columns:
        h.addVar(lower if lower > -INFINITY else -highspy.kHighsInf, upper if upper < INFINITY else highspy.kHighsInf)
    for j, (_, _, cost, whole) in enumerate(model.columns):
        h.changeColCost(j, cost)
        if whole and not relaxation:
            h.changeColIntegrality(j, highspy.HighsVarType.kInteger)
    for lower, upper, terms in model.rows:
        h.addRow(
            lower if lower > -INFINITY else -highspy.kHighsInf,
            upper if upper < INFINITY else highspy.kHighsInf,
            len(terms),
            np.array(list(terms), dtype=np.int32),
            np.array(list(terms.values()), dtype=float),
        )
    h.changeObjectiveSense(highspy.ObjSense.kMinimize if model.sense > 0 else highspy.ObjSense.kMaximize)
    h.run()
    S = highspy.HighsModelStatus
    status = {S.kOptimal: OPTIMAL, S.kInfeasible: INFEASIBLE, S.kUnbounded: UNBOUNDED}.get(h.getModelStatus(), UNKNOWN)
    return status, h.getObjectiveValue() if status == OPTIMAL else None


def near(a, b) -> bool:
    return abs(Fraction(a) - Fraction(b)) <= Fraction(1e-5) * max(1, abs(Fraction(b)))


def judge(model: Model, status: str, value, truth) -> str:
    """right, tolerance, false or open."""
    true_status, true_value = truth
    if status == UNKNOWN:
        return "open"
    if true_status == UNKNOWN:
        return "right"
    if status == true_status and (status != OPTIMAL or near(value, true_value)):
        return "right"
    if status == INFEASIBLE:  # points beyond REACH stand on the last digits of data that are given with 16
        return "tolerance" if model.within(REACH).solve()[0] == INFEASIBLE else "false"
    loose_status, loose_value = model.relaxed(TOLERANCE).solve()
    if status == UNBOUNDED:
        far = loose_status == OPTIMAL and abs(loose_value) > FAR
        return "tolerance" if far or loose_status in (UNBOUNDED, UNKNOWN) else "false"
    if true_status == UNBOUNDED:
        return "tolerance" if slope(model) else "false"
    if loose_status in (UNBOUNDED, UNKNOWN):
        return "tolerance"
    if loose_status == INFEASIBLE:
        return "false"
    better = model.sense * (Fraction(value) - Fraction(loose_value)) >= -Fraction(1e-5) * max(1, abs(loose_value))
    worse = true_status == OPTIMAL and model.sense * (Fraction(value) - true_value) > Fraction(1e-5) * max(
        1, abs(true_value)
    )
    return "tolerance" if better and not worse else "false"


def slope(model: Model) -> bool:
    """Whether costs within the dual tolerance of the model's make an unbounded relaxation bounded."""
    largest = max(1.0, *(abs(c) for _, _, c, _ in model.columns))

    def side(value):
        return 0.0 if abs(value) < INFINITY else value

    columns = [
        (0.0 if lo > -INFINITY else -1.0, 0.0 if up < INFINITY else 1.0, c, False) for lo, up, c, _ in model.columns
    ]
    rows = [(side(lower), side(upper), terms) for lower, upper, terms in model.rows]
    status, value, _ = Model(columns, rows, model.sense).solve_relaxation()
    return status == OPTIMAL and abs(value) <= Fraction(TOLERANCE) * Fraction(largest) * len(columns)


def examine(number: int, seed: int, drawn: float):
    """What each setting comes to, and the texts of what needs a look."""
    model = random_model(number, seed)
    model.rows = [row for row in model.rows if row[2]]
    counts, notes = Counter(), []
    truths = {}

    def truth(relaxation: bool):
        if relaxation not in truths:
            of = model
            if relaxation:
                of = Model([(lo, up, c, False) for lo, up, c, _ in model.columns], model.rows, model.sense)
            truths[relaxation] = of, of.solve()
        return truths[relaxation]

    mixed = any(column[3] for column in model.columns)
    peers = {False: solve_peer(model, False)}
    sample = random.Random(number).random() < drawn
    for flags, presolve in SETTINGS:
        relaxation = mixed and "l" in flags
        if relaxation and relaxation not in peers:
            peers[relaxation] = solve_peer(model, True)
        began = time.process_time()
        status, value, stop = solve_ours(model, flags, presolve)
        took = time.process_time() - began
        counts["solves"] += 1
        counts[status] += 1
        if took > LIMIT + 1:
            notes.append(f"{number} {flags!r} {presolve}: {took:.1f} s")
            counts["slow"] += 1
        peer_status, peer_value = peers[relaxation]
        agrees = status == peer_status and status != UNKNOWN and (value is None or near(value, peer_value))
        if agrees and not sample:
            continue
        of, (true_status, true_value) = truth(relaxation)
        verdict = judge(of, status, value, (true_status, true_value))
        counts[verdict] += 1
        if not agrees:
            counts["differs from highspy"] += 1
            counts["highspy " + judge(of, peer_status, peer_value, (true_status, true_value))] += 1
        if verdict in ("false", "open"):
            exact = "" if true_value is None else f" {float(true_value)!r}"
            notes.append(
                f"{verdict.upper()} {number} {flags!r} presolve {presolve}: {status} {value} (stop {stop}), "
                f"highspy {peer_status} {peer_value}, exact {true_status}{exact}"
            )
    return counts, notes


def work(first: int, last: int, seed: int, drawn: float, results) -> None:
    faulthandler.enable()
    for number in range(first, last):
        results.send((number, None, None))
        results.send((number, *examine(number, seed, drawn)))
    results.close()


def main() -> int:
    parser = argparse.ArgumentParser()
    parser.add_argument("models", type=int)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--only", type=int)
    parser.add_argument("--exact", type=float, default=0.05, help="share of models that are solved exactly in any case")
    options = parser.parse_args()
    if options.only is not None:
        model = random_model(options.only, options.seed)
        print(
            "sense", model.sense, *(f"column {c}" for c in model.columns), *(f"row {r}" for r in model.rows), sep="\n"
        )
        counts, notes = examine(options.only, options.seed, 1.0)
        print(*notes, dict(counts), sep="\n")
        return 0
    total, failures, next_model = Counter(), 0, 0
    while next_model < options.models:
        last = min(next_model + CHUNK, options.models)
        receiver, sender = multiprocessing.Pipe(False)
        process = multiprocessing.Process(target=work, args=(next_model, last, options.seed, options.exact, sender))
        process.start()
        sender.close()
        current = next_model
        try:
            while receiver.poll(PATIENCE):
                current, counts, notes = receiver.recv()
                if counts is None:
                    continue
                total.update(counts)
                total["models"] += 1
                print(*notes, sep="\n", end="\n" if notes else "", flush=True)
            print(f"HANG {current}", flush=True)
            total["hangs"] += 1
        except EOFError:
            pass
        process.kill() if process.is_alive() and current + 1 < last else None
        process.join()
        if process.exitcode not in (0, -9):
            print(f"CRASH {current}: exit code {process.exitcode}", flush=True)
            total["crashes"] += 1
        next_model = current + 1
        if next_model % 5000 < CHUNK:
            print(dict(total), flush=True)
    print(dict(total))
    failures = total["false"] + total["hangs"] + total["crashes"]
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
