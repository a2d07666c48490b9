// The optimizer's C interface: the only door to libtvlo.
//
// Every function returns 0 on success and a nonzero code on failure; the text of a failure is then
// read with TVLOgetlasterror (a problem's) or TVLO_ge_getlasterror (everything that has no problem; each thread
// has its own).
// Handles are opaque. One thread at a time may use a problem handle, except TVLOinterrupt, which any
// thread may call; different handles may be used, and solved, at the same time. Nothing here prints,
// aborts or lets a C++ exception pass. Strings are UTF-8 and zero-terminated.
//
// Infinity is any magnitude of TVLO_INFINITY or more. Indices are 0-based 32-bit integers; starts and
// coefficient counts are 64-bit. `first` and `last` are inclusive. A null output array is not wanted.
// A call that fails leaves the model as it was. Changes are refused while the problem is being solved.
//
// Signs: a row's slack is its right-hand side minus its activity; a row's dual is the rate at which the
// optimal objective value changes with its right-hand side; a column's reduced cost is its objective
// coefficient minus the duals times its matrix column. All three hold for both objective senses.
#pragma once

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define TVLO_API __attribute__((visibility("default")))
#define TVLO_INFINITY 1e20
#define TVLO_ERRORTEXT_MAX 512

typedef struct tvlo_prob_s* TVLOprob;

// A line of the log. `object` is the handle that it comes from (TVLOgetobjecttypename tells its type), or
// null. `type`: 1 information, 3 warning, 4 error; negative: flush whatever shows the log (`text` is then
// null). Handlers may be called from any thread that solves. A nonzero result is ignored.
typedef int (*TVLOmessagefn)(void* object, void* data, const char* text, int length, int type);

// Kinds of names and indices.
enum { TVLO_NAMES_ROW = 1, TVLO_NAMES_COLUMN = 2, TVLO_NAMES_SET = 3 };
// Type words of the lists below: one of the first three, plus the control flag for a control.
enum { TVLO_TYPE_INT = 1, TVLO_TYPE_DOUBLE = 2, TVLO_TYPE_STRING = 4, TVLO_TYPE_CONTROL = 32 };
// Last-error codes of the global environment and reasons of failing calls.
enum {
  TVLO_OK = 0,
  TVLO_ERR_ARGUMENT = 1,     // an argument is out of range, NaN or inconsistent
  TVLO_ERR_NAME = 2,         // an unknown name, control or attribute
  TVLO_ERR_FILE = 3,         // a file can't be opened, read or written
  TVLO_ERR_FORMAT = 4,       // a file is malformed
  TVLO_ERR_MEMORY = 5,       // out of memory
  TVLO_ERR_UNSUPPORTED = 6,  // the problem holds something that no engine at hand can solve
  TVLO_ERR_ENGINE = 7,       // an engine can't be loaded or failed
  TVLO_ERR_STATE = 8,        // not possible in the present state (no solution, library not started)
  TVLO_ERR_INTERNAL = 9,
  TVLO_ERR_CALLBACK = 10  // a function of the caller's failed
};
// Ids of attributes and controls, from the tables that document them: TVLO_ATTRIBUTE_originalrows,
// TVLO_CONTROL_feastol.
enum {
#define TVLO_ATTRIBUTE(id, name, ...) TVLO_ATTRIBUTE_##name = id,
#include "tvlo/attributes.def"
#undef TVLO_ATTRIBUTE
#define TVLO_CONTROL(id, name, ...) TVLO_CONTROL_##name = id,
#include "tvlo/controls.def"
#undef TVLO_CONTROL
};

// ---- library and global environment -------------------------------------------------------------
// Start and stop are counted; problems are created and solved only between them, and should be destroyed before
// the last stop, which also drops the environment's message handlers.
TVLO_API int TVLOinit(void);
TVLO_API int TVLOfree(void);
TVLO_API int TVLOgetiniterror(char* text, int maxbytes);  // why the last TVLOinit failed
TVLO_API int TVLOgetversion(char* text);                  // at least 16 bytes: major.minor.build
TVLO_API int TVLOgetbanner(char* text);                   // at least 512 bytes
TVLO_API int TVLO_ge_getlasterror(int* code, char* text, int maxbytes, int* nbytes);
TVLO_API int TVLO_ge_addcbmsghandler(TVLOmessagefn handler, void* data, int priority);
// Null matches any. Waits for calls of the handler on other threads to end, unless it is called from a handler: a
// lock that the handler takes must not be held.
TVLO_API int TVLO_ge_removecbmsghandler(TVLOmessagefn handler, void* data);
TVLO_API int TVLOgetobjecttypename(void* object, const char** name);  // "TVLOprob", "TSLPprob"

// ---- problems -----------------------------------------------------------------------------------
TVLO_API int TVLOcreateprob(TVLOprob* prob);
TVLO_API int TVLOdestroyprob(TVLOprob prob);
// Copies the model: neither controls, nor handlers, nor the solution. A null name keeps the source's.
TVLO_API int TVLOcopyprob(TVLOprob dest, TVLOprob src, const char* name);
TVLO_API int TVLOcopycontrols(TVLOprob dest, TVLOprob src);
TVLO_API int TVLOsetprobname(TVLOprob prob, const char* name);
TVLO_API int TVLOgetprobname(TVLOprob prob, char* name);   // attribute 1158 bytes, zero included
TVLO_API int TVLOgetlasterror(TVLOprob prob, char* text);  // TVLO_ERRORTEXT_MAX bytes; "" when none
TVLO_API int TVLOaddcbmessage(TVLOprob prob, TVLOmessagefn handler, void* data, int priority);
TVLO_API int TVLOremovecbmessage(TVLOprob prob, TVLOmessagefn handler, void* data);  // as of the environment's

// ---- building -----------------------------------------------------------------------------------
// Row types: L, G, E, R (right-hand side - range <= activity <= right-hand side), N (free).
// Column types: C, B, I, S (semi-continuous), R (semi-integer), P (partially integer).
// Matrix arrays may be null when they are empty. Null right-hand sides, costs and lower bounds are 0, null upper
// bounds infinite; ranges are read for R rows only, and their sign does not count. Of TVLOaddrows64 and
// TVLOaddcols64 the first start is 0 and the last line ends at ncoefs; of TVLOloadlp, collen null means
// consecutive starts, n + 1 of them. A row may not name a column twice. Bounds may cross: the problem is then
// infeasible. An infinite right-hand side is refused unless it says that a side is free.
TVLO_API int TVLOloadlp64(TVLOprob prob, const char* name, int ncols, int nrows, const char* rowtype, const double* rhs,
                          const double* range, const double* obj, const int64_t* start, const int* collen,
                          const int* rowind, const double* rowcoef, const double* lb, const double* ub);
TVLO_API int TVLOloadlp(TVLOprob prob, const char* name, int ncols, int nrows, const char* rowtype, const double* rhs,
                        const double* range, const double* obj, const int* start, const int* collen, const int* rowind,
                        const double* rowcoef, const double* lb, const double* ub);
TVLO_API int TVLOaddrows64(TVLOprob prob, int nrows, int64_t ncoefs, const char* rowtype, const double* rhs,
                           const double* range, const int64_t* start, const int* colind, const double* rowcoef);
// The same with the lower sides of R rows, which are kept to the last bit, instead of their ranges.
TVLO_API int TVLOaddrowsides64(TVLOprob prob, int nrows, int64_t ncoefs, const char* rowtype, const double* rhs,
                               const double* lower, const int64_t* start, const int* colind, const double* rowcoef);
TVLO_API int TVLOaddcols64(TVLOprob prob, int ncols, int64_t ncoefs, const double* obj, const int64_t* start,
                           const int* rowind, const double* rowcoef, const double* lb, const double* ub);
TVLO_API int TVLOdelrows(TVLOprob prob, int nrows, const int* rowind);
TVLO_API int TVLOdelcols(TVLOprob prob, int ncols, const int* colind);
TVLO_API int TVLOaddnames(TVLOprob prob, int kind, const char* names, int first, int last);  // zero-separated
TVLO_API int TVLOchgobj(TVLOprob prob, int n, const int* colind, const double* coef);  // column -1: minus the constant
TVLO_API int TVLOchgobjsense(TVLOprob prob, int sense);                                // 1 minimise, -1 maximise
// Types L, U, B (both). A bound outside [0, 1] makes a binary column an integer one.
TVLO_API int TVLOchgbounds(TVLOprob prob, int n, const int* colind, const char* type, const double* value);
// A column that becomes binary has its bounds intersected with [0, 1].
TVLO_API int TVLOchgcoltype(TVLOprob prob, int n, const int* colind, const char* type);
TVLO_API int TVLOchgglblimit(TVLOprob prob, int n, const int* colind, const double* limit);
// Right-hand side and range are kept whatever the type; the range counts in R rows only. A new right-hand side or
// range puts the lower side at right-hand side minus range.
TVLO_API int TVLOchgrowtype(TVLOprob prob, int n, const int* rowind, const char* type);
TVLO_API int TVLOchgrhs(TVLOprob prob, int n, const int* rowind, const double* rhs);
TVLO_API int TVLOchgrhsrange(TVLOprob prob, int n, const int* rowind, const double* range);
TVLO_API int TVLOchgcoef(TVLOprob prob, int row, int col, double coef);
TVLO_API int TVLOchgmcoef64(TVLOprob prob, int64_t n, const int* rowind, const int* colind, const double* coef);
// Quadratic objective: x'Qx/2, one triplet per unordered pair, so c*x*x is 2c and c*x*y is c. 0 removes.
TVLO_API int TVLOchgmqobj64(TVLOprob prob, int64_t n, const int* col1, const int* col2, const double* coef);
TVLO_API int TVLOchgmqobj(TVLOprob prob, int n, const int* col1, const int* col2, const double* coef);
// Quadratic part x'Qx of a row, one triplet per unordered pair: c*x*x is c and c*x*y is c/2. Adds to what is there.
TVLO_API int TVLOaddqmatrix64(TVLOprob prob, int row, int64_t n, const int* col1, const int* col2, const double* coef);
TVLO_API int TVLOdelqmatrix(TVLOprob prob, int row);  // row -1: of every row

// ---- reading the model back ---------------------------------------------------------------------
TVLO_API int TVLOgetobj(TVLOprob prob, double* obj, int first, int last);  // first = last = -1: minus the constant
TVLO_API int TVLOgetlb(TVLOprob prob, double* lb, int first, int last);
TVLO_API int TVLOgetub(TVLOprob prob, double* ub, int first, int last);
TVLO_API int TVLOgetcoltype(TVLOprob prob, char* type, int first, int last);
TVLO_API int TVLOgetglblimit(TVLOprob prob, double* limit, int first, int last);  // -1e20 where there is none
TVLO_API int TVLOgetrhs(TVLOprob prob, double* rhs, int first, int last);
TVLO_API int TVLOgetrhsrange(TVLOprob prob, double* range, int first, int last);
// The least and the greatest activity of each row, exactly; +-1e20 where there is none.
TVLO_API int TVLOgetrowsides(TVLOprob prob, double* lower, double* upper, int first, int last);
TVLO_API int TVLOgetrowtype(TVLOprob prob, char* type, int first, int last);
TVLO_API int TVLOgetcoef(TVLOprob prob, int row, int col, double* coef);
// Sizes first: with null arrays only *ncoefs is filled. At most maxcoefs coefficients are written;
// *ncoefs is always the number there is.
TVLO_API int TVLOgetrows64(TVLOprob prob, int64_t* start, int* colind, double* coef, int64_t maxcoefs, int64_t* ncoefs,
                           int first, int last);
TVLO_API int TVLOgetcols64(TVLOprob prob, int64_t* start, int* rowind, double* coef, int64_t maxcoefs, int64_t* ncoefs,
                           int first, int last);
// Quadratic objective, columns first to last: upper triangle in each row, values as in TVLOchgmqobj64.
TVLO_API int TVLOgetmqobj64(TVLOprob prob, int64_t* start, int* colind, double* coef, int64_t maxcoefs, int64_t* ncoefs,
                            int first, int last);
TVLO_API int TVLOgetmqobj(TVLOprob prob, int* start, int* colind, double* coef, int maxcoefs, int* ncoefs, int first,
                          int last);
TVLO_API int TVLOgetqrowqmatrixtriplets64(TVLOprob prob, int row, int64_t* n, int* col1, int* col2, double* coef);
// Names of first to last, each padded with zeros to 8 * (attribute 1028) + 1 bytes.
TVLO_API int TVLOgetnames(TVLOprob prob, int kind, char* names, int first, int last);
TVLO_API int TVLOgetindex(TVLOprob prob, int kind, const char* name, int* index);  // fails when there is none

// ---- files --------------------------------------------------------------------------------------
// Flags of reading: "l" the file is in LP format, "f" fixed MPS, "x" free MPS; without one of these the
// format is found from the content, and from the name where that does not tell. Flags of writing: "l" LP format, "f"
// fixed MPS, "x" free MPS (the default), "z" gzipped. A name that ends in .gz is gzipped, one that ends in .lp or
// .lp.gz is LP. A file that can't be read leaves an empty problem; one that can't be written leaves an old file as it
// was.
TVLO_API int TVLOreadprob(TVLOprob prob, const char* filename, const char* flags);
TVLO_API int TVLOwriteprob(TVLOprob prob, const char* filename, const char* flags);

// ---- controls and attributes --------------------------------------------------------------------
TVLO_API int TVLOsetintcontrol(TVLOprob prob, int id, int value);
TVLO_API int TVLOsetintcontrol64(TVLOprob prob, int id, int64_t value);
TVLO_API int TVLOsetdblcontrol(TVLOprob prob, int id, double value);
TVLO_API int TVLOsetstrcontrol(TVLOprob prob, int id, const char* value);
TVLO_API int TVLOgetintcontrol(TVLOprob prob, int id, int* value);
TVLO_API int TVLOgetintcontrol64(TVLOprob prob, int id, int64_t* value);
TVLO_API int TVLOgetdblcontrol(TVLOprob prob, int id, double* value);
TVLO_API int TVLOgetstringcontrol(TVLOprob prob, int id, char* value, int maxbytes, int* nbytes);
TVLO_API int TVLOgetintattrib(TVLOprob prob, int id, int* value);
TVLO_API int TVLOgetintattrib64(TVLOprob prob, int id, int64_t* value);
TVLO_API int TVLOgetdblattrib(TVLOprob prob, int id, double* value);
TVLO_API int TVLOgetstringattrib(TVLOprob prob, int id, char* value, int maxbytes, int* nbytes);
// Lists of the library's own static arrays; _c: controls and attributes, ending at id 0; _d: the same
// controls and attributes, ending at an empty name.
TVLO_API int TVLOgetcalist_c(const int** ids, const char* const** names, const int** types);
TVLO_API int TVLOgetcalist_d(const int** ids, const char* const** names, const int** types);

// ---- solving ------------------------------------------------------------------------------------
// Flags: "p" primal simplex, "d" dual simplex, "b" interior point, "c" interior point without crossover,
// "f" first-order method; "l" (mipoptimize) stops after the continuous relaxation. Without a letter, control
// `defaultalg` chooses. Status: attributes 1010 and 1011. A solve that is stopped by a limit or an
// interrupt returns 0.
TVLO_API int TVLOlpoptimize(TVLOprob prob, const char* flags);
TVLO_API int TVLOmipoptimize(TVLOprob prob, const char* flags);
TVLO_API int TVLOinterrupt(TVLOprob prob, int reason);  // reasons: the stop codes of attribute stopstatus
// Announces a solve of any kind: interrupts from here on stop it, also those that come before it starts. Others than
// these, and those of a running solve, are forgotten when a solve starts.
TVLO_API int TVLOexpectsolve(TVLOprob prob);
// Fail when there is no solution. getlpsol: of the last LP solve or of the last relaxation. What was added to the model
// since then has NaN for its values, what was there keeps them.
TVLO_API int TVLOgetlpsol(TVLOprob prob, double* x, double* slack, double* dual, double* redcost);
TVLO_API int TVLOgetmipsol(TVLOprob prob, double* x, double* slack);
// Status of rows and columns: 0 nonbasic at lower, 1 basic, 2 nonbasic at upper, 3 nonbasic free.
TVLO_API int TVLOgetbasis(TVLOprob prob, int* rowstat, int* colstat);
TVLO_API int TVLOloadbasis(TVLOprob prob, const int* rowstat, const int* colstat);

#ifdef __cplusplus
}
#endif
