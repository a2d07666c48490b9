// The product of two arrays for one pair of element classes. The result is a new contiguous array that is filled in
// order, so an output array is written only after everything was computed: it may share memory with a factor, and an
// exception leaves it as it was. Numeric products release the interpreter lock when they are long. Included by dot.cpp
// only.
#pragma once

#include <cstring>
#include <optional>
#include <tuple>
#include <type_traits>

#include "model/product_sum.h"
#include "numpy/dtypes.h"
#include "numpy/half.h"
#include "pyutil/locks.h"
#include "pyutil/signals.h"
#include "runtime/errors.h"

namespace tavlo {

struct VariableTag;
// The element classes, in this order: a result of numbers has the later of the two. A half is its bit pattern.
using ElementClasses =
    std::tuple<signed char, short, int, long, unsigned short, float, double, PyObject*, VariableTag*>;
inline constexpr size_t kElementClasses = std::tuple_size_v<ElementClasses>;
inline constexpr size_t kNumericClasses = 7;
template <size_t I>
using ClassAt = std::tuple_element_t<I, ElementClasses>;
template <class T, size_t I = 0>
constexpr size_t classIndex() {
  if constexpr (std::is_same_v<T, ClassAt<I>>)
    return I;
  else
    return classIndex<T, I + 1>();
}
using Half = ClassAt<4>;

// The positions of some axes of an array, in C order.
class AxisWalk {
 public:
  AxisWalk(PyArrayObject* array, int axes) : array_(array), axes_(axes) {
    for (int i = 0; i < axes; ++i) count_ *= PyArray_DIM(array, i);
    restart();
  }
  npy_intp count() const { return count_; }
  const char* at() const { return at_; }
  void restart() {
    at_ = PyArray_BYTES(array_);
    std::memset(index_, 0, sizeof(npy_intp) * static_cast<size_t>(axes_));
  }
  void advance() {  // after the last position comes the first
    for (int i = axes_ - 1; i >= 0; --i) {
      at_ += PyArray_STRIDE(array_, i);
      if (++index_[i] < PyArray_DIM(array_, i)) return;
      at_ -= PyArray_STRIDE(array_, i) * index_[i];
      index_[i] = 0;
    }
  }

 private:
  PyArrayObject* array_;
  int axes_;
  npy_intp count_ = 1, index_[NPY_MAXDIMS];
  const char* at_;
};

// The factors as rows (left) and blocks of columns (right). The result has a run of columns for each row and block.
struct Contraction {
  Contraction(PyArrayObject* left, PyArrayObject* right)
      : rows(left, PyArray_NDIM(left) - 1),
        blocks(right, PyArray_NDIM(right) > 1 ? PyArray_NDIM(right) - 2 : 0),
        length(PyArray_DIM(left, PyArray_NDIM(left) - 1)),
        left_step(PyArray_STRIDE(left, PyArray_NDIM(left) - 1)) {
    const int d = PyArray_NDIM(right);
    right_step = PyArray_STRIDE(right, d > 1 ? d - 2 : 0);
    if (d > 1) {
      columns = PyArray_DIM(right, d - 1);
      column_step = PyArray_STRIDE(right, d - 1);
    }
  }
  // run(left row, right block) returns false to stop.
  template <class Fn>
  bool eachRun(Fn&& run) {
    for (npy_intp i = 0; i < rows.count(); ++i, rows.advance()) {
      blocks.restart();
      for (npy_intp j = 0; j < blocks.count(); ++j, blocks.advance())
        if (!run(rows.at(), blocks.at())) return false;
    }
    return true;
  }
  bool isLong() const {
    return static_cast<double>(rows.count()) * static_cast<double>(blocks.count()) * static_cast<double>(columns) *
               static_cast<double>(length) >
           1e4;
  }

  AxisWalk rows, blocks;
  npy_intp length, left_step, right_step = 0, columns = 1, column_step = 0;
};

template <class T>
T loadNumber(const char* p) {  // the element may be unaligned
  T value;
  std::memcpy(&value, p, sizeof value);
  return value;
}

// A number as another type of number; a half stands for its value on both sides.
template <class From, class To>
To convertNumber(From value) {
  if constexpr (std::is_same_v<From, Half>)
    return static_cast<To>(tvlo_half_to_float(value));
  else if constexpr (std::is_same_v<To, Half>)
    return tvlo_float_to_half(static_cast<float>(value));
  else
    return static_cast<To>(value);
}

// What a type of result is computed in. Whole numbers wrap, as NumPy's do, which signed arithmetic may not.
template <class R>
struct Computed {
  using type = std::common_type_t<unsigned, std::make_unsigned_t<R>>;
};
template <>
struct Computed<Half> {
  using type = float;
};
template <>
struct Computed<float> {
  using type = float;
};
template <>
struct Computed<double> {
  using type = double;
};

template <class A, class B, class R>
void multiplyNumbers(Contraction& c, R* result) {
  using C = typename Computed<R>::type;
  std::optional<GilReleased> released;
  if (c.isLong()) released.emplace();
  auto term = [](R sum, C a, const char* b) {
    return convertNumber<C, R>(convertNumber<R, C>(sum) + a * convertNumber<B, C>(loadNumber<B>(b)));
  };
  c.eachRun([&](const char* left, const char* right) {
    if (c.columns == 1) {
      R sum{};
      for (npy_intp k = 0; k < c.length; ++k, left += c.left_step, right += c.right_step)
        sum = term(sum, convertNumber<A, C>(loadNumber<A>(left)), right);
      *result++ = sum;
      return true;
    }
    std::memset(result, 0, static_cast<size_t>(c.columns) * sizeof(R));
    // Along the right factor's rows: they are next to each other in memory more often than its columns.
    for (npy_intp k = 0; k < c.length; ++k, left += c.left_step, right += c.right_step) {
      const C a = convertNumber<A, C>(loadNumber<A>(left));
      const char* b = right;
      for (npy_intp j = 0; j < c.columns; ++j, b += c.column_step) result[j] = term(result[j], a, b);
    }
    result += c.columns;
    return true;
  });
}

template <class T>
inline constexpr bool kIsNumber = std::is_arithmetic_v<T>;

inline bool emptyElement() { return modelError("Invalid object in operation: <%S>", Py_None) != nullptr; }

// An element as it is used in a term: a number as a double, an object with a reference, because what a product runs may
// replace the element. Arrays of any class may hold nothing or anything.
template <class T>
auto loadFactor(const char* p) {
  if constexpr (kIsNumber<T>)
    return convertNumber<T, double>(loadNumber<T>(p));
  else
    return Ref::borrow(loadElement(p));
}
inline bool isPresent(double) { return true; }
inline bool isPresent(const Ref& o) { return (o && o.get() != Py_None) || emptyElement(); }
inline bool addTerm(ProductSum& sum, double a, const Ref& b) { return sum.add(a, b.get()); }
inline bool addTerm(ProductSum& sum, const Ref& a, double b) { return sum.add(b, a.get()); }
inline bool addTerm(ProductSum& sum, const Ref& a, const Ref& b) { return sum.add(a.get(), b.get()); }

// A few columns at a time, so that what is read of the right factor fills whole cache lines.
inline constexpr npy_intp kColumnTile = 8;

template <class A, class B>
bool multiplyObjects(Contraction& c, char* result) {
  SignalPoll poll;
  return c.eachRun([&](const char* left, const char* right) {
    for (npy_intp j = 0; j < c.columns; j += kColumnTile) {
      ProductSum sums[kColumnTile];
      const npy_intp tile = c.columns - j < kColumnTile ? c.columns - j : kColumnTile;
      for (npy_intp k = 0; k < c.length; ++k) {
        const auto a = loadFactor<A>(left + k * c.left_step);
        if (!poll.goesOn() || !isPresent(a)) return false;
        const char* at = right + k * c.right_step + j * c.column_step;
        for (npy_intp t = 0; t < tile; ++t, at += c.column_step) {
          const auto b = loadFactor<B>(at);
          if (!isPresent(b) || !addTerm(sums[t], a, b)) return false;
        }
      }
      for (npy_intp t = 0; t < tile; ++t, result += sizeof(PyObject*)) {
        PyObject* element = sums[t].result();
        if (!element) return false;
        replaceElement(result, element);
      }
    }
    return true;
  });
}

// Fills `result`, a new contiguous array of the right shape and of the class that the pair gives.
template <class A, class B>
bool tensor_mult_template(PyArrayObject* left, PyArrayObject* right, PyArrayObject* result) {
  Contraction c(left, right);
  if constexpr (kIsNumber<A> && kIsNumber<B>) {
    constexpr size_t a = classIndex<A>(), b = classIndex<B>();
    using R = ClassAt<(a > b ? a : b)>;
    multiplyNumbers<A, B, R>(c, static_cast<R*>(PyArray_DATA(result)));
    return true;
  } else {
    return multiplyObjects<A, B>(c, PyArray_BYTES(result));
  }
}

}  // namespace tavlo
