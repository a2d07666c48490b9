// Local solves by Ipopt. An instance is made for each solve, which costs 0.1 ms. Any thread may solve.
#pragma once

#include <exception>

#include "engines/engine.h"
#include "engines/ipopt/options.h"

namespace tvlo::ipopt {

class Session final : public NlpSession {
 public:
  void solve(NlpProgram& program, const NlpPoint& start, const NlpRequest& request, NlpResult& result) override;
};

// One solve as Ipopt's callbacks see it. Ipopt minimises, so an objective that is to be maximised goes over negated.
//
// It treats programs without more columns than equations as systems of equations or refuses them. They get padding:
// columns without bounds that enter the objective as half their square and no row.
struct Solve {
  NlpProgram& program;
  const NlpRequest& request;
  int padding = 0;
  Settings settings{};

  int before = 0;                                   // iterations of an earlier attempt
  int iterations = 0;                               // of all
  double infeasibility = 0, dualInfeasibility = 0;  // at the last iteration
  bool regularised = false;                         // there, too; as NlpResult::regularised
  int stop = 0;
  double evaluation = 0;         // seconds
  std::exception_ptr failure{};  // thrown by the program or the request's functions

  int columns() const { return program.columns() + padding; }
};

// callbacks.cpp
IpoptProblem createProblem(Solve& solve);

}  // namespace tvlo::ipopt
