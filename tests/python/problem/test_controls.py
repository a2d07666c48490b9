"""Controls and attributes: by method, by attribute-style access, and as defaults of later problems."""

import copy
import sys
import threading

import numpy as np
import pytest

import tavlo

MIXED = r"^Control or attribute is neither all-lower nor all-upper case$"


@pytest.fixture
def p():
    return tavlo.problem([tavlo.var() for _ in range(3)], name="p")


def test_names_in_capitals_and_in_lower_case_are_the_same(p):
    p.setControl("TIMELIMIT", 30)
    assert p.getControl("timelimit") == p.getControl("TIMELIMIT") == p.getControl(b"timelimit") == 30.0
    assert p.controls.TIMELIMIT == p.controls.timelimit == 30.0
    assert p.getAttrib(["cols", "rows"]) == {"cols": 3, "rows": 0}
    assert p.getAttrib(("COLS",)) == {"cols": 3}
    assert p.attributes.COLS == 3
    for use in [
        lambda: p.getControl("TimeLimit"),
        lambda: p.getAttrib("Cols"),
        lambda: p.setControl("Timelimit", 1),
        lambda: p.controls.timeLimit,
        lambda: setattr(p.controls, "timeLimit", 1),
        lambda: p.attributes.Cols,
        lambda: p.getControl("time limit"),
        lambda: p.getControl("time\0limit"),
    ]:
        with pytest.raises(tavlo.ModelError, match=MIXED):
            use()
    with pytest.raises(tavlo.ModelError, match=r"^Control or attribute name is too long$"):
        p.getControl("x" * 1025)


def test_shape_of_the_result_follows_the_arguments(p):
    two = {"threads": 1, "presolve": -1}
    assert p.getControl("threads") == 1
    assert p.getControl(["threads", "presolve"]) == two
    assert p.getControl(("threads", "presolve")) == two
    assert p.getControl(iter(two)) == two
    assert p.getControl(name.upper() for name in two) == two
    assert p.getControl("threads", "presolve") == two
    assert p.getControl([]) == {}
    assert list(p.getControl(["presolve", "threads"])) == ["presolve", "threads"]


def test_ids_are_optimizer_ids_and_keys_of_the_result(p):
    assert p.getControl(8180) == p.getControl(np.int32(8180)) == 1
    assert p.getControl([8180, "threads"]) == {8180: 1, "threads": 1}
    p.setControl(7160, 5)
    p.setControl({np.int64(8180): 2})
    assert p.getControl("timelimit", "threads") == {"timelimit": 5.0, "threads": 2}
    assert p.getAttrib(1018) == 3
    for unknown in [0, -1, 99999, 2**80]:
        with pytest.raises(tavlo.InterfaceError, match=f"^Unknown control ID {unknown}$"):
            p.getControl(unknown)
    with pytest.raises(tavlo.SolverError, match=r"."):
        p.setControl(1018, 5)  # an attribute


def test_all_controls_and_attributes(p):
    controls, attributes = p.getControl(), p.getAttrib()
    assert controls["timelimit"] == 1e20 and controls["tslp_postsolve"] == 1
    assert attributes["cols"] == 3
    for name, value in {**controls, **attributes}.items():
        assert name == name.lower()
        assert type(value) in (int, float, str), name
    assert {name: p.getControl(name) for name in controls} == controls
    assert eval(str(p.controls), {"inf": float("inf")}) == controls
    assert eval(str(p.attributes), {"inf": float("inf"), "nan": 0.0}).keys() == attributes.keys()


@pytest.mark.parametrize(
    ("call", "error", "text"),
    [
        (lambda p: p.getControl("nothing"), tavlo.InterfaceError, "^Requested value of an unknown control$"),
        (lambda p: p.getControl(["threads", "cols"]), tavlo.InterfaceError, "^Requested value of an unknown control$"),
        (lambda p: p.getControl(None), tavlo.InterfaceError, "^Requested value of an unknown control$"),
        (lambda p: p.getControl(1.5), tavlo.InterfaceError, "^Requested value of an unknown control$"),
        (lambda p: p.getControl({"threads": 1}), tavlo.InterfaceError, "^Requested value of an unknown control$"),
        (lambda p: p.getAttrib("threads"), tavlo.InterfaceError, "^Requested value of an unknown attribute$"),
        (lambda p: p.getAttrib("cols", object()), tavlo.InterfaceError, "^Requested value of an unknown attribute$"),
        (lambda p: p.controls.nothing, tavlo.InterfaceError, "^Incorrect control name$"),
        (lambda p: p.controls.cols, tavlo.InterfaceError, "^Incorrect control name$"),
        (lambda p: p.attributes.threads, tavlo.InterfaceError, "^Incorrect attribute name$"),
        (lambda p: setattr(p.controls, "cols", 1), tavlo.InterfaceError, "^Incorrect control name$"),
        (lambda p: setattr(p.attributes, "cols", 1), tavlo.ModelError, "^A problem's attribute cannot be set$"),
        (lambda p: delattr(p.attributes, "cols"), tavlo.ModelError, "^A problem's attribute cannot be set$"),
        (lambda p: delattr(p.controls, "threads"), tavlo.ModelError, "^A control cannot be deleted$"),
        (
            lambda p: p.setControl(),
            tavlo.ModelError,
            "^setControl requires at least one argument of type dictionary or two elements: parameter, value$",
        ),
        (lambda p: p.setControl("threads", 1, 2), tavlo.ModelError, "^setControl: arguments mismatch$"),
        (lambda p: p.setControl("threads"), tavlo.ModelError, "^Single argument to setControl must be a dictionary$"),
        (lambda p: p.setControl("nothing", 1), tavlo.InterfaceError, "^Incorrect control name: nothing$"),
        (lambda p: p.setControl("cols", 1), tavlo.InterfaceError, "^Incorrect control name: cols$"),
        (
            lambda p: p.setControl(None, 1),
            tavlo.InterfaceError,
            "^Control name can not be interpreted as string$",
        ),
        (
            lambda p: p.setControl(Unprintable(), 1),
            tavlo.InterfaceError,
            "^Control name can not be interpreted as string$",
        ),
    ],
)
def test_misuse_is_told_apart(p, call, error, text):
    with pytest.raises(error, match=text):
        call(p)


class Unprintable:
    def __str__(self):
        raise RuntimeError("no text")


class Threads:
    def __str__(self):
        return "THREADS"


@pytest.mark.parametrize(
    ("name", "values", "error", "text"),
    [
        (
            "threads",
            ["1", 1.0, None, np.float64(1), np.uint8(1), np.bool_(True)],
            tavlo.ModelError,
            "^Cannot set non-integer value to an integer control$",
        ),
        (
            "timelimit",
            ["1", None, np.float32(1), [1.0], 1j],
            tavlo.ModelError,
            "^Cannot set non-numerical value to a floating-point control$",
        ),
        ("threads", [2**63], tavlo.ModelError, f"^Value {2**63} is out of range for an integer control$"),
        ("tslp_postsolve", [2**32 + 1], tavlo.ModelError, "is out of range for an integer control$"),
        *(
            (name, [value], tavlo.SolverError, name)  # the library's text
            for name, value in {"threads": 0, "presolve": 7, "feastol": -1.0, "timelimit": float("nan")}.items()
        ),
        ("maxnode", [2**40], tavlo.SolverError, "maxnode"),
    ],
)
def test_refused_values(p, name, values, error, text):
    before = p.getControl(name)
    for value in values:
        with pytest.raises(error, match=text):
            setattr(p.controls, name, value)
        with pytest.raises(error, match=text):
            p.setControl(name, value)
    assert p.getControl(name) == before


def test_accepted_values(p):
    for value in [3, True, np.int8(3), np.int64(3)]:
        p.controls.threads = value
        assert p.controls.threads == value and type(p.controls.threads) is int
    for value in [3, 2.5, np.float64(2.5), np.int16(3), 10**18]:
        p.controls.timelimit = value
        assert p.controls.timelimit == value and type(p.controls.timelimit) is float
    p.setControl(Threads(), 5)  # anything with a text names a control
    assert p.controls.threads == 5


def test_dictionary_is_set_in_order_up_to_the_first_failure(p):
    with pytest.raises(tavlo.InterfaceError, match=r"^Incorrect control name"):
        p.setControl({"threads": 4, "nothing": 1, "timelimit": 9})
    assert p.getControl("threads", "timelimit") == {"threads": 4, "timelimit": 1e20}


def test_module_level_values_reach_later_problems_only(p, clean_defaults):
    assert tavlo.controls.timelimit == 1e20
    tavlo.controls.TIMELIMIT = 42
    tavlo.controls.threads = 2
    assert tavlo.controls.timelimit == 42
    later = tavlo.problem()
    assert later.getControl("timelimit", "threads") == {"timelimit": 42.0, "threads": 2}
    assert p.controls.timelimit == 1e20
    later.reset()
    assert later.controls.timelimit == 42
    assert later.controls.tslp_postsolve == 1
    for name, value, text in [("threads", "x", "non-integer"), ("timelimit", "x", "non-numerical")]:
        with pytest.raises(tavlo.ModelError, match=text):
            setattr(tavlo.controls, name, value)
    for use in [lambda: tavlo.controls.cols, lambda: setattr(tavlo.controls, "cols", 1)]:
        with pytest.raises(tavlo.InterfaceError, match=r"^Incorrect control name$"):
            use()
    assert "'threads': 1" in str(tavlo.controls)  # the library's defaults, not the values that were set


def test_default_that_the_library_refuses_fails_the_problem_and_leaves_nothing(clean_defaults):
    standard = tavlo.controls.feastol
    tavlo.controls.feastol = -1.0
    with pytest.raises(tavlo.SolverError, match="feastol"):
        tavlo.problem()
    tavlo.setdefaultcontrol("feastol")
    assert tavlo.problem().controls.feastol == tavlo.controls.feastol == standard


def test_copies_belong_to_the_same_problem(p):
    for original in (p.controls, p.attributes):
        twin = original.copy()
        assert type(twin) is type(original) and twin is not original
        assert twin.__dict__ == original.__dict__
    p.controls.copy().threads = 5
    assert p.controls.threads == 5
    assert tavlo.controls.copy().__dict__ == tavlo.controls.__dict__
    assert "timelimit" in dir(p.controls) and "cols" in dir(p.attributes)


def test_name_tables_cannot_be_damaged_from_outside(p):
    p.controls.__dict__.clear()
    p.attributes.__dict__["cols"] = None
    assert p.controls.threads == 1 and p.attributes.cols == 3


def test_special_names_follow_the_interpreters_rules(p):
    assert p.controls.__class__ is type(p.controls)
    for name in ["__array_interface__", "__len__", "__deepcopy__"]:
        assert not hasattr(p.controls, name)
    with pytest.raises(TypeError):
        copy.copy(p.controls)


@pytest.mark.parametrize("release", [True, False])
def test_objects_that_outlive_their_problem_say_so(release):
    p = tavlo.problem()
    controls, attributes, twin = p.controls, p.attributes, p.controls.copy()
    p.reset()
    controls.threads = 3  # a reset problem is still the same one
    assert twin.threads == p.controls.threads == 3
    if release:
        p.__exit__()
    else:
        del p
    for use in (
        lambda: controls.threads, lambda: attributes.cols, lambda: setattr(twin, "threads", 2),
        lambda: str(controls), lambda: str(attributes),
    ):  # fmt: skip
        with pytest.raises(tavlo.ModelError, match=r"^Problem is not initialized$"):
            use()


def test_iterators_may_ask_for_controls_themselves(p):
    def names():
        for name in p.getControl():
            p.setControl("threads", p.getControl("threads") % 7 + 1)
            yield name

    assert p.getControl(names()).keys() == p.getControl().keys()

    def releasing():
        yield "threads"
        p.__exit__()

    with pytest.raises(tavlo.ModelError, match=r"^Problem is not initialized$"):
        p.getControl(releasing())


def test_values_that_run_code_when_they_go_may_use_the_defaults(clean_defaults):
    class Clinging(float):
        def __del__(self):
            tavlo.controls.timelimit = 7.0

    tavlo.controls.timelimit = Clinging(1.0)
    tavlo.controls.timelimit = 2.0
    assert tavlo.controls.timelimit == 7.0
    tavlo.controls.timelimit = Clinging(1.0)
    tavlo.setdefaultcontrol("timelimit")
    assert tavlo.controls.timelimit == 7.0
    tavlo.controls.timelimit = Clinging(1.0)
    tavlo.setdefaults()
    assert tavlo.controls.timelimit == 7.0


def test_controls_from_other_threads_while_a_problem_solves():
    weights = [3, 5, 7, 11, 13, 17, 19, 23]
    x = [tavlo.var(vartype=tavlo.integer, ub=9) for _ in weights]
    solving = tavlo.problem(x, tavlo.Sum(w * v for w, v in zip(weights, x)) == 157, -tavlo.Sum(x))
    others = [tavlo.problem() for _ in range(4)]
    done = threading.Event()
    failures = []

    def work(other):
        try:
            while not done.is_set():
                other.setControl("threads", other.getControl("threads") % 7 + 1)
                other.getAttrib()
                tavlo.controls.timelimit = 1e20
        except Exception as error:
            failures.append(error)

    threads = [threading.Thread(target=work, args=(other,)) for other in others]
    interval = sys.getswitchinterval()
    sys.setswitchinterval(1e-5)
    try:
        for thread in threads:
            thread.start()
        for _ in range(20):
            solving.solve()
    finally:
        done.set()
        sys.setswitchinterval(interval)
    for thread in threads:
        thread.join(60)
    assert not failures and not any(thread.is_alive() for thread in threads)
    assert solving.getProbStatus() == tavlo.mip_optimal


def test_access_leaks_no_references(p, reference_growth):
    name, value = "timelimit", 1234.5
    controls, attributes = p.controls, p.attributes

    def use():
        p.setControl(name, value)
        p.setControl({name: value})
        p.getControl(), p.getAttrib(), p.getControl([name, 8180]), p.getAttrib("cols")
        controls.copy().timelimit, attributes.copy().cols, str(controls), controls.__dict__
        for bad in (lambda: controls.nothing, lambda: p.getControl("nothing"), lambda: p.setControl("nothing", 1)):
            with pytest.raises(tavlo.InterfaceError):
                bad()
        with pytest.raises(tavlo.ModelError):
            p.setControl(name, name)

    objects = [None, name, value, p, controls, attributes, type(controls), type(attributes), tavlo.InterfaceError]
    assert all(abs(n) < 20 for n in reference_growth(use, objects, calls=300))
