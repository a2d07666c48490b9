"""The text of terms and expressions."""

import pytest

import tavlo as tv

FORMS = [
    ("x", "x"),
    ("2*x", "2*x"),
    ("-x", "-1*x"),
    ("x/2", "0.5*x"),
    ("1e20*x", "1e+20*x"),
    ("1234567*x", "1.23457e+06*x"),
    ("x**2", "x**2"),
    ("3*x*y", "3*x*y"),
    ("y*x*3", "3*x*y"),
    ("-(x*y)", "-1*x*y"),
    ("0*(x*y)", "0*x*y"),
    ("x+y", "  x + y"),
    ("y+x", "  x + y"),
    ("5+3*x-2*x*y+y**2", "5 +3 x -2 x*y + y**2"),
    ("-(x+y)", " - x - y"),
    ("2*x+y-y", " 2 x"),
    ("x+y-x-y", "0"),
    ("x+y-x-y+2", "2"),
    ("0*(x+y)", "0"),
    ("(x+y)*0.5-1e-7", "-1e-07 +0.5 x +0.5 y"),
    ("float('nan')+x", "nan + x"),
    ("float('-inf')+x", "-inf + x"),
    ("x*x-x*y+2*y*y-x", " - x + x**2 - x*y +2 y**2"),
]


@pytest.mark.parametrize("source, text", FORMS)
def test_forms(source, text, x, y):
    obj = eval(source, {"x": x, "y": y})
    assert str(obj) == repr(obj) == text


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
