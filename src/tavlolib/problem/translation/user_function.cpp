#include "problem/translation/user_function.h"

#include <cstdio>
#include <map>
#include <new>
#include <tuple>
#include <utility>

#include "problem/problem.h"
#include "pyutil/guard.h"
#include "pyutil/locks.h"
#include "pyutil/ref.h"
#include "runtime/errors.h"

namespace tavlo {
namespace {

struct userfunc_s {
  Ref callable;
  int32_t nargs = 0, id = -1;
  int32_t maps = 1;  // that have it
};
using Key = std::tuple<PyObject*, int32_t, bool>;

void drop(userfunc_s* f) {
  if (--f->maps == 0) delete f;
}

}  // namespace

struct userfuncmap {
  std::map<Key, userfunc_s*> at;
};

namespace {

constexpr int kValueOnly = 2, kWithDerivatives = 5;  // the solver's types of user functions

int registerFunction(problem_s* p, userfunc_s* f, bool with_derivatives) {
  char made_up[32];
  PyObject* callable = f->callable.get();
  const char* name = nullptr;
  if (PyFunction_Check(callable)) {
    name = PyUnicode_AsUTF8(reinterpret_cast<PyFunctionObject*>(callable)->func_name);
    if (!name) return -1;
  } else {
    std::snprintf(made_up, sizeof made_up, "Func%p", static_cast<void*>(callable));
    name = made_up;
  }
  return TSLPadduserfunction(
             p->slpprob, name, with_derivatives ? kWithDerivatives : kValueOnly, f->nargs, 1, 0,
             with_derivatives ? tpy_generic_user_function_with_derivative : tpy_generic_user_function_no_derivative, f,
             &f->id) == 0
             ? 0
             : nonlinearFailed(p);
}

// ---- calls from the solver ----
// A number among a function's results; what is no number raises the text.
bool readNumber(PyObject* o, const char* text, double* out) {
  *out = PyFloat_AsDouble(o);
  if (*out != -1.0 || !PyErr_Occurred()) return true;
  if (PyErr_ExceptionMatches(PyExc_TypeError)) {
    PyErr_Clear();
    modelError("%s", text);
  }
  return false;
}

// A number, or as in evaluate() a tuple that begins with it.
bool readValue(PyObject* result, double* value) {
  constexpr char kText[] = "User function must return a number";
  if (PyTuple_Check(result) && PyTuple_GET_SIZE(result) > 0) result = PyTuple_GET_ITEM(result, 0);
  return readNumber(result, kText, value);
}

bool readDerivatives(PyObject* result, int nargs, double* value, double* derivs) {
  constexpr char kText[] = "User function must return a tuple containing result and all derivatives";
  if (!PyTuple_Check(result) || PyTuple_GET_SIZE(result) != nargs + 1) return modelError("%s", kText) != nullptr;
  if (!readNumber(PyTuple_GET_ITEM(result, 0), kText, value)) return false;
  for (int i = 0; derivs && i < nargs; ++i)
    if (!readNumber(PyTuple_GET_ITEM(result, i + 1), kText, &derivs[i])) return false;
  return true;
}

Ref numbers(const double* x, int n) {
  Ref args = Ref::steal(PyTuple_New(n));
  for (int i = 0; args && i < n; ++i) {
    PyObject* number = PyFloat_FromDouble(x[i]);
    if (!number) return {};
    PyTuple_SET_ITEM(args.get(), i, number);
  }
  return args;
}

// read(result) is false with an exception.
template <class Read>
int call(const double* x, int nargs, void* data, Read&& read) {
  if (interpreterIsFinalizing()) return -1;  // its lock is not to be had any more
  GilHeld gil;
  if (PyErr_Occurred()) return -1;  // raised by an earlier call: the solve is ending
  Ref args = numbers(x, nargs);
  Ref callable = Ref::borrow(static_cast<userfunc_s*>(data)->callable.get());
  Ref result = Ref::steal(args ? orStay([&] { return PyObject_CallObject(callable.get(), args.get()); }) : nullptr);
  return result && read(result.get()) ? 0 : -1;
}

}  // namespace

int tpy_generic_user_function_no_derivative(const double* x, int nargs, double* value, double*, void* data) {
  return call(x, nargs, data, [&](PyObject* result) { return readValue(result, value); });
}

int tpy_generic_user_function_with_derivative(const double* x, int nargs, double* value, double* derivs, void* data) {
  return call(x, nargs, data, [&](PyObject* result) { return readDerivatives(result, nargs, value, derivs); });
}

int createUserFunction(problem_s* p, PyObject* args, int* id, bool with_derivatives) {
  if (!PyTuple_Check(args) || PyTuple_GET_SIZE(args) == 0 || !PyCallable_Check(PyTuple_GET_ITEM(args, 0)))
    return fail("Invalid user function, must specify at least one argument (the user function itself)");
  if (!p->userFuncs) p->userFuncs = new (std::nothrow) userfuncmap;
  if (!p->userFuncs) return fail("Out of memory");
  PyObject* callable = PyTuple_GET_ITEM(args, 0);
  const auto nargs = static_cast<int32_t>(PyTuple_GET_SIZE(args) - 1);
  return guarded([&] {
    auto [entry, fresh] = p->userFuncs->at.try_emplace(Key(callable, nargs, with_derivatives), nullptr);
    if (fresh) {
      auto* f = new (std::nothrow) userfunc_s{Ref::borrow(callable), nargs};
      entry->second = f;
      if (!f) PyErr_NoMemory();
      if (!f || registerFunction(p, f, with_derivatives) != 0) {
        p->userFuncs->at.erase(entry);
        delete f;
        return -1;
      }
    }
    *id = entry->second->id;
    return 0;
  });
}

int userfuncmap_copy(userfuncmap** out, userfuncmap* map) {
  *out = nullptr;
  if (!map) return 0;
  return guarded([&] {
    *out = new userfuncmap{map->at};
    for (auto& entry : (*out)->at) ++entry.second->maps;
    return 0;
  });
}

void userfuncmap_free(userfuncmap** map) {
  userfuncmap* old = std::exchange(*map, nullptr);
  if (!old) return;
  for (auto& entry : old->at) drop(entry.second);
  delete old;
}

}  // namespace tavlo
