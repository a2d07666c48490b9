// The nonlinear component's C interface. The conventions of tvlo.h hold.
//
// A nonlinear problem stands over an optimizer problem and shares its model: reading a file, or setting control
// `objsense`, changes that. Its errors are its own and leave the optimizer problem's last error alone.
#pragma once

#include "tvlo/tvlo.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct tslp_prob_s* TSLPprob;

// Flag bits of TSLPcontrolcode, which finds a control or attribute by its id, else by its name in lower case.
enum {
  TSLP_FLAG_INT = 1,
  TSLP_FLAG_DOUBLE = 2,
  TSLP_FLAG_STRING = 4,
  TSLP_FLAG_CONTROL = 16,
  TSLP_FLAG_UNDEFINED = 512
};
// Ids of the component's attributes and controls: TSLP_ATTRIBUTE_nlpstatus, TSLP_CONTROL_nlp_tol.
enum {
#define TVLO_ATTRIBUTE(id, name, ...) TSLP_ATTRIBUTE_##name = id,
#include "tvlo/tslp_attributes.def"
#undef TVLO_ATTRIBUTE
#define TVLO_CONTROL(id, name, ...) TSLP_CONTROL_##name = id,
#include "tvlo/tslp_controls.def"
#undef TVLO_CONTROL
};

TVLO_API int TSLPinit(void);  // counted, like TVLOinit; starts nothing of the optimizer
TVLO_API int TSLPfree(void);
TVLO_API int TSLPcreateprob(TSLPprob* slp, TVLOprob* prob);  // over *prob, which must outlive it
TVLO_API int TSLPdestroyprob(TSLPprob slp);
// The formulas; TVLOcopyprob copies the whole model, these among it. A copy calls the same user functions, under the
// same ids. A null or empty name changes nothing.
TVLO_API int TSLPcopyprob(TSLPprob dest, TSLPprob src, const char* name);
TVLO_API int TSLPcopycontrols(TSLPprob dest, TSLPprob src);                      // all but the objective sense
TVLO_API int TSLPgetlasterror(TSLPprob slp, int* code, char* text);              // TVLO_ERRORTEXT_MAX bytes
TVLO_API int TSLPsetcbmessage(TSLPprob slp, TVLOmessagefn handler, void* data);  // null removes it

// Files of the optimizer, too, hold formulas: free MPS files, in the sections FORMULAS, VARIABLES and ROWSTATUS.
// Formulas that call user functions can't be written.
TVLO_API int TSLPreadprob(TSLPprob slp, const char* filename, const char* flags);
TVLO_API int TSLPwriteprob(TSLPprob slp, const char* filename, const char* flags);

TVLO_API int TSLPsetintcontrol(TSLPprob slp, int id, int value);
TVLO_API int TSLPsetdblcontrol(TSLPprob slp, int id, double value);
TVLO_API int TSLPsetstrcontrol(TSLPprob slp, int id, const char* value);
TVLO_API int TSLPgetintcontrol(TSLPprob slp, int id, int* value);
TVLO_API int TSLPgetdblcontrol(TSLPprob slp, int id, double* value);
TVLO_API int TSLPgetstrcontrol(TSLPprob slp, int id, char* value, int maxbytes, int* nbytes);
TVLO_API int TSLPgetintattrib(TSLPprob slp, int id, int* value);
TVLO_API int TSLPgetdblattrib(TSLPprob slp, int id, double* value);
TVLO_API int TSLPgetstrattrib(TSLPprob slp, int id, char* value, int maxbytes, int* nbytes);
// The component's list, and the list of its local solver's options; both end at an empty name.
TVLO_API int TSLPgetcalist(const int** ids, const char* const** names, const int** types);
TVLO_API int TSLPgetKTRcalist(const int** ids, const char* const** names, const int** types);
TVLO_API int TSLPcontrolcode(int id, const char* name, int* flags);

// ---- formulas -----------------------------------------------------------------------------------
// A coefficient stands for factor * column * formula in its row; column -1, which is attribute 12013, stands for 1. A
// formula is a run of tokens, a type and a value each, that ends with TSLP_TOKEN_END. Parsed formulas are in reverse
// Polish order: an operator after its operands; the marker, a function's arguments, then the function. An empty formula
// is 1. A row may have several coefficients in a column: they add up. A column that a formula uses can't be deleted;
// with a row its coefficients go. In unparsed formulas a minus sign without a left operand is that of the unary
// operator.
enum {
  TSLP_TOKEN_END = 0,
  TSLP_TOKEN_CONSTANT = 1,   // value: the number
  TSLP_TOKEN_COLUMN = 10,    // value: the column
  TSLP_TOKEN_USER = 11,      // value: the user function's id
  TSLP_TOKEN_FUNCTION = 12,  // value: TSLP_FUNCTION_...
  TSLP_TOKEN_LEFT = 21,      // unparsed formulas only: ( and ), and the comma between arguments
  TSLP_TOKEN_MARKER = 22,    // before a function's arguments
  TSLP_TOKEN_RIGHT = 23,
  TSLP_TOKEN_COMMA = 24,
  TSLP_TOKEN_OPERATOR = 31  // value: TSLP_OPERATOR_...
};
enum {
  TSLP_OPERATOR_UMINUS = 1,
  TSLP_OPERATOR_POWER = 2,
  TSLP_OPERATOR_TIMES = 3,
  TSLP_OPERATOR_DIVIDE = 4,
  TSLP_OPERATOR_PLUS = 5,
  TSLP_OPERATOR_MINUS = 6
};
enum {
  TSLP_FUNCTION_LOG10 = 14,
  TSLP_FUNCTION_LN = 15,
  TSLP_FUNCTION_EXP = 16,
  TSLP_FUNCTION_ABS = 17,
  TSLP_FUNCTION_SQRT = 18,
  TSLP_FUNCTION_SIN = 27,
  TSLP_FUNCTION_COS = 28,
  TSLP_FUNCTION_TAN = 29,
  TSLP_FUNCTION_ARCSIN = 30,
  TSLP_FUNCTION_ARCCOS = 31,
  TSLP_FUNCTION_ARCTAN = 32,
  TSLP_FUNCTION_MIN = 33,
  TSLP_FUNCTION_MAX = 34,
  TSLP_FUNCTION_PWL = 35,  // arguments: the points y_n, x_n, ..., y_1, x_1, then the variable
  TSLP_FUNCTION_SIGN = 46,
  TSLP_FUNCTION_ERF = 49,
  TSLP_FUNCTION_ERFC = 50
};
// `start` has the position of each coefficient's first token; null: one formula follows the other. addcoefs adds,
// loadcoefs replaces all that there are. Both change nothing when they fail. chgcoef replaces what a row has in a
// column (factor null: 1; type null: removes it).
TVLO_API int TSLPaddcoefs(TSLPprob slp, int ncoefs, const int* rowind, const int* colind, const double* factor,
                          const int* start, int parsed, const int* type, const double* value);
TVLO_API int TSLPloadcoefs(TSLPprob slp, int ncoefs, const int* rowind, const int* colind, const double* factor,
                           const int* start, int parsed, const int* type, const double* value);
TVLO_API int TSLPchgcoef(TSLPprob slp, int row, int col, const double* factor, int parsed, const int* type,
                         const double* value);
TVLO_API int TSLPdelcoefs(TSLPprob slp, int ncoefs, const int* rowind, const int* colind);
// Each (row, column) that has coefficients, once, in ascending order; with null arrays only the count is filled.
TVLO_API int TSLPgetcoefs(TSLPprob slp, int* ncoefs, int* rowind, int* colind);
// The sum of what a row has in a column. Fails when it has more than maxtypes tokens, the end among them.
TVLO_API int TSLPgetcoefformula(TSLPprob slp, int row, int col, double* factor, int parsed, int maxtypes, int* ntokens,
                                int* type, double* value);

// A function that the caller provides. Type 2: func(x, data) gives the value, and derivatives are taken by differences.
// Type 5: it gives the derivatives too. A nonzero result ends the solve, which then fails; a value that is not finite
// says that the function has none there. `data` and `func` must stay valid while the problem,
// or a copy of it, keeps this model. nresults and options are 1 and 0. The same name may be used again.
typedef int (*TSLPuserfn)(const double* x, int nargs, double* value, double* derivs, void* data);  // derivs null: none
TVLO_API int TSLPadduserfunction(TSLPprob slp, const char* name, int type, int nargs, int nresults, int options,
                                 TSLPuserfn func, void* data, int* id);
// Another function and other data behind an identifier, as a copy of a problem may need.
TVLO_API int TSLPchguserfunction(TSLPprob slp, int id, TSLPuserfn func, void* data);

// ---- variables and rows of the nonlinear problem ------------------------------------------------
// Null pointers change nothing. `detrow` -1: none. `initial` is the value that a solve starts from.
TVLO_API int TSLPchgvar(TSLPprob slp, int col, const int* detrow, const double* initstepbound, const double* stepbound,
                        const double* penalty, const double* damp, const double* initial, const double* value,
                        const int* tolset, const int* history, const int* converged, const int* vartype);
TVLO_API int TSLPdelvars(TSLPprob slp, int n, const int* colind);  // what chgvar said of them is forgotten
// Bits of a row's status. 11 (2048): the transfer row of the objective.
TVLO_API int TSLPchgrowstatus(TSLPprob slp, int row, const int* status);
TVLO_API int TSLPgetrowstatus(TSLPprob slp, int row, int* status);

// ---- solving ------------------------------------------------------------------------------------
// Status (attribute 12044): 0 not started, 1 locally optimal, 2 globally optimal, 3 locally infeasible, 4 infeasible,
// 5 unbounded, 6 unfinished. 2 and 4 are told only where they are proven.
TVLO_API int TSLPconstruct(TSLPprob slp);    // builds what a solve works on; a solve does so itself where needed
TVLO_API int TSLPunconstruct(TSLPprob slp);  // takes it away: the model can be changed again
TVLO_API int TSLPpostsolve(TSLPprob slp);
TVLO_API int TSLPnlpoptimize(TSLPprob slp, const char* flags);
TVLO_API int TSLPinterrupt(TSLPprob slp, int reason);  // any thread
// Of what the solve saw; NaN for what was added since.
TVLO_API int TSLPgetslpsol(TSLPprob slp, double* x, double* slack, double* dual, double* redcost);

#ifdef __cplusplus
}
#endif
