#include "capi/attributes.h"

#include <limits>

#include "capi/guard.h"
#include "core/attributes.h"
#include "core/check.h"
#include "nonlinear/answer.h"

namespace tvlo {

namespace {

[[noreturn]] void noSuchAttribute(int id, const char* type) {
  const AttributeRow* const row = optimizerAttributes().find(id);
  if (row == nullptr) throw Error(TVLO_ERR_NAME, format("There is no attribute %d", id));
  throw Error(TVLO_ERR_ARGUMENT, format("Attribute %s (%d) is not %s attribute", row->name, id, type));
}

const PointValues& currentPoint(const Solution& solution) {
  return solution.mip.available ? solution.mip : solution.lp;
}

constexpr double kNone = std::numeric_limits<double>::quiet_NaN();

Violation currentViolation(const Problem& problem) {
  if (problem.solution.nonlinear.status != NonlinearStatus::unstarted) {
    const PointValues& point = problem.solution.nonlinear.point;
    if (!point.available || point.x.size() != problem.model.columnTypes().size()) return {kNone, kNone};
    return nonlinearViolation(problem.model, point.x);
  }
  const PointValues& point = currentPoint(problem.solution);
  if (!point.available || point.x.size() != problem.model.columnTypes().size()) return {kNone, kNone};
  return primalViolation(problem.model, point.x, problem.solution.mip.available);
}

double currentDualViolation(const Problem& problem) {
  const PointValues& lp = problem.solution.lp;
  const bool complete = lp.available && lp.dual.size() == problem.model.rowTypes().size() &&
                        lp.redcost.size() == problem.model.columnTypes().size();
  return complete ? dualViolation(problem.model, lp.dual, lp.redcost, lp.x) : kNone;
}

}  // namespace

int nameUnits(const Model& model) {
  const int longest = std::max(model.rowNames().longest(), model.columnNames().longest());
  return longest / 8 + (longest % 8 != 0);
}

int64_t intAttribute(const Problem& problem, int id) {
  const Model& model = problem.model;
  const Solution& solution = problem.solution;
  switch (id) {
    case attribute::rows:
    case attribute::originalrows:
      return model.rows();
    case attribute::cols:
    case attribute::originalcols:
      return model.columns();
    case attribute::sets:
    case attribute::originalsets:
    case attribute::sparerows:
    case attribute::gencons:
    case attribute::pwlcons:
      return 0;
    case attribute::lpstatus:
      return static_cast<int>(solution.lpStatus);
    case attribute::mipstatus:
      return static_cast<int>(solution.mipStatus);
    case attribute::namelength:
      return nameUnits(model);
    case attribute::probnamelength:
      return static_cast<int64_t>(model.name().size()) + 1;
    case attribute::mipents:
      return model.entities();
    case attribute::elems:
      return model.nonzeros();
    case attribute::qelems:
      return static_cast<int64_t>(model.quadraticObjective().entries().size());
    case attribute::qconstraints:
      return static_cast<int64_t>(model.quadraticRows().size());
    case attribute::objsense:
      return model.sense();
    case attribute::stopstatus:
      return static_cast<int>(solution.stop);
    case attribute::simplexiter:
      return solution.simplexIterations;
    case attribute::bariter:
      return solution.barrierIterations;
    case attribute::nodes:
      return solution.nodes;
    case attribute::mipsols:
      return solution.mipSolutions;
    default:
      noSuchAttribute(id, "an integer");
  }
}

double doubleAttribute(const Problem& problem, int id) {
  const Solution& solution = problem.solution;
  switch (id) {
    case attribute::lpobjval:
      return solution.lp.available ? solution.lp.objective : kNone;
    case attribute::mipobjval:
      return solution.mip.available ? solution.mip.objective : kNone;
    case attribute::bestbound:
      return provenBound(solution, problem.model.sense());
    case attribute::objconstant:
      return problem.model.constant();
    case attribute::time:
      return solution.seconds;
    case attribute::maxabsprimalinfeas:
      return currentViolation(problem).absolute;
    case attribute::maxrelprimalinfeas:
      return currentViolation(problem).relative;
    case attribute::maxdualinfeas:
      return currentDualViolation(problem);
    default:
      noSuchAttribute(id, "a double");
  }
}

std::string stringAttribute(const Problem& problem, int id) {
  if (id == attribute::engine) {
    const NonlinearSolution& nonlinear = problem.solution.nonlinear;
    return nonlinear.engine.empty() ? problem.sessionEngine : nonlinear.engine;
  }
  noSuchAttribute(id, "a string");
}

int narrowed(int64_t value, int id) {
  if (value < std::numeric_limits<int>::min() || value > std::numeric_limits<int>::max()) {
    badArgument("The value %lld of %d needs 64 bits", static_cast<long long>(value), id);
  }
  return static_cast<int>(value);
}

}  // namespace tvlo

using namespace tvlo;

int TVLOgetintattrib(TVLOprob prob, int id, int* value) {
  return guard(prob, [&] {
    requireArray(value, 1, "results");
    *value = narrowed(intAttribute(*prob, id), id);
  });
}

int TVLOgetintattrib64(TVLOprob prob, int id, int64_t* value) {
  return guard(prob, [&] {
    requireArray(value, 1, "results");
    *value = intAttribute(*prob, id);
  });
}

int TVLOgetdblattrib(TVLOprob prob, int id, double* value) {
  return guard(prob, [&] {
    requireArray(value, 1, "results");
    *value = doubleAttribute(*prob, id);
  });
}

int TVLOgetstringattrib(TVLOprob prob, int id, char* value, int maxbytes, int* nbytes) {
  return guard(prob, [&] { copyText(stringAttribute(*prob, id), value, maxbytes, nbytes); });
}
