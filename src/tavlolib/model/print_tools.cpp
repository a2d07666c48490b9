#include "model/print_tools.h"

#include <iterator>

#include "model/nonlinear.h"

namespace tavlo {

namespace {

constexpr int32_t kPrefix = -1, kInfix = 0, kAny = -1;

struct Row {
  int32_t code;
  PrintTool tool;
};
constexpr Row kRows[] = {
#define ELEMENTARY_FUNCTION(name, Node, node, ...) {node, {#name, 1, kPrefix}},
#define ELEMENTARY_OPERATOR(name, Node, node, TOKEN, sign, operands, precedence, members, value) \
  {node, {sign, members, (members) == 1 ? kPrefix : kInfix}},
#define ELEMENTARY_LIST(name, Node, node, ...) {node, {#name, kAny, kPrefix}},
#define ELEMENTARY_LOGICAL(name, Node, node, ...) {node, {#name, kAny, kPrefix}},
#define ELEMENTARY_CALL(name, Node, node) {node, {#name, kAny, kPrefix}},
#include "elementary/functions.def"
};

constexpr bool areNumberedInOrder() {
  for (int32_t k = 0; k < kNodeCodes; ++k) {
    if (kRows[k].code != k) return false;
  }
  return std::size(kRows) == kNodeCodes;
}
static_assert(areNumberedInOrder());

}  // namespace

const PrintTool& printTool(int32_t code) { return kRows[code].tool; }

}  // namespace tavlo
