// Records of the modelling objects and what the other folders need of them. No solver header is needed for any of it.
// All of it needs the interpreter lock. Functions that return PyObject* return a new reference, or null with an
// exception set; functions that return int return 0, or -1 with an exception set, unless a value is stated.
#pragma once

#include <cstdint>

#include "model/maps.h"
#include "model/var_record.h"
#include "pyutil/python.h"

struct linterm_s {
  PyObject_HEAD double coef;
  var_s* var;
};
struct quadterm_s {
  PyObject_HEAD double coef;
  var_s *var1, *var2;  // index(var1) <= index(var2)
};
struct expression_s {
  PyObject_HEAD double constant;
  tavlo::linmap* linear;      // null: absent
  tavlo::quadmap* quadratic;  // null: absent
};
struct nonlinear_s {
  PyObject_HEAD PyObject* args;  // list, tuple, or the one operand; null: never filled
  int32_t code;                  // of model/nonlinear.h
  int32_t mixed;                 // in a sum: position of the one member that is no node; -1: none
};
struct constraint_s {
  PyObject_HEAD uint64_t info;  // index, bound codes, in-map flags: model/packed_word.h has the layout
  PyObject* body;               // null: absent
};
struct sos_s {
  PyObject_HEAD uint64_t index;
  PyObject *name, *indices, *weights;
  int32_t type;
};

namespace tavlo {

// ---- variables ----
inline constexpr uint64_t kConIndexMask = (1ULL << 57) - 1;
inline uint64_t conIndex(const constraint_s* c) { return c->info & kConIndexMask; }

PyObject* var_base();
PyObject* var_copy(PyObject* x, double c);
double get_var_lbound(uint64_t word);
double get_var_ubound(uint64_t word);
double get_var_thold(uint64_t word);
int get_var_type(uint64_t word);
PyObject* get_var_name(uint64_t word);
int set_var_lbound(uint64_t* word, double value);  // -1: out of memory
int set_var_ubound(uint64_t* word, double value);
int set_var_thold(uint64_t* word, double value);
void set_var_type(uint64_t* word, uint64_t type);
int set_var_name(uint64_t* word, PyObject* name);
int checkVarIsInitialized(PyObject* x);
enum ExprType { kInvalid = -1, kConstant = 0, kVar = 1, kLinterm = 2, kQuadterm = 3, kExpression = 4, kNonlinear = 5 };
int getExprType(PyObject* obj);       // -1 with ModelError
int getExprTypeQuiet(PyObject* obj);  // the same without an exception
// Whether obj is of the number class, and its value. Never raises: an int too large for a double is not a constant
// here, and the arithmetic reports it with the interpreter's OverflowError.
bool readConstant(PyObject* obj, double* value);
bool isArrayLike(PyObject* obj);          // a NumPy array, or anything that passes the sequence check
bool holdsObjects(PyArrayObject* array);  // an array of objects, npvar or npexpr
// Python int or signed NumPy integer; false, quietly, otherwise. An int beyond 64 bits is none, with the nearest value.
bool isSignedInteger(PyObject* obj, int64_t* value);

inline bool var_Check(PyObject* o);
inline bool linterm_Check(PyObject* o);
inline bool quadterm_Check(PyObject* o);
inline bool expression_Check(PyObject* o);
inline bool nonlinear_Check(PyObject* o);
inline bool constraint_Check(PyObject* o);
inline bool sos_Check(PyObject* o);

// ---- terms and expressions ----
PyObject* linterm_fill(double c, var_s* v);
PyObject* quadterm_fill(double c, var_s* u, var_s* v);
PyObject* expression_base();
PyObject* expression_copy(PyObject* x, double f);
int expression_setLinTerm(expression_s* e, var_s* v, double c);
int expression_addToLinTerm(expression_s* e, var_s* v, double c);
int expression_setQuadTerm(expression_s* e, var_s* u, var_s* v, double c);
int expression_addToQuadTerm(expression_s* e, var_s* u, var_s* v, double c);
PyObject* convert_linmap_double_list(const linmap* map);    // ([variables], [coefficients]); null is an empty map
PyObject* convert_quadmap_triple_list(const quadmap* map);  // ([first variables], [second variables], [coefficients])
bool isObjectConst(PyObject* obj, int* kind, double* value);

// Type-blind operators; None stands for an empty accumulator.
PyObject* general_copy(double f, PyObject* x);
PyObject* general_add(PyObject* a, PyObject* b);
PyObject* general_sub(PyObject* a, PyObject* b);
PyObject* general_mul(PyObject* a, PyObject* b);
PyObject* general_div(PyObject* a, PyObject* b);
PyObject* general_pow(PyObject* a, PyObject* b);
PyObject* general_sqr(PyObject* x);
PyObject* general_neg(PyObject* x);
PyObject* general_and(PyObject* a, PyObject* b);
PyObject* general_or(PyObject* a, PyObject* b);
PyObject* general_iadd(PyObject* a, PyObject* b);
PyObject* general_isub(PyObject* a, PyObject* b);
PyObject* general_imul(PyObject* a, PyObject* b);
PyObject* general_idiv(PyObject* a, PyObject* b);
PyObject* general_ipow(PyObject* a, PyObject* b);
PyObject* general_iand(PyObject* a, PyObject* b);
PyObject* general_ior(PyObject* a, PyObject* b);
// Turns the accumulator a, of which the caller knows every reference, into a + s*b (s = 1 or -1): 1 when that is done,
// 0, with nothing changed, when these two need a new object, -1 with an exception.
int general_absorb(PyObject* a, double s, PyObject* b);

// ---- constraints and sets ----
PyObject* constraint_base();  // fresh index, no body, no bounds
PyObject* make_constraint(PyObject* a, PyObject* b, int op);
double get_con_lbound(uint64_t info);
double get_con_ubound(uint64_t info);
int set_con_lbound(uint64_t* info, double value);
int set_con_ubound(uint64_t* info, double value);
PyObject* get_con_name(uint64_t info);
int set_con_name(uint64_t* info, PyObject* name);

// ---- evaluation at given values (model/evaluate.cpp) ----
class NodeValues;  // model/evaluate_node.cpp
// How the value of a variable is found: false with an exception set when it has none.
struct ValueSource {
  bool (*value)(void* context, var_s* v, double* out);
  void* context;
  // The value of a scalar that stands for a column by name or number: 0, or -1 with an exception, or 1 when it is no
  // such scalar. Null when there are none.
  int (*index)(void* context, PyObject* o, double* out) = nullptr;
  // The values of nodes that were met and can be met again; null: nothing is remembered beyond one tree.
  NodeValues* known = nullptr;
};
int evaluateScalar(PyObject* o, const ValueSource& source, int budget, double* out);
// A new structure of the same shape as o (tuples, lists, dicts, arrays) with floats for its leaves.
PyObject* evaluateStructure(PyObject* o, const ValueSource& source, int budget);
inline constexpr int kDepthBudget = 64;
PyObject* evaluateArguments(PyObject* args, const ValueSource& source);  // one gives its structure, several a tuple

// ---- module functions of this folder ----
PyObject* tavlomod_Sum(PyObject* module, PyObject* args);
PyObject* tavlomod_Prod(PyObject* module, PyObject* args);
PyObject* tavlomod_And(PyObject* module, PyObject* args);
PyObject* tavlomod_Or(PyObject* module, PyObject* args);
// The members that Sum(*args) would add, without None: a new list.
PyObject* collectMembers(PyObject* args);
PyObject* tavlomod_max(PyObject* module, PyObject* args);
PyObject* tavlomod_min(PyObject* module, PyObject* args);
PyObject* tavlomod_user(PyObject* module, PyObject* args, PyObject* kwargs);
PyObject* tavlomod_pwl(PyObject* module, PyObject* dict);
// The elementary functions, by node code.
template <int32_t code>
PyObject* tavlomod_function(PyObject* module, PyObject* arg);

}  // namespace tavlo

#include "runtime/env.h"

namespace tavlo {
inline bool var_Check(PyObject* o) { return PyObject_TypeCheck(o, &tavlo_varType); }
inline bool linterm_Check(PyObject* o) { return PyObject_TypeCheck(o, &tavlo_lintermType); }
inline bool quadterm_Check(PyObject* o) { return PyObject_TypeCheck(o, &tavlo_quadtermType); }
inline bool expression_Check(PyObject* o) { return PyObject_TypeCheck(o, &tavlo_expressionType); }
inline bool nonlinear_Check(PyObject* o) { return PyObject_TypeCheck(o, &tavlo_nonlinearType); }
inline bool constraint_Check(PyObject* o) { return PyObject_TypeCheck(o, &tavlo_constraintType); }
inline bool sos_Check(PyObject* o) { return PyObject_TypeCheck(o, &tavlo_sosType); }
}  // namespace tavlo
