"""Blends animal feed from five ingredients at least cost: a linear model with ranges on what the blend contains."""

from __future__ import annotations

import tavlo as tv

# ingredient: (price per kg, protein, fibre, calcium, kg in stock), contents in grams a kg
INGREDIENTS = {
    "maize": (0.24, 90.0, 20.0, 0.2, 900.0),
    "wheat bran": (0.19, 150.0, 110.0, 1.2, 400.0),
    "soya meal": (0.51, 440.0, 60.0, 3.0, 500.0),
    "fish meal": (1.10, 620.0, 8.0, 45.0, 120.0),
    "limestone": (0.07, 0.0, 0.0, 380.0, 200.0),
}
CONTENTS = ("protein", "fibre", "calcium")
LIMITS = {"protein": (180.0, tv.infinity), "fibre": (-tv.infinity, 50.0), "calcium": (8.0, 12.0)}
BATCH = 1000.0  # kg


def build() -> tuple[tv.problem, dict[str, tv.var], dict[str, tv.constraint]]:
    kilos = {name: tv.var(name=name, ub=stock) for name, (*_, stock) in INGREDIENTS.items()}
    batch = tv.constraint(body=tv.Sum(kilos), sense=tv.eq, rhs=BATCH, name="batch")
    limits = {"batch": batch}
    for position, content in enumerate(CONTENTS, start=1):
        total = tv.Sum(row[position] * kilos[name] for name, row in INGREDIENTS.items())
        least, most = LIMITS[content]
        limits[content] = tv.constraint(
            body=total,
            lb=least * BATCH if least > -tv.infinity else least,
            ub=most * BATCH if most < tv.infinity else most,
            name=content,
        )
    cost = tv.Sum(row[0] * kilos[name] for name, row in INGREDIENTS.items())
    return tv.problem(list(kilos.values()), list(limits.values()), cost, name="feed"), kilos, limits


def main() -> float:
    p, kilos, limits = build()
    p.setOutputEnabled(False)
    p.solve()
    cost = p.getObjVal()
    print(f"Feed blend, {BATCH:.0f} kg: {p.getProbStatusString()}, {cost:.2f} for the batch")
    for name, amount in p.getSolution(kilos).items():
        if amount > 1e-6:
            print(f"  {amount:7.1f} kg  {name}")
    print(f"  one more gram of protein a kg would cost {p.getDual(limits['protein']) * BATCH:.3f}")
    return cost


if __name__ == "__main__":
    main()
