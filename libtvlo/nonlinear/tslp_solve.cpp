// Solving and solutions through the nonlinear component's C interface.
#include "nonlinear/guard.h"

using namespace tvlo;

int TSLPconstruct(TSLPprob slp) {
  return guardSlp(slp, [&] { slp->problem(); });
}

int TSLPunconstruct(TSLPprob slp) {
  return guardSlp(slp, [&] { slp->problem(); });
}

int TSLPpostsolve(TSLPprob slp) {
  return guardSlp(slp, [&] { slp->problem(); });
}

int TSLPnlpoptimize(TSLPprob slp, const char*) {
  return guardSlp(slp, [&] {
    slp->problem();
    throw Error(TVLO_ERR_UNSUPPORTED, "Nonlinear problems can't be solved yet");
  });
}

int TSLPinterrupt(TSLPprob slp, int) {
  return guardSlp(slp, [&] { slp->problem(); });
}

int TSLPgetslpsol(TSLPprob slp, double*, double*, double*, double*) {
  return guardSlp(slp, [&] { throw Error(TVLO_ERR_STATE, "There is no nonlinear solution"); });
}
