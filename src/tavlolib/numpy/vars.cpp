#include "numpy/vars.h"

#include <string>
#include <vector>

#include "model/name_blocks.h"
#include "model/packed_word.h"
#include "numpy/dtypes.h"
#include "pyutil/locks.h"
#include "pyutil/ref.h"
#include "runtime/errors.h"

namespace tavlo {
namespace {

constexpr size_t kNameLimit = 2499;
constexpr size_t kMaxDimensions = 32;  // what every NumPy can hold

// One dimension: either 0..count-1 or a sequence of index objects.
struct IndexSet {
  Ref members;  // null: a plain range
  Py_ssize_t count = 0;
};

// What every variable of the call shares.
struct Template {
  uint64_t type = 0;
  double lb = 0, ub = 1e20, threshold = -1e20;
  std::string prefix;
  bool named = true;
};

bool readIndexSet(PyObject* arg, int position, IndexSet* out, bool* isCount) {
  int64_t k;
  if (isSignedInteger(arg, &k) || PyLong_Check(arg)) {
    if (k <= 0) {
      modelError("Invalid index: integer argument to tavlo.vars() must be positive (it is equivalent to range(k))");
      return false;
    }
    *isCount = true;
    out->count = static_cast<Py_ssize_t>(k);
    return true;
  }
  *isCount = false;
  Ref members = Ref::steal(PySequence_List(arg));
  if (!members) {
    if (!PyErr_ExceptionMatches(PyExc_TypeError)) return false;
    PyErr_Clear();
    modelError(
        "Invalid index: a call to tavlo.vars() must have a tuple of lists, sets, iterable objects, or integer numbers "
        "as "
        "its arguments");
    return false;
  }
  out->count = PyList_GET_SIZE(members.get());
  if (out->count == 0) {
    modelError("Invalid index: empty dimension in creation of variables");
    return false;
  }
  if (!PyAnySet_Check(arg)) {
    Ref unique = Ref::steal(PySet_New(members.get()));
    if (!unique) return false;
    if (PySet_GET_SIZE(unique.get()) != out->count) {
      modelError("Duplicate item in argument %d: each argument to tavlo.vars() must contain unique elements", position);
      return false;
    }
  }
  out->members = std::move(members);
  return true;
}

// The text of one index inside a name.
bool appendIndexText(PyObject* index, std::string* text) {
  char number[64];
  if (PyLong_CheckExact(index)) {
    int overflow = 0;
    const long v = PyLong_AsLongAndOverflow(index, &overflow);
    if (!overflow) {
      snprintf(number, sizeof number, "%ld", v);
      *text += number;
      return true;
    }
  } else if (PyFloat_Check(index)) {
    snprintf(number, sizeof number, "%g", PyFloat_AS_DOUBLE(index));
    *text += number;
    return true;
  }
  Ref str = PyUnicode_Check(index) ? Ref::borrow(index) : Ref::steal(PyObject_Str(index));
  if (!str) {
    PyErr_Clear();
    modelError("Element of index tuple in vars() cannot be represented");
    return false;
  }
  Py_ssize_t length;
  const char* utf8 = PyUnicode_AsUTF8AndSize(str.get(), &length);
  if (!utf8) {
    PyErr_Clear();
    modelError("Bad index tuple in vars()");
    return false;
  }
  text->append(utf8, static_cast<size_t>(length));
  return true;
}

// Walks the product of the index sets, the last one fastest.
class Product {
 public:
  explicit Product(const std::vector<IndexSet>& sets) : sets_(sets), position_(sets.size(), 0) {}
  void advance() {
    for (size_t d = sets_.size(); d-- > 0;) {
      if (++position_[d] < sets_[d].count) return;
      position_[d] = 0;
    }
  }
  PyObject* key() const {
    Ref tuple = Ref::steal(PyTuple_New(static_cast<Py_ssize_t>(sets_.size())));
    for (size_t d = 0; tuple && d < sets_.size(); ++d) {
      PyObject* member = sets_[d].members ? newRef(PyList_GET_ITEM(sets_[d].members.get(), position_[d]))
                                          : PyLong_FromSsize_t(position_[d]);
      if (!member) return nullptr;
      PyTuple_SET_ITEM(tuple.get(), static_cast<Py_ssize_t>(d), member);
    }
    return tuple.release();
  }

 private:
  const std::vector<IndexSet>& sets_;
  std::vector<Py_ssize_t> position_;
};

// Makes the variables of one call, in the order of their indices.
class Maker {
 public:
  Maker(const Template& t, uint64_t first, NameBlock* names)
      : template_(t), first_(first), index_(first), names_(names) {}
  Maker(const Maker&) = delete;
  Maker& operator=(const Maker&) = delete;
  ~Maker() {
    if (names_) releaseBlockName(first_);
  }

  PyObject* next() {
    var_s* v = PyObject_New(var_s, &tavlo_varType);
    if (!v) {
      PyErr_Clear();
      return modelError("Not enough memory to create variables with tavlo.vars()");
    }
    v->word = index_++;
    Ref owner = Ref::steal(reinterpret_cast<PyObject*>(v));
    if (set_var_lbound(&v->word, template_.lb) < 0 || set_var_ubound(&v->word, template_.ub) < 0 ||
        set_var_thold(&v->word, template_.threshold) < 0) {
      PyErr_Clear();
      return modelError("Not enough memory to create variables with tavlo.vars()");
    }
    set_var_type(&v->word, template_.type);
    if (names_) {
      v->word |= kVarNameBit;
      ++names_->users;
    }
    return owner.release();
  }

 private:
  const Template& template_;
  uint64_t first_, index_;
  NameBlock* names_;  // lives as long as this, which is one of its users
};

bool readTemplate(PyObject* kwargs, Template* t) {
  static const char* const names[] = {"name", "lb", "ub", "threshold", "vartype", nullptr};
  const char* prefix = nullptr;
  long long type = 0;
  Ref none = Ref::steal(PyTuple_New(0));
  if (!none || !PyArg_ParseTupleAndKeywords(none.get(), kwargs, "|$zdddL", const_cast<char**>(names), &prefix, &t->lb,
                                            &t->ub, &t->threshold, &type))
    return false;
  if (t->lb > t->ub + 1e-6) {
    modelError("Variables have empty feasible set: lower bound > upper bound");
    return false;
  }
  t->prefix = prefix ? prefix : "x";
  t->named = !prefix || *prefix;  // an empty prefix asks for the default names, which cost nothing
  if (characters(t->prefix) > kNameLimit) {
    modelError("Variable names cannot exceed %d characters", static_cast<int>(kNameLimit));
    return false;
  }
  if (type == 1) {  // binary
    if (t->lb < 0) t->lb = 0;
    if (t->ub > 1) t->ub = 1;
  }
  t->type = static_cast<uint64_t>(type);
  return true;
}

PyObject* noMemoryForAll() {
  return modelError(
      "No memory to create variables. Consider restricting one or more index sets/lists/ranges in the index argument "
      "to tavlo.vars()");
}

// False, with an exception, when there are not as many indices left.
bool reserveIndices(uint64_t n, uint64_t* first) {
  Locked lock(tvl_py_env.var_mutex);
  *first = tvl_py_env.next_var_index;
  if (n > kVarIndexMask || *first > kVarIndexMask - n) return noMemoryForAll() != nullptr;
  tvl_py_env.next_var_index += n;
  return true;
}

// What is returned, before it is filled.
Ref newArray(const std::vector<IndexSet>& sets) {
  std::vector<npy_intp> shape;
  shape.reserve(sets.size());
  for (const IndexSet& s : sets) shape.push_back(s.count);
  if (shape.size() > kMaxDimensions) return {};
  Py_INCREF(tvl_py_env.npvar_descr);  // PyArray_Zeros takes it
  return Ref::steal(PyArray_Zeros(static_cast<int>(shape.size()), shape.data(), tvl_py_env.npvar_descr, 0));
}

bool fillArray(PyObject* array, Py_ssize_t total, Maker& maker) {
  char* item = PyArray_BYTES(reinterpret_cast<PyArrayObject*>(array));
  for (Py_ssize_t i = 0; i < total; ++i, item += sizeof(PyObject*)) {
    PyObject* v = maker.next();
    if (!v) return false;
    replaceElement(item, v);
  }
  return true;
}

bool fillDict(PyObject* dict, const std::vector<IndexSet>& sets, Py_ssize_t total, Maker& maker) {
  Product product(sets);
  for (Py_ssize_t i = 0; i < total; ++i, product.advance()) {
    Ref v = Ref::steal(maker.next());
    Ref key = Ref::steal(v ? product.key() : nullptr);
    if (!key || PyDict_SetItem(dict, key.get(), v.get()) < 0) return false;
  }
  return true;
}

// The names, or nothing with an exception. The texts of the indices are taken at once: str() may fail or run anything.
bool makeNames(const std::vector<IndexSet>& sets, NameBlock* names) {
  for (const IndexSet& s : sets) {
    NameDimension dimension{static_cast<uint64_t>(s.count), {}};
    for (Py_ssize_t i = 0; s.members && i < s.count; ++i) {
      dimension.texts.emplace_back();
      Ref member = Ref::borrow(PyList_GET_ITEM(s.members.get(), i));
      if (!appendIndexText(member.get(), &dimension.texts.back())) return false;
    }
    names->dimensions.push_back(std::move(dimension));
  }
  if (names->longestName() <= kNameLimit) return true;
  modelError("Variable names cannot exceed %d characters", static_cast<int>(kNameLimit));
  return false;
}

PyObject* makeVariables(PyObject* args, const Template& t) {
  const Py_ssize_t n = PyTuple_GET_SIZE(args);
  std::vector<IndexSet> sets(static_cast<size_t>(n));
  bool allCounts = true;
  Py_ssize_t total = 1;
  for (Py_ssize_t i = 0; i < n; ++i) {
    bool isCount;
    IndexSet& s = sets[static_cast<size_t>(i)];
    if (!readIndexSet(PyTuple_GET_ITEM(args, i), static_cast<int>(i) + 1, &s, &isCount)) return nullptr;
    allCounts = allCounts && isCount;
    if (__builtin_mul_overflow(total, s.count, &total) || total > PY_SSIZE_T_MAX / 64) return noMemoryForAll();
  }
  NameBlock names{0, static_cast<uint64_t>(total), t.prefix, {}};
  if (t.named && !makeNames(sets, &names)) return nullptr;
  // Before indices are taken: what can't be had uses up none.
  Ref result = allCounts ? newArray(sets) : Ref::steal(PyDict_New());
  if (!result) {
    PyErr_Clear();
    return modelError("Could not initialize result of tavlo.vars()");
  }
  if (!reserveIndices(static_cast<uint64_t>(total), &names.first)) return nullptr;
  const uint64_t first = names.first;
  Maker maker(t, first, t.named ? addNameBlock(std::move(names)) : nullptr);
  const bool whole = allCounts ? fillArray(result.get(), total, maker) : fillDict(result.get(), sets, total, maker);
  return whole ? result.release() : nullptr;
}

}  // namespace

PyObject* tavlomod_vars(PyObject*, PyObject* args, PyObject* kwargs) {
  try {
    Template t;
    if (!readTemplate(kwargs, &t)) return nullptr;
    return makeVariables(args, t);
  } catch (const std::bad_alloc&) {
    return modelError("Not enough memory to create variables with tavlo.vars()");
  }
}

}  // namespace tavlo
