// Claims that there is no optimum. They stand only with a certificate that is recomputed from the model store
// (route/certificate.h), or for a search that found nothing, where a second one of another kind agrees.
#pragma once

#include <functional>
#include <optional>

#include "route/certificate.h"
#include "route/settle.h"

namespace tvlo {

// Of a linear problem or a continuous relaxation.
class LinearClaims {
 public:
  using Show = std::function<Evidence(LpStatus claim)>;
  explicit LinearClaims(const Case& of) : case_(of) {}

  // What is proven of an engine's claim, `show` being what it has to show: infeasible, unbounded, or unfinished.
  LpStatus confirm(LpStatus claim, const Show& show);

  // Where no answer of an engine stands: what problems of our own prove.
  LpStatus prove();

 private:
  LpStatus showInfeasible(const std::vector<double>& multipliers);
  const ImpliedBounds& implied();
  bool isFeasible(const std::vector<double>& point) const;
  LpStatus existence() const;  // optimal: there are feasible points; infeasible; unfinished: unknown

  const Case& case_;
  std::optional<ImpliedBounds> implied_;
  bool bare_ = false;  // a contradiction was found that points within the tolerance may escape
};

// Of a tree search.
class SearchClaims {
 public:
  explicit SearchClaims(const Case& of) : case_(of) {}

  // As settleMip.
  bool settle(Solution& result);

  // Whether a search has claimed that there is no solution, without another proof. The next one decides, and where it
  // comes to no end within its budget of seconds, the claim stands.
  bool open() const { return open_; }
  double budget(double taken) const;

  // Where no search came to an end that stands: whether there is no point even without whole numbers.
  bool noneRelaxed() const { return relaxation(false).lpStatus == LpStatus::infeasible; }

 private:
  bool settleSecond(Solution& result) const;
  bool settleOptimal(Solution& result) const;
  bool settleInfeasible(Solution& result);
  bool settleUnbounded(Solution& result);
  Solution relaxation(bool costs) const;
  MipStatus existence() const;  // solution: there are points; infeasible; noSolution: unknown

  const Case& case_;
  bool open_ = false;
  bool early_ = false;  // before there was a tree
};

}  // namespace tvlo
