// Objective value, status and the problem's output switch.
#include "problem/lifecycle.h"
#include "problem/methods.h"
#include "problem/registry.h"

namespace tavlo {
namespace {

enum Class { kNonlinearClass, kMixedIntegerClass, kLinearClass };

int classOf(problem_s* p) {  // -1 with an exception
  if (checkProblemIsInitialized(p) != 0) return -1;
  if (hasNonlinearContent(p)) return kNonlinearClass;
  const int mixedInteger = isMixedInteger(p);
  return mixedInteger < 0 ? -1 : mixedInteger ? kMixedIntegerClass : kLinearClass;
}

int statusOf(problem_s* p, int cls, int* status) {
  const int failed = cls == kNonlinearClass ? TSLPgetintattrib(p->slpprob, 12044, status)
                                            : TVLOgetintattrib(p->prob, cls == kLinearClass ? 1010 : 1011, status);
  if (failed) libraryError(p);
  return failed;
}

constexpr int kNames = 9;
const char* const kStatusNames[3][kNames] = {
    {"nlp_unstarted", "nlp_solution", "nlp_globally_optimal", "nlp_locally_infeasible", "nlp_infeasible",
     "nlp_unbounded", "nlp_unfinished", "nlp_unknown", "nlp_unknown"},
    {"mip_not_loaded", "mip_lp_not_optimal", "mip_lp_optimal", "mip_no_sol_found", "mip_solution", "mip_infeas",
     "mip_optimal", "mip_unbounded", "mip_unknown"},
    {"lp_unstarted", "lp_optimal", "lp_infeas", "lp_cutoff", "lp_unfinished", "lp_unbounded", "lp_cutoff_in_dual",
     "lp_unsolved", "lp_nonconvex"},
};
const char* const kUnknown[3] = {"nlp_unknown", "mip_unknown", "lp_unknown"};

}  // namespace

PyObject* problem_getObjVal(PyObject* self, PyObject*) {
  auto* p = reinterpret_cast<problem_s*>(self);
  const int cls = classOf(p);
  double value;
  if (cls < 0) return nullptr;
  const int failed = cls == kNonlinearClass ? TSLPgetdblattrib(p->slpprob, 12179, &value)
                                            : TVLOgetdblattrib(p->prob, cls == kLinearClass ? 2001 : 2003, &value);
  return failed ? libraryError(p) : PyFloat_FromDouble(value);
}

PyObject* problem_getProbStatus(PyObject* self, PyObject*) {
  auto* p = reinterpret_cast<problem_s*>(self);
  const int cls = classOf(p);
  int status;
  return cls < 0 || statusOf(p, cls, &status) != 0 ? nullptr : PyLong_FromLong(status);
}

PyObject* problem_getProbStatusString(PyObject* self, PyObject*) {
  auto* p = reinterpret_cast<problem_s*>(self);
  const int cls = classOf(p);
  int status;
  if (cls < 0 || statusOf(p, cls, &status) != 0) return nullptr;
  return PyUnicode_FromString(status >= 0 && status < kNames ? kStatusNames[cls][status] : kUnknown[cls]);
}

PyObject* problem_getOutputEnabled(PyObject* self, PyObject*) {
  auto* p = reinterpret_cast<problem_s*>(self);
  return checkProblemIsInitialized(p) != 0 ? nullptr : PyBool_FromLong(p->outputEnabled);
}

PyObject* problem_setOutputEnabled(PyObject* self, PyObject* value) {
  auto* p = reinterpret_cast<problem_s*>(self);
  int64_t number;
  if (checkProblemIsInitialized(p) != 0) return nullptr;
  if (!isSignedInteger(value, &number))
    return modelError("Incorrect argument in setOutputEnabled: should be True or False");
  p->outputEnabled = number != 0;
  return newRef(Py_None);
}

}  // namespace tavlo
