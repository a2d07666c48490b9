// Sums of elements: many functions of few variables each, kept by tape, so that those that share one are evaluated
// together. Each adds weight * value to its target. No evaluation allocates.
#pragma once

#include <functional>
#include <memory>
#include <unordered_map>

#include "nonlinear/tape.h"
#include "nonlinear/user_sites.h"

namespace tvlo {

class Elements {
 public:
  // All are borrowed. `columnOf` numbers the columns as the points to come do.
  Elements(const std::vector<PwlTable>& tables, UserSites& sites, const Formulas& formulas,
           const std::vector<int>& columnOf, const Checkpoint& checkpoint)
      : tables_(tables), sites_(sites), formulas_(formulas), columnOf_(columnOf), checkpoint_(checkpoint) {}

  void add(const Expression& expression, int node, double weight, int target);
  bool empty() const { return groups_.empty(); }
  void listTargets(std::vector<int>& targets) const;  // appends them, in any order and often
  size_t operations() const;                          // of all tapes together, each as often as it runs

  // Visits, for each element and each variable or pair that it has a derivative by, the place that is asked for:
  // the position where the derivative is to be added.
  using GradientPlace = std::function<int(int target, int column)>;
  using HessianPlace = std::function<int(int high, int low)>;
  void placeGradients(const GradientPlace& place);
  void placeHessians(const HessianPlace& place);

  void prepare();  // after the last element: the workspace and the bounds of user functions' arguments
  void setBounds(const std::vector<double>& lower, const std::vector<double>& upper);

  // Each adds to what is there and answers false when something can't be evaluated or is not finite.
  bool addValues(const double* x, double* values);  // values[target]
  bool addGradients(const double* x, double* values);
  // Second derivatives by multipliers[target], which is null when all have the multiplier `factor`.
  bool addHessians(const double* x, const double* multipliers, double factor, double* values);

  // Degree of every element as a polynomial of its variables, at most 2; 3 stands for all else.
  int degree() const;
  bool hasKinks() const;

 private:
  struct Group {
    Group(TapeCode code, const Checkpoint& checkpoint) : tape(std::move(code), checkpoint) {}
    Tape tape;
    std::vector<int> target, columns, site, gradientAt, hessianAt;  // columns and places side by side for each element
    std::vector<double> weight, constants;
    int count() const { return static_cast<int>(target.size()); }
  };
  struct CodeHash {
    size_t operator()(const TapeCode& code) const { return hashOf(code); }
  };

  void collect(const Expression& expression, int node);
  void compile(const Expression& expression);
  enum class Mode { values, gradients, hessians };
  struct Call {
    const double* x;
    const double* multipliers;
    double factor;
    double* out;
  };
  template <int W, Mode M>
  bool batch(const Group& group, int first, const Call& call);
  template <Mode M>
  bool each(const Call& call);

  const std::vector<PwlTable>& tables_;
  UserSites& sites_;
  const Formulas& formulas_;
  const std::vector<int>& columnOf_;
  const Checkpoint& checkpoint_;
  std::vector<std::unique_ptr<Group>> groups_;
  std::unordered_map<TapeCode, Group*, CodeHash> byCode_;
  std::vector<double> space_;

  // Scratch of compilation.
  TapeCode code_;
  std::vector<int> order_, open_, slotOf_, columns_, columnSlot_;
  std::vector<uint32_t> seen_, columnSeen_;
  std::vector<double> constants_;
  uint32_t pass_ = 0;
};

}  // namespace tvlo
