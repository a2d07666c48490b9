// Reading and writing problem files. After a read the registry is made anew from what the solver holds.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <string_view>
#include <utility>

#include "model/packed_word.h"
#include "problem/problem.h"
#include "problem/translation/transfer.h"
#include "pyutil/array.h"
#include "pyutil/ref.h"

namespace tavlo {
namespace {

constexpr int kBlock = 256;  // names fetched at a time

problem_s* self_(PyObject* o) { return reinterpret_cast<problem_s*>(o); }

// The names of rows or columns in ascending order.
class NameReader {
 public:
  NameReader(problem_s* p, int kind, int count, int units)
      : p_(p), kind_(kind), count_(count), width_(8 * static_cast<size_t>(units) + 1) {}

  Ref at(int index) {  // null with an exception
    if (index % kBlock == 0 && fetch(index) != 0) return {};
    const char* text = buffer_.data() + static_cast<size_t>(index % kBlock) * width_;
    const auto length = static_cast<Py_ssize_t>(strnlen(text, width_));
    return Ref::steal(PyUnicode_DecodeUTF8(text, length, "replace"));
  }

 private:
  int fetch(int first) {
    const int last = std::min(first + kBlock, count_) - 1;
    if (!buffer_.resize(kBlock * width_)) return -1;
    return TVLOgetnames(p_->prob, kind_, buffer_.data(), first, last) == 0 ? 0 : solverFailed(p_);
  }

  problem_s* p_;
  int kind_, count_;
  size_t width_;
  Array<char> buffer_;
};

// The problem's goes with `registry`.
void exchange(problem_s* p, BasicRef<registry_s>* registry) {
  registry_s* old = std::exchange(p->shared, registry->release());
  *registry = BasicRef<registry_s>::steal(old);
  p->solvedNonlinear = false;
}

int couldNot(const char* text) {
  if (!PyErr_Occurred()) modelError("%s", text);
  return -1;
}

int enter(Entries* entries, PyObject* object, uint64_t key, const char* failure) {
  return entries->append(&object, &key, 1) == 0 ? 0 : couldNot(failure);
}

int variableType(char letter) {
  constexpr std::string_view kLetters = "CBISRP";  // in the order of the types
  const size_t type = kLetters.find(letter);
  return type == std::string_view::npos ? 0 : static_cast<int>(type);
}

int readColumns(problem_s* p, int count, int units, Registry* registry) {
  constexpr char kFailure[] = "Could not read problem";
  Array<double> lb, ub, limit;
  Array<char> type;
  const auto n = static_cast<size_t>(count);
  if (!lb.resize(n) || !ub.resize(n) || !limit.resize(n) || !type.resize(n)) return -1;
  if (TVLOgetlb(p->prob, lb.data(), 0, count - 1) != 0 || TVLOgetub(p->prob, ub.data(), 0, count - 1) != 0 ||
      TVLOgetcoltype(p->prob, type.data(), 0, count - 1) != 0 ||
      TVLOgetglblimit(p->prob, limit.data(), 0, count - 1) != 0)
    return solverFailed(p);
  NameReader names(p, TVLO_NAMES_COLUMN, count, units);
  for (int i = 0; i < count; ++i) {
    Ref object = Ref::steal(var_base()), name = names.at(i);
    if (!object || !name) return -1;
    uint64_t* word = &reinterpret_cast<var_s*>(object.get())->word;
    set_var_type(word, static_cast<uint64_t>(variableType(type[i])));
    const bool limited = type[i] == 'S' || type[i] == 'R' || type[i] == 'P';
    if (set_var_name(word, name.get()) != 0 || set_var_lbound(word, lb[i]) != 0 || set_var_ubound(word, ub[i]) != 0 ||
        (limited && set_var_thold(word, limit[i]) != 0))
      return -1;
    const uint64_t key = varIndex(reinterpret_cast<var_s*>(object.get()));
    if (enter(&registry->vars, object.get(), key, kFailure) != 0) return -1;
  }
  return 0;
}

int setBounds(uint64_t* info, double lower, double upper) {
  if (lower > -kInfinity && set_con_lbound(info, lower) != 0) return -1;
  return upper < kInfinity ? set_con_ubound(info, upper) : 0;
}

int readRows(problem_s* p, int count, int units, Registry* registry) {
  constexpr char kFailure[] = "Cannot read constraint from problem";
  Array<double> lower, upper;
  const auto n = static_cast<size_t>(count);
  if (!lower.resize(n) || !upper.resize(n)) return -1;
  if (TVLOgetrowsides(p->prob, lower.data(), upper.data(), 0, count - 1) != 0) return solverFailed(p);
  NameReader names(p, TVLO_NAMES_ROW, count, units);
  for (int i = 0; i < count; ++i) {
    Ref object = Ref::steal(constraint_base()), name = names.at(i);
    if (!object || !name) return -1;
    auto* c = reinterpret_cast<constraint_s*>(object.get());
    if (set_con_name(&c->info, name.get()) != 0 || setBounds(&c->info, lower[i], upper[i]) != 0) return -1;
    if (enter(&registry->cons, object.get(), conIndex(c), kFailure) != 0) return -1;
  }
  return 0;
}

int fillRegistry(problem_s* p, Registry* registry) {
  int columns = 0, rows = 0, units = 0, formulas = 0, formulaRows = 0;
  if (TVLOgetintattrib(p->prob, TVLO_ATTRIBUTE_originalcols, &columns) != 0 ||
      TVLOgetintattrib(p->prob, TVLO_ATTRIBUTE_originalrows, &rows) != 0 ||
      TVLOgetintattrib(p->prob, TVLO_ATTRIBUTE_namelength, &units) != 0)
    return solverFailed(p);
  if (TSLPgetintattrib(p->slpprob, TSLP_ATTRIBUTE_nlconstraints, &formulaRows) != 0 ||
      TSLPgetintattrib(p->slpprob, TSLP_ATTRIBUTE_nlcoefs, &formulas) != 0)
    return nonlinearFailed(p);
  if ((columns > 0 && readColumns(p, columns, units, registry) != 0) ||
      (rows > 0 && readRows(p, rows, units, registry) != 0))
    return -1;
  if (formulas > 0 && adoptTransfer(p, registry) != 0) return -1;
  registry->hasFormulas = formulaRows > (registry->hasNonlinearObjective() ? 1 : 0);
  return 0;
}

// Neither the solver nor the registry holds anything.
void empty(problem_s* p, BasicRef<registry_s>* nothing) {
  ErrorStash failure;
  if (TVLOloadlp(p->prob, nullptr, 0, 0, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                 nullptr, nullptr) == 0)
    exchange(p, nothing);
}

int readFile(problem_s* p, const char* filename, const char* options) {
  BasicRef<registry_s> fresh = newRegistry(), nothing = newRegistry();
  if (!fresh || !nothing) return -1;
  bool failed = false;
  {
    InUse reading(p, Use::file);
    failed = TVLOreadprob(p->prob, filename, options) != 0 && TSLPreadprob(p->slpprob, filename, options) != 0;
    if (failed && !p->releaseWhenIdle) nonlinearFailed(p);  // which knows every format
  }
  if (!p->prob) return checkProblemIsInitialized(p);
  // Objects are made while the problem is refused to other code: a garbage collection may run some.
  InUse filling(p, Use::file);
  if (!failed && fillRegistry(p, &fresh->body) == 0) {
    exchange(p, &fresh);
    return 0;
  }
  empty(p, &nothing);
  return -1;
}

// The two strings of both methods, held for the time of the call.
int parse(PyObject* args, PyObject* kwargs, const char* second, const char** filename, const char** options) {
  const char* const names[] = {"filename", second, nullptr};
  return ko_ParseTupleAndKeywords(args, kwargs, "s|s", names, nullptr, filename, options) ? 0 : -1;
}

// Reading and writing is for one call at a time, also from code that a log line runs.
int requireIdle(problem_s* p) {
  if (checkProblemIsInitialized(p) != 0) return -1;
  if (p->use == Use::idle) return 0;
  solverError("The problem is being solved");
  return -1;
}

PyObject* problem_read(PyObject* self, PyObject* args, PyObject* kwargs) {
  problem_s* p = self_(self);
  const char *filename = nullptr, *options = "";
  if (requireIdle(p) != 0 || parse(args, kwargs, "options", &filename, &options) != 0 || requireIdle(p) != 0)
    return nullptr;
  Ref held = Ref::borrow(self);
  if (readFile(p, filename, options) != 0) return nullptr;
  Py_RETURN_NONE;
}

PyObject* problem_write(PyObject* self, PyObject* args, PyObject* kwargs) {
  problem_s* p = self_(self);
  const char *filename = nullptr, *flags = "";
  if (requireIdle(p) != 0 || parse(args, kwargs, "flags", &filename, &flags) != 0 || requireIdle(p) != 0)
    return nullptr;
  Ref held = Ref::borrow(self);
  InUse writing(p, Use::file);
  if (refreshFormulas(p) != 0) return nullptr;
  const bool formulas = p->registry().isNonlinear() || std::strchr(flags, 'g');
  if (formulas ? TSLPwriteprob(p->slpprob, filename, flags) != 0 : TVLOwriteprob(p->prob, filename, flags) != 0) {
    formulas ? nonlinearFailed(p) : solverFailed(p);
    return nullptr;
  }
  Py_RETURN_NONE;
}

PyDoc_STRVAR(kReadDoc, R"(read($self, /, filename, options='')
--

Purpose:
  Reads a problem file in place of what the problem holds.

Synopsis:
  p.read(filename, options='')

Arguments:
  filename   Name of the file: MPS or LP, plain or gzipped.
  options    "l" for LP, "f" for fixed and "x" for free MPS; without one of these the format is found out.

Example:
  p.read("afiro.mps")

Further information:
  The problem gets new variable and constraint objects with the names, bounds and types of the file; the constraints
  have no body. A file that can't be read leaves the problem empty.

Related topics:
  problem.write, problem.getVariable, problem.getConstraint
)");

PyDoc_STRVAR(kWriteDoc, R"(write($self, /, filename, flags='')
--

Purpose:
  Writes the problem to a file.

Synopsis:
  p.write(filename, flags='')

Arguments:
  filename   Name of the file. One that ends in .gz is gzipped, one that ends in .lp or .lp.gz is in LP format.
  flags      "l" for LP, "f" for fixed and "x" for free MPS (the default), "z" to gzip.

Example:
  p.write("model.mps.gz")

Related topics:
  problem.read
)");

}  // namespace

const PyMethodDef* fileMethods() {
  static const PyMethodDef methods[] = {
      {"read", withKeywords(problem_read), METH_VARARGS | METH_KEYWORDS, kReadDoc},
      {"write", withKeywords(problem_write), METH_VARARGS | METH_KEYWORDS, kWriteDoc},
      {nullptr, nullptr, 0, nullptr},
  };
  return methods;
}

}  // namespace tavlo
