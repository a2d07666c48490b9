#include "nonlinear/epigraph.h"

#include <algorithm>
#include <cmath>

namespace tvlo {

namespace {

constexpr size_t kMostPieces = 1000;
constexpr int kDepth = 20;  // to which signs of values are looked for

int signOf(double value) { return (value > 0) - (value < 0); }

double slopeOf(const PwlTable& table, size_t k) {
  return (table.y[k + 1] - table.y[k]) / (table.x[k + 1] - table.x[k]);
}

}  // namespace

// Operands come before what they are operands of.
void EpigraphFinder::findJumps(const Expression& expression) {
  const int count = expression.root() + 1;
  jumps_.assign(count, false);
  for (int k = 0; k < count; ++k) {
    const ExpressionNode& node = expression.node(k);
    bool jumps = node.op == Op::sign;
    expression.forOperands(node, [&](int operand) { jumps = jumps || jumps_[operand]; });
    jumps_[k] = jumps;
  }
}

// For place -1: concave.
bool EpigraphFinder::convex(const PwlTable& table, int place) {
  const size_t pieces = table.x.size() - 1;
  if (pieces > kMostPieces) return false;
  double largest = 0;
  for (size_t k = 0; k < pieces; ++k) largest = std::max(largest, std::abs(slopeOf(table, k)));
  for (size_t k = 1; k < pieces; ++k) {
    if (place * (slopeOf(table, k) - slopeOf(table, k - 1)) < -1e-13 * largest) return false;
  }
  return true;
}

bool EpigraphFinder::liftable(const Expression& expression, int k, int place) const {
  if (jumps_[k]) return false;
  const ExpressionNode& node = expression.node(k);
  switch (node.op) {
    case Op::max:
    case Op::abs:
      return place > 0;
    case Op::min:
      return place < 0;
    case Op::pwl:
      return convex(tables_[node.b], place);
    default:
      return false;
  }
}

// Whether that can be seen from its form.
bool EpigraphFinder::nonNegative(const Expression& expression, int k) {
  std::vector<std::pair<int, int>> open = {{k, 0}};  // all of these have to be
  while (!open.empty()) {
    const auto [next, depth] = open.back();
    open.pop_back();
    if (depth > kDepth) return false;
    const ExpressionNode& node = expression.node(next);
    const auto also = [&, inner = depth + 1](int operand) { open.emplace_back(operand, inner); };
    const auto known = [&](int operand) {
      const ExpressionNode& n = expression.node(operand);
      return (n.op == Op::constant && n.value >= 0) || n.op == Op::abs || n.op == Op::square || n.op == Op::exp ||
             n.op == Op::sqrt;
    };
    if (known(next)) continue;
    switch (node.op) {
      case Op::max:  // one is enough
        if (known(node.a) || known(node.b)) continue;
        also(node.a);
        continue;
      case Op::add:
      case Op::mul:
      case Op::min:
        also(node.a);
        also(node.b);
        continue;
      default:
        return false;
    }
  }
  return true;
}

// |a| and max(a, 0), whose kink a power takes away.
bool EpigraphFinder::startsAtZero(const Expression& expression, int k) {
  const ExpressionNode& node = expression.node(k);
  const auto zero = [&](int operand) {
    return expression.node(operand).op == Op::constant && expression.node(operand).value == 0;
  };
  return node.op == Op::abs || (node.op == Op::max && (zero(node.a) || zero(node.b)));
}

// The places of a node's operands; 0 where the node neither grows nor falls with one for sure, or where a larger or
// smaller operand would have a value while the operand itself has none.
EpigraphFinder::Places EpigraphFinder::placesOf(const Expression& expression, int k, int place) const {
  const ExpressionNode& node = expression.node(k);
  const auto value = [&](int operand) { return expression.node(operand).value; };
  const auto constant = [&](int operand) { return expression.node(operand).op == Op::constant; };
  const auto grows = [&](bool does) { return Places{does ? place : 0, 0}; };
  const auto growsFromZero = [&] {
    return grows(place > 0 && !startsAtZero(expression, node.a) && nonNegative(expression, node.a));
  };
  switch (node.op) {
    case Op::add:
    case Op::max:
    case Op::min:
      return {place, place};
    case Op::sub:
      return {place, -place};
    case Op::neg:
    case Op::erfc:
      return {-place, 0};
    case Op::mul:
      if (constant(node.a)) return {0, place * signOf(value(node.a))};
      return {constant(node.b) ? place * signOf(value(node.b)) : 0, 0};
    case Op::div:
      return {constant(node.b) ? place * signOf(value(node.b)) : 0, 0};
    case Op::constPow:
      return {0, value(node.a) > 0 ? place * signOf(value(node.a) - 1) : 0};
    case Op::exp:
    case Op::atan:
    case Op::erf:
      return {place, 0};
    case Op::sqrt:
    case Op::log:
    case Op::log10:  // what is below an operand and within the domain shows that the operand is, too
      return place < 0 ? grows(true) : growsFromZero();
    case Op::square:
      return growsFromZero();
    case Op::powWhole:
      if (value(node.b) < 0) return {};
      return std::fmod(value(node.b), 2) != 0 ? Places{place, 0} : growsFromZero();
    case Op::powConst:
      if (value(node.b) < 0) return {};
      return grows(place < 0 && value(node.b) != std::floor(value(node.b)));
    default:
      return {};
  }
}

void EpigraphFinder::gatherPieces(const Expression& expression, int k, int place) {
  pieces_.clear();
  open_.assign(1, k);
  while (!open_.empty()) {
    const int next = open_.back();
    open_.pop_back();
    const ExpressionNode& node = expression.node(next);
    if (!liftable(expression, next, place)) {
      if (node.op == Op::constant) {
        pieces_.push_back({-1, 0, node.value});
      } else {
        pieces_.push_back({next, 1, 0});
      }
    } else if (node.op == Op::abs) {
      pieces_.push_back({node.a, 1, 0});
      pieces_.push_back({node.a, -1, 0});
    } else if (node.op == Op::pwl) {
      const PwlTable& table = tables_[node.b];
      for (size_t i = 0; i + 1 < table.x.size(); ++i) {
        const double slope = slopeOf(table, i);
        if (slope == 0) {
          pieces_.push_back({-1, 0, table.y[i]});
        } else {
          pieces_.push_back({node.a, slope, table.y[i] - slope * table.x[i]});
        }
      }
    } else {
      open_.push_back(node.b);
      open_.push_back(node.a);
    }
  }
}

void EpigraphFinder::demandOperands(const Expression& expression, int k, int place) {
  if (liftable(expression, k, place)) {
    gatherPieces(expression, k, place);
    for (const EpigraphPiece& piece : pieces_) {
      if (piece.node >= 0) demand(piece.node, place * signOf(piece.scale));
    }
    return;
  }
  const ExpressionNode& node = expression.node(k);
  const Places places = placesOf(expression, k, place);
  if (places.a != 0) demand(node.a, places.a);
  if (places.b != 0) demand(node.b, places.b);
}

// What comes in the place of a node whose operands are done.
void EpigraphFinder::replace(Expression& expression, int k, int place, int nextColumn, std::vector<Epigraph>& found) {
  if (liftable(expression, k, place)) {
    gatherPieces(expression, k, place);
    for (EpigraphPiece& piece : pieces_) {
      if (piece.node >= 0) piece.node = copyOf(piece.node, place * signOf(piece.scale));
    }
    found.push_back({nextColumn, place, k, pieces_});
    copyOf(k, place) = expression.add({Op::column, nextColumn});
    return;
  }
  ExpressionNode node = expression.node(k);
  const Places places = placesOf(expression, k, place);
  if (places.a != 0) node.a = copyOf(node.a, places.a);
  if (places.b != 0) node.b = copyOf(node.b, places.b);
  if (node.a != expression.node(k).a || node.b != expression.node(k).b) copyOf(k, place) = expression.add(node);
}

int EpigraphFinder::lift(Expression& expression, int place, int nextColumn, std::vector<Epigraph>& found) {
  const int root = expression.root();
  found.clear();
  if (place == 0 || !expression.hasKinks()) return root;
  findJumps(expression);
  demanded_.assign(2 * static_cast<size_t>(root + 1), false);
  copy_.resize(demanded_.size());
  for (int k = 0; k <= root; ++k) copyOf(k, 1) = copyOf(k, -1) = k;
  demand(root, place);
  for (int k = root; k >= 0; --k) {
    for (const int p : {1, -1}) {
      if (demanded_[at(k, p)]) demandOperands(expression, k, p);
    }
  }
  for (int k = 0; k <= root; ++k) {
    for (const int p : {1, -1}) {
      if (demanded_[at(k, p)]) replace(expression, k, p, nextColumn + static_cast<int>(found.size()), found);
    }
  }
  return copyOf(root, place);
}

}  // namespace tvlo
