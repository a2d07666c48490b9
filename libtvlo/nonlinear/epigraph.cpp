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

bool EpigraphFinder::jumps(const PwlTable& table) {
  return std::adjacent_find(table.x.begin(), table.x.end()) != table.x.end();
}

// For place -1: concave.
bool EpigraphFinder::convex(const PwlTable& table, int place) {
  const size_t pieces = table.x.size() - 1;
  if (pieces > kMostPieces || jumps(table)) return false;
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

// Of a kink that can be taken out where it stands, 1: it is the largest of its pieces, -1: the least one; 0: no such.
int EpigraphFinder::sideOf(const Expression& expression, int k, int place) const {
  if (place != 0) return liftable(expression, k, place) ? place : 0;
  return liftable(expression, k, 1) ? 1 : liftable(expression, k, -1) ? -1 : 0;
}

bool EpigraphFinder::splits(const Expression& expression, int k) const {
  const ExpressionNode& node = expression.node(k);
  return node.op == Op::pwl && !jumps_[k] && tables_[node.b].x.size() <= kMostPieces && !jumps(tables_[node.b]) &&
         sideOf(expression, k, 0) == 0;
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

void EpigraphFinder::addPieces(const PwlTable& table, int operand) {
  for (size_t i = 0; i + 1 < table.x.size(); ++i) {
    const double slope = slopeOf(table, i);
    if (slope == 0) {
      pieces_.push_back({-1, 0, table.y[i]});
    } else {
      pieces_.push_back({operand, slope, table.y[i] - slope * table.x[i]});
    }
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
      addPieces(tables_[node.b], node.a);
    } else {
      open_.push_back(node.b);
      open_.push_back(node.a);
    }
  }
}

// A kink that its place doesn't suit counts as one that nothing is known of.
int EpigraphFinder::placeFor(const Expression& expression, int k, int place) const {
  if (!all_ || place == 0 || liftable(expression, k, place)) return place;
  return sideOf(expression, k, 0) != 0 || splits(expression, k) ? 0 : place;
}

void EpigraphFinder::demand(const Expression& expression, int k, int place) {
  if (place != 0 || all_) demanded_[at(k, placeFor(expression, k, place))] = true;
}

void EpigraphFinder::demandOperands(const Expression& expression, int k, int place) {
  if (const int side = sideOf(expression, k, place); side != 0) {
    gatherPieces(expression, k, side);
    for (const EpigraphPiece& piece : pieces_) {
      if (piece.node >= 0) demand(expression, piece.node, place * signOf(piece.scale));
    }
    return;
  }
  const ExpressionNode& node = expression.node(k);
  if (node.op == Op::user) return;
  const Places places = placesOf(expression, k, place);
  int operand = 0;
  expression.forOperands(node, [&](int o) { demand(expression, o, operand++ == 0 ? places.a : places.b); });
}

// The column in the place of a kink.
int EpigraphFinder::put(Expression& expression, int k, int place, int side, int column, std::vector<Epigraph>& found) {
  gatherPieces(expression, k, side);
  for (EpigraphPiece& piece : pieces_) {
    if (piece.node >= 0) piece.node = copyFor(expression, piece.node, place * signOf(piece.scale));
  }
  found.push_back({column, side, k, place == 0, pieces_});
  return expression.add({Op::column, column});
}

// A pwl as the difference of two convex ones: one's slope takes all that the slope gains, the other's all that it
// loses.
int EpigraphFinder::split(Expression& expression, const ExpressionNode& node, int column,
                          std::vector<Epigraph>& found) {
  const PwlTable whole = tables_[node.b];
  PwlTable rising = whole, falling = whole;
  double up = slopeOf(whole, 0), down = 0, slope = up;
  falling.y[0] = 0;
  for (size_t k = 0; k + 1 < rising.x.size(); ++k) {
    const double next = slopeOf(whole, k);
    up += std::max(0.0, next - slope);
    down += std::max(0.0, slope - next);
    slope = next;
    rising.y[k + 1] = rising.y[k] + up * (rising.x[k + 1] - rising.x[k]);
    falling.y[k + 1] = falling.y[k] + down * (falling.x[k + 1] - falling.x[k]);
  }
  int columns[2];
  for (const int part : {0, 1}) {
    tables_.push_back(part == 0 ? rising : falling);
    const auto table = static_cast<int>(tables_.size()) - 1;
    pieces_.clear();
    addPieces(tables_[table], copyFor(expression, node.a, 0));
    found.push_back({column + part, 1, expression.add({Op::pwl, node.a, table}), true, pieces_});
    columns[part] = expression.add({Op::column, column + part});
  }
  return expression.add({Op::sub, columns[0], columns[1]});
}

// What comes in the place of a node whose operands are done.
void EpigraphFinder::replace(Expression& expression, int k, int place, int column, std::vector<Epigraph>& found) {
  if (const int side = sideOf(expression, k, place); side != 0) {
    copyOf(k, place) = put(expression, k, place, side, column, found);
    return;
  }
  ExpressionNode node = expression.node(k);
  if (node.op == Op::user || node.op == Op::column || node.op == Op::constant) return;
  if (place == 0 && splits(expression, k)) {
    copyOf(k, 0) = split(expression, node, column, found);
    return;
  }
  const Places places = placesOf(expression, k, place);
  node.a = copyFor(expression, node.a, places.a);
  if (node.op != Op::pwl && node.b >= 0) node.b = copyFor(expression, node.b, places.b);
  if (node.a != expression.node(k).a || node.b != expression.node(k).b) copyOf(k, place) = expression.add(node);
}

int EpigraphFinder::lift(Expression& expression, int place, bool all, int nextColumn, std::vector<Epigraph>& found) {
  const int root = expression.root();
  found.clear();
  if ((place == 0 && !all) || !expression.hasKinks()) return root;
  all_ = all;
  findJumps(expression);
  demanded_.assign(3 * static_cast<size_t>(root + 1), false);
  copy_.resize(demanded_.size());
  for (int k = 0; k <= root; ++k) copyOf(k, 1) = copyOf(k, 0) = copyOf(k, -1) = k;
  demand(expression, root, place);
  for (int k = root; k >= 0; --k) {
    for (const int p : {1, 0, -1}) {
      if (demanded_[at(k, p)]) demandOperands(expression, k, p);
    }
  }
  for (int k = 0; k <= root; ++k) {
    for (const int p : {1, 0, -1}) {
      if (demanded_[at(k, p)]) replace(expression, k, p, nextColumn + static_cast<int>(found.size()), found);
    }
  }
  return copyFor(expression, root, place);
}

}  // namespace tvlo
