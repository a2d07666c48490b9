#!/usr/bin/env python3
"""Writes docs/controls.md and docs/attributes.md from the tables that the library itself is compiled from.

With --check nothing is written: the exit code says whether the files are up to date.
"""

from __future__ import annotations

import re
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
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


def page(title: str, intro: str, heads: list[str], rows: list[list[str]]) -> str:
    lines = [f"# {title}", "", intro, "", "| " + " | ".join(heads) + " |", "|" + " --- |" * len(heads)]
    lines += ["| " + " | ".join(cell.replace("|", "\\|") for cell in row) + " |" for row in rows]
    return "\n".join([*lines, "", "<!-- written by scripts/gen_docs.py -->", ""])


def controls_page() -> str:
    rows = []
    for number, name, kind, default, least, most, text, _engine, doc in entries(
        ROOT / "libtvlo/core/controls.def", "TVLO_CONTROL"
    ):
        string = kind == "TVLO_TYPE_STRING"
        allowed = "" if string else f"{least} to {HUGE.get(most, most)}"
        shown = f'"{text}"' if string else HUGE.get(default, default)
        rows.append([f"`{name}`", number, TYPES[kind], shown, allowed, doc])
    intro = (
        "Settings of a problem: `p.controls.timelimit = 10`, `p.setControl({...})`, `p.getControl(name)`; "
        "`tv.controls.timelimit = 10` sets the default of every problem made afterwards. "
        "Names are accepted in lower or in upper case."
    )
    return page("Controls", intro, ["Name", "Id", "Type", "Default", "Range", "Meaning"], sorted(rows))


def attributes_page() -> str:
    rows = [
        [f"`{name}`", number, TYPES[kind], doc]
        for number, name, kind, doc in entries(ROOT / "libtvlo/core/attributes.def", "TVLO_ATTRIBUTE")
    ]
    intro = "What a problem tells about itself: `p.attributes.cols`, `p.getAttrib(name)`. They can't be set."
    return page("Attributes", intro, ["Name", "Id", "Type", "Meaning"], sorted(rows))


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
