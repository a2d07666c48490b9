"""Solves with the interpreter lock released: other threads, the interrupt signal, code that log lines run."""

import random
import sys
import threading
import time

import pytest

import tavlo as tv

HARD = """
import random
import tavlo as tv

def hard(limit=60):
    rng = random.Random(7)
    x = [tv.var(vartype=tv.binary) for _ in range(40)]
    p = tv.problem(x)
    for _ in range(5):
        weights = [rng.randrange(100) for _ in x]
        p.addConstraint(tv.Sum(w * v for w, v in zip(weights, x)) == sum(weights) // 2)
    p.setControl("timelimit", limit)
    p.setOutputEnabled(False)
    return p
"""
exec(HARD)


class Solver(threading.Thread):
    """Solves a problem and keeps what that raised."""

    def __init__(self, p):
        super().__init__()
        self.p, self.error = p, None
        self.start()
        time.sleep(0.3)

    def run(self):
        try:
            self.p.solve()
        except tv.SolverError as error:
            self.error = str(error)

    def finish(self):
        self.join(30)
        assert not self.is_alive()
        return self.error


def test_calls_from_other_threads_are_refused_while_a_problem_is_solved():
    p = hard(2)  # noqa: F821
    x = p.getVariable(0)
    solver = Solver(p)
    refused = 0
    while solver.is_alive():
        for call in (
            p.name, p.copy, p.getSolution, p.getVariable, lambda: p.addVariable([]),
            lambda: p.addConstraint([]), lambda: p.delVariable([]), lambda: p.setObjective(x),
            lambda: p.getControl("threads"), lambda: p.attributes.rows, lambda: p.write("/nowhere"),
        ):  # fmt: skip
            if solver.is_alive():
                try:
                    call()  # the solve may have ended by now
                except tv.SolverError as error:
                    refused += str(error) == "The problem is being solved"
        p.setOutputEnabled(False)
        assert p.getOutputEnabled() is False
    assert refused > 10
    assert solver.finish() is None
    assert p.attributes.cols == 40


@pytest.mark.parametrize("release", ["exit", "free"])
def test_release_from_another_thread_interrupts_the_solve(release, stopped_library):
    p = hard()  # noqa: F821
    solver = Solver(p)
    start = time.time()
    if release == "exit":
        p.__exit__(None, None, None)
    else:
        tv.free()
    with pytest.raises(tv.ModelError, match=r"^Problem is not initialized$"):
        p.getVariable()
    assert solver.finish() == "The problem was released while it was being solved"
    assert time.time() - start < 10
    assert p.attributes is None
    p.__init__(tv.var())
    assert p.attributes.cols == 1


def test_problems_are_solved_side_by_side():
    def work(seed):
        rng = random.Random(seed)
        for _ in range(30):
            x = [tv.var(ub=rng.randrange(1, 9), vartype=rng.choice([0, 2])) for _ in range(8)]
            p = tv.problem(x, tv.Sum(x), sense=tv.maximize)
            p.setOutputEnabled(False)
            p.solve()
            good[seed] += p.getObjVal() == sum(v.ub for v in x)
            p.addConstraint(v <= 1 for v in x)
            p.delVariable(range(4))
            p.solve()
            good[seed] += p.getObjVal() == 4

    good = [0] * 4
    threads = [threading.Thread(target=work, args=(i,)) for i in range(4)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert good == [60] * 4


def test_threads_that_build_one_problem(agrees):
    p = tv.problem()

    def work():
        for _ in range(60):
            x = [tv.var() for _ in range(5)]
            p.addVariable(v for v in x)
            rows = [v <= 1 for v in x]
            p.addConstraint(c for c in rows)
            p.delConstraint(rows[2])

    interval = sys.getswitchinterval()
    sys.setswitchinterval(1e-6)
    try:
        threads = [threading.Thread(target=work) for _ in range(4)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
    finally:
        sys.setswitchinterval(interval)
    variables, constraints = agrees(p)
    assert (len(variables), len(constraints)) == (1200, 960)


def test_code_that_log_lines_run(monkeypatch, stopped_library, printing):
    """A replacement of sys.stdout works on the problem from the solving thread, and stops the library at the end."""
    x = tv.var(ub=3, vartype=tv.integer)
    p = tv.problem(x, 2 * x <= 5, x, sense=tv.maximize)
    seen = []

    class Stdout:
        def write(self, text):
            try:
                seen.append(p.attributes.cols)
                p.addVariable(tv.var())
            except (tv.SolverError, tv.ModelError) as error:
                seen.append(str(error))

        def flush(self):
            pass

    monkeypatch.setattr(sys, "stdout", Stdout())
    p.solve()
    monkeypatch.undo()
    assert seen[:2] == [1, "The problem is being solved and can't be changed"]
    assert (p.getObjVal(), p.attributes.cols) == (2, 1)

    Stdout.write = lambda self, text: tv.free()
    monkeypatch.setattr(sys, "stdout", Stdout())
    with pytest.raises(tv.SolverError, match=r"^The problem was released while it was being solved$"):
        p.solve()
    monkeypatch.undo()
    with pytest.raises(tv.ModelError, match=r"^Problem is not initialized$"):
        p.solve()


def test_interrupt_signal_ends_the_process(run_python):
    code = f"""
import os, signal, subprocess, sys, time
child = subprocess.Popen([sys.executable, "-c", {HARD!r} + "print('ready', flush=True); hard().solve()"],
                         stdout=subprocess.PIPE, text=True)
assert child.stdout.readline() == "ready\\n"
time.sleep(1)
child.send_signal(signal.SIGINT)
print(child.wait(20) == -signal.SIGINT)
"""
    assert run_python(code) == "True\n"


def test_interrupt_action_is_restored(run_python):
    code = """
import os, signal
import tavlo as tv
for handler in (lambda *_: print("mine"), signal.SIG_IGN, signal.default_int_handler):
    signal.signal(signal.SIGINT, handler)
    p = tv.problem(tv.var(ub=1))
    p.setOutputEnabled(False)
    p.solve()
    try:
        os.kill(os.getpid(), signal.SIGINT)
        p.solve()
    except KeyboardInterrupt:
        print("interrupted")
"""
    assert run_python(code) == "mine\ninterrupted\n"


@pytest.mark.parametrize("nap", [0, 0.002])  # the interpreter ends the thread in the library, or in the function
def test_the_interpreter_exits_while_a_daemon_thread_solves(nap, run_python):
    code = f"""
import threading, time
import tavlo as tv
called = threading.Event()
def f(a):
    called.set()
    time.sleep({nap})
    return a * a
x = tv.var(lb=0.1, ub=4)
p = tv.problem(x, tv.user(f, x) <= 2)
p.setOutputEnabled(False)
def solve():
    for k in range(10**6):
        p.setObjective(x, sense=1 - 2 * (k % 2))
        p.solve()
threading.Thread(target=solve, daemon=True).start()
called.wait()
time.sleep(0.02)
"""
    for _ in range(3):
        assert run_python(code) == ""
