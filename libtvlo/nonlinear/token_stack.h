// Runs formulas on a stack of values of any kind: numbers, ranges, nodes of a graph.
#pragma once

#include <cstddef>
#include <vector>

#include "core/tokens.h"

namespace tvlo {

// A machine has constant(double), column(int), negative(a), binary(operator, a, b), and function(code, arguments,
// count) and user(id, arguments, count) with a pointer to the arguments. The stack may be handed in, so that its memory
// serves again; it must be left alone meanwhile. The run must be valid.
template <class Value, class Machine>
Value runTokens(TokenView run, Machine&& machine, std::vector<Value>& stack, std::vector<size_t>& markers) {
  stack.clear();
  markers.clear();
  for (int64_t k = 0; k < run.size; ++k) {
    switch (run.type[k]) {
      case TSLP_TOKEN_CONSTANT:
        stack.push_back(machine.constant(run.value[k]));
        break;
      case TSLP_TOKEN_COLUMN:
        stack.push_back(machine.column(run.code(k)));
        break;
      case TSLP_TOKEN_MARKER:
        markers.push_back(stack.size());
        break;
      case TSLP_TOKEN_OPERATOR: {
        const Value last = stack.back();
        if (run.code(k) == TSLP_OPERATOR_UMINUS) {
          stack.back() = machine.negative(last);
        } else {
          stack.pop_back();
          stack.back() = machine.binary(run.code(k), stack.back(), last);
        }
        break;
      }
      default: {
        const size_t first = markers.back();
        markers.pop_back();
        const Value* const arguments = stack.data() + first;
        const size_t count = stack.size() - first;
        const Value result = run.type[k] == TSLP_TOKEN_FUNCTION ? machine.function(run.code(k), arguments, count)
                                                                : machine.user(run.code(k), arguments, count);
        stack.resize(first);
        stack.push_back(result);
      }
    }
  }
  return run.size == 0 ? machine.constant(1) : stack.back();
}

template <class Value, class Machine>
Value runTokens(TokenView run, Machine&& machine) {
  std::vector<Value> stack;
  std::vector<size_t> markers;
  return runTokens<Value>(run, machine, stack, markers);
}

}  // namespace tvlo
