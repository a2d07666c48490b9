// Problem files through the C interface.
#include "capi/files.h"

#include "capi/guard.h"
#include "io/files.h"

namespace tvlo {

void readInto(Problem& problem, const char* filename, const char* flags) {
  requireArray(filename, 1, "characters");
  problem.model.clear();
  problem.replaced();
  try {
    readProblem(problem.model, filename, flags == nullptr ? "" : flags);
  } catch (...) {
    problem.model.clear();
    throw;
  }
}

void writeFrom(const Problem& problem, const char* filename, const char* flags) {
  requireArray(filename, 1, "characters");
  writeProblem(problem.model, filename, flags == nullptr ? "" : flags);
}

}  // namespace tvlo

using namespace tvlo;

int TVLOreadprob(TVLOprob prob, const char* filename, const char* flags) {
  return guardChange(prob, [&] { readInto(*prob, filename, flags); });
}

int TVLOwriteprob(TVLOprob prob, const char* filename, const char* flags) {
  return guard(prob, [&] { writeFrom(*prob, filename, flags); });
}
