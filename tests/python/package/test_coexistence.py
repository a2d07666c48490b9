"""Another package's HiGHS in the same process: neither disturbs the other, whichever comes first."""

import subprocess
import sys
from pathlib import Path

import pytest

INSTANCES = Path(__file__).resolve().parents[3] / "tests/data/instances"

SOLVE = """
import sys
folder = sys.argv[1]
names = {"afiro.mps": -464.7531428571, "p0033.mps": 3089.0, "kb2.mps": -1749.9001299062, "flugpl.mps": 1201500.0}

def ours(name):
    p = tv.problem()
    p.setOutputEnabled(False)
    p.read(f"{folder}/{name}")
    p.solve()
    assert abs(p.getObjVal() - names[name]) <= 1e-6 * abs(names[name]), p.getObjVal()
    return p

def theirs(name):
    h = highspy.Highs()
    h.silent()
    h.readModel(f"{folder}/{name}")
    h.run()
    assert abs(h.getObjectiveValue() - names[name]) <= 1e-4 * abs(names[name]), h.getObjectiveValue()
    return h

kept = []
for turn in range(3):
    for name in names:
        kept += [ours(name), theirs(name)] if turn % 2 else [theirs(name), ours(name)]
copies = {line.split()[-1] for line in open("/proc/self/maps") if "highs" in line and "r-x" in line}
ours_mapped = [path for path in copies if "/tavlo/lib/" in path]
others_mapped = [path for path in copies if "/tavlo/lib/" not in path]
assert ours_mapped and others_mapped, copies
print("solved in turns")
"""


@pytest.mark.parametrize(
    "imports",
    [
        "import highspy\nimport tavlo as tv",
        "import tavlo as tv\nimport highspy",
        "import tavlo as tv\ntv.init()\nimport highspy",
    ],
    ids=["highspy first", "tavlo first", "tavlo started first"],
)
def test_solving_in_turns_with_highspy(imports):
    done = subprocess.run([sys.executable, "-c", imports + SOLVE, str(INSTANCES)], capture_output=True, text=True)
    assert done.returncode == 0, done.stderr
    assert done.stdout.strip().endswith("solved in turns")


def test_a_copy_of_the_engine_in_the_global_scope_is_not_taken_for_ours():
    code = """
import ctypes, glob, os, sysconfig
path, = glob.glob(os.path.join(sysconfig.get_path("purelib"), "highsbox/highs_dist/lib/libhighs.so"))
foreign = ctypes.CDLL(path, mode=ctypes.RTLD_GLOBAL)
import tavlo as tv
x = tv.var(ub=9, vartype=tv.integer)
p = tv.problem(x, 2 * x <= 7)
p.setOutputEnabled(False)
p.setObjective(x, sense=tv.maximize)
p.solve()
assert p.getSolution(x) == 3
mapped = {line.split()[-1] for line in open("/proc/self/maps") if "highs" in line and "r-x" in line}
assert any(name.endswith("/tavlo/lib/libtvlo_highs.so") for name in mapped), mapped
"""
    done = subprocess.run([sys.executable, "-c", code], capture_output=True, text=True)
    assert done.returncode == 0, done.stderr
