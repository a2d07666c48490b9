"""Three larger instances solved through us and by highspy on the same file, with the same tolerances and one thread."""

from __future__ import annotations

from pathlib import Path

import highspy

import tavlo as tv
from benchmarks.timing import best_in_turns, ratio_line

FILES = ("25fv47.mps.gz", "pilot4.mps", "issue-2122.lp")
ROOT = Path(__file__).resolve().parent.parent


def ours(filename: str) -> float:
    p = tv.problem()
    p.setOutputEnabled(False)
    p.read(filename)
    p.solve()
    return p.getObjVal()


def peers(filename: str) -> float:
    h = highspy.Highs()
    h.silent()
    h.setOptionValue("threads", 1)
    h.setOptionValue("mip_rel_gap", tv.controls.miprelstop)
    h.setOptionValue("mip_abs_gap", tv.controls.mipabsstop)
    h.setOptionValue("mip_feasibility_tolerance", tv.controls.miptol)
    h.readModel(filename)
    h.run()
    return h.getObjectiveValue()


def main() -> None:
    folder = next((up / "shared/data" for up in ROOT.parents if (up / "shared/data").is_dir()), None)
    if folder is None:
        print("  no folder shared/data beside the repository")
        return
    for name in FILES:
        filename = str(folder / name)
        mine, theirs = ours(filename), peers(filename)
        if abs(mine - theirs) > 1e-6 * max(1.0, abs(theirs)):
            print(f"  {name}: {mine} and {theirs} differ")
        best = best_in_turns({"tavlo": lambda f=filename: ours(f), "highspy": lambda f=filename: peers(f)}, rounds=5)
        print("  " + ratio_line(f"read and solve {name}", best))
