// A formula as a graph of operations while it is being compiled: constants are folded and what has a cheaper equal is
// replaced by it. Then it is taken apart at its sums into a constant, linear and quadratic terms, and elements: what
// is left, functions of few variables each as a rule, whose values add up.
//
// Values agree with those of the formula as it was given, up to rounding. Nothing here is recursive.
#pragma once

#include <vector>

#include "core/formulas.h"

namespace tvlo {

// The derivatives of those that have kinks are one-sided: abs and pwl take the one to the right; min and max that of
// the argument that comes first among equal ones; sign has 0.
enum class Op : uint8_t {
  constant,
  column,
#define ELEMENTARY_OPERATOR(name, ...) name,
#define ELEMENTARY_FUNCTION(name, ...) name,
#include "elementary/functions.def"
  powConst,  // a power whose second operand is constant, where that of pow varies as the first one does
  powWhole,  // and a whole number of small magnitude
  constPow,  // whose first one is
  square,
  min,
  max,
  pwl,
  user
};

struct ExpressionNode {
  Op op;
  int a = -1, b = -1;  // operands; column: a; pwl: a is the operand, b the table; user: its arguments are a to a + b -
                       // 1 of `arguments`
  double value = 0;    // constant: the number; user: the function's id
};

struct PwlTable {
  std::vector<double> x, y;
  bool operator==(const PwlTable&) const = default;
};

// Value and slope; a breakpoint takes the segment that starts there, the first and last segments go on for ever.
double pwlValue(const PwlTable& table, double t, double& slope);

double wholePower(double base, int exponent);

// The first one among equal ones; no number where one is none.
inline double lesser(double a, double b) { return b < a || b != b ? b : a; }
inline double greater(double a, double b) { return b > a || b != b ? b : a; }

class Expression {
 public:
  // Nodes of earlier formulas are forgotten. `tables` gathers the piecewise-linear functions.
  explicit Expression(std::vector<PwlTable>& tables) : tables_(tables) {}
  void read(TokenView run);  // valid tokens
  void multiplyByColumn(int column);

  const ExpressionNode& node(int k) const { return nodes_[k]; }
  int argument(int k) const { return arguments_[k]; }
  int root() const { return root_; }
  bool hasKinks() const { return kinks_; }  // whether abs, max, min or pwl stood in the formula
  int add(const ExpressionNode& node) { return push(node); }

  // The operands of a node.
  template <class F>
  void forOperands(const ExpressionNode& node, F visit) const {
    switch (node.op) {
      case Op::constant:
      case Op::column:
        return;
      case Op::user:
        for (int k = 0; k < node.b; ++k) visit(arguments_[node.a + k]);
        return;
      case Op::pwl:
        visit(node.a);
        return;
      default:
        visit(node.a);
        if (node.b >= 0) visit(node.b);
    }
  }

  struct Parts {
    double constant = 0;
    struct Linear {
      int column;
      double value;
    };
    struct Quadratic {  // value * c1 * c2
      int c1, c2;
      double value;
    };
    struct Element {  // weight * node
      int node;
      double weight;
    };
    std::vector<Linear> linear;
    std::vector<Quadratic> quadratic;
    std::vector<Element> elements;
    void clear() {
      constant = 0;
      linear.clear();
      quadratic.clear();
      elements.clear();
    }
  };
  void split(int from, double factor, Parts& parts);  // factor * that node; adds to what is there

 private:
  int constant(double value) { return push({Op::constant, -1, -1, value}); }
  int push(const ExpressionNode& node) {
    nodes_.push_back(node);
    return static_cast<int>(nodes_.size()) - 1;
  }
  bool isConstant(int k) const { return nodes_[k].op == Op::constant; }
  bool isConstant(int k, double value) const { return isConstant(k) && nodes_[k].value == value; }
  int unary(Op op, int a);
  int binary(Op op, int a, int b);
  int power(int a, int b);
  int chain(Op op, const int* operands, int count);
  int piecewise(const int* operands, int count);
  struct Reader;
  int apply(int function, const int* operands, int count);
  bool monomial(int k, double& factor, int& c1, int& c2) const;

  std::vector<PwlTable>& tables_;
  std::vector<ExpressionNode> nodes_;
  std::vector<int> arguments_, stack_;
  std::vector<size_t> markers_;
  std::vector<Parts::Element> open_;
  int root_ = -1;
  bool kinks_ = false;
};

}  // namespace tvlo
