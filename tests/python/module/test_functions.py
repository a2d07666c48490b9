"""Environment-level functions: version, errors, output switch, default controls."""

import ctypes
import re
import sys
import threading

import numpy as np
import pytest

import tavlo


def test_version_and_banner_agree():
    assert re.fullmatch(r"\d+\.\d+\.\d+", tavlo.getversion())
    assert tavlo.getversion() in tavlo.getbanner()
    assert tavlo.getbanner(1, 2, anything=3) == tavlo.getbanner()


def test_last_error_is_a_code_and_a_text():
    code, text = tavlo.getlasterror()
    assert isinstance(code, int) and isinstance(text, str)
    assert (code == 0) == (text == "")


@pytest.fixture
def output_restored():
    yield
    tavlo.setOutputEnabled(True)


@pytest.mark.parametrize(
    ("value", "enabled"),
    [(0, False), (False, False), (7, True), (np.int8(0), False), (np.int64(3), True), (2**70, True)],
)
def test_output_switch_takes_integers(output_restored, value, enabled):
    tavlo.setOutputEnabled(not enabled)
    tavlo.setOutputEnabled(value)
    assert tavlo.getOutputEnabled() is enabled


@pytest.mark.parametrize("value", ["yes", None, 1.0, np.float64(1), np.uint8(1), [1]])
def test_output_switch_refuses_everything_else(output_restored, value):
    tavlo.setOutputEnabled(False)
    with pytest.raises(tavlo.ModelError, match=r"^Incorrect argument in setOutputEnabled: should be True or False$"):
        tavlo.setOutputEnabled(value)
    assert tavlo.getOutputEnabled() is False


class Recorder:
    """A sys.stdout that knows which threads wrote to it and how often it was flushed."""

    def __init__(self):
        self.text, self.flushes, self.threads = "", 0, set()

    def write(self, text):
        self.text += text
        self.threads.add(threading.get_ident())

    def flush(self):
        self.flushes += 1


def solve_small_problem():
    x, y = tavlo.var(ub=10), tavlo.var(ub=10, vartype=tavlo.integer)
    p = tavlo.problem(x, y, x + 2 * y <= 7.5, 3 * x + y <= 11, -x - y)
    p.solve()
    return p


def test_log_goes_to_the_present_sys_stdout(output_restored, monkeypatch):
    monkeypatch.setattr(sys, "stdout", recorder := Recorder())
    solve_small_problem()
    assert recorder.text.endswith("\n")
    assert len(recorder.text.splitlines()) > 3


def test_no_log_reaches_sys_stdout_when_output_is_off(output_restored, monkeypatch):
    monkeypatch.setattr(sys, "stdout", recorder := Recorder())
    tavlo.setOutputEnabled(False)
    solve_small_problem()
    assert recorder.text == ""
    tavlo.setOutputEnabled(True)
    p = solve_small_problem()
    length = len(recorder.text)
    assert length > 0
    p.setOutputEnabled(False)
    p.solve()
    assert len(recorder.text) == length


def test_log_with_broken_stdout_does_not_disturb_the_solve(output_restored, monkeypatch, capfd):
    class Broken:
        def write(self, text):
            raise OSError("closed")

        flush = None

    monkeypatch.setattr(sys, "stdout", Broken())
    p = solve_small_problem()
    assert p.getProbStatus() == tavlo.mip_optimal
    ctypes.CDLL(None).fflush(None)  # the interpreter falls back to C's stdout: its lines belong to this test
    assert "Result" in capfd.readouterr().out


def test_default_control_names_follow_the_rule_of_case(clean_defaults):
    tavlo.controls.presolve = 0
    assert tavlo.setdefaultcontrol("PRESOLVE") is None
    assert tavlo.controls.presolve == -1
    tavlo.setdefaultcontrol(ipar="presolve")  # absent: no error
    tavlo.setdefaultcontrol("no_such_control")
    for name, text in [
        ("Presolve", "^Control or attribute is neither all-lower nor all-upper case$"),
        ("naïve", "^Control or attribute is neither all-lower nor all-upper case$"),
        ("a" * 1025, "^Control or attribute name is too long$"),
    ]:
        with pytest.raises(tavlo.ModelError, match=text):
            tavlo.setdefaultcontrol(name)
    tavlo.setdefaultcontrol("a" * 1024)
    for bad in [(), (1,), (None,), ("a", "b")]:
        with pytest.raises(TypeError):
            tavlo.setdefaultcontrol(*bad)


def test_setdefaults_drops_every_value(clean_defaults):
    tavlo.controls.timelimit = 17
    tavlo.controls.threads = 2
    tavlo.setdefaults()
    p = tavlo.problem()
    assert p.controls.timelimit == 1e20
    assert p.controls.threads == 1


def test_documentation_has_every_section():
    functions = [f for f in vars(tavlo.tavlolib).values() if type(f).__name__ == "builtin_function_or_method"]
    assert len(functions) >= 11
    for function in functions:
        sections = [line for line in function.__doc__.splitlines() if line.endswith(":") and line[0] != " "]
        sections = [s for s in sections if s != "Return value:"]
        assert sections == ["Purpose:", "Synopsis:", "Argument:", "Example:", "Related topics:"], function.__name__
        assert function.__text_signature__ is not None, function.__name__


def test_calls_leak_no_references(clean_defaults, reference_growth):
    name, value = "timelimit", 12345.5

    def calls():
        tavlo.controls.timelimit = value
        tavlo.setdefaultcontrol(name)
        tavlo.controls.timelimit = value
        tavlo.setdefaults()
        tavlo.getbanner(), tavlo.getversion(), tavlo.getlasterror()
        for bad in (lambda: tavlo.setdefaultcontrol("Mixed"), lambda: tavlo.setOutputEnabled(name)):
            with pytest.raises(tavlo.ModelError):
                bad()

    objects = [None, True, name, value, tavlo.controls, tavlo.ModelError]
    assert all(abs(n) < 20 for n in reference_growth(calls, objects))
