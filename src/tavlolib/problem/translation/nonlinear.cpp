// What the problem's record and its nonlinear component know of each other.
#include "problem/problem.h"

namespace tavlo {
namespace {

constexpr int kBuilt = 1 << 0, kPresolved = 1 << 29;

}  // namespace

int refreshFormulas(problem_s* p) {
  if (!p->registry().aged) return 0;
  int rows = 0;
  if (TSLPgetintattrib(p->slpprob, TSLP_ATTRIBUTE_nlconstraints, &rows) != 0) return nonlinearFailed(p);
  p->registry().aged = false;
  p->registry().hasFormulas = rows > (p->registry().hasNonlinearObjective() ? 1 : 0);
  return 0;
}

int check_nl_unconstruct(problem_s* p) {
  if (!p->registry().isNonlinear()) return 0;
  int bits = 0;
  if (TSLPgetintattrib(p->slpprob, TSLP_ATTRIBUTE_nlpstatusbits, &bits) != 0 ||
      ((bits & kBuilt) && TSLPunconstruct(p->slpprob) != 0) || ((bits & kPresolved) && TSLPpostsolve(p->slpprob) != 0))
    return nonlinearFailed(p);
  return 0;
}

}  // namespace tavlo
