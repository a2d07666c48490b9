"""Reads an MPS file named on the command line, solves it and says how that went."""

from __future__ import annotations

import sys

import tavlo as tv


def report(filename: str) -> float | None:
    """Prints what was solved; returns the objective value, or None where there is no solution."""
    p = tv.problem()
    p.setOutputEnabled(False)
    p.read(filename)
    print(
        f"{filename}: {p.attributes.rows} rows, {p.attributes.cols} columns ({p.attributes.mipents} integer), "
        f"{p.attributes.elems} coefficients"
    )
    p.solve()
    status = p.getProbStatusString()
    print(f"  status      {status}")
    print(f"  time        {p.attributes.time:.3f} s by {p.attributes.engine}")
    if status not in ("lp_optimal", "mip_optimal", "mip_solution"):
        return None
    print(f"  objective   {p.getObjVal():.10g}")
    print(f"  violation   {p.attributes.maxabsprimalinfeas:.1e} (scaled {p.attributes.maxrelprimalinfeas:.1e})")
    return p.getObjVal()


def main(arguments: list[str]) -> int:
    if len(arguments) != 1:
        print("usage: read_mps.py FILE", file=sys.stderr)
        return 2
    try:
        report(arguments[0])
    except (tv.ModelError, tv.SolverError) as error:
        print(error, file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
