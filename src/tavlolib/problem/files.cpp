// The problem's name, and problem files.
#include <cstring>

#include "problem/lifecycle.h"
#include "problem/methods.h"
#include "problem/registry.h"
#include "pyutil/guard.h"

namespace tavlo {
namespace {

constexpr int kBlock = 256;

// Names of one kind, fetched from the solver a block at a time.
class NameReader {
 public:
  NameReader(problem_s* p, int kind, int count, int units)
      : p_(p), kind_(kind), count_(count), width_(8 * static_cast<size_t>(units) + 1), names_(kBlock * width_) {}
  // The name of i, which must be asked for in ascending order. New reference.
  PyObject* name(int i) {
    if (i % kBlock == 0) {
      const int last = i + kBlock < count_ ? i + kBlock - 1 : count_ - 1;
      if (TVLOgetnames(p_->prob, kind_, names_.data(), i, last) != 0) return libraryError(p_);
    }
    const char* text = names_.data() + width_ * static_cast<size_t>(i % kBlock);
    return PyUnicode_DecodeUTF8(text, static_cast<Py_ssize_t>(std::strlen(text)), "replace");
  }

 private:
  problem_s* p_;
  int kind_, count_;
  size_t width_;
  std::vector<char> names_;
};

template <class T>
bool fetch(problem_s* p, int (*get)(TVLOprob, T*, int, int), int count, std::vector<T>* out) {
  out->resize(static_cast<size_t>(count));
  return count == 0 || get(p->prob, out->data(), 0, count - 1) == 0 || libraryError(p) != nullptr;
}

bool enroll(problem_s* p, EntityKind kind, PyObject* object, const char* failure) {
  Registration registration(registryOf(p, kind));
  if (!registration.add(object)) {
    if (!PyErr_Occurred()) modelError("%s", failure);
    return false;
  }
  registration.commit();
  return true;
}

bool readColumns(problem_s* p, int n, int units) {
  std::vector<double> lb, ub, limit;
  std::vector<char> type;
  if (!fetch(p, TVLOgetlb, n, &lb) || !fetch(p, TVLOgetub, n, &ub) || !fetch(p, TVLOgetcoltype, n, &type) ||
      !fetch(p, TVLOgetglblimit, n, &limit))
    return false;
  NameReader names(p, TVLO_NAMES_COLUMN, n, units);
  static const char letters[] = "CBISRP";
  for (int j = 0; j < n; ++j) {
    const auto at = static_cast<size_t>(j);
    Ref v = Ref::steal(var_base()), name = Ref::steal(names.name(j));
    if (!v || !name) return false;
    uint64_t* word = &reinterpret_cast<var_s*>(v.get())->word;
    const char* letter = std::strchr(letters, type[at]);
    if (set_var_name(word, name.get()) != 0 || set_var_lbound(word, lb[at]) != 0 || set_var_ubound(word, ub[at]) != 0 ||
        set_var_thold(word, limit[at]) != 0)
      return false;
    set_var_type(word, letter && *letter ? static_cast<uint64_t>(letter - letters) : 0);
    if (!enroll(p, kColumn, v.get(), "Could not read problem")) return false;
  }
  return true;
}

bool setRowBounds(uint64_t* info, char type, double rhs, double range) {
  const bool lower = type == 'G' || type == 'E' || type == 'R', upper = type == 'L' || type == 'E' || type == 'R';
  return (!lower || set_con_lbound(info, type == 'R' ? rhs - range : rhs) == 0) &&
         (!upper || set_con_ubound(info, rhs) == 0);
}

bool readRows(problem_s* p, int n, int units) {
  std::vector<double> rhs, range;
  std::vector<char> type;
  if (!fetch(p, TVLOgetrhs, n, &rhs) || !fetch(p, TVLOgetrhsrange, n, &range) || !fetch(p, TVLOgetrowtype, n, &type))
    return false;
  NameReader names(p, TVLO_NAMES_ROW, n, units);
  for (int i = 0; i < n; ++i) {
    const auto at = static_cast<size_t>(i);
    Ref c = Ref::steal(constraint_base()), name = Ref::steal(names.name(i));
    if (!c || !name) return false;
    uint64_t* info = &reinterpret_cast<constraint_s*>(c.get())->info;
    if (set_con_name(info, name.get()) != 0 || !setRowBounds(info, type[at], rhs[at], range[at]) ||
        !enroll(p, kRow, c.get(), "Cannot read constraint from problem"))
      return false;
  }
  return true;
}

// Empties the registry; the old objects go last, when all is in step.
bool emptyRegistry(problem_s* p) {
  Ref old[3], fresh[3];
  for (Ref& list : fresh)
    if (!(list = Ref::steal(PyList_New(0)))) return false;
  int i = 0;
  for (EntityKind kind : {kRow, kColumn, kSet}) {
    const Registry r = registryOf(p, kind);
    rowcolmap_clear(*r.map);
    old[i] = Ref::steal(std::exchange(*r.list, fresh[i].release()));
    ++i;
  }
  p->nlConstCol = p->objAuxCol = p->objAuxRow = -1;
  p->nlRowCount = p->nlObjective = 0;
  return true;
}

bool readModel(problem_s* p) {
  int columns, rows, units;
  return intAttribute(p, 1214, &columns) == 0 && intAttribute(p, 1124, &rows) == 0 &&
         intAttribute(p, 1028, &units) == 0 && readColumns(p, columns, units) && readRows(p, rows, units);
}

// After a failure half-way: an empty problem on both sides.
void emptyProblem(problem_s* p) {
  ErrorStash failure;
  TVLOloadlp(p->prob, "noname", 0, 0, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
             nullptr);
  emptyRegistry(p);
}

}  // namespace

PyObject* problem_name(PyObject* self, PyObject*) {
  auto* p = reinterpret_cast<problem_s*>(self);
  int length;
  if (checkProblemIsInitialized(p) != 0 || intAttribute(p, 1158, &length) != 0) return nullptr;
  return guarded([&]() -> PyObject* {
    std::vector<char> name(static_cast<size_t>(length) + 1);
    if (TVLOgetprobname(p->prob, name.data()) != 0) return libraryError(p);
    return PyUnicode_DecodeUTF8(name.data(), static_cast<Py_ssize_t>(std::strlen(name.data())), "replace");
  });
}

PyObject* problem_str(PyObject* self) { return problem_name(self, nullptr); }

PyObject* problem_read(PyObject* self, PyObject* args, PyObject* kwargs) {
  static const char* const names[] = {"filename", "options", nullptr};
  auto* p = reinterpret_cast<problem_s*>(self);
  const char *filename, *options = "";
  if (checkProblemIsInitialized(p) != 0 ||
      !ko_ParseTupleAndKeywords(args, kwargs, "s|s", names, nullptr, &filename, &options))
    return nullptr;
  if (p->solvingThread) return solverError("Problem cannot be read while it is being solved");
  if (TVLOreadprob(p->prob, filename, options) != 0 && TSLPreadprob(p->slpprob, filename, options) != 0) {
    libraryError(p);
    ErrorStash failure;
    emptyRegistry(p);
    return nullptr;
  }
  return guarded([&]() -> PyObject* {
    if (emptyRegistry(p) && readModel(p)) return newRef(Py_None);
    emptyProblem(p);
    return nullptr;
  });
}

PyObject* problem_write(PyObject* self, PyObject* args, PyObject* kwargs) {
  static const char* const names[] = {"filename", "flags", nullptr};
  auto* p = reinterpret_cast<problem_s*>(self);
  const char *filename, *flags = "";
  if (checkProblemIsInitialized(p) != 0 ||
      !ko_ParseTupleAndKeywords(args, kwargs, "s|s", names, nullptr, &filename, &flags))
    return nullptr;
  const bool byComponent = hasNonlinearContent(p) || std::strchr(flags, 'g');
  const int failed = byComponent ? TSLPwriteprob(p->slpprob, filename, flags) : TVLOwriteprob(p->prob, filename, flags);
  return failed ? libraryError(p) : newRef(Py_None);
}

}  // namespace tavlo
