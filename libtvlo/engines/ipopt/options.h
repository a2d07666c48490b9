// Options of one Ipopt problem. Values are within Ipopt's own ranges before they are set: it prints what it refuses.
#pragma once

#include "engines/engine.h"
#include "engines/ipopt/ipopt.h"

namespace tvlo::ipopt {

struct Settings {
  int iterationLimit = 3000;
  double tolerance = 1e-8, acceptable = 1e-6;  // of the scaled optimality error
  int logEvery = 1;                            // iterations
};

// How one attempt at a program goes. After one that fails the next tries with less.
struct Approach {
  bool warm = false;
  bool predictor = false;  // Mehrotra's predictor-corrector steps without a line search, for quadratic programs
};

// Sets everything but the time limit and tells what of it the adapter needs itself. Throws Error when Ipopt refuses.
Settings applyOptions(IpoptProblem problem, const NlpProgram& program, const NlpRequest& request,
                      const Approach& approach);

void setOption(IpoptProblem problem, const char* option, const char* value);
void setOption(IpoptProblem problem, const char* option, double value);
void setOption(IpoptProblem problem, const char* option, int value);

}  // namespace tvlo::ipopt
