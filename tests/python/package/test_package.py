"""The package as a whole: what its import does, what it says of itself, what its documents say of it."""

import importlib.metadata
import re
import subprocess
import sys
import sysconfig
from pathlib import Path

import pytest

import tavlo as tv

ROOT = Path(__file__).resolve().parents[3]


def run(code, *arguments):
    done = subprocess.run([sys.executable, "-c", code, *arguments], capture_output=True, text=True)
    assert done.returncode == 0, done.stderr
    return done.stdout


def test_import_loads_no_engine_and_a_solve_loads_only_ours():
    out = run("""
import tavlo as tv
def mapped():
    return {line.split("/")[-1].strip() for line in open("/proc/self/maps") if "/" in line}
def engines():
    return sorted(name for name in mapped() if "highs" in name.lower())
print(engines())
x = tv.var(ub=4)
p = tv.problem(x, x <= 3)
print(engines())
p.setOutputEnabled(False)
p.setObjective(-x)
p.solve()
assert p.getSolution(x) == 3
print(engines())
""")
    imported, built, solved = out.split("\n")[:3]
    assert imported == built == "[]"
    assert "libtvlo_highs" in solved
    assert "'libhighs.so" not in solved  # a private name: another package's copy is never taken for ours


def test_version_is_told_in_one_voice():
    declared = re.search(r"project\(tavlo VERSION ([0-9.]+)", (ROOT / "CMakeLists.txt").read_text())[1]
    assert tv.getversion() == declared
    assert f"## {declared}" in (ROOT / "CHANGELOG.md").read_text()
    try:
        assert importlib.metadata.version("tavlo") == declared  # where it is installed as a wheel
    except importlib.metadata.PackageNotFoundError:
        assert "build" in Path(tv.tavlolib.__file__).parts


def test_what_is_bundled_has_its_notice():
    notices = (ROOT / "THIRD_PARTY_NOTICES.md").read_text()
    bundled = {path.name for path in (Path(tv.tavlolib.__file__).parent / "lib").glob("*.so*")}
    assert any("highs" in name for name in bundled)
    known = {
        "highs": "## HiGHS",
        "ipopt": "## Ipopt",
        "mumps": "## MUMPS",
        "piqp": "## PIQP",
        "blas": "## OpenBLAS",
        "gfortran": "## libgfortran",
        "quadmath": "libquadmath",
        "libtvlo.so": "",
    }
    for name in bundled:
        notice = next((notice for part, notice in known.items() if part in name), None)
        assert notice is not None, f"{name} is bundled without a notice"
        assert notice in notices
    assert "MIT License" in (ROOT / "LICENSE").read_text()
    wheel_licence = Path(sysconfig.get_path("purelib")) / "highsbox-1.15.1.dist-info"
    for licence in wheel_licence.rglob("LICENSE*"):
        holder = re.search(r"Copyright.*", licence.read_text())[0]
        assert holder in notices


@pytest.mark.parametrize(("page", "method"), [("controls.md", "getControl"), ("attributes.md", "getAttrib")])
def test_documented_names_are_those_of_the_library(page, method):
    documented = dict(re.findall(r"^\| `(\w+)` \| \d+ \| (\w+)", (ROOT / "docs" / page).read_text(), re.MULTILINE))
    told = getattr(tv.problem(), method)()
    assert set(documented) == set(told)
    kinds = {"integer": int, "double": float, "string": str}
    assert all(type(told[name]) is kinds[kind] for name, kind in documented.items())
