// A model with its formulas as a smooth program for a local solver. Its columns and rows are those of the model
// without:
// - free rows, which constrain nothing;
// - the transfer row and column of the objective: where an equality row with that status defines a free column that
//   stands nowhere else but in the linear objective, the objective takes the row's content in that column's place.
// After them come the columns and rows that stand for kinks (epigraph.h), of which the model knows nothing.
// Binary and integer columns count as continuous here; whoever builds a program decides whether that will do.
//
// It holds what it needs of the model but the formulas' user functions, which it shares.
#pragma once

#include <algorithm>
#include <vector>

#include "core/model.h"
#include "engines/nlp.h"
#include "nonlinear/elements.h"
#include "nonlinear/epigraph.h"

namespace tvlo {

// What becomes of kinks: taken out where a row does in their place; all taken out; none.
enum class Kinks { lifted, exact, kept };

// One that is taken out exactly, by a column that is at least (side 1) or at most (-1) what its pieces say, and to
// equal one of them. The rows: column - piece, for each piece.
struct ExactKink {
  int column, side, firstRow, pieces;
};

class ModelProgram final : public NlpProgram {
 public:
  // Throws Error, and what the checkpoint throws, which is asked while the program is being built.
  explicit ModelProgram(const Model& model, Kinks kinks = Kinks::lifted, Checkpoint checkpoint = {});
  ModelProgram(const ModelProgram&) = delete;
  ModelProgram& operator=(const ModelProgram&) = delete;

  bool objective(const double* x, bool fresh, double& value) override;
  bool gradient(const double* x, bool fresh, double* values) override;
  bool constraints(const double* x, bool fresh, double* values) override;
  bool jacobianValues(const double* x, bool fresh, double* values) override;
  bool hessianValues(const double* x, bool fresh, double objectiveFactor, const double* multipliers,
                     double* values) override;

  // Of each column and row that the model knows of: the model's own.
  const std::vector<int>& modelColumns() const { return modelColumns_; }
  const std::vector<int>& modelRows() const { return modelRows_; }
  // Of each column of the model: the one here, -1 when it is taken out; then those that stand for kinks.
  const std::vector<int>& columnOf() const { return columnOf_; }

  // Sets the columns that stand for kinks to the kinks' values at a point; false when they have none.
  bool complete(std::vector<double>& x);

  // With Kinks::exact. No piece is chosen at first: until then the program is a relaxation.
  const std::vector<ExactKink>& exactKinks() const { return exactKinks_; }
  void choosePiece(const ExactKink& kink, int piece);
  bool hasKinks() const { return objectiveElements_.hasKinks() || rowElements_.hasKinks(); }  // that are left

  // The column that the objective took the place of, and its row; -1: none.
  int transferColumn() const { return transfer_.column; }
  int transferRow() const { return transfer_.row; }
  double transferDual() const { return transfer_.cost / transfer_.coefficient; }

  // Whether every function is a polynomial of degree 2 or less, so that its second derivatives are constant.
  bool isQuadratic() const;
  std::vector<int> nonlinearRows() const;                                 // ascending
  bool isLinear() const { return hessian.row.empty() && isQuadratic(); }  // what has kinks has no second derivatives
  size_t operations() const { return objectiveElements_.operations() + rowElements_.operations(); }

 private:
  struct Quadratic {  // value * c1 * c2 in a row; in the objective: row 0
    int row, c1, c2;
    double value;
    int first = 0, second = 0, hessian = 0;  // places of the derivatives
  };
  struct Transfer {
    int column = -1, row = -1;
    double coefficient = 1, cost = 0, rhs = 0;
    bool any() const { return column >= 0; }
  };

  void takeBounds(const Model& model);
  void findTransfer(const Model& model);
  bool transferable(const Model& model, int row, int column) const;
  void number(const Model& model);
  void readObjective(const Model& model);
  void readRows(const Model& model);
  void readFormulas(const Model& model);
  void readFormula(const Model& model, const Formulas::Coefficient& coef);
  int kinkPlace(int target, double factor) const;
  void addParts(int node, double factor, int target);
  void addEpigraph(const Epigraph& epigraph);
  void readQuadratic(const QuadraticForm& form, double scale, double diagonal, double mixed, int target);
  void addLinear(int target, int column, double value);
  void buildJacobian();
  void buildHessian();
  int jacobianPlace(int row, int column) const;
  static void addQuadratics(const std::vector<Quadratic>& terms, const double* x, double* values);

  static constexpr int kObjective = -1;
  Checkpoint checkpoint_;
  std::vector<int> columnOf_, rowOf_, modelColumns_, modelRows_;
  Transfer transfer_;
  std::vector<PwlTable> tables_;
  UserSites sites_;
  Formulas shared_;                                          // the user functions
  Elements objectiveElements_, rowElements_, kinkElements_;  // the last ones: values of columns that stand for kinks

  double constant_ = 0;
  std::vector<double> cost_, rowConstant_;
  struct Term {
    int row, column;
    double value;
  };
  std::vector<Term> linear_;  // of the rows
  std::vector<Quadratic> objectiveQuadratics_, rowQuadratics_;
  std::vector<ExactKink> exactKinks_;
  std::vector<int> jacobianStart_;
  std::vector<double> jacobianBase_;  // the linear part

  Kinks kinks_;
  // Scratch of reading.
  Expression expression_{tables_};
  Expression::Parts parts_;
  EpigraphFinder finder_{tables_};
  std::vector<Epigraph> epigraphs_;
};

// The rows of a program alone: its points are the feasible ones.
class WithoutObjective final : public NlpProgram {
 public:
  explicit WithoutObjective(NlpProgram& program) : NlpProgram(program), program_(program) { sense = 1; }
  bool objective(const double*, bool, double& value) override {
    value = 0;
    return true;
  }
  bool gradient(const double*, bool, double* values) override {
    std::fill_n(values, columns(), 0.0);
    return true;
  }
  // What is fresh to these may not be to the program, which saw other calls.
  bool constraints(const double* x, bool, double* values) override { return program_.constraints(x, true, values); }
  bool jacobianValues(const double* x, bool, double* values) override {
    return program_.jacobianValues(x, true, values);
  }
  bool hessianValues(const double* x, bool, double, const double* multipliers, double* values) override {
    return program_.hessianValues(x, true, 0, multipliers, values);
  }

 private:
  NlpProgram& program_;
};

}  // namespace tvlo
