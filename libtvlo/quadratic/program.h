// A quadratic problem as a nonlinear program: its continuous relaxation, with the rows that can bind.
#pragma once

#include <vector>

#include "core/model.h"
#include "engines/nlp.h"

namespace tvlo {

// Refers to the model, which must outlive it and stay as it is.
class QuadraticProgram final : public NlpProgram {
 public:
  explicit QuadraticProgram(const Model& model);

  // Whether the rows that are left out, those without coefficients, hold.
  bool emptyRowsHold(double tolerance) const;
  // Between the model's numbering of rows and the program's.
  std::vector<double> toProgram(const std::vector<double>& ofRows) const;
  std::vector<double> toModel(const std::vector<double>& ofRows) const;

  bool objective(const double* x, bool fresh, double& value) override;
  bool gradient(const double* x, bool fresh, double* values) override;
  bool constraints(const double* x, bool fresh, double* values) override;
  bool jacobianValues(const double* x, bool fresh, double* values) override;
  bool hessianValues(const double* x, bool fresh, double objectiveFactor, const double* multipliers,
                     double* values) override;

 private:
  struct Row {
    int row;                    // of the model
    const QuadraticForm* form;  // null: linear
    size_t begin, linear;       // its entries in the Jacobian and how many the linear part has in front
    std::vector<std::pair<size_t, size_t>> place;  // of each quadratic entry's columns in the Jacobian
    std::vector<size_t> hessian;                   // of each quadratic entry in the Hessian
  };
  void addRow(int row);
  void placeHessian();

  const Model& model_;
  std::vector<Row> rows_;
  std::vector<size_t> objectiveHessian_;
  std::vector<double> jacobian_;  // the linear coefficients, 0 where there is none
};

}  // namespace tvlo
