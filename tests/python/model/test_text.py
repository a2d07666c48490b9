"""The text of every kind of object."""

from pathlib import Path

import numpy as np
import pytest

import tavlo as tv

GOLDEN = [
    line.partition(" => ")
    for line in (Path(__file__).parent / "golden_text.txt").read_text().splitlines()
    if line and not line.startswith("#")
]


@pytest.mark.parametrize("source, _, text", GOLDEN, ids=[source for source, _, _ in GOLDEN])
def test_golden_text(source, _, text, x, y, z):
    u = tv.var()
    obj = eval(source, {"x": x, "y": y, "z": z, "u": u, "n": tv.sin(x), "m": tv.cos(y), "np": np, "tv": tv})
    printed = "[" + str(obj).replace(f"C{hash(u)}", "C#") + "]"
    assert printed == text
    if not isinstance(obj, (np.ndarray, tv.problem)):
        assert repr(obj) == str(obj)


def test_names_made_of_indices(x):
    first, second = x <= 1, x <= 2
    index = int(str(first)[1:])
    assert (repr(second), repr(first.copy())) == (f"R{index + 1}", f"R{index}_copy_R{index}")
    second.name = "row"
    assert str(second.copy()) == f"R{index + 1}_copy_row"
    one = tv.sos([x], [1])
    index = int(str(one)[3:])
    assert (repr(one), repr(one.copy()), one.copy().name) == (f"sos{index}", *[f"sos{index}_copy_sos{index}"] * 2)


def test_the_cut_of_deep_trees(x):
    def nested(node, levels):
        for _ in range(levels):
            node = -node
        return str(node)

    assert nested(tv.sin(x), 63) == "- (" * 63 + "sin (x)" + ")" * 63
    assert nested(tv.sin(x), 64) == "- (" * 64 + "sin ([MAX RECURS LEV])" + ")" * 64
    assert nested(tv.sin(x), 65) == nested(tv.sin(x), 1000) == "- (" * 65 + "[MAX RECURS LEV]" + ")" * 65
    assert nested(x / 2 & x, 64) == "- (" * 64 + "and ([MAX RECURS LEV], [MAX RECURS LEV])" + ")" * 64
    assert nested(2.5 ** tv.sin(x), 64) == "- (" * 64 + "(2.5 ** [MAX RECURS LEV])" + ")" * 64
    assert nested(tv.user(max, x), 64) == "- (" * 64 + "user ([MAX RECURS LEV], [MAX RECURS LEV])" + ")" * 64


def test_text_does_not_follow_the_locale(run_python):
    code = (
        "import locale, tavlo as tv\ntry:\n    locale.setlocale(locale.LC_ALL, 'de_DE.UTF-8')\nexcept locale.Error:\n"
    )
    assert run_python(code + "    pass\nprint(0.5 * tv.var(name='x') + 1.5)") == "1.5 +0.5 x\n"


def test_a_name_that_fails_or_meddles_while_printing(x, y):
    class Meddling:
        def __str__(self):
            e.__isub__(x + y)
            return "m"

    class Failing:
        def __str__(self):
            raise ValueError("no text")

    e = x + y
    x.name = Meddling()
    assert str(e) == "  m + y" and str(e) != "  m + y"
    y.name = Failing()
    for text in (lambda: str(y), lambda: str(2 * y * x), lambda: str(1 + y), lambda: (1 + y) + [2] and None):
        with pytest.raises((ValueError, tv.ModelError)):
            text()
