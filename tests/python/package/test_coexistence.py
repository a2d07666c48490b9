"""Another package's HiGHS or Ipopt in the same process: neither disturbs the other, whichever comes first."""

import os
import subprocess
import sys
import sysconfig
from pathlib import Path

import pytest

pytest.importorskip("highspy")
pytest.importorskip("casadi")
INSTANCES = Path(__file__).resolve().parents[3] / "tests/data/instances"

SOLVE = """
import sys
import sysconfig
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
    engine = Path(sysconfig.get_path("purelib"), "highsbox/highs_dist/lib/libhighs.so")
    if not engine.exists():
        pytest.skip("no other copy of the engine")
    code = """
import ctypes, sys
foreign = ctypes.CDLL(sys.argv[1], mode=ctypes.RTLD_GLOBAL)
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
    done = subprocess.run([sys.executable, "-c", code, engine], capture_output=True, text=True)
    assert done.returncode == 0, done.stderr


IPOPT = """
def ours():
    x = [tv.var(lb=1, ub=5) for _ in range(4)]
    p = tv.problem(x, x[0] * x[1] * x[2] * x[3] >= 25, tv.Sum(v**2 for v in x) == 40)
    p.setOutputEnabled(False)
    p.setObjective(x[0] * x[3] * (x[0] + x[1] + x[2]) + x[2])
    p.nlpoptimize()
    return p.attributes.nlpobjval

def theirs():
    x = casadi.MX.sym("x", 4)
    f = x[0] * x[3] * (x[0] + x[1] + x[2]) + x[2]
    g = casadi.vertcat(x[0] * x[1] * x[2] * x[3], casadi.sumsqr(x))
    options = {"ipopt.print_level": 0, "ipopt.sb": "yes", "print_time": False}
    solver = casadi.nlpsol("solver", "ipopt", {"x": x, "f": f, "g": g}, options)
    return float(solver(x0=[1, 5, 5, 1], lbx=1, ubx=5, lbg=[25, 40], ubg=[1e20, 40])["f"])

for turn in range(3):
    for solve in (ours, theirs) if OURS_FIRST else (theirs, ours):
        value = solve()
        assert abs(value - 17.0140173) < 1e-5, (solve, value)
mapped = {line.split()[-1] for line in open("/proc/self/maps") if "ipopt" in line and "r-x" in line}
assert any(name.endswith("/tavlo/lib/libtvlo_ipopt.so") for name in mapped), mapped
assert any(name.endswith("/casadi/libipopt.so.3") for name in mapped), mapped
if (child := os.fork()) == 0:  # neither BLAS waits for threads that the child does not have
    os._exit(abs(ours() - 17.0140173) > 1e-5)
assert os.waitpid(child, 0)[1] == 0
"""


@pytest.mark.skipif("TAVLO_SANITIZED" in os.environ, reason="the other package opens its engine with RTLD_DEEPBIND")
@pytest.mark.parametrize("ours_first", [True, False])
def test_solving_in_turns_with_another_ipopt(ours_first):
    code = f"import os\nimport casadi\nimport tavlo as tv\nOURS_FIRST = {ours_first}\n{IPOPT}"
    done = subprocess.run([sys.executable, "-c", code], capture_output=True, text=True)
    assert done.returncode == 0, done.stderr
