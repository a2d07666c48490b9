"""What `make demo` shows: a model written with operators, and a model read from a file, both solved."""

from __future__ import annotations

from pathlib import Path

import blending
import facility
import read_mps
import tavlo as tv

INSTANCE = Path(__file__).resolve().parent.parent / "tests/data/instances/boeing2.mps"


def tiny() -> None:
    """The model of the README."""
    chairs = tv.var(name="chairs", vartype=tv.integer)
    tables = tv.var(name="tables", vartype=tv.integer)
    wood = 2 * chairs + 5 * tables <= 40
    work = 3 * chairs + 4 * tables <= 48
    p = tv.problem(chairs, tables, wood, work, name="workshop")
    p.setObjective(25 * chairs + 45 * tables, sense=tv.maximize)
    p.setOutputEnabled(False)
    p.solve()
    print(f"Workshop: {p.getProbStatusString()}, profit {p.getObjVal():.0f}")
    print(f"  make {p.getSolution(chairs):.0f} chairs and {p.getSolution(tables):.0f} tables")
    print(f"  wood left over: {40 - p.getSolution(wood.body):.0f}")


def main() -> None:
    print(f"tavlo {tv.getversion()}: models with operators, solved\n")
    print("1. A few lines of integer programming")
    tiny()
    print("\n2. A linear blending model")
    blending.main()
    print("\n3. A mixed-integer location model")
    facility.main()
    print("\n4. A model from a file")
    read_mps.report(str(INSTANCE))
    print("\nThe sources are in examples/; docs/guide.md explains what they use.")


if __name__ == "__main__":
    main()
