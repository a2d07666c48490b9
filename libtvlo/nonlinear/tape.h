// Tapes: one function of a few variables as straight-line code that gives its value and its exact first and second
// derivatives. Functions that differ in their columns and numbers only share a tape, which then runs for several of
// them at once, one in each lane.
//
// Everything that a run computes stands in one workspace of slots, each with a number for every lane: variables,
// constants, results of the operations, partial derivatives, adjoints, second derivatives. The code of derivatives is
// generated when the tape is built: reverse mode for the gradient, edge pushing for the Hessian, which touches only
// pairs of slots that have a second derivative. So a sum of n terms costs O(n), and a run allocates nothing.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "nonlinear/checkpoint.h"
#include "nonlinear/expression.h"

namespace tvlo {

class UserSites;

// A tape's identity: equal codes, equal tapes.
struct TapeOp {
  Op op;
  int a, b;  // slots of the operands; pwl: b is the table; user: its arguments are a to a + b - 1 of `arguments`
  bool operator==(const TapeOp&) const = default;
};
struct TapeCode {
  int variables = 0, constants = 0;  // slots 0 on, and those after them
  std::vector<TapeOp> ops;           // each one's result in the next slot
  std::vector<int> arguments;
  std::vector<int> functions;  // of the user operations in their order; ids
  bool operator==(const TapeCode&) const = default;
};
size_t hashOf(const TapeCode& code);

// What a run needs besides its workspace.
struct TapeContext {
  const std::vector<PwlTable>* tables;
  UserSites* sites;
  int lanes;    // that are in use
  int site[8];  // of each lane: the first of its user sites
};

class Tape {
 public:
  // Throws Error when there are too many second derivatives to handle, and what the checkpoint throws.
  explicit Tape(TapeCode code, const Checkpoint& checkpoint = {});

  static constexpr int kLanes = 8;
  const TapeCode& code() const { return code_; }
  int variables() const { return code_.variables; }
  int constants() const { return code_.constants; }
  int users() const { return static_cast<int>(code_.functions.size()); }
  size_t operations() const { return code_.ops.size(); }
  int slots() const { return slots_; }
  int result() const { return result_; }
  int seed() const { return seed_; }  // where the adjoint of the result is put before the derivatives are asked for
  // Slots of the variables' adjoints; -1: the derivative is 0.
  const std::vector<int>& gradient() const { return gradient_; }
  struct Entry {
    int row, column;  // variables, row >= column
    int slot;
  };
  const std::vector<Entry>& hessian() const { return hessian_; }

  // Each is given the variables and constants in their slots and computes all that it needs of them. Answers false
  // when a lane in use divided by zero; results that are not finite are the caller's to find.
  template <int W>
  bool values(double* w, const TapeContext& context) const;
  template <int W>
  bool gradients(double* w, const TapeContext& context) const;
  template <int W>
  bool hessians(double* w, const TapeContext& context) const;

 private:
  // w[target] = or += factor * w[source] * w[x] * w[y]; which of them count is the kind's matter.
  enum class Kind : uint8_t { set, setTimes, setTimesTimes, add, addTimes, addTimesTimes };
  struct Instruction {
    int target, source, x, y;
    float factor;  // +-1, +-2
    Kind kind;
  };
  struct Partial {  // factor * w[slot], or factor alone; 0: there is none
    float factor = 0;
    int slot = -1;
  };
  struct Operand {
    int slot;
    Partial first;
  };
  struct Local {  // of one operation: first and second derivatives by its operands that vary
    std::vector<Operand> operand;
    std::vector<Partial> second;  // of operands i >= j at i * (i + 1) / 2 + j
  };
  class Builder;

  template <int W, int Level>
  bool sweep(double* w, const TapeContext& context) const;
  template <int W>
  static void execute(const std::vector<Instruction>& program, double* w);

  TapeCode code_;
  std::vector<int> partial_;  // of each operation: the slot of its first computed partial derivative; -1 for none
  std::vector<bool> active_;  // of the slots of values: depends on a variable
  int slots_ = 0, result_ = 0, seed_ = 0;
  std::vector<int> gradient_;
  std::vector<Entry> hessian_;
  std::vector<Instruction> gradientProgram_, hessianProgram_;
};

// Second derivatives of a formula beyond which it is refused.
inline constexpr size_t kMostSecondDerivatives = 50'000'000;

}  // namespace tvlo
