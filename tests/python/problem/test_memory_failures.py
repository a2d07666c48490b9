"""Every call with the n-th allocation of the interpreter failing, for every n: an error, and the registry intact."""

import sys

import pytest

import tavlo as tv

testcapi = pytest.importorskip("_testcapi")

CALLS = {
    "addVariable": lambda p, x, new, rows: p.addVariable(new),
    "addConstraint": lambda p, x, new, rows: p.addConstraint(iter(rows)),
    "delVariable": lambda p, x, new, rows: p.delVariable([x[3], 1, "v5"]),
    "delConstraint": lambda p, x, new, rows: p.delConstraint(first=1, last=20),
    "getVariable": lambda p, x, new, rows: p.getVariable([1, [2]]),
    "setObjective": lambda p, x, new, rows: p.setObjective(x[0] * x[1] + x[2]),
    "nonlinear rows": lambda p, x, new, rows: p.addConstraint(
        [tv.user(max, v, x[1]) + x[2] * tv.sin(v) <= 1 for v in x]
    ),
    "nonlinear objective": lambda p, x, new, rows: p.setObjective(tv.exp(x[0] + 2) + x[1] * x[2] + 3 * x[4]),
    "getSolution": lambda p, x, new, rows: (p.solve(), p.getSolution({"a": x}), p.getDual(), p.getSlack(0)),
    "copy": lambda p, x, new, rows: p.copy(),
    "read": lambda p, x, new, rows: p.read(p.file),
    "problem": lambda p, x, new, rows: tv.problem(new, [v <= 1 for v in new], new[0] + new[1], name="n"),
}


class Problem(tv.problem):
    pass


@pytest.mark.parametrize("name", CALLS)
def test_running_out_of_memory(name, agrees, tmp_path):
    call = CALLS[name]
    x, new = [tv.var(name=f"v{i}", ub=7.5) for i in range(40)], [tv.var(name=f"n{i}") for i in range(40)]
    old = [v + x[0] <= 3.5 for v in x]
    rows = [v + x[3] * x[4] >= -1.5 for v in x]

    def fresh():
        p = Problem(x, old, x[0])
        p.file = str(tmp_path / "p.mps")
        return p

    fresh().write(str(tmp_path / "p.mps"))
    call(fresh(), x, new, rows)  # what is only made once
    before = [sys.getrefcount(o) for o in x + new + rows]
    failures = 0
    for n in range(1, 3000):
        p = fresh()
        testcapi.set_nomemory(n, n + 1)
        try:
            call(p, x, new, rows)
        except (MemoryError, tv.ModelError, tv.SolverError, tv.InterfaceError):
            failures += 1
            testcapi.remove_mem_hooks()
            variables, constraints = agrees(p)
            if name != "read":
                assert list(map(id, variables + constraints)) == list(map(id, x + old))
        else:
            testcapi.remove_mem_hooks()
            agrees(p)
            if n > failures + 40:  # past the last allocation; some failures are survived
                break
        finally:
            testcapi.remove_mem_hooks()
    assert failures > 0
    del p
    variables = constraints = None
    assert [sys.getrefcount(o) for o in x + new + rows] == before


@pytest.mark.parametrize(
    ("new", "makes_objects"),
    [(lambda x: tv.cos(x[1]) + x[0] * x[1] + 7, True), (lambda x: x[1] * x[1] - 2, False)],
)
def test_a_nonlinear_objective_survives_failing_replacements(new, makes_objects, agrees, stored, quadratic, formulas):
    x = [tv.var(name=f"v{i}") for i in range(3)]
    old = tv.exp(x[0]) + x[0] * x[2] + 3

    def objective(p):
        m = stored(p)
        agrees(p)
        return m.objective.tolist(), m.constant, quadratic(p, None), formulas(p, 0), m.column_name, m.row_name

    failures = 0
    for n in range(1, 1000):
        p = Problem(x, old)
        before, changed = objective(p), new(x)
        testcapi.set_nomemory(n, n + 1)
        try:
            p.setObjective(changed, sense=-1)
        except MemoryError:
            failures += 1
            testcapi.remove_mem_hooks()
            assert objective(p) == before
        else:
            testcapi.remove_mem_hooks()
            assert objective(p) != before
            if n > failures + 10:
                break
        finally:
            testcapi.remove_mem_hooks()
    assert (failures > 0) == makes_objects
