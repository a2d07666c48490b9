// Status, objective value and the output switch.
#include <atomic>

#include "model/objects.h"
#include "problem/problem.h"

namespace tavlo {
namespace {

// By status; the last entry stands for every other.
constexpr const char* kMipNames[] = {"mip_not_loaded",   "mip_lp_not_optimal", "mip_lp_optimal",
                                     "mip_no_sol_found", "mip_solution",       "mip_infeas",
                                     "mip_optimal",      "mip_unbounded",      "mip_unknown"};
constexpr const char* kLpNames[] = {"lp_unstarted", "lp_optimal",        "lp_infeas",   "lp_cutoff",    "lp_unfinished",
                                    "lp_unbounded", "lp_cutoff_in_dual", "lp_unsolved", "lp_nonconvex", "lp_unknown"};

constexpr const char* kNlpNames[] = {"nlp_unstarted",          "nlp_solution",   "nlp_globally_optimal",
                                     "nlp_locally_infeasible", "nlp_infeasible", "nlp_unbounded",
                                     "nlp_unfinished",         "nlp_unknown"};

problem_s* self_(PyObject* o) { return reinterpret_cast<problem_s*>(o); }

template <size_t N>
const char* nameOf(const char* const (&names)[N], int status) {
  return names[status >= 0 && status < static_cast<int>(N) ? status : static_cast<int>(N) - 1];
}

// 0, or -1 with an exception.
int statusOf(problem_s* p, Source* source, int* status) {
  if (checkProblemIsInitialized(p) != 0 || sourceOf(p, source) != 0) return -1;
  if (*source == Source::nonlinear)
    return TSLPgetintattrib(p->slpprob, TSLP_ATTRIBUTE_nlpstatus, status) == 0 ? 0 : nonlinearFailed(p);
  return TVLOgetintattrib(p->prob, *source == Source::mixed ? TVLO_ATTRIBUTE_mipstatus : TVLO_ATTRIBUTE_lpstatus,
                          status) == 0
             ? 0
             : solverFailed(p);
}

PyObject* problem_getObjVal(PyObject* self, PyObject*) {
  problem_s* p = self_(self);
  Source source;
  double value = 0;
  if (checkProblemIsInitialized(p) != 0 || sourceOf(p, &source) != 0) return nullptr;
  if (source == Source::nonlinear) {
    if (TSLPgetdblattrib(p->slpprob, TSLP_ATTRIBUTE_nlpobjval, &value) != 0) return nonlinearFailed(p), nullptr;
  } else if (TVLOgetdblattrib(p->prob, source == Source::mixed ? TVLO_ATTRIBUTE_mipobjval : TVLO_ATTRIBUTE_lpobjval,
                              &value) != 0) {
    return solverFailed(p), nullptr;
  }
  return PyFloat_FromDouble(value);
}

PyObject* problem_getProbStatus(PyObject* self, PyObject*) {
  Source source;
  int status = 0;
  return statusOf(self_(self), &source, &status) == 0 ? PyLong_FromLong(status) : nullptr;
}

PyObject* problem_getProbStatusString(PyObject* self, PyObject*) {
  Source source;
  int status = 0;
  if (statusOf(self_(self), &source, &status) != 0) return nullptr;
  return PyUnicode_FromString(source == Source::nonlinear ? nameOf(kNlpNames, status)
                              : source == Source::mixed   ? nameOf(kMipNames, status)
                                                          : nameOf(kLpNames, status));
}

// The log printer of a running solve reads the switch from its own thread, so both methods work during one.
int checkForSwitch(problem_s* p) { return p->prob && p->use == Use::solving ? 0 : checkProblemIsInitialized(p); }

PyObject* problem_getOutputEnabled(PyObject* self, PyObject*) {
  problem_s* p = self_(self);
  return checkForSwitch(p) == 0 ? PyBool_FromLong(p->outputEnabled) : nullptr;
}

PyObject* problem_setOutputEnabled(PyObject* self, PyObject* arg) {
  problem_s* p = self_(self);
  if (checkForSwitch(p) != 0) return nullptr;
  int64_t number = 0;
  const bool beyond = PyLong_Check(arg) && !isSignedInteger(arg, &number);  // of a long, and so not zero
  if (!beyond && !isSignedInteger(arg, &number))
    return modelError("Incorrect argument in setOutputEnabled: should be True or False");
  std::atomic_ref<int32_t>(p->outputEnabled).store(beyond || number != 0, std::memory_order_relaxed);
  Py_RETURN_NONE;
}

PyDoc_STRVAR(kGetObjValDoc, R"(getObjVal($self, /)
--

Purpose:
  Objective value of the last solution; NaN where there is none.

Synopsis:
  value = p.getObjVal()

Related topics:
  problem.solve, problem.getProbStatus
)");

PyDoc_STRVAR(kGetProbStatusDoc, R"(getProbStatus($self, /)
--

Purpose:
  Status that the last solve left: one of tavlo.lp_..., of tavlo.mip_... for a problem with integer variables, or of
  tavlo.nlp_... for a problem with nonlinear expressions or solved by nlpoptimize.

Synopsis:
  status = p.getProbStatus()

Example:
  if p.getProbStatus() == tavlo.lp_optimal:
      print(p.getSolution())

Related topics:
  problem.getProbStatusString, problem.solve
)");

PyDoc_STRVAR(kGetProbStatusStringDoc, R"(getProbStatusString($self, /)
--

Purpose:
  Name of the status that the last solve left, such as "lp_optimal", "mip_infeas" or "nlp_solution".

Synopsis:
  s = p.getProbStatusString()

Related topics:
  problem.getProbStatus, problem.solve
)");

PyDoc_STRVAR(kGetOutputEnabledDoc, R"(getOutputEnabled($self, /)
--

Purpose:
  Whether the log of this problem is printed.

Synopsis:
  enabled = p.getOutputEnabled()

Related topics:
  problem.setOutputEnabled
)");

PyDoc_STRVAR(kSetOutputEnabledDoc, R"(setOutputEnabled($self, enabled, /)
--

Purpose:
  Switches the printing of this problem's log on or off.

Synopsis:
  p.setOutputEnabled(enabled)

Arguments:
  enabled   True or False.

Related topics:
  problem.getOutputEnabled, tavlo.setOutputEnabled
)");

}  // namespace

const PyMethodDef* statusMethods() {
  static const PyMethodDef methods[] = {
      {"getObjVal", problem_getObjVal, METH_NOARGS, kGetObjValDoc},
      {"getProbStatus", problem_getProbStatus, METH_NOARGS, kGetProbStatusDoc},
      {"getProbStatusString", problem_getProbStatusString, METH_NOARGS, kGetProbStatusStringDoc},
      {"getOutputEnabled", problem_getOutputEnabled, METH_NOARGS, kGetOutputEnabledDoc},
      {"setOutputEnabled", problem_setOutputEnabled, METH_O, kSetOutputEnabledDoc},
      {nullptr, nullptr, 0, nullptr},
  };
  return methods;
}

}  // namespace tavlo
