// What one call collects before anything of it is registered or sent. The arrays are private to the call, so Python
// code that runs while the call walks its arguments can't disturb them.
#pragma once

#include "model/objects.h"
#include "problem/problem.h"
#include "problem/translation/translate.h"
#include "pyutil/array.h"
#include "pyutil/ref.h"

namespace tavlo {

// The keys of a batch in collection order, and whether each came once.
class KeySet {
 public:
  KeySet() = default;
  KeySet(const KeySet&) = delete;
  KeySet& operator=(const KeySet&) = delete;
  ~KeySet() { indexset_free(&seen_); }

  int add(uint64_t key, bool* fresh);  // 0, or -1 with MemoryError
  int64_t size() const { return size_; }
  uint64_t operator[](int64_t i) const { return keys_[static_cast<size_t>(i)]; }
  const uint64_t* data() const { return keys_.data(); }

 private:
  int remember(uint64_t key);

  Array<uint64_t> keys_;
  int64_t size_ = 0;
  indexset* seen_ = nullptr;  // made with the first key that does not ascend
};

// Enters collected objects in the registry, at the end, and withdraws them again unless they are kept.
class Registration {
 public:
  Registration(problem_s* p, Entries Registry::* kind)
      : registry_(BasicRef<registry_s>::borrow(p->shared)), entries_(registry_->body.*kind) {}
  Registration(const Registration&) = delete;
  Registration& operator=(const Registration&) = delete;
  ~Registration();

  int enter(PyObject* objects, const KeySet& keys);  // a list of them; 0, or -1 with MemoryError
  void keep() { keys_ = nullptr; }

 private:
  BasicRef<registry_s> registry_;
  Entries& entries_;
  const KeySet* keys_ = nullptr;  // to withdraw
};

struct ColumnBatch {
  int32_t count = 0, tholdCount = 0;
  size_t namesUsed = 0;
  Array<char> colType, names;
  Array<double> lb, ub, thold;
};

// Rows before they are sent: the matrix row by row, quadratic parts row by row, names with their zero bytes.
struct RowBatch {
  int32_t nrows = 0;
  size_t namesUsed = 0;
  Terms terms;
  Array<int64_t> start, quadCount;  // start has nrows + 1 entries
  Array<double> rhs, lower;         // lower sides of rows of type R
  Array<char> rowType, names;
};

// The variables of one call.
class ColumnCollector {
 public:
  explicit ColumnCollector(problem_s* p);
  int add(PyObject* leaf);
  int commit();  // sends and registers all, or nothing

 private:
  int send(int first, Registration* registration);
  int recheck() const;

  problem_s* p_;
  uint64_t changes_;
  Ref objects_;
  KeySet keys_;
  ColumnBatch batch_;
};

// The constraints of one call.
class RowCollector {
 public:
  explicit RowCollector(problem_s* p);
  int add(PyObject* leaf);
  int commit();  // sends and registers all, or nothing

 private:
  int reserveRow();
  int translate(constraint_s* c);
  int send(int first, Registration* registration);
  int sendQuadratic(int first);
  int sendFormulas(int first);
  int recheck() const;

  problem_s* p_;
  uint64_t changes_, epoch_;
  Ref objects_;
  KeySet keys_;
  RowBatch batch_;
};

// Names as the solver gets them, with a zero byte after each.
int appendVarName(Array<char>& names, size_t* used, const var_s* v);
int appendConName(Array<char>& names, size_t* used, const constraint_s* c);

}  // namespace tavlo
