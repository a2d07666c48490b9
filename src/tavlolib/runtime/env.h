// The module's one global state and the exception classes. Fields are guarded as the comments say; fields
// without a mutex are used with the interpreter lock held. Lock order: ctrl_mutex before defaults_mutex; no other
// two mutexes are held together.
#pragma once

#include <pthread.h>

#include <cstdint>

#include "pyutil/python.h"

struct problem_s;
namespace tavlo {
struct boundmap;
struct namemap;
}  // namespace tavlo

struct tvl_py_env_s {
  PyObject* module;
  uint64_t next_var_index;  // var_mutex
  uint64_t next_con_index;  // con_mutex
  uint64_t next_sos_index;  // sos_mutex
  PyObject* controls;
  PyObject* ctrl_table;        // ctrl_mutex
  PyObject* attr_table;        // ctrl_mutex
  PyObject* default_controls;  // defaults_mutex
  PyObject* msghandlers;       // msg_mutex
  int32_t nl_state;            // start_mutex; -1 not started, 1 started
  int32_t start_count;         // start_mutex
  int32_t output_enabled;      // output_mutex
  tavlo::boundmap *con_lb_map, *con_ub_map, *var_lb_map, *var_ub_map, *var_thold_map;
  tavlo::namemap *con_name_map, *var_name_map;
  PyArray_Descr *npvar_descr, *npexpr_descr, *npconstraint_descr;
  pthread_mutex_t var_mutex, con_mutex, sos_mutex, ctrl_mutex, defaults_mutex, msg_mutex, start_mutex, output_mutex;
  problem_s* problems;  // chain of live problems
};
extern tvl_py_env_s tvl_py_env;

extern PyObject *tpy_model_exc, *tpy_interf_exc, *tpy_solver_exc;

// The fourteen types, in the order in which they are readied. Each is defined by the file of its own subject.
extern PyTypeObject tavlo_varType, tavlo_sosType, tavlo_expressionType, tavlo_constraintType, tavlo_controlType,
    tavlo_attributeType, tavlo_problemType, tavlo_branchobjType, tavlo_poolcutType, tavlo_tvloobjectType,
    tavlo_genericType, tavlo_lintermType, tavlo_quadtermType, tavlo_nonlinearType;

namespace tavlo {

// Start and stop of the solver library (module/start.cpp). 0, or -1 with an exception.
int turnTVLOon(int force);
int turnTVLOoff(int once);

int32_t nlState();  // nl_state under its mutex

// The zero-terminated UTF-8 text of a str or bytes, or null with an exception. *temp, when not null, is released by
// the caller and must outlive the text. With copy, the text is copied into *copy (default heap, grown as needed).
const char* pyStrToStr(PyObject* obj, char** copy, PyObject** temp);
Py_ssize_t pyStrLen(PyObject* obj);

}  // namespace tavlo
