"""The named constants against a table of their own: their numbers are part of what users store and exchange."""

import pytest

import tavlo

CONSTANTS = """
continuous 0, binary 1, integer 2, semicontinuous 3, semiinteger 4, partiallyinteger 5,
minimize 1, maximize -1,
leq 1, geq 2, eq 3, rng 4,
infinity 1e20,
solinfo_absprimalinfeas 0, solinfo_relprimalinfeas 1, solinfo_absdualinfeas 2, solinfo_reldualinfeas 3,
solinfo_maxmipfractional 4,
basis_nonbasic_lower 0, basis_basic 1, basis_nonbasic_upper 2, basis_superbasic 3,
lp_unstarted 0, lp_optimal 1, lp_infeas 2, lp_cutoff 3, lp_unfinished 4, lp_unbounded 5, lp_cutoff_in_dual 6,
lp_unsolved 7, lp_nonconvex 8,
mip_not_loaded 0, mip_lp_not_optimal 1, mip_lp_optimal 2, mip_no_sol_found 3, mip_solution 4, mip_infeas 5,
mip_optimal 6, mip_unbounded 7,
nlp_unstarted 0, nlp_solution 1, nlp_locally_optimal 1, nlp_globally_optimal 2, nlp_locally_infeasible 3,
nlp_infeasible 4, nlp_unbounded 5, nlp_unfinished 6,
stop_timelimit 1, stop_ctrlc 2, stop_nodelimit 3, stop_iterlimit 4, stop_mipgap 5, stop_sollimit 6,
stop_user 9,
type_notdefined 0, type_int 1, type_int64 2, type_double 3, type_string 4,
colinfo_value 1, colinfo_rdj 2, colinfo_deltaindex 3, colinfo_delta 4, colinfo_deltadj 5,
colinfo_updaterow 6, colinfo_sb 7, colinfo_sbdual 8,
rowinfo_slack 1, rowinfo_dual 2, rowinfo_numpenaltyerrors 3, rowinfo_maxpenaltyerror 4,
rowinfo_totalpenaltyerror 5, rowinfo_currentpenaltyerror 6, rowinfo_currentpenaltyfactor 7,
rowinfo_penaltycolumnplus 8, rowinfo_penaltycolumnplusvalue 9, rowinfo_penaltycolumnplusdj 10,
rowinfo_penaltycolumnminus 11, rowinfo_penaltycolumnminusvalue 12, rowinfo_penaltycolumnminusdj 13,
msset_initialvalues 0, msset_initialfiltered 6, msset_solvers 1, msset_slp_basic 2, msset_slp_extended 3,
msset_knitro_basic 4, msset_knitro_extended 5,
gencons_max 0, gencons_min 1, gencons_and 2, gencons_or 3, gencons_abs 4,
tok_eof 0, tok_con 1, tok_col 10, tok_fun 11, tok_ifun 12, tok_lb 21, tok_rb 22, tok_del 24, tok_op 31,
op_uminus 1, op_exponent 2, op_multiply 3, op_divide 4, op_plus 5, op_minus 6, op_comma 1, op_colon 2,
ifun_log 13, ifun_log10 14, ifun_ln 15, ifun_exp 16, ifun_abs 17, ifun_sqrt 18, ifun_sin 27, ifun_cos 28,
ifun_tan 29, ifun_arcsin 30, ifun_arccos 31, ifun_arctan 32, ifun_min 33, ifun_max 34, ifun_pwl 35,
ifun_sign 46, ifun_erf 49, ifun_erfc 50
"""
TABLE = [tuple(item.split()) for item in CONSTANTS.replace("\n", " ").split(",")]


def test_every_constant_has_its_value_and_kind():
    assert len(TABLE) == 127
    for name, text in TABLE:
        value = getattr(tavlo, name)
        assert value == float(text), name
        assert type(value) is (float if name == "infinity" else int), name


def test_there_are_no_other_constants():
    numbers = {name for name in dir(tavlo.tavlolib) if isinstance(getattr(tavlo.tavlolib, name), (int, float))}
    assert numbers == {name for name, _ in TABLE}


@pytest.mark.parametrize("name", ["ModelError", "InterfaceError", "SolverError"])
def test_exceptions_are_plain_subclasses_of_exception(name):
    cls = getattr(tavlo, name)
    assert cls.__bases__ == (Exception,)
    assert f"{cls.__module__}.{cls.__name__}" == f"tavlo.{name}"


def test_the_package_offers_every_name_of_the_module():
    names = {name for name in dir(tavlo.tavlolib) if not name.startswith("_")}
    assert set(tavlo.__all__) == names | {"init", "controls"}
    assert len(tavlo.__all__) == len(set(tavlo.__all__))
    namespace = {}
    exec("from tavlo import *", namespace)
    assert namespace["controls"] is tavlo.controls is tavlo.tavlolib._getcontrols()
