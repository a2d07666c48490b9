#!/usr/bin/env python3
"""Writes docs/controls.md and docs/attributes.md from the tables that the library itself is compiled from.

With --check nothing is written: the exit code says whether the files are up to date.
"""

from __future__ import annotations

import re
import sys
from collections.abc import Callable
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
INCLUDE = ROOT / "libtvlo/include/tvlo"
TYPES = {"TVLO_TYPE_INT": "integer", "TVLO_TYPE_DOUBLE": "double", "TVLO_TYPE_STRING": "string"}
HUGE = {"2147483647": "2147483647", "1e20": "infinite"}


def entries(table: Path, macro: str) -> list[list[str]]:
    """The arguments of every use of the macro, strings without their quotes."""
    text = re.sub(r"^\s*//.*$", "", table.read_text(), flags=re.MULTILINE)
    argument = re.compile(r'\s*((?:"(?:[^"\\]|\\.)*"\s*)+|[^,()"]+)\s*([,)])')
    found = []
    for use in re.finditer(rf"\b{macro}\(", text):
        position, row, end = use.end(), [], ","
        while end == ",":
            match = argument.match(text, position)
            if match is None:
                raise SystemExit(f"{table}: can't read the entry at {text[use.start() : use.start() + 60]!r}")
            position, end = match.end(), match[2]
            parts = re.findall(r'"((?:[^"\\]|\\.)*)"', match[1])
            row.append("".join(parts).replace('\\"', '"') if parts or match[1].startswith('"') else match[1].strip())
        found.append(row)
    if not found:
        raise SystemExit(f"{table}: no {macro} in it")
    return found


def table(heads: list[str], rows: list[list[str]]) -> list[str]:
    lines = ["| " + " | ".join(heads) + " |", "|" + " --- |" * len(heads)]
    return lines + ["| " + " | ".join(cell.replace("|", "\\|") for cell in row) + " |" for row in sorted(rows)]


def control_row(
    number: str, name: str, kind: str, default: str, least: str, most: str, text: str, *rest: str
) -> list[str]:
    string = kind == "TVLO_TYPE_STRING"
    allowed = "" if string else f"{least} to {HUGE.get(most, most)}"
    shown = f'"{text}"' if string else HUGE.get(default, default)
    return [f"`{name}`", number, TYPES[kind], shown, allowed, rest[-1]]


def attribute_row(number: str, name: str, kind: str, doc: str) -> list[str]:
    return [f"`{name}`", number, TYPES[kind], doc]


def page(title: str, intro: str, file: str, macro: str, heads: list[str], row: Callable[..., list[str]]) -> str:
    lines = [f"# {title}", "", intro, ""]
    lines += table(heads, [row(*entry) for entry in entries(INCLUDE / file, macro)])
    lines += ["", "## Of the nonlinear component", ""]
    lines += table(heads, [row(*entry) for entry in entries(INCLUDE / f"tslp_{file}", macro)])
    return "\n".join([*lines, "", "<!-- written by scripts/gen_docs.py -->", ""])


def controls_page() -> str:
    intro = (
        "Settings of a problem: `p.controls.timelimit = 10`, `p.setControl({...})`, `p.getControl(name)`; "
        "`tv.controls.timelimit = 10` sets the default of every problem made afterwards. "
        "Names are accepted in lower or in upper case."
    )
    heads = ["Name", "Id", "Type", "Default", "Range", "Meaning"]
    return page("Controls", intro, "controls.def", "TVLO_CONTROL", heads, control_row)


def attributes_page() -> str:
    intro = "What a problem tells about itself: `p.attributes.cols`, `p.getAttrib(name)`. They can't be set."
    heads = ["Name", "Id", "Type", "Meaning"]
    return page("Attributes", intro, "attributes.def", "TVLO_ATTRIBUTE", heads, attribute_row)


def main(arguments: list[str]) -> int:
    stale = []
    for name, text in {"controls.md": controls_page(), "attributes.md": attributes_page()}.items():
        path = ROOT / "docs" / name
        if not path.exists() or path.read_text() != text:
            stale.append(name)
            if "--check" not in arguments:
                path.write_text(text)
    if "--check" in arguments and stale:
        print(f"docs: {', '.join(stale)} not up to date: run 'make docs'", file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
