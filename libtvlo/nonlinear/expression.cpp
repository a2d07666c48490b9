#include "nonlinear/expression.h"

#include <algorithm>
#include <cmath>

#include "core/error.h"
#include "elementary/functions.h"
#include "nonlinear/token_stack.h"

namespace tvlo {

namespace {

constexpr int kWholePowers = 16;

double unaryValue(Op op, double x) {
  switch (op) {
#define ELEMENTARY_FUNCTION(name, ...) \
  case Op::name:                       \
    return std::isnan(x) ? x : elementary::name(x);
#include "elementary/functions.def"
    case Op::square:
      return x * x;
    default:
      return elementary::neg(x, 0);
  }
}

double binaryValue(Op op, double a, double b) {
  switch (op) {
#define ELEMENTARY_OPERATOR(name, ...) \
  case Op::name:                       \
    return elementary::name(a, b);
#include "elementary/functions.def"
    case Op::min:
      return lesser(a, b);
    default:
      return greater(a, b);
  }
}

Op opOfFunction(int function) {
  switch (function) {
#define ELEMENTARY_FUNCTION(name, Node, node, TOKEN, ...) \
  case TSLP_FUNCTION_##TOKEN:                             \
    return Op::name;
#include "elementary/functions.def"
    default:
      throw Error(TVLO_ERR_INTERNAL, format("There is no function %d", function));
  }
}

Op opOfOperator(int code) {
  switch (code) {
#define ELEMENTARY_OPERATOR(name, Node, node, TOKEN, ...) \
  case TSLP_OPERATOR_##TOKEN:                             \
    return Op::name;
#include "elementary/functions.def"
    default:
      throw Error(TVLO_ERR_INTERNAL, format("There is no operator %d", code));
  }
}

}  // namespace

double pwlValue(const PwlTable& table, double t, double& slope) {
  const size_t n = table.x.size();
  const auto above = static_cast<size_t>(std::upper_bound(table.x.begin(), table.x.end(), t) - table.x.begin());
  const size_t right = std::clamp<size_t>(above, 1, n - 1);
  const size_t left = right - 1;
  const elementary::Segment segment{table.x[left], table.y[left], table.x[right], table.y[right]};
  slope = segment.slope();
  return segment.at(t);
}

double wholePower(double base, int exponent) {
  double result = 1;
  double power = base;
  for (int left = std::abs(exponent); left > 0; left >>= 1, power *= power) {
    if ((left & 1) != 0) result *= power;
  }
  return exponent < 0 ? 1 / result : result;
}

int Expression::unary(Op op, int a) {
  if (isConstant(a)) return constant(unaryValue(op, nodes_[a].value));
  if (op == Op::neg && nodes_[a].op == Op::neg) return nodes_[a].a;
  return push({op, a});
}

int Expression::binary(Op op, int a, int b) {
  if (isConstant(a) && isConstant(b)) {
    const bool undefined = op == Op::div && nodes_[b].value == 0;
    return constant(undefined ? std::nan("") : binaryValue(op, nodes_[a].value, nodes_[b].value));
  }
  switch (op) {
    case Op::add:
      if (isConstant(b, 0)) return a;
      if (isConstant(a, 0)) return b;
      break;
    case Op::sub:
      if (isConstant(b, 0)) return a;
      if (isConstant(a, 0)) return unary(Op::neg, b);
      break;
    case Op::mul:
      if (isConstant(b, 1)) return a;
      if (isConstant(a, 1)) return b;
      if (isConstant(b, -1)) return unary(Op::neg, a);
      if (isConstant(a, -1)) return unary(Op::neg, b);
      if (nodes_[a].op == Op::column && nodes_[b].op == Op::column && nodes_[a].a == nodes_[b].a) {
        return push({Op::square, a});
      }
      break;
    case Op::div:
      if (isConstant(b, 1)) return a;
      break;
    case Op::pow:
      return power(a, b);
    default:
      break;
  }
  return push({op, a, b});
}

int Expression::power(int a, int b) {
  if (isConstant(b)) {
    const double exponent = nodes_[b].value;
    if (exponent == 0) return constant(1);
    if (exponent == 1) return a;
    if (exponent == 2) return push({Op::square, a});
    if (exponent == 0.5) return push({Op::sqrt, a});
    if (exponent == -1) return push({Op::div, constant(1), a});
    const bool whole = exponent == std::floor(exponent) && std::abs(exponent) <= kWholePowers;
    return push({whole ? Op::powWhole : Op::powConst, a, b});
  }
  if (isConstant(a)) return isConstant(a, 1) ? constant(1) : push({Op::constPow, a, b});
  return push({Op::pow, a, b});
}

int Expression::chain(Op op, const int* operands, int count) {
  int result = operands[0];
  for (int k = 1; k < count; ++k) result = binary(op, result, operands[k]);
  return result;
}

// The points come last to first, each value before its breakpoint.
int Expression::piecewise(const int* operands, int count) {
  PwlTable table;
  for (int k = count - 3; k >= 0; k -= 2) {
    table.x.push_back(nodes_[operands[k + 1]].value);
    table.y.push_back(nodes_[operands[k]].value);
  }
  const int a = operands[count - 1];
  double slope;
  if (isConstant(a)) return constant(pwlValue(table, nodes_[a].value, slope));
  auto at = std::find(tables_.begin(), tables_.end(), table);
  if (at == tables_.end()) at = tables_.insert(at, std::move(table));
  return push({Op::pwl, a, static_cast<int>(at - tables_.begin())});
}

int Expression::apply(int function, const int* operands, int count) {
  kinks_ = kinks_ || function == TSLP_FUNCTION_MIN || function == TSLP_FUNCTION_MAX || function == TSLP_FUNCTION_PWL ||
           function == TSLP_FUNCTION_ABS;
  if (function == TSLP_FUNCTION_MIN || function == TSLP_FUNCTION_MAX) {
    return chain(function == TSLP_FUNCTION_MIN ? Op::min : Op::max, operands, count);
  }
  if (function == TSLP_FUNCTION_PWL) return piecewise(operands, count);
  return unary(opOfFunction(function), operands[0]);
}

struct Expression::Reader {
  Expression& e;
  int constant(double value) const { return e.constant(value); }
  int column(int j) const { return e.push({Op::column, j}); }
  int negative(int a) const { return e.unary(Op::neg, a); }
  int binary(int code, int a, int b) const { return e.binary(opOfOperator(code), a, b); }
  int function(int code, const int* operands, size_t count) const {
    return e.apply(code, operands, static_cast<int>(count));
  }
  int user(int id, const int* operands, size_t count) const {
    const auto begin = static_cast<int>(e.arguments_.size());
    e.arguments_.insert(e.arguments_.end(), operands, operands + count);
    return e.push({Op::user, begin, static_cast<int>(count), static_cast<double>(id)});
  }
};

void Expression::read(TokenView run) {
  nodes_.clear();
  arguments_.clear();
  kinks_ = false;
  root_ = runTokens<int>(run, Reader{*this}, stack_, markers_);
}

void Expression::multiplyByColumn(int column) { root_ = binary(Op::mul, push({Op::column, column}), root_); }

// Whether a node is factor * c1 * c2, c2 -1 for one column only.
bool Expression::monomial(int k, double& factor, int& c1, int& c2) const {
  factor = 1;
  c1 = c2 = -1;
  const auto linear = [&](int at, int& column) {
    for (;;) {
      const ExpressionNode& node = nodes_[at];
      if (node.op == Op::neg) {
        factor = -factor;
        at = node.a;
      } else if (node.op == Op::mul && (isConstant(node.a) || isConstant(node.b))) {
        factor *= nodes_[isConstant(node.a) ? node.a : node.b].value;
        at = isConstant(node.a) ? node.b : node.a;
      } else if (node.op == Op::div && isConstant(node.b) && nodes_[node.b].value != 0) {
        factor /= nodes_[node.b].value;
        at = node.a;
      } else {
        column = at;
        return node.op == Op::column;
      }
    }
  };
  if (linear(k, c1)) {
    c1 = nodes_[c1].a;
    return true;
  }
  const ExpressionNode& inner = nodes_[c1];
  if (inner.op == Op::square) {
    const double outer = factor;
    factor = 1;
    if (!linear(inner.a, c1)) return false;
    c1 = c2 = nodes_[c1].a;
    factor = outer * factor * factor;
    return true;
  }
  if (inner.op != Op::mul) return false;
  const int right = inner.b;
  if (!linear(inner.a, c1) || !linear(right, c2)) return false;
  c1 = nodes_[c1].a;
  c2 = nodes_[c2].a;
  return true;
}

void Expression::split(int from, double factor, Parts& parts) {
  open_.assign(1, {from, factor});
  while (!open_.empty()) {
    const auto [k, weight] = open_.back();
    open_.pop_back();
    const ExpressionNode& node = nodes_[k];
    if (weight == 0) continue;
    double scale;
    int c1, c2;
    switch (node.op) {
      case Op::constant:
        parts.constant += weight * node.value;
        continue;
      case Op::add:
        open_.push_back({node.b, weight});
        open_.push_back({node.a, weight});
        continue;
      case Op::sub:
        open_.push_back({node.b, -weight});
        open_.push_back({node.a, weight});
        continue;
      case Op::neg:
        open_.push_back({node.a, -weight});
        continue;
      case Op::mul:
        if (isConstant(node.a) || isConstant(node.b)) {
          const bool first = isConstant(node.a);
          open_.push_back({first ? node.b : node.a, weight * nodes_[first ? node.a : node.b].value});
          continue;
        }
        break;
      case Op::div:
        if (isConstant(node.b) && nodes_[node.b].value != 0) {
          open_.push_back({node.a, weight / nodes_[node.b].value});
          continue;
        }
        break;
      default:
        break;
    }
    if (!monomial(k, scale, c1, c2)) {
      parts.elements.push_back({k, weight});
    } else if (c2 < 0) {
      parts.linear.push_back({c1, weight * scale});
    } else {
      parts.quadratic.push_back({c1, c2, weight * scale});
    }
  }
}

}  // namespace tvlo
