# ruff: noqa: F403, F405, RUF022
"""Mathematical optimisation: build, solve and query linear, mixed-integer, quadratic and nonlinear models."""

from .tavlolib import *
from .tavlolib import _getcontrols, _init

TYPE_CHECKING = False  # as typing's, without importing it
if TYPE_CHECKING:
    from .tavlolib import control

    controls: control

# What the module offers, in its order; type checkers need it written out.
# fmt: off
__all__ = [
    "var", "expression", "sos", "constraint", "problem", "branchobj", "poolcut", "ModelError", "InterfaceError",
    "SolverError",
    "Sum", "Prod", "sin", "cos", "tan", "asin", "acos", "atan", "exp", "log", "log10", "abs", "sqrt", "sign", "erf",
    "erfc", "max", "min", "user", "vars", "Dot", "getlasterror", "getversion", "setdefaultcontrol", "setdefaults",
    "getbanner", "free", "evaluate", "pwl", "And", "Or", "getOutputEnabled", "setOutputEnabled", "init", "controls",
    "npvar", "npexpr", "npconstraint",
    "continuous", "binary", "integer", "semicontinuous", "semiinteger", "partiallyinteger", "minimize", "maximize",
    "leq", "geq", "eq", "rng", "infinity", "solinfo_absprimalinfeas", "solinfo_relprimalinfeas",
    "solinfo_absdualinfeas", "solinfo_reldualinfeas", "solinfo_maxmipfractional", "basis_nonbasic_lower",
    "basis_basic", "basis_nonbasic_upper", "basis_superbasic", "lp_unstarted", "lp_optimal", "lp_infeas",
    "lp_cutoff", "lp_unfinished", "lp_unbounded", "lp_cutoff_in_dual", "lp_unsolved", "lp_nonconvex",
    "mip_not_loaded", "mip_lp_not_optimal", "mip_lp_optimal", "mip_no_sol_found", "mip_solution", "mip_infeas",
    "mip_optimal", "mip_unbounded", "nlp_unstarted", "nlp_solution", "nlp_locally_optimal", "nlp_globally_optimal",
    "nlp_locally_infeasible", "nlp_infeasible", "nlp_unbounded", "nlp_unfinished", "stop_timelimit", "stop_ctrlc",
    "stop_nodelimit", "stop_iterlimit", "stop_mipgap", "stop_sollimit", "stop_user", "type_notdefined", "type_int",
    "type_int64", "type_double", "type_string", "colinfo_value", "colinfo_rdj", "colinfo_deltaindex",
    "colinfo_delta", "colinfo_deltadj", "colinfo_updaterow", "colinfo_sb", "colinfo_sbdual", "rowinfo_slack",
    "rowinfo_dual", "rowinfo_numpenaltyerrors", "rowinfo_maxpenaltyerror", "rowinfo_totalpenaltyerror",
    "rowinfo_currentpenaltyerror", "rowinfo_currentpenaltyfactor", "rowinfo_penaltycolumnplus",
    "rowinfo_penaltycolumnplusvalue", "rowinfo_penaltycolumnplusdj", "rowinfo_penaltycolumnminus",
    "rowinfo_penaltycolumnminusvalue", "rowinfo_penaltycolumnminusdj", "msset_initialvalues",
    "msset_initialfiltered", "msset_solvers", "msset_slp_basic", "msset_slp_extended", "msset_knitro_basic",
    "msset_knitro_extended", "gencons_max", "gencons_min", "gencons_and", "gencons_or", "gencons_abs", "tok_eof",
    "tok_con", "tok_col", "tok_fun", "tok_ifun", "tok_lb", "tok_rb", "tok_del", "tok_op", "op_uminus",
    "op_exponent", "op_multiply", "op_divide", "op_plus", "op_minus", "op_comma", "op_colon", "ifun_log",
    "ifun_log10", "ifun_ln", "ifun_exp", "ifun_abs", "ifun_sqrt", "ifun_sin", "ifun_cos", "ifun_tan", "ifun_arcsin",
    "ifun_arccos", "ifun_arctan", "ifun_min", "ifun_max", "ifun_pwl", "ifun_sign", "ifun_erf", "ifun_erfc",
]
# fmt: on


def init() -> None:
    """Starts the solver library once more; each start is undone by one call of free()."""
    _init(None)


def __getattr__(name: str) -> object:
    if name == "controls":  # made on first use: it fills the control tables
        globals()["controls"] = _getcontrols()
        return globals()["controls"]
    raise AttributeError(f"module 'tavlo' has no attribute {name!r}")


def __dir__() -> list[str]:
    return sorted({*globals(), "controls"})
