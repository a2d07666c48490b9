"""Reading and writing problem files, and the registry after it."""

import math

import pytest

import tavlo as tv


def sample():
    kinds = [tv.continuous, tv.binary, tv.integer, tv.semicontinuous, tv.semiinteger]
    x = [tv.var(name=f"v{k}", lb=0, ub=9 if k != tv.binary else 1, threshold=2.5, vartype=k) for k in kinds]
    x += [tv.var(name=f"w{i}", lb=-i) for i in range(300)]
    rows = [
        tv.constraint(body=x[0] + x[5], ub=3, name="le"),
        tv.constraint(body=x[1] - 2 * x[6], lb=-4, name="ge"),
        tv.constraint(body=x[2] + x[7], lb=5, ub=5, name="eq"),
        tv.constraint(body=x[3] + x[8], lb=-1, ub=6, name="range"),
    ]
    rows += [tv.constraint(body=v, lb=-1000, name=f"r{i}") for i, v in enumerate(x)]
    return tv.problem(x, rows, tv.Sum((i % 7 - 3) * v for i, v in enumerate(x)) + 2.5, name="sample")


@pytest.mark.parametrize("name", ["a.mps", "a.mps.gz", "a.lp"])
def test_what_is_written_is_read(name, tmp_path, stored, agrees):
    p, q = sample(), tv.problem(tv.var(), name="old")
    p.write(str(tmp_path / name))
    q.read(filename=str(tmp_path / name), options="")
    if name.endswith(".lp"):  # the format has no order of columns of its own
        assert sorted(v.name for v in q.getVariable()) == sorted(v.name for v in p.getVariable())
    else:
        assert stored(q).difference(stored(p)) == ""
        for mine, its in zip(*(agrees(problem)[0] for problem in (p, q))):
            assert (its.name, its.lb, its.ub, its.vartype) == (mine.name, mine.lb, mine.ub, mine.vartype)
            limited = mine.vartype in (tv.semicontinuous, tv.semiinteger)
            assert its.threshold == (mine.threshold if limited else -1e20)
        for mine, its in zip(p.getConstraint(), q.getConstraint()):
            assert (its.name, its.lb, its.ub) == (mine.name, mine.lb, mine.ub)
    with pytest.raises(tv.ModelError, match="Constraint has no body"):
        _ = q.getConstraint(0).body


@pytest.mark.parametrize("name", ["a.mps", "a.lp", None])
@pytest.mark.parametrize("lb, ub", [(0.1, 1e16), (-1e16, 0.1), (-1.05, 1.1)])
def test_both_sides_of_a_row_count_to_the_last_bit(lb, ub, name, tmp_path):
    x = tv.var(lb=-1e19)
    p = tv.problem(x, tv.constraint(body=x, lb=lb, ub=ub))
    if name:
        p.write(str(tmp_path / name))
        p.read(str(tmp_path / name))
        assert (p.getConstraint(0).lb, p.getConstraint(0).ub) == (lb, ub)
        x = p.getVariable(0)
    for sense, best in ((tv.minimize, lb), (tv.maximize, ub)):
        p.setObjective(x, sense=sense)
        p.solve()
        assert p.attributes.lpstatus == 1 and p.getSolution(x) == best


def test_a_problem_that_was_read_can_be_worked_on(tmp_path, stored, agrees):
    p = tv.problem()
    sample().write(str(tmp_path / "a.mps"))
    p.read(str(tmp_path / "a.mps"))
    v, w = p.getVariable(0), p.getVariable(304)
    p.addConstraint(v + w <= 1)
    assert stored(p).row(309) == {0: 1, 304: 1}
    p.delVariable([1, 2])
    p.delConstraint("le")
    p.addVariable(tv.var())
    agrees(p)
    again = tv.problem(p.getVariable())  # with the names, thresholds and bounds that were read
    assert stored(again).column_name == stored(p).column_name
    assert stored(again).threshold.tolist() == stored(p).threshold.tolist()


def test_failing_reads_leave_an_empty_problem(tmp_path, agrees):
    garbage = tmp_path / "garbage.mps"
    garbage.write_text("ROWS\n N cost\n Q what\nENDATA\n")
    for file, text in ((garbage, ":3:"), (tmp_path / "none.mps", "none.mps"), (tmp_path, "irectory")):
        p = tv.problem(tv.var(), tv.var())
        with pytest.raises(tv.SolverError, match=text):
            p.read(str(file))
        assert agrees(p) == ([], [])
        p.addVariable(tv.var())
        assert len(agrees(p)[0]) == 1
    p = tv.problem(tv.var())
    for bad in ((), (3,), ("a\0b",), ("a", "b", "c")):
        with pytest.raises((TypeError, ValueError)):
            p.read(*bad)
        assert len(agrees(p)[0]) == 1


def test_failing_writes(tmp_path, agrees):
    p = sample()
    for file in (tmp_path / "none" / "a.mps", "/dev/full"):
        with pytest.raises(tv.SolverError):
            p.write(str(file))
    assert [len(objects) for objects in agrees(p)] == [305, 309]


def test_names_in_latin_1_can_be_asked_for(tmp_path):
    file = tmp_path / "latin.mps"
    file.write_bytes(b"NAME\nROWS\n N cost\n L r\xe4w\nCOLUMNS\n caf\xe9 r\xe4w 1\nRHS\n rhs r\xe4w 1\nENDATA\n")
    p = tv.problem()
    p.read(str(file))
    assert (p.getVariable(0).name, p.getConstraint(0).name) == ("caf\u00e9", "r\u00e4w")
    p.delVariable("caf\u00e9")
    assert p.attributes.cols == 0


def test_flags_choose_the_writer(tmp_path):
    p = sample()
    p.write(str(tmp_path / "a.mps"))
    p.write(str(tmp_path / "b.mps"), flags="g")
    p.write(str(tmp_path / "c.txt"), "l")
    assert (tmp_path / "a.mps").read_bytes() == (tmp_path / "b.mps").read_bytes()
    q = tv.problem()
    q.read(str(tmp_path / "c.txt"), "l")
    assert q.attributes.cols == 305


@pytest.mark.parametrize("rows", [0, 1])
def test_a_nonlinear_objective_that_was_read_goes_with_the_next_one(rows, tmp_path, agrees):
    x, y = tv.var(lb=-2, ub=2, name="x"), tv.var(ub=3, name="y")
    formulas = [tv.exp(y) - 3 <= 0] if rows else []
    p = tv.problem([x, y], formulas, [x + y <= 4], (x - 1) ** 4 + tv.exp(y))
    p.write(str(tmp_path / "a.mps"))
    p.read(str(tmp_path / "a.mps"))
    p.solve()
    assert p.getObjVal() == pytest.approx(1, abs=1e-5)
    p.setObjective(p.getVariable(0) + p.getVariable(1), sense=tv.maximize)
    assert (p.attributes.rows, p.attributes.cols) == (1 + rows, 2)
    agrees(p)
    p.solve()
    assert p.getObjVal() == pytest.approx(2 + math.log(3) if rows else 4)


def test_content_counts_more_than_the_name_of_a_file(tmp_path):
    p, q = sample(), tv.problem()
    p.write(str(tmp_path / "b.mps"), "l")
    p.write(str(tmp_path / "b.lp"), "x")
    for name in ("b.mps", "b.lp"):
        q.read(str(tmp_path / name))
        assert q.attributes.rows == p.attributes.rows
