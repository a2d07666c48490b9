// Small smooth programs, and one whose functions are given as lambdas, for the tests of local solvers.
#pragma once

#include <functional>
#include <vector>

#include "engines/nlp.h"

namespace tvlo::examples {

using Vector = std::vector<double>;

// Dense derivatives; Hessians as a lower triangle.
struct Example : NlpProgram {
  std::function<double(const double*)> f;
  std::function<Vector(const double*)> df, g = [](const double*) { return Vector(); }, dg = g;
  std::function<Vector(const double*, double, const double*)> ddl;
  std::function<bool(const double*)> defined = [](const double*) { return true; };
  Vector x0;
  int evaluations = 0;

  Example(Vector lower, Vector upper, Vector rowsLower = {}, Vector rowsUpper = {}) {
    columnLower = std::move(lower);
    columnUpper = std::move(upper);
    rowLower = std::move(rowsLower);
    rowUpper = std::move(rowsUpper);
    x0.assign(columnLower.size(), 0);
    for (int i = 0; i < rows(); ++i) {
      for (int j = 0; j < columns(); ++j) add(jacobian, i, j);
    }
    for (int i = 0; i < columns(); ++i) {
      for (int j = 0; j <= i; ++j) add(hessian, i, j);
    }
    ddl = [this](const double*, double, const double*) { return Vector(hessian.size(), 0); };
  }
  static void add(SparsePattern& pattern, int row, int column) {
    pattern.row.push_back(row);
    pattern.column.push_back(column);
  }
  static bool give(const Vector& from, double* to) {
    std::copy(from.begin(), from.end(), to);
    return true;
  }
  bool objective(const double* x, bool, double& value) override {
    ++evaluations;
    return defined(x) && (value = f(x), true);
  }
  bool gradient(const double* x, bool, double* values) override { return give(df(x), values); }
  bool constraints(const double* x, bool, double* values) override { return give(g(x), values); }
  bool jacobianValues(const double* x, bool, double* values) override { return give(dg(x), values); }
  bool hessianValues(const double* x, bool, double factor, const double* multipliers, double* values) override {
    return give(ddl(x, factor, multipliers), values);
  }
  NlpPoint start() const { return {x0, {}, {}, {}}; }
};

constexpr double kInf = TVLO_INFINITY;

// Number 71 of Hock and Schittkowski's collection.
struct Hs071 : Example {
  explicit Hs071(int direction = 1) : Example(Vector(4, 1), Vector(4, 5), {25, 40}, {kInf, 40}) {
    sense = direction;
    x0 = {1, 5, 5, 1};
    const double d = direction;
    f = [d](const double* x) { return d * (x[0] * x[3] * (x[0] + x[1] + x[2]) + x[2]); };
    df = [d](const double* x) {
      return Vector{d * x[3] * (2 * x[0] + x[1] + x[2]), d * x[0] * x[3], d * (x[0] * x[3] + 1),
                    d * x[0] * (x[0] + x[1] + x[2])};
    };
    g = [](const double* x) {
      return Vector{x[0] * x[1] * x[2] * x[3], x[0] * x[0] + x[1] * x[1] + x[2] * x[2] + x[3] * x[3]};
    };
    dg = [](const double* x) {
      return Vector{x[1] * x[2] * x[3], x[0] * x[2] * x[3], x[0] * x[1] * x[3], x[0] * x[1] * x[2],
                    2 * x[0],           2 * x[1],           2 * x[2],           2 * x[3]};
    };
    ddl = [d](const double* x, double factor, const double* y) {
      const double s = factor * d, a = y[0], b = 2 * y[1];
      return Vector{s * 2 * x[3] + b,
                    s * x[3] + a * x[2] * x[3],
                    b,
                    s * x[3] + a * x[1] * x[3],
                    a * x[0] * x[3],
                    b,
                    s * (2 * x[0] + x[1] + x[2]) + a * x[1] * x[2],
                    s * x[0] + a * x[0] * x[2],
                    s * x[0] + a * x[0] * x[1],
                    b};
    };
  }
  static constexpr double kOptimum = 17.0140171451792;
};

// Objective c'x + x'Dx/2 with a diagonal D, and linear rows.
struct Linear : Example {
  Linear(Vector cost, Vector curvature, Vector matrix, Vector lower, Vector upper, Vector rowsLower, Vector rowsUpper)
      : Example(std::move(lower), std::move(upper), std::move(rowsLower), std::move(rowsUpper)) {
    quadratic = linearRows = true;
    const int n = columns(), m = rows();
    f = [=](const double* x) {
      double value = 0;
      for (int j = 0; j < n; ++j) value += cost[j] * x[j] + curvature[j] * x[j] * x[j] / 2;
      return value;
    };
    df = [=](const double* x) {
      Vector values(n);
      for (int j = 0; j < n; ++j) values[j] = cost[j] + curvature[j] * x[j];
      return values;
    };
    g = [=](const double* x) {
      Vector values(m, 0);
      for (int i = 0; i < m; ++i) {
        for (int j = 0; j < n; ++j) values[i] += matrix[i * n + j] * x[j];
      }
      return values;
    };
    dg = [=](const double*) { return matrix; };
    ddl = [=](const double*, double factor, const double*) {
      Vector values;
      for (int i = 0; i < n; ++i) {
        for (int j = 0; j <= i; ++j) values.push_back(i == j ? factor * curvature[i] : 0);
      }
      return values;
    };
  }
};

}  // namespace tvlo::examples
