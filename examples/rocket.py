"""Flies a sounding rocket as high as it gets: optimal control of thrust against drag and gravity, with the flight cut
into steps of equal length that is itself a variable (the Goddard problem in dimensionless units).

usage: rocket.py [STEPS]
"""

from __future__ import annotations

import sys

import tavlo as tv

HEIGHT, MASS, GRAVITY = 1.0, 1.0, 1.0  # at the start
THRUST = 3.5 * GRAVITY * MASS  # at most
EMPTY = 0.6 * MASS
EXHAUST = 0.5 * (GRAVITY * HEIGHT) ** 0.5  # speed at which fuel leaves
DRAG, THINNING = 0.5 * 620.0 * MASS / GRAVITY, 500.0  # of the air, and how it gets less with height


def build(steps: int) -> tuple[tv.problem, dict[str, list[tv.var]]]:
    def series(name: str, lb: float, ub: float) -> list[tv.var]:
        return [tv.var(name=f"{name}{k}", lb=lb, ub=ub) for k in range(steps + 1)]

    h, v = series("h", HEIGHT, tv.infinity), series("v", 0.0, tv.infinity)
    m, t = series("m", EMPTY, MASS), series("t", 0.0, THRUST)
    step = tv.var(name="step", lb=1e-8)
    p = tv.problem(h, v, m, t, step, name="rocket")
    p.setOutputEnabled(False)
    for k in range(steps + 1):  # a flight to start from
        at = k / steps
        for variable, start in (
            (h[k], HEIGHT),
            (v[k], at * (1 - at)),
            (m[k], MASS + at * (EMPTY - MASS)),
            (t[k], THRUST / 2),
        ):
            p.chgvar(variable, initial=start)
    p.chgvar(step, initial=1.0 / steps)

    drag = [DRAG * v[k] ** 2 * tv.exp(-THINNING * (h[k] - HEIGHT) / HEIGHT) for k in range(steps + 1)]
    upwards = [(t[k] - drag[k]) / m[k] - GRAVITY * HEIGHT**2 / h[k] ** 2 for k in range(steps + 1)]
    p.addConstraint(
        h[0] == HEIGHT,
        v[0] == 0,
        m[0] == MASS,
        m[steps] == EMPTY,
        [h[k + 1] == h[k] + 0.5 * step * (v[k] + v[k + 1]) for k in range(steps)],
        [v[k + 1] == v[k] + 0.5 * step * (upwards[k] + upwards[k + 1]) for k in range(steps)],
        [m[k + 1] == m[k] - 0.5 * step * (t[k] + t[k + 1]) / EXHAUST for k in range(steps)],
    )
    p.setObjective(h[steps], sense=tv.maximize)
    return p, {"height": h, "velocity": v, "mass": m, "thrust": t, "step": [step]}


def main(steps: int = 800) -> float:
    p, flight = build(steps)
    p.solve()
    print(f"Rocket, {p.attributes.cols} variables and {p.attributes.rows} constraints: {p.getProbStatusString()}")
    print(f"  it rises to {p.getObjVal():.6f} after {steps * p.getSolution(flight['step'][0]):.4f} units of time")
    thrust = p.getSolution(flight["thrust"])
    for name, share in (("full thrust", THRUST), ("no thrust", 0.0)):
        print(f"  {name} in {sum(abs(t - share) < 1e-3 for t in thrust)} of {steps + 1} instants")
    return p.getObjVal()


if __name__ == "__main__":
    main(*map(int, sys.argv[1:2]))
