"""Cuts ordered widths from as few rolls as possible: a mixed-integer model over all patterns that fit a roll."""

from __future__ import annotations

from collections.abc import Iterator

import tavlo as tv

ROLL = 560  # cm
ORDERS = {
    138: 22,
    152: 25,
    156: 12,
    171: 14,
    182: 18,
    188: 18,
    193: 20,
    200: 10,
    205: 12,
    210: 14,
    214: 16,
    215: 18,
    220: 20,
}


def patterns(widths: list[int], room: int) -> Iterator[tuple[int, ...]]:
    """Every way to fill a roll that leaves no room for the narrowest width; the counts follow `widths`, descending."""
    width, *narrower = widths
    if not narrower:
        yield (room // width,)
        return
    for count in range(room // width, -1, -1):
        for rest in patterns(narrower, room - count * width):
            yield (count, *rest)


def build() -> tuple[tv.problem, dict[tuple[int, ...], tv.var]]:
    widths = sorted(ORDERS, reverse=True)
    rolls = {cut: tv.var(vartype=tv.integer) for cut in patterns(widths, ROLL) if any(cut)}
    p = tv.problem(name="cutting stock")
    p.addVariable(rolls)
    p.addConstraint(
        tv.Sum(cut[k] * times for cut, times in rolls.items() if cut[k]) >= ORDERS[width]
        for k, width in enumerate(widths)
    )
    p.setObjective(tv.Sum(rolls))
    return p, rolls


def main() -> float:
    p, rolls = build()
    p.setOutputEnabled(False)
    p.solve()
    widths = sorted(ORDERS, reverse=True)
    used = {cut: round(times) for cut, times in p.getSolution(rolls).items() if times > 0.5}
    total = p.getObjVal()
    print(f"Cutting stock, {len(rolls)} patterns: {p.getProbStatusString()}, {total:.0f} rolls")
    for cut, times in sorted(used.items(), key=lambda item: -item[1])[:5]:
        pieces = [f"{n} x {width}" for n, width in zip(cut, widths) if n]
        print(f"  {times:3d} rolls cut into {', '.join(pieces)}")
    print(f"  and {max(0, len(used) - 5)} further patterns")
    return total


if __name__ == "__main__":
    main()
