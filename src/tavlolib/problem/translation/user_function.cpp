#include "problem/translation/user_function.h"

#include <cstdio>

#include "problem/problem.h"
#include "pyutil/guard.h"
#include "pyutil/locks.h"
#include "pyutil/ref.h"
#include "runtime/errors.h"

namespace tavlo {
namespace {

constexpr char kNotCallable[] = "Invalid user function, must specify at least one argument (the user function itself)";

constexpr int kValueOnly = 2, kWithDerivatives = 5;  // the solver's types of user functions

TSLPuserfn trampoline(bool with_derivatives) {
  return with_derivatives ? tpy_generic_user_function_with_derivative : tpy_generic_user_function_no_derivative;
}

int registerFunction(problem_s* p, UserFunction* f, bool with_derivatives) {
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
  return TSLPadduserfunction(p->slpprob, name, with_derivatives ? kWithDerivatives : kValueOnly, f->nargs, 1, 0,
                             trampoline(with_derivatives), f, &f->id) == 0
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
  const auto* f = static_cast<const UserFunction*>(data);
  FirstError& failure = f->owner->failure;
  if (failure.isSet()) return -1;  // raised by an earlier call: the solve is ending
  Ref args = numbers(x, nargs);
  Ref callable = Ref::borrow(f->callable.get());
  Ref result = Ref::steal(args ? orStay([&] { return PyObject_CallObject(callable.get(), args.get()); }) : nullptr);
  if (result && read(result.get())) return 0;
  failure.keep();
  return -1;
}

}  // namespace

int tpy_generic_user_function_no_derivative(const double* x, int nargs, double* value, double*, void* data) {
  return call(x, nargs, data, [&](PyObject* result) { return readValue(result, value); });
}

int tpy_generic_user_function_with_derivative(const double* x, int nargs, double* value, double* derivs, void* data) {
  return call(x, nargs, data, [&](PyObject* result) { return readDerivatives(result, nargs, value, derivs); });
}

int UserFunctions::traverse(visitproc visit, void* arg) const {
  for (const auto& entry : at) Py_VISIT(entry.second->callable.get());
  return 0;
}

int createUserFunction(problem_s* p, PyObject* args, int* id, bool with_derivatives) {
  if (!PyTuple_Check(args) || PyTuple_GET_SIZE(args) == 0 || !PyCallable_Check(PyTuple_GET_ITEM(args, 0)))
    return fail(kNotCallable);
  PyObject* callable = PyTuple_GET_ITEM(args, 0);
  const auto nargs = static_cast<int32_t>(PyTuple_GET_SIZE(args) - 1);
  Registry& registry = p->registry();
  return guarded([&] {
    if (!registry.userFunctions) registry.userFunctions = std::make_unique<UserFunctions>();
    auto [entry, fresh] = registry.userFunctions->at.try_emplace({callable, nargs, with_derivatives});
    if (fresh) {
      try {
        entry->second.reset(new UserFunction{Ref::borrow(callable), &registry, nargs});
      } catch (...) {
        registry.userFunctions->at.erase(entry);
        throw;
      }
      if (registerFunction(p, entry->second.get(), with_derivatives) != 0) {
        registry.userFunctions->at.erase(entry);
        return -1;
      }
    }
    *id = entry->second->id;
    return 0;
  });
}

int copyUserFunctions(problem_s* to, const problem_s* from) {
  const UserFunctions* old = from->registry().userFunctions.get();
  if (!old) return 0;
  Registry& registry = to->registry();
  return guarded([&] {
    auto copies = std::make_unique<UserFunctions>();
    for (const auto& [key, f] : old->at)
      copies->at[key].reset(new UserFunction{Ref::borrow(f->callable.get()), &registry, f->nargs, f->id});
    registry.userFunctions = std::move(copies);
    for (const auto& [key, f] : registry.userFunctions->at)
      if (TSLPchguserfunction(to->slpprob, f->id, trampoline(std::get<bool>(key)), f.get()) != 0)
        return nonlinearFailed(to);
    return 0;
  });
}

}  // namespace tavlo
