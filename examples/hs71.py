"""Problem 71 of Hock and Schittkowski: a nonconvex objective, an inequality and an equation in four variables."""

from __future__ import annotations

import tavlo as tv


def main() -> float:
    x = [tv.var(name=f"x{i}", lb=1, ub=5) for i in range(1, 5)]
    p = tv.problem(x, name="hs71")
    p.setOutputEnabled(False)
    p.addConstraint(tv.Prod(x) >= 25, tv.Sum(v**2 for v in x) == 40)
    p.setObjective(x[0] * x[3] * (x[0] + x[1] + x[2]) + x[2])
    for v, start in zip(x, (1, 5, 5, 1)):
        p.chgvar(v, initial=start)
    p.solve()
    print(f"Hock-Schittkowski 71: {p.getProbStatusString()}, {p.getObjVal():.8f}")
    print("  at " + ", ".join(f"{v.name} = {value:.6f}" for v, value in zip(x, p.getSolution(x))))
    return p.getObjVal()


if __name__ == "__main__":
    main()
