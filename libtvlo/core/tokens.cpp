#include "core/tokens.h"

#include <cmath>
#include <cstring>

#include "core/validate.h"

namespace tvlo {

namespace {

constexpr FunctionRow kFunctions[] = {
#define ELEMENTARY_FUNCTION(name, Node, node, TOKEN, formula, ...) {TSLP_FUNCTION_##TOKEN, formula, 1, 1},
#define ELEMENTARY_LIST(name, Node, node, TOKEN, formula, fewest) {TSLP_FUNCTION_##TOKEN, formula, fewest, -1},
#include "elementary/functions.def"
};

constexpr OperatorRow kOperators[] = {
#define ELEMENTARY_OPERATOR(name, Node, node, TOKEN, sign, operands, precedence, ...) \
  {TSLP_OPERATOR_##TOKEN, sign, operands, precedence},
#include "elementary/functions.def"
};

[[noreturn]] void bad(int64_t position, const char* what) {
  badArgument("Formula, token %lld: %s", static_cast<long long>(position), what);
}

// The value of a token that must be a whole number in [0, limit).
int whole(double value, int limit, int64_t position, const char* what) {
  if (!(value >= 0 && value < limit) || value != std::floor(value)) {
    badArgument("Formula, token %lld: there is no %s %g", static_cast<long long>(position), what, value);
  }
  return static_cast<int>(value);
}

// Follows a run in reverse Polish order: which operands are there and since which token each.
class Checker {
 public:
  Checker(const TokenScope& scope, TokenView run) : scope_(scope), run_(run) {}

  void run() {
    for (at_ = 0; at_ < run_.size; ++at_) token();
    if (!markers_.empty()) bad(run_.size, "a marker without its function");
    if (run_.size > 0 && begins_.size() != 1) bad(run_.size, begins_.empty() ? "no value" : "more than one value");
  }

 private:
  void token() {
    const double value = run_.value[at_];
    switch (run_.type[at_]) {
      case TSLP_TOKEN_CONSTANT:
        if (!std::isfinite(value)) bad(at_, std::isnan(value) ? "a number that is NaN" : "an infinite number");
        begins_.push_back(at_);
        break;
      case TSLP_TOKEN_COLUMN:
        whole(value, scope_.columns, at_, "column");
        begins_.push_back(at_);
        break;
      case TSLP_TOKEN_MARKER:
        markers_.push_back({at_, begins_.size()});
        break;
      case TSLP_TOKEN_OPERATOR: {
        const OperatorRow* const row = findOperator(whole(value, 1 << 20, at_, "operator"));
        if (row == nullptr) bad(at_, "an unknown operator");
        const size_t floor = markers_.empty() ? 0 : markers_.back().depth;
        if (begins_.size() < floor + row->operands) bad(at_, "an operator without its operands");
        if (row->operands == 2) begins_.pop_back();
        break;
      }
      case TSLP_TOKEN_FUNCTION: {
        const FunctionRow* const row = findFunction(whole(value, 1 << 20, at_, "function"));
        if (row == nullptr) bad(at_, "an unknown function");
        const auto count = static_cast<int>(takeArguments());
        if (count < row->least || (row->most >= 0 && count > row->most)) {
          badArgument("Formula, token %lld: function %s with %d arguments", static_cast<long long>(at_), row->name,
                      count);
        }
        if (row->code == TSLP_FUNCTION_PWL) checkPoints(count);
        finishFunction();
        break;
      }
      case TSLP_TOKEN_USER: {
        const int id = whole(value, 1 << 30, at_, "user function");
        const int arguments = scope_.arguments ? scope_.arguments(id) : -1;
        if (arguments < 0) {
          badArgument("Formula, token %lld: there is no user function %d", static_cast<long long>(at_), id);
        }
        const auto count = static_cast<int>(takeArguments());
        if (count != arguments) {
          badArgument("Formula, token %lld: user function %d has %d arguments, not %d", static_cast<long long>(at_), id,
                      arguments, count);
        }
        finishFunction();
        break;
      }
      default:
        badArgument("Formula, token %lld: there is no token type %d in a parsed formula", static_cast<long long>(at_),
                    run_.type[at_]);
    }
  }

  size_t takeArguments() {
    if (markers_.empty()) bad(at_, "a function without the marker before its arguments");
    return begins_.size() - markers_.back().depth;
  }

  void finishFunction() {
    begins_.resize(markers_.back().depth);
    begins_.push_back(markers_.back().begin);
    markers_.pop_back();
  }

  // y_n, x_n, ..., y_1, x_1, then the variable.
  void checkPoints(int count) {
    if (count % 2 == 0) bad(at_, "pwl takes the variable and a value for each breakpoint");
    const int64_t first = markers_.back().begin + 1;
    double next = 0;
    for (int64_t k = 0; k < count - 1; ++k) {
      if (run_.type[first + k] != TSLP_TOKEN_CONSTANT || begins_[markers_.back().depth + k] != first + k) {
        bad(first + k, "the points of pwl must be numbers");
      }
      if (k % 2 == 0) continue;
      const double x = run_.value[first + k];
      if (k > 1 && x > next) bad(first + k, "the breakpoints of pwl must ascend");
      next = x;
    }
    const double x1 = run_.value[first + count - 2];
    const double x2 = run_.value[first + count - 4];
    const double last = run_.value[first + 1];
    const double before = run_.value[first + 3];
    if (x1 == x2 || last == before) bad(at_, "the first and the last segment of pwl must have a width");
  }

  struct Marker {
    int64_t begin;
    size_t depth;
  };
  const TokenScope& scope_;
  TokenView run_;
  int64_t at_ = 0;
  std::vector<int64_t> begins_;
  std::vector<Marker> markers_;
};

// The usual order into reverse Polish order, by a stack of what waits for its last operand.
class Parser {
 public:
  explicit Parser(Tokens& out) : out_(out) {}

  void token(int type, double value, int64_t position) {
    at_ = position;
    switch (type) {
      case TSLP_TOKEN_CONSTANT:
      case TSLP_TOKEN_COLUMN:
        requireOperand(true);
        out_.add(type, value);
        operand_ = false;
        break;
      case TSLP_TOKEN_FUNCTION:
      case TSLP_TOKEN_USER:
        requireOperand(true);
        out_.add(TSLP_TOKEN_MARKER, 0);
        waiting_.push_back({type, value});
        opened_ = true;
        return;
      case TSLP_TOKEN_LEFT:
        requireOperand(true, true);
        waiting_.push_back({TSLP_TOKEN_LEFT, opened_ ? 1.0 : 0.0});
        break;
      case TSLP_TOKEN_COMMA:
        requireOperand(false);
        unwind();
        if (waiting_.empty() || waiting_.back().value == 0) bad(at_, "a comma outside a function's arguments");
        operand_ = true;
        break;
      case TSLP_TOKEN_RIGHT:
        close();
        break;
      case TSLP_TOKEN_OPERATOR:
        anOperator(value);
        break;
      default:
        badArgument("Formula, token %lld: there is no token type %d in an unparsed formula",
                    static_cast<long long>(position), type);
    }
    opened_ = false;
  }

  void finish(int64_t position) {
    at_ = position;
    if (operand_ && out_.size() == 0 && waiting_.empty()) return;
    requireOperand(false);
    unwind();
    if (!waiting_.empty()) bad(at_, "a left parenthesis without its right one");
  }

 private:
  struct Waiting {
    int type;
    double value;  // of a left parenthesis: whether it opens a function's arguments
  };

  void requireOperand(bool wanted, bool left = false) {
    if (opened_ && !left) bad(at_, "a function without its left parenthesis");
    if (operand_ != wanted) bad(at_, wanted ? "an operator is missing before it" : "an operand is missing before it");
  }

  void emit(const Waiting& item) {
    if (item.type == TSLP_TOKEN_OPERATOR && item.value == static_cast<double>(TSLP_OPERATOR_UMINUS) &&
        out_.size() > 0 && out_.type.back() == TSLP_TOKEN_CONSTANT) {
      out_.value.back() = -out_.value.back();
    } else {
      out_.add(item.type, item.value);
    }
  }

  void unwind() {
    while (!waiting_.empty() && waiting_.back().type == TSLP_TOKEN_OPERATOR) {
      emit(waiting_.back());
      waiting_.pop_back();
    }
  }

  void close() {
    requireOperand(false);
    unwind();
    if (waiting_.empty()) bad(at_, "a right parenthesis without its left one");
    const bool function = waiting_.back().value != 0;
    waiting_.pop_back();
    if (!function) return;
    emit(waiting_.back());
    waiting_.pop_back();
  }

  void anOperator(double value) {
    const bool prefix = operand_;
    if (prefix && value == static_cast<double>(TSLP_OPERATOR_MINUS)) value = TSLP_OPERATOR_UMINUS;
    const OperatorRow* const row = findOperator(whole(value, 1 << 20, at_, "operator"));
    if (row == nullptr) bad(at_, "an unknown operator");
    if (prefix && row->operands == 2) bad(at_, "an operand is missing before it");
    if (opened_) bad(at_, "a function without its left parenthesis");
    if (!prefix) {
      if (row->operands == 1) bad(at_, "an operator is missing before it");
      while (!waiting_.empty() && waiting_.back().type == TSLP_TOKEN_OPERATOR) {
        const OperatorRow* const top = findOperator(static_cast<int>(waiting_.back().value));
        const bool first =
            row->code == TSLP_OPERATOR_POWER ? top->precedence > row->precedence : top->precedence >= row->precedence;
        if (!first) break;
        emit(waiting_.back());
        waiting_.pop_back();
      }
    }
    waiting_.push_back({TSLP_TOKEN_OPERATOR, static_cast<double>(row->code)});
    operand_ = true;
  }

  Tokens& out_;
  std::vector<Waiting> waiting_;
  int64_t at_ = 0;
  bool operand_ = true;  // an operand must come next
  bool opened_ = false;  // the token before was a function's
};

}  // namespace

const FunctionRow* findFunction(int code) {
  for (const FunctionRow& row : kFunctions) {
    if (row.code == code) return &row;
  }
  return nullptr;
}

const FunctionRow* findFunction(const char* name) {
  for (const FunctionRow& row : kFunctions) {
    if (std::strcmp(row.name, name) == 0) return &row;
  }
  return nullptr;
}

const OperatorRow* findOperator(int code) {
  for (const OperatorRow& row : kOperators) {
    if (row.code == code) return &row;
  }
  return nullptr;
}

int64_t takeTokens(const int* type, const double* value, bool parsed, const TokenScope& scope, Tokens& out) {
  Tokens run;
  int64_t at = 0;
  if (parsed) {
    for (; type[at] != TSLP_TOKEN_END; ++at) {
      if (type[at] < 0 || type[at] > UINT8_MAX) {
        badArgument("Formula, token %lld: there is no token type %d", static_cast<long long>(at), type[at]);
      }
      run.add(type[at], value[at]);
    }
  } else {
    Parser parser(run);
    for (; type[at] != TSLP_TOKEN_END; ++at) parser.token(type[at], value[at], at);
    parser.finish(at);
  }
  Checker(scope, run.view()).run();
  reserveMore(out.type, run.type.size());
  reserveMore(out.value, run.value.size());
  out.add(run.view());
  return at + 1;
}

namespace {

// A run as a tree: each token that makes a value, with the tokens of its operands.
struct Tree {
  struct Node {
    int64_t token;
    int64_t first, count;  // its operands in `operands`
  };
  std::vector<Node> nodes;
  std::vector<int64_t> operands;

  explicit Tree(TokenView run) {
    std::vector<int64_t> stack;
    std::vector<size_t> markers;
    for (int64_t k = 0; k < run.size; ++k) {
      int64_t count = 0;
      switch (run.type[k]) {
        case TSLP_TOKEN_MARKER:
          markers.push_back(stack.size());
          continue;
        case TSLP_TOKEN_OPERATOR:
          count = findOperator(run.code(k))->operands;
          break;
        case TSLP_TOKEN_FUNCTION:
        case TSLP_TOKEN_USER:
          count = static_cast<int64_t>(stack.size() - markers.back());
          markers.pop_back();
          break;
        default:
          break;
      }
      const auto first = static_cast<int64_t>(operands.size());
      operands.insert(operands.end(), stack.end() - count, stack.end());
      stack.resize(stack.size() - count);
      stack.push_back(static_cast<int64_t>(nodes.size()));
      nodes.push_back({k, first, count});
    }
  }
};

}  // namespace

void unparseTokens(TokenView run, Tokens& out) {
  if (run.size == 0) return;
  const Tree tree(run);
  // What is still to be written, the last one first: a node that must bind at least that tightly, or a token.
  struct Task {
    int64_t node;  // -1: the token
    int binding;
    int type;
    double value;
  };
  std::vector<Task> tasks{{static_cast<int64_t>(tree.nodes.size()) - 1, 0, 0, 0}};
  const auto say = [&](int type, double value = 0) { tasks.push_back({-1, 0, type, value}); };
  const auto visit = [&](int64_t node, int binding) { tasks.push_back({node, binding, 0, 0}); };
  while (!tasks.empty()) {
    const Task task = tasks.back();
    tasks.pop_back();
    if (task.node < 0) {
      out.add(task.type, task.value);
      continue;
    }
    const Tree::Node& node = tree.nodes[task.node];
    const int type = run.type[node.token];
    const double value = run.value[node.token];
    const int64_t* const operand = tree.operands.data() + node.first;
    if (type == TSLP_TOKEN_FUNCTION || type == TSLP_TOKEN_USER) {
      say(TSLP_TOKEN_RIGHT);
      for (int64_t k = node.count; k-- > 0;) {
        visit(operand[k], 0);
        if (k > 0) say(TSLP_TOKEN_COMMA);
      }
      say(TSLP_TOKEN_LEFT);
      say(type, value);
      continue;
    }
    if (type != TSLP_TOKEN_OPERATOR) {
      // A negative number is written as the operator of its sign would be.
      if (type == TSLP_TOKEN_CONSTANT && std::signbit(value)) {
        const bool enclosed = task.binding > 0;
        if (enclosed) out.add(TSLP_TOKEN_LEFT, 0);
        out.add(TSLP_TOKEN_OPERATOR, TSLP_OPERATOR_UMINUS);
        out.add(type, -value);
        if (enclosed) out.add(TSLP_TOKEN_RIGHT, 0);
      } else {
        out.add(type, value);
      }
      continue;
    }
    const OperatorRow& row = *findOperator(run.code(node.token));
    const bool enclosed = row.precedence < task.binding;
    if (enclosed) say(TSLP_TOKEN_RIGHT);
    if (row.operands == 1) {
      visit(operand[0], row.precedence + 1);
      say(TSLP_TOKEN_OPERATOR, row.code);
    } else {
      // Evaluated in the order in which it stood: the tighter operand is never regrouped.
      const bool power = row.code == TSLP_OPERATOR_POWER;
      visit(operand[1], power ? row.precedence : row.precedence + 1);
      say(TSLP_TOKEN_OPERATOR, row.code);
      visit(operand[0], power ? row.precedence + 1 : row.precedence);
    }
    if (enclosed) say(TSLP_TOKEN_LEFT);
  }
}

}  // namespace tvlo
