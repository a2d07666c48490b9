"""Counted start and stop of the solver library, and the module's life."""

import gc

import pytest

import tavlo


def test_free_without_a_start_does_nothing(run_python):
    assert run_python("import tavlo; print(tavlo.free(), tavlo.free())").split() == ["False", "False"]


def test_each_forced_start_needs_a_stop_of_its_own(stopped_library):
    tavlo.problem()  # starts on first use
    tavlo.init()
    tavlo.init()
    assert [tavlo.free() for _ in range(4)] == [True, True, False, False]


def test_unforced_starts_are_not_counted(stopped_library):
    for _ in range(3):
        tavlo.problem()
        tavlo.getbanner()
    assert tavlo.free() is False


def test_getversion_and_switches_do_not_start_the_library(run_python):
    # A start would make the second stop return True after a forced one.
    code = """
import tavlo
tavlo.getversion(); tavlo.getOutputEnabled(); tavlo.setOutputEnabled(1); tavlo.setdefaults()
tavlo.setdefaultcontrol("presolve"); tavlo.controls
tavlo.init()
print(tavlo.free())
"""
    assert run_python(code).strip() == "False"


def test_last_stop_releases_live_problems_and_the_next_problem_starts_again(stopped_library):
    p = tavlo.problem(name="kept")
    controls = p.controls
    assert tavlo.free() is False
    with pytest.raises(tavlo.ModelError, match=r"^Problem is not initialized$"):
        p.name()
    with pytest.raises(tavlo.ModelError, match=r"^Problem is not initialized$"):
        _ = controls.timelimit
    q = tavlo.problem(name="new")
    assert q.name() == "new"


def test_inner_stop_keeps_problems(stopped_library):
    p = tavlo.problem(name="kept")
    tavlo.init()
    assert tavlo.free() is True
    assert p.name() == "kept"


def test_init_takes_exactly_one_argument_and_ignores_it(stopped_library):
    assert tavlo.tavlolib._init("anything") is None
    with pytest.raises(TypeError):
        tavlo.tavlolib._init()
    assert tavlo.free() is False


def test_import_opens_no_engine_and_does_not_start_the_library(run_python):
    code = """
import tavlo
maps = open("/proc/self/maps").read()
print([line.split()[-1] for line in maps.splitlines() if "engine" in line or "highs" in line.lower()])
print(tavlo.free())
"""
    assert run_python(code).split() == ["[]", "False"]


@pytest.mark.parametrize(
    "leftover",
    [
        "x = tavlo.var(name='n', lb=-3, ub=7); c = x <= 12345; e = 2 * x + 1",
        "p = tavlo.problem(tavlo.var(lb=2, ub=9)); controls = p.controls",
        "import builtins; builtins.kept = [tavlo.problem(tavlo.var(ub=5)), tavlo.var(lb=-3), tavlo.var() >= 4]",
        "import sys; sys.kept = tavlo.problem(); sys.kept_too = (sys.kept.controls.copy(), tavlo.controls)",
        "a = []; a.append(a); a.append(tavlo.problem(tavlo.var(lb=5, name='cycle'))); del a",
    ],
)
def test_interpreter_exits_cleanly_with_objects_alive(run_python, leftover):
    assert run_python(f"import tavlo\ntavlo.init()\n{leftover}\nprint('end')").strip() == "end"


def test_second_import_after_the_module_was_forgotten(run_python):
    code = """
import gc, sys, tavlo
x = tavlo.var(lb=-3, ub=7, name="x")
for name in ["tavlo", "tavlo.tavlolib"]:
    del sys.modules[name]
del tavlo
gc.collect()
import tavlo
p = tavlo.problem(x)
print(x.lb, x.ub, x.name, p.name(), tavlo.controls.timelimit > 0)
"""
    assert run_python(code).split() == ["-3.0", "7.0", "x", "noname", "True"]


def test_starts_and_stops_leak_no_references(stopped_library, reference_growth):
    def cycle():
        tavlo.init()
        tavlo.problem()
        tavlo.free()

    objects = [None, tavlo.problem, tavlo.tavlolib, tavlo.controls]
    assert all(abs(n) < 20 for n in reference_growth(cycle, objects, calls=300))
    gc.collect()
