#include "nonlinear/elements.h"

#include <algorithm>
#include <cmath>

namespace tvlo {

namespace {

constexpr int kFewest = 3;  // elements for which lanes pay

// Of the value of a tape as a polynomial of its variables; 3 stands for more than 2 and for no polynomial.
int degreeOf(const TapeCode& code) {
  std::vector<int> degree(code.variables, 1);
  degree.resize(code.variables + static_cast<size_t>(code.constants));
  for (const TapeOp& op : code.ops) {
    const auto of = [&](int slot) { return slot < 0 ? 0 : degree[slot]; };
    int result = 3;
    switch (op.op) {
      case Op::add:
      case Op::sub:
        result = std::max(of(op.a), of(op.b));
        break;
      case Op::mul:
        result = of(op.a) + of(op.b);
        break;
      case Op::neg:
        result = of(op.a);
        break;
      case Op::square:
        result = 2 * of(op.a);
        break;
      case Op::div:
        if (of(op.b) == 0) result = of(op.a);
        break;
      default:
        break;
    }
    degree.push_back(std::min(result, 3));
  }
  return degree.back();
}

}  // namespace

// The nodes that a node consists of, operands first.
void Elements::collect(const Expression& expression, int node) {
  if (++pass_ == 0) {
    std::fill(seen_.begin(), seen_.end(), 0);
    std::fill(columnSeen_.begin(), columnSeen_.end(), 0);
    pass_ = 1;
  }
  order_.clear();
  open_.assign(1, node);
  while (!open_.empty()) {
    const int k = open_.back();
    open_.pop_back();
    if (k >= static_cast<int>(seen_.size())) {
      seen_.resize(2 * static_cast<size_t>(k) + 16);
      slotOf_.resize(seen_.size());
    }
    if (seen_[k] == pass_) continue;
    seen_[k] = pass_;
    order_.push_back(k);
    expression.forOperands(expression.node(k), [&](int operand) { open_.push_back(operand); });
  }
  std::sort(order_.begin(), order_.end());
}

void Elements::compile(const Expression& expression) {
  columnSlot_.resize(columnOf_.size());
  columnSeen_.resize(columnOf_.size());
  code_ = TapeCode();
  columns_.clear();
  constants_.clear();
  for (const int k : order_) {
    const ExpressionNode& node = expression.node(k);
    if (node.op == Op::column) {
      if (columnSeen_[node.a] != pass_) {
        columnSeen_[node.a] = pass_;
        columnSlot_[node.a] = static_cast<int>(columns_.size());
        columns_.push_back(columnOf_[node.a]);
      }
      slotOf_[k] = columnSlot_[node.a];
    } else if (node.op == Op::constant) {
      constants_.push_back(node.value);
    }
  }
  code_.variables = static_cast<int>(columns_.size());
  code_.constants = static_cast<int>(constants_.size());
  int constant = code_.variables;
  int next = code_.variables + code_.constants;
  for (const int k : order_) {
    const ExpressionNode& node = expression.node(k);
    if (node.op == Op::column) continue;
    if (node.op == Op::constant) {
      slotOf_[k] = constant++;
      continue;
    }
    TapeOp op{node.op, -1, -1};
    if (node.op == Op::user) {
      op.a = static_cast<int>(code_.arguments.size());
      op.b = node.b;
      for (int i = 0; i < node.b; ++i) code_.arguments.push_back(slotOf_[expression.argument(node.a + i)]);
      code_.functions.push_back(static_cast<int>(node.value));
    } else {
      op.a = slotOf_[node.a];
      op.b = node.op == Op::pwl ? node.b : node.b >= 0 ? slotOf_[node.b] : -1;
    }
    code_.ops.push_back(op);
    slotOf_[k] = next++;
  }
}

void Elements::add(const Expression& expression, int node, double weight, int target) {
  collect(expression, node);
  compile(expression);
  Group*& group = byCode_[code_];
  if (group == nullptr) {
    groups_.push_back(std::make_unique<Group>(code_, checkpoint_));
    group = groups_.back().get();
  }
  group->target.push_back(target);
  group->weight.push_back(weight);
  group->columns.insert(group->columns.end(), columns_.begin(), columns_.end());
  group->constants.insert(group->constants.end(), constants_.begin(), constants_.end());
  if (code_.functions.empty()) return;
  for (size_t k = 0; k < code_.functions.size(); ++k) {
    const int site = sites_.add(formulas_.functions.find(code_.functions[k]));
    if (k == 0) group->site.push_back(site);
  }
}

void Elements::listTargets(std::vector<int>& targets) const {
  for (const auto& group : groups_) targets.insert(targets.end(), group->target.begin(), group->target.end());
}

size_t Elements::operations() const {
  size_t sum = 0;
  for (const auto& group : groups_) sum += group->tape.operations() * group->target.size();
  return sum;
}

void Elements::placeGradients(const GradientPlace& place) {
  for (const auto& group : groups_) {
    if (checkpoint_) checkpoint_();
    const int n = group->tape.variables();
    group->gradientAt.clear();
    group->gradientAt.reserve(group->columns.size());
    for (int k = 0; k < group->count(); ++k) {
      for (int i = 0; i < n; ++i) {
        const bool any = group->tape.gradient()[i] >= 0;
        group->gradientAt.push_back(any ? place(group->target[k], group->columns[static_cast<size_t>(k) * n + i]) : -1);
      }
    }
  }
}

void Elements::placeHessians(const HessianPlace& place) {
  for (const auto& group : groups_) {
    if (checkpoint_) checkpoint_();
    const int n = group->tape.variables();
    group->hessianAt.clear();
    group->hessianAt.reserve(group->tape.hessian().size() * group->count());
    for (int k = 0; k < group->count(); ++k) {
      const int* const columns = group->columns.data() + static_cast<size_t>(k) * n;
      for (const Tape::Entry& entry : group->tape.hessian()) {
        const auto [low, high] = std::minmax(columns[entry.row], columns[entry.column]);
        group->hessianAt.push_back(place(high, low));
      }
    }
  }
}

void Elements::prepare() {
  size_t most = 0;
  for (const auto& group : groups_) {
    const size_t lanes = group->count() < kFewest ? 1 : Tape::kLanes;
    most = std::max(most, lanes * group->tape.slots());
  }
  space_.assign(most, 0);
  byCode_.clear();
}

void Elements::setBounds(const std::vector<double>& lower, const std::vector<double>& upper) {
  for (const auto& group : groups_) {
    if (group->site.empty()) continue;
    const TapeCode& code = group->tape.code();
    for (int k = 0; k < group->count(); ++k) {
      int site = group->site[k];
      for (const TapeOp& op : code.ops) {
        if (op.op != Op::user) continue;
        for (int i = 0; i < op.b; ++i) {
          const int slot = code.arguments[op.a + i];
          if (slot < code.variables) {
            const int column = group->columns[static_cast<size_t>(k) * code.variables + slot];
            sites_.setBounds(site, i, lower[column], upper[column]);
          } else if (slot < code.variables + code.constants) {
            const double value = group->constants[static_cast<size_t>(k) * code.constants + slot - code.variables];
            sites_.setBounds(site, i, value, value);
          }
        }
        ++site;
      }
    }
  }
}

// Runs a tape for up to W elements; lanes without one repeat the last.
template <int W, Elements::Mode M>
bool Elements::batch(const Group& group, int first, const Call& call) {
  const Tape& tape = group.tape;
  const int n = tape.variables();
  const int m = tape.constants();
  double* const w = space_.data();
  TapeContext context{&tables_, &sites_, std::min(W, group.count() - first), {}};
  for (int l = 0; l < W; ++l) {
    const int element = first + std::min(l, context.lanes - 1);
    const int* const columns = group.columns.data() + static_cast<size_t>(element) * n;
    const double* const constants = group.constants.data() + static_cast<size_t>(element) * m;
    for (int i = 0; i < n; ++i) w[i * W + l] = call.x[columns[i]];
    for (int i = 0; i < m; ++i) w[(n + i) * W + l] = constants[i];
    double seed = group.weight[element];
    if (M == Mode::hessians) seed *= call.multipliers ? call.multipliers[group.target[element]] : call.factor;
    w[static_cast<size_t>(tape.seed()) * W + l] = seed;
    if (!group.site.empty()) context.site[l] = group.site[element];
  }
  const bool sound = M == Mode::values      ? tape.values<W>(w, context)
                     : M == Mode::gradients ? tape.gradients<W>(w, context)
                                            : tape.hessians<W>(w, context);
  if (!sound) return false;

  double sum = 0;  // not finite when any result is not
  const auto at = [&](int slot, int lane) { return w[static_cast<size_t>(slot) * W + lane]; };
  for (int l = 0; l < context.lanes; ++l) {
    const int element = first + l;
    const double value = at(tape.result(), l);
    sum += value;
    if constexpr (M == Mode::values) {
      call.out[group.target[element]] += group.weight[element] * value;
    } else if constexpr (M == Mode::gradients) {
      const int* place = group.gradientAt.data() + static_cast<size_t>(element) * n;
      for (const int slot : tape.gradient()) {
        if (slot >= 0) {
          const double d = at(slot, l);
          sum += d;
          call.out[*place] += d;
        }
        ++place;
      }
    } else {
      const auto& entries = tape.hessian();
      const int* place = group.hessianAt.data() + static_cast<size_t>(element) * entries.size();
      for (const Tape::Entry& entry : entries) {
        const double d = at(entry.slot, l);
        sum += d;
        call.out[*place++] += d;
      }
    }
  }
  return std::isfinite(sum);
}

template <Elements::Mode M>
bool Elements::each(const Call& call) {
  for (const auto& group : groups_) {
    const bool single = group->count() < kFewest;
    const int step = single ? 1 : Tape::kLanes;
    for (int first = 0; first < group->count(); first += step) {
      if (!(single ? batch<1, M>(*group, first, call) : batch<Tape::kLanes, M>(*group, first, call))) return false;
    }
  }
  return true;
}

bool Elements::addValues(const double* x, double* values) { return each<Mode::values>({x, nullptr, 1, values}); }

bool Elements::addGradients(const double* x, double* values) { return each<Mode::gradients>({x, nullptr, 1, values}); }

bool Elements::addHessians(const double* x, const double* multipliers, double factor, double* values) {
  return each<Mode::hessians>({x, multipliers, factor, values});
}

int Elements::degree() const {
  int most = 0;
  for (const auto& group : groups_) most = std::max(most, degreeOf(group->tape.code()));
  return most;
}

bool Elements::hasKinks() const {
  const auto kink = [](const TapeOp& op) {
    return op.op == Op::abs || op.op == Op::min || op.op == Op::max || op.op == Op::pwl;
  };
  return std::any_of(groups_.begin(), groups_.end(), [&](const auto& group) {
    const std::vector<TapeOp>& ops = group->tape.code().ops;
    return std::any_of(ops.begin(), ops.end(), kink);
  });
}

}  // namespace tvlo
