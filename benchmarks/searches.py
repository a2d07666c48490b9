"""Tree searches through us and by highspy on the same file: one thread, the same relative gap, all else as each has it.

CPU time, as other programs disturb it least, and the counts of nodes and simplex iterations, which are the same where
both take the same path.
"""

from __future__ import annotations

import math
import time
from pathlib import Path

import highspy

import tavlo as tv

ROOT = Path(__file__).resolve().parent.parent
GAP = 1e-4
LEAST = 0.1  # seconds that a search takes highspy at least
ROUNDS = 3


def ours(filename: str) -> tuple[float, int, int, float]:
    p = tv.problem()
    p.setOutputEnabled(False)
    p.read(filename)
    p.controls.miprelstop = GAP
    began = time.process_time()
    p.solve()
    took = time.process_time() - began
    return took, p.attributes.nodes, p.attributes.simplexiter, p.attributes.mipobjval


def peers(filename: str) -> tuple[float, int, int, float]:
    h = highspy.Highs()
    h.silent()
    h.setOptionValue("threads", 1)
    h.setOptionValue("mip_rel_gap", GAP)
    h.readModel(filename)
    began = time.process_time()
    h.run()
    took = time.process_time() - began
    info = h.getInfo()
    return took, info.mip_node_count, info.simplex_iteration_count, info.objective_function_value


def is_search(filename: str) -> bool:
    p = tv.problem()
    p.setOutputEnabled(False)
    try:
        p.read(filename)
    except (tv.SolverError, tv.ModelError):
        return False
    a = p.attributes
    return bool(a.mipents) and not (a.qelems or a.qconstraints or a.sets or a.gencons or a.pwlcons)


def main() -> None:
    folder = next((up / "shared/data" for up in ROOT.parents if (up / "shared/data").is_dir()), None)
    if folder is None:
        print("  no folder shared/data beside the repository")
        return
    logarithms = []
    for path in sorted([*folder.glob("*.mps"), *folder.glob("*.lp")]):
        if not is_search(str(path)):
            continue
        theirs = peers(str(path))
        if theirs[0] < LEAST:
            continue
        mine = ours(str(path))
        for _ in range(ROUNDS - 1):
            theirs, mine = min(theirs, peers(str(path))), min(mine, ours(str(path)))
        ratio = mine[0] / theirs[0]
        logarithms.append(math.log(ratio))
        counts = (
            "same path"
            if mine[1:3] == theirs[1:3]
            else f"{mine[1]}/{mine[2]} and {theirs[1]}/{theirs[2]} nodes/iterations"
        )
        print(f"  {path.name:24}{mine[0]:8.2f} s   highspy{theirs[0]:8.2f} s  ratio{ratio:6.2f}   {counts}")
    if logarithms:
        mean = math.exp(sum(logarithms) / len(logarithms))
        print(f"  geometric mean over {len(logarithms)} searches of {LEAST} s and more: {mean:.3f} (bar 1.03)")


if __name__ == "__main__":
    main()
