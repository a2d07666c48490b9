"""Checks that no folder includes a header of a folder above it. The layers are drawn in ARCHITECTURE.md."""

import re
import sys
from pathlib import Path

ROOT = Path(__file__).parents[1]

# From below: a folder may use itself and what stands before it. Folders in one entry don't see each other.
LAYERS = {
    "common": [["elementary"]],
    "src/tavlolib": [
        ["pyutil"],
        ["runtime"],
        ["model"],
        ["numpy"],
        ["problem"],
        ["bindings"],
        ["callbacks"],
        ["module"],
    ],
    "libtvlo": [
        ["core", "linear"],
        ["engines"],
        ["engines/highs", "engines/ipopt", "engines/piqp", "engines/slp", "io", "quadratic"],
        ["route"],
        ["nonlinear"],
        ["capi"],
    ],
}
# What a folder sees of the library's public headers, or must not see of what stands below it.
HIDDEN = {"src/tavlolib/pyutil": ["tvlo"], "src/tavlolib/model": ["tvlo"], "src/tavlolib/numpy": ["tvlo"]}

# What everybody may include: it includes nothing itself.
SHARED = ("elementary/",)

INCLUDE = re.compile(r'^\s*#\s*include\s*"([^"]+)"', re.MULTILINE)


def room_of(path, rooms):
    """The deepest of the rooms that holds the path; None for what lies in none."""
    return max((room for room in rooms if path.startswith(room + "/")), key=len, default=None)


def faults_of(base, layers):
    level = {room: i for i, row in enumerate(layers) for room in row}
    for source in sorted((ROOT / base).rglob("*")):
        if source.suffix not in {".h", ".cpp", ".def"} or "include" in source.relative_to(ROOT / base).parts:
            continue
        name = source.relative_to(ROOT / base).as_posix()
        room = room_of(name, level)
        if room is None:
            yield f"{base}/{name}: its folder stands in no layer (scripts/check_includes.py has them)"
            continue
        for header in INCLUDE.findall(source.read_text()):
            if header.startswith("tvlo/"):
                if "tvlo" in HIDDEN.get(f"{base}/{room}", []):
                    yield f'{base}/{name} includes "{header}": {room} works without the solver library'
                continue
            if header.startswith(SHARED):
                continue
            other = room_of(header, level)
            if other is None:
                if not (source.parent / header).exists():
                    yield f'{base}/{name} includes "{header}", which lies in no layer'
                continue
            if other != room and level[other] >= level[room]:
                yield f'{base}/{name} includes "{header}": {other} does not stand below {room}'


def main():
    faults = [fault for base, layers in LAYERS.items() for fault in faults_of(base, layers)]
    print("\n".join(faults), end="\n" if faults else "")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
