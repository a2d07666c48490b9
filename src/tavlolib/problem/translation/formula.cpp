#include "problem/translation/formula.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <string>
#include <unordered_map>
#include <utility>

#include "model/nonlinear.h"
#include "problem/translation/user_function.h"
#include "pyutil/guard.h"

namespace tavlo {

namespace {

constexpr int32_t kOp = TSLP_TOKEN_OPERATOR, kFn = TSLP_TOKEN_FUNCTION, kUser = TSLP_TOKEN_USER;

constexpr char kTooDeep[] =
    "The expression tree depth reached the maximum limit, please reformulate or simplify the expression";
constexpr char kTermMissing[] = "Variable in nonlinear expression has not been added to problem yet";
constexpr char kPartMissing[] = "Variable in nonlinear part of constraint has not been added to problem yet";
constexpr char kFactorMissing[] = "Variable in nonlinear term not added to problem yet";
constexpr char kBadMember[] = "Unrecognized member of a nonlinear expression";
constexpr char kBadArgument[] = "Incorrect argument of nonlinear function";
constexpr char kBinaryTuple[] = "Binary operator should have tuple for arguments";
constexpr char kNaryList[] = "N-ary operator should have list or tuple of arguments";
constexpr char kNoFunction[] = "First argument of a user() operator must be the function itself";

constexpr char kTooOften[] =
    "uses the same parts so often that it would be written with %lld tokens; let variables stand for those parts";

constexpr int kNodesBetweenSignals = 1 << 16;

// How long a formula becomes: reverse Polish order has no names for parts, so one that stands in several places is
// written as often, and its parts with it. Runs no Python code.
class Length {
 public:
  explicit Length(PyObject* tree) : written_(of(tree, kDepthBudget)) {}

  // Many times what the tree itself holds, and more than anybody wants to evaluate.
  bool isTooLong() const { return written_ > kMost && written_ > kOften * held_; }
  double written() const { return written_; }

 private:
  static constexpr double kMost = 1 << 22, kOften = 4;

  double of(PyObject* o, int budget) {
    Operand a;
    if (budget < 0 || getExprTypeQuiet(o) < 0 || !classify(o, &a)) return 0;  // a callable, or the writer's to refuse
    double tokens = 3;
    if (a.kind == kExpression) {
      tokens = 4 * static_cast<double>(linmap_size(a.expression()->linear)) +
               6 * static_cast<double>(quadmap_size(a.expression()->quadratic));
    }
    if (a.kind != kNonlinear) return held_ += tokens, tokens;
    const auto [at, isNew] = known_.try_emplace(contentOf(o), 0);  // 0 also while its parts are being walked
    if (!isNew) return at->second;
    held_ += tokens;
    Ref args = Ref::borrow(asNode(o)->args);
    for (Py_ssize_t i = 0; Ref part = operandAt(args.get(), i); ++i) tokens += of(part.get(), budget - 1);
    return known_[contentOf(o)] = tokens;
  }

  std::unordered_map<NodeContent, double, NodeContent::Hash> known_;
  double held_ = 0;
  double written_;
};

class FormulaWriter {
 public:
  FormulaWriter(problem_s* p, PyObject* row, Formulas* out) : p_(p), row_(row), out_(*out) {}

  bool coefficient(PyObject* tree, double factor) {
    const auto n = static_cast<size_t>(out_.count);
    if (!out_.row.reserve(n + 1) || !out_.col.reserve(n + 1) || !out_.start.reserve(n + 1) ||
        !out_.factor.reserve(n + 1))
      return false;
    out_.start[n] = static_cast<int32_t>(out_.ntok);
    out_.factor[n] = factor;
    tree_ = tree;
    measured_ = false;
    bool extracted = false;
    const bool written = isListNode(tree, kNodeProduct) ? productBut(tree, &extracted) : node(tree, kDepthBudget);
    if (!written || !token(TSLP_TOKEN_END, 0) || (!extracted && !constantColumn(&out_.col[n]))) return false;
    if (!std::isfinite(out_.factor[n])) return badNumber(out_.factor[n]);
    ++out_.count;
    return true;
  }

 private:
  // The operator of n operands between them as a balanced tree: after an even one that is not the last, an operator
  // for each factor 2 of its number; after the last, as many as are still missing.
  class Balanced {
   public:
    Balanced(FormulaWriter& writer, int32_t op) : writer_(writer), op_(op) {}
    bool next() { return operators(operands_++ == 0 ? 0 : std::countr_zero(static_cast<uint64_t>(operands_ - 1))); }
    // With `nothing`, the value of the operator without operands.
    bool finish(double nothing) {
      return operands_ == 0 ? writer_.number(nothing) : operators(operands_ - 1 - written_);
    }

   private:
    bool operators(int64_t n) {
      written_ += n;
      for (; n > 0; --n)
        if (!writer_.token(kOp, op_)) return false;
      return true;
    }
    FormulaWriter& writer_;
    int32_t op_;
    int64_t operands_ = 0, written_ = 0;
  };

  bool token(int32_t type, double value) {
    if (out_.ntok >= INT32_MAX) return PyErr_NoMemory() != nullptr;
    const auto n = static_cast<size_t>(out_.ntok);
    if (!out_.type.reserve(n + 1) || !out_.value.reserve(n + 1)) return false;
    out_.type[n] = type;
    out_.value[n] = value;
    ++out_.ntok;
    return true;
  }

  bool number(double c) { return std::isfinite(c) ? token(TSLP_TOKEN_CONSTANT, c) : badNumber(c); }

  bool badNumber(double c) {
    const char* text = std::isnan(c) ? "NaN" : "infinite";
    return (row_ ? modelError("A number in the nonlinear part of constraint %S is %s", row_, text)
                 : modelError("A number in the nonlinear part of the objective is %s", text)) != nullptr;
  }

  bool column(const var_s* v, const char* missing) {
    const int64_t column = columnOf(p_, v);
    return column < 0 ? modelError("%s", missing) != nullptr : token(TSLP_TOKEN_COLUMN, static_cast<double>(column));
  }

  // c*u, or c*u*v.
  bool term(double c, const var_s* u, const var_s* v, const char* missing) {
    const bool scaled = c != 1 && c != -1;
    return (!scaled || number(c)) && column(u, missing) &&
           (!v || (column(v, missing) && token(kOp, TSLP_OPERATOR_TIMES))) &&
           (!scaled || token(kOp, TSLP_OPERATOR_TIMES)) && (c != -1 || token(kOp, TSLP_OPERATOR_UMINUS));
  }

  bool expression(const expression_s* e) {
    Balanced sum(*this, TSLP_OPERATOR_PLUS);
    if (e->constant != 0 && (!sum.next() || !number(e->constant))) return false;
    return linmap_each(e->linear,
                       [&](var_s* v, double c) { return sum.next() && term(c, v, nullptr, kPartMissing); }) &&
           quadmap_each(e->quadratic,
                        [&](var_s* u, var_s* v, double c) { return sum.next() && term(c, u, v, kPartMissing); }) &&
           sum.finish(0);
  }

  bool operand(const Operand& a, int budget, const char* unknown) {
    switch (a.kind) {
      case kConstant:
        return number(a.value);
      case kVar:
        return column(a.var(), kPartMissing);
      case kLinterm:
        return term(a.linterm()->coef, a.linterm()->var, nullptr, kTermMissing);
      case kQuadterm:
        return term(a.quadterm()->coef, a.quadterm()->var1, a.quadterm()->var2, kTermMissing);
      case kExpression:
        return expression(a.expression());
      case kNonlinear:
        return node(a.o, budget);
      default:
        return modelError("%s", unknown) != nullptr;
    }
  }

  bool operand(PyObject* o, int budget, const char* unknown) {
    Operand a;
    return classify(o, &a) && operand(a, budget, unknown);
  }

  // What a handler does to the problem must not be overlooked.
  bool interrupted() {
    if (++nodes_ % kNodesBetweenSignals != 0) return false;
    return PyErr_CheckSignals() != 0 || checkProblemIsInitialized(p_) != 0 || tooLong();
  }

  // Asked once in a long formula: short ones need no second walk.
  bool tooLong() {
    if (std::exchange(measured_, true)) return false;
    return guarded([&] {
             const Length length(tree_);
             if (!length.isTooLong()) return 0;
             const std::string text =
                 std::string(row_ ? "The nonlinear part of constraint %S " : "The objective ") + kTooOften;
             const auto tokens = static_cast<long long>(std::min(length.written(), 9e18));
             row_ ? modelError(text.c_str(), row_, tokens) : modelError(text.c_str(), tokens);
             return -1;
           }) != 0;
  }

  bool node(PyObject* o, int budget) {
    if (budget < 1) return modelError("%s", kTooDeep) != nullptr;
    if (interrupted()) return false;
    const int32_t code = asNode(o)->code;
    Ref args = Ref::borrow(asNode(o)->args);
    switch (code) {
      case kNodeSum:
      case kNodeProduct:
        return balanced(code, args.get(), budget);
      case kNodeNegation:
        return operand(args.get(), budget - 1, kBadMember) && token(kOp, TSLP_OPERATOR_UMINUS);
      case kNodeDifference:
      case kNodeDivision:
      case kNodePower:
        return binary(code, args.get(), budget);
      default:
        return function(code, args.get(), budget);
    }
  }

  bool balanced(int32_t code, PyObject* args, int budget) {
    if (!PyList_Check(args) && !PyTuple_Check(args)) return modelError("%s", kNaryList) != nullptr;
    Balanced all(*this, py_to_slp_fun[code]);
    for (Py_ssize_t i = 0; Ref o = operandAt(args, i); ++i)
      if (!all.next() || !operand(o.get(), budget - 1, kBadMember)) return false;
    return all.finish(code == kNodeProduct ? 1 : 0);
  }

  bool binary(int32_t code, PyObject* args, int budget) {
    if (!PyTuple_Check(args) || PyTuple_GET_SIZE(args) != 2) return modelError("%s", kBinaryTuple) != nullptr;
    return operand(PyTuple_GET_ITEM(args, 0), budget - 1, kBadMember) &&
           operand(PyTuple_GET_ITEM(args, 1), budget - 1, kBadMember) && token(kOp, py_to_slp_fun[code]);
  }

  bool function(int32_t code, PyObject* args, int budget) {
    const bool user = code == kNodeUser || code == kNodeUserDerivatives;
    int id = 0;
    if (user) {
      Ref callable = operandAt(args, 0);
      if (!callable || !PyCallable_Check(callable.get())) return modelError("%s", kNoFunction) != nullptr;
      if (createUserFunction(p_, args, &id, code == kNodeUserDerivatives) != 0) return false;
    }
    if (!token(TSLP_TOKEN_MARKER, 0)) return false;
    Py_ssize_t written = user ? 1 : 0;
    if (code == kNodePwl) {  // from the last point to the variable
      for (Py_ssize_t i = PyList_Check(args) ? PyList_GET_SIZE(args) : 0; i > 0; ++written) {
        Ref o = operandAt(args, --i);
        if (o && !operand(o.get(), budget - 1, kBadArgument)) return false;
      }
    } else {
      for (; Ref o = operandAt(args, written); ++written)
        if (!operand(o.get(), budget - 1, kBadArgument)) return false;
    }
    if (written == 0) return modelError("%s", kBadArgument) != nullptr;  // a list that its owner has emptied
    return user ? token(kUser, id) : token(kFn, py_to_slp_fun[code]);
  }

  // The product without its numbers, which go to the factor, and its first variable or linear term, which becomes the
  // column.
  bool productBut(PyObject* tree, bool* extracted) {
    Ref args = Ref::borrow(asNode(tree)->args);
    Balanced rest(*this, TSLP_OPERATOR_TIMES);
    const auto n = static_cast<size_t>(out_.count);
    for (Py_ssize_t i = 0; Ref o = operandAt(args.get(), i); ++i) {
      Operand a;
      if (!classify(o.get(), &a)) return false;
      if (a.kind == kConstant) {
        out_.factor[n] *= a.value;
      } else if (a.isLinear() && !*extracted) {
        const int64_t column = columnOf(p_, a.linearVar());
        if (column < 0) return modelError("%s", kFactorMissing) != nullptr;
        out_.col[n] = static_cast<int32_t>(column);
        out_.factor[n] *= a.linearCoef();
        *extracted = true;
      } else if (!rest.next() || !operand(a, kDepthBudget - 1, kBadMember)) {
        return false;
      }
    }
    return rest.finish(1);
  }

  bool constantColumn(int32_t* column) {
    return TSLPgetintattrib(p_->slpprob, TSLP_ATTRIBUTE_constcol, column) == 0 || nonlinearFailed(p_) == 0;
  }

  problem_s* p_;
  PyObject* row_;
  Formulas& out_;
  int64_t nodes_ = 0;
  PyObject* tree_ = nullptr;  // of the coefficient that is being written
  bool measured_ = false;
};

}  // namespace

const int32_t py_to_slp_op[kNodeCodes] = {
#define ELEMENTARY_FUNCTION(...) kFn,
#define ELEMENTARY_OPERATOR(...) kOp,
#define ELEMENTARY_LIST(...) kFn,
#define ELEMENTARY_LOGICAL(...) kFn,
#define ELEMENTARY_CALL(...) kUser,
#include "elementary/functions.def"
};

const int32_t py_to_slp_fun[kNodeCodes] = {
#define ELEMENTARY_FUNCTION(name, Node, node, TOKEN, ...) TSLP_FUNCTION_##TOKEN,
#define ELEMENTARY_OPERATOR(name, Node, node, TOKEN, ...) TSLP_OPERATOR_##TOKEN,
#define ELEMENTARY_LIST(name, Node, node, TOKEN, ...) TSLP_FUNCTION_##TOKEN,
#define ELEMENTARY_LOGICAL(name, Node, node, TOKEN) TSLP_FUNCTION_##TOKEN,
#define ELEMENTARY_CALL(...) 0,
#include "elementary/functions.def"
};

bool writeFormula(problem_s* p, PyObject* tree, double factor, PyObject* row, Formulas* out) {
  return FormulaWriter(p, row, out).coefficient(tree, factor);
}

}  // namespace tavlo
