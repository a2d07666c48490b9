// Building a tape: slots, and the code of its derivatives.
#include "nonlinear/tape.h"

#include "core/error.h"
#include "nonlinear/pair_index.h"

namespace tvlo {

size_t hashOf(const TapeCode& code) {
  uint64_t hash = 1469598103934665603ULL;
  const auto mix = [&](uint64_t word) { hash = (hash ^ word) * 1099511628211ULL + (hash >> 29); };
  mix(static_cast<uint64_t>(code.variables) << 32 | static_cast<uint32_t>(code.constants));
  for (const TapeOp& op : code.ops) {
    mix(static_cast<uint64_t>(op.op) << 56 ^ static_cast<uint64_t>(static_cast<uint32_t>(op.a)) << 28 ^
        static_cast<uint32_t>(op.b));
  }
  for (const int k : code.arguments) mix(static_cast<uint32_t>(k));
  for (const int k : code.functions) mix(static_cast<uint32_t>(k));
  return hash;
}

constexpr size_t kPairsBetweenCheckpoints = 1 << 16;

class Tape::Builder {
 public:
  Builder(Tape& tape, const Checkpoint& checkpoint) : tape_(tape), code_(tape.code_), checkpoint_(checkpoint) {}

  void build() {
    values_ = code_.variables + code_.constants + static_cast<int>(code_.ops.size());
    tape_.slots_ = values_;
    tape_.result_ = values_ - 1;
    locals_.resize(code_.ops.size());
    tape_.partial_.assign(code_.ops.size(), -1);
    tape_.active_.assign(values_, false);
    std::fill_n(tape_.active_.begin(), code_.variables, true);
    for (size_t k = 0; k < code_.ops.size(); ++k) addPartials(k);
    tape_.seed_ = fresh();
    tape_.gradient_ = reverse(tape_.gradientProgram_, false);
    reverse(tape_.hessianProgram_, true);
  }

 private:
  int fresh() { return tape_.slots_++; }
  int slotOf(size_t op) const { return code_.variables + code_.constants + static_cast<int>(op); }
  bool active(int slot) const { return tape_.active_[slot]; }

  // Those of an operation that are computed stand in slots side by side from partial_ on, in the order in which the
  // sweep fills them.
  void addPartials(size_t k) {
    const TapeOp& op = code_.ops[k];
    Local& local = locals_[k];
    const auto operand = [&](int slot, Partial first) { local.operand.push_back({slot, first}); };
    const auto computed = [&](float factor = 1) {
      const int slot = fresh();
      if (tape_.partial_[k] < 0) tape_.partial_[k] = slot;
      return Partial{factor, slot};
    };
    bool varies = false;
    switch (op.op) {
      case Op::user:
        for (int i = 0; i < op.b; ++i) varies |= active(code_.arguments[op.a + i]);
        break;
      case Op::add:
      case Op::sub:
      case Op::mul:
      case Op::div:
      case Op::pow:
      case Op::powConst:
      case Op::powWhole:
      case Op::constPow:
      case Op::min:
      case Op::max:
        varies = active(op.a) || active(op.b);
        break;
      default:
        varies = active(op.a);
    }
    tape_.active_[slotOf(k)] = varies;
    if (!varies) return;
    switch (op.op) {
      case Op::add:
      case Op::sub:
        if (active(op.a)) operand(op.a, {1});
        if (active(op.b)) operand(op.b, {op.op == Op::add ? 1.0F : -1.0F});
        break;
      case Op::neg:
        operand(op.a, {-1});
        break;
      case Op::mul:
        if (active(op.a)) operand(op.a, {1, op.b});
        if (active(op.b)) operand(op.b, {1, op.a});
        if (local.operand.size() == 2) local.second = {{}, {1}, {}};
        break;
      case Op::square:
        operand(op.a, {2, op.a});
        local.second = {{2}};
        break;
      case Op::sign:
        break;
      case Op::abs:
      case Op::pwl:
        operand(op.a, computed());
        break;
      case Op::min:
      case Op::max: {
        const Partial a = computed();
        const Partial b = computed();
        if (active(op.a)) operand(op.a, a);
        if (active(op.b)) operand(op.b, b);
        break;
      }
      case Op::div:
      case Op::pow: {
        // By a, by b, twice by a, by both, twice by b.
        const Partial p[] = {computed(), computed(), computed(), computed(), computed()};
        const bool quotient = op.op == Op::div;
        if (active(op.a)) operand(op.a, p[0]);
        if (active(op.b)) operand(op.b, p[1]);
        if (local.operand.size() == 2) {
          local.second = {quotient ? Partial{} : p[2], p[3], p[4]};
        } else if (active(op.b)) {
          local.second = {p[4]};
        } else if (!quotient) {
          local.second = {p[2]};
        }
        break;
      }
      case Op::user:
        addUserPartials(op, local, computed);
        break;
      default: {  // smooth functions of one operand; that of constPow is its second one
        const Partial first = computed();
        operand(op.op == Op::constPow ? op.b : op.a, first);
        local.second = {computed()};
      }
    }
  }

  template <class F>
  void addUserPartials(const TapeOp& op, Local& local, F computed) {
    for (int i = 0; i < op.b; ++i) {
      const Partial first = computed();
      const int slot = code_.arguments[op.a + i];
      if (active(slot)) local.operand.push_back({slot, first});
    }
    for (int i = 0; i < op.b; ++i) {
      for (int j = 0; j <= i; ++j) {
        const Partial second = computed();
        if (active(code_.arguments[op.a + i]) && active(code_.arguments[op.a + j])) local.second.push_back(second);
      }
    }
  }

  // The code of the adjoints and, where asked for, of the second derivatives, whose slots go to hessian_. Returns the
  // slots of the variables' adjoints.
  std::vector<int> reverse(std::vector<Instruction>& program, bool second) {
    program_ = &program;
    adjoint_.assign(values_, -1);
    written_.assign(tape_.slots_, false);
    edges_.assign(second ? values_ : 0, {});
    adjoint_[tape_.result_] = tape_.seed_;
    setWritten(tape_.seed_);
    for (size_t k = code_.ops.size(); k-- > 0;) {
      const int slot = slotOf(k);
      const Local& local = locals_[k];
      if (second) push(slot, local);
      if (adjoint_[slot] < 0) continue;
      if (second) create(slot, local);
      for (const Operand& operand : local.operand) {
        if (second && operand.slot < code_.variables) continue;  // nobody asks for those
        if (adjoint_[operand.slot] < 0) adjoint_[operand.slot] = fresh();
        emit(adjoint_[operand.slot], adjoint_[slot], operand.first);
      }
    }
    if (second) {
      for (int row = 0; row < code_.variables; ++row) {
        for (const auto& [column, slot] : edges_[row]) tape_.hessian_.push_back({row, column, slot});
      }
      edges_.clear();
      index_.clear();
    }
    return {adjoint_.begin(), adjoint_.begin() + code_.variables};
  }

  // What the second derivatives by the operation and other slots say of those by its operands.
  void push(int slot, const Local& local) {
    for (const auto& [other, h] : edges_[slot]) {
      if (other == slot) {
        for (size_t i = 0; i < local.operand.size(); ++i) {
          for (size_t j = 0; j <= i; ++j) {
            const Operand& a = local.operand[i];
            const Operand& b = local.operand[j];
            const float twice = i != j && a.slot == b.slot ? 2 : 1;
            emit(edge(a.slot, b.slot), h, {twice * a.first.factor, a.first.slot}, b.first);
          }
        }
      } else {
        for (const Operand& a : local.operand) {
          const float twice = a.slot == other ? 2 : 1;
          emit(edge(a.slot, other), h, {twice * a.first.factor, a.first.slot});
        }
      }
    }
    edges_[slot].clear();
    edges_[slot].shrink_to_fit();
  }

  // What the operation's own second derivatives say.
  void create(int slot, const Local& local) {
    size_t at = 0;
    for (size_t i = 0; i < local.operand.size(); ++i) {
      for (size_t j = 0; j <= i; ++j, ++at) {
        if (at >= local.second.size() || local.second[at].factor == 0) continue;
        const int a = local.operand[i].slot;
        const int b = local.operand[j].slot;
        const float twice = i != j && a == b ? 2 : 1;
        emit(edge(a, b), adjoint_[slot], {twice * local.second[at].factor, local.second[at].slot});
      }
    }
  }

  int edge(int a, int b) {
    const int high = std::max(a, b);
    const int low = std::min(a, b);
    int& slot = index_.at(high, low);
    if (slot < 0) {
      slot = fresh();
      edges_[high].emplace_back(low, slot);
      if (index_.size() > kMostSecondDerivatives) {
        throw Error(TVLO_ERR_UNSUPPORTED, "A formula has too many second derivatives");
      }
      if (index_.size() % kPairsBetweenCheckpoints == 0 && checkpoint_) checkpoint_();
    }
    return slot;
  }

  void setWritten(int slot) {
    if (slot >= static_cast<int>(written_.size())) written_.resize(2 * slot + 16);
    written_[slot] = true;
  }
  bool written(int slot) const { return slot < static_cast<int>(written_.size()) && written_[slot]; }

  void emit(int target, int source, Partial x, Partial y = {1}) {
    const float factor = x.factor * y.factor;
    if (factor == 0) return;
    if (x.slot < 0) std::swap(x, y);
    Kind kind = x.slot < 0 ? Kind::set : y.slot < 0 ? Kind::setTimes : Kind::setTimesTimes;
    if (written(target)) kind = static_cast<Kind>(static_cast<int>(kind) + static_cast<int>(Kind::add));
    setWritten(target);
    program_->push_back({target, source, x.slot, y.slot, factor, kind});
  }

  Tape& tape_;
  const TapeCode& code_;
  int values_ = 0;
  std::vector<Local> locals_;
  std::vector<Instruction>* program_ = nullptr;
  std::vector<int> adjoint_;
  std::vector<bool> written_;
  std::vector<std::vector<std::pair<int, int>>> edges_;  // of each slot: (lower or equal slot, its second derivative)
  PairIndex index_;
  const Checkpoint& checkpoint_;
};

Tape::Tape(TapeCode code, const Checkpoint& checkpoint) : code_(std::move(code)) { Builder(*this, checkpoint).build(); }

}  // namespace tvlo
