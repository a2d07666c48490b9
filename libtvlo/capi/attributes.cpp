#include "capi/attributes.h"

#include <algorithm>
#include <iterator>
#include <limits>

#include "capi/attribute_getters.h"
#include "capi/guard.h"
#include "core/check.h"
#include "nonlinear/answer.h"

namespace tvlo {

int nameUnits(const Model& model) {
  const int longest = std::max(model.rowNames().longest(), model.columnNames().longest());
  return longest / 8 + (longest % 8 != 0);
}

namespace {

constexpr double kNone = std::numeric_limits<double>::quiet_NaN();

Violation currentViolation(const Problem& problem) {
  const Solution& solution = problem.solution;
  if (solution.nonlinear.status != NonlinearStatus::unstarted) {
    const PointValues& point = solution.nonlinear.point;
    if (!point.available || point.x.size() != problem.model.columnTypes().size()) return {kNone, kNone};
    return nonlinearViolation(problem.model, point.x);
  }
  const PointValues& point = solution.mip.available ? solution.mip : solution.lp;
  if (!point.available || point.x.size() != problem.model.columnTypes().size()) return {kNone, kNone};
  return primalViolation(problem.model, point.x, solution.mip.available);
}

double currentDualViolation(const Problem& problem) {
  const PointValues& lp = problem.solution.lp;
  const bool complete = lp.available && lp.dual.size() == problem.model.rowTypes().size() &&
                        lp.redcost.size() == problem.model.columnTypes().size();
  return complete ? dualViolation(problem.model, lp.dual, lp.redcost, lp.x) : kNone;
}

double objectiveOf(const PointValues& point) { return point.available ? point.objective : kNone; }

template <class T>
AttributeValue whole(T value) {
  return static_cast<int64_t>(value);
}

namespace getters {

AttributeValue rows(const Problem& p) { return whole(p.rows()); }
AttributeValue originalrows(const Problem& p) { return rows(p); }
AttributeValue sparerows(const Problem&) { return whole(0); }
AttributeValue cols(const Problem& p) { return whole(p.columns()); }
AttributeValue originalcols(const Problem& p) { return cols(p); }
AttributeValue sets(const Problem&) { return whole(0); }
AttributeValue originalsets(const Problem& p) { return sets(p); }
AttributeValue gencons(const Problem&) { return whole(0); }
AttributeValue pwlcons(const Problem&) { return whole(0); }
AttributeValue mipents(const Problem& p) { return whole(p.model.entities()); }
AttributeValue elems(const Problem& p) { return whole(p.model.nonzeros()); }
AttributeValue qelems(const Problem& p) { return whole(p.model.quadraticObjective().entries().size()); }
AttributeValue qconstraints(const Problem& p) { return whole(p.model.quadraticRows().size()); }
AttributeValue namelength(const Problem& p) { return whole(nameUnits(p.model)); }
AttributeValue probnamelength(const Problem& p) { return whole(p.model.name().size() + 1); }
AttributeValue objsense(const Problem& p) { return whole(p.model.sense()); }
AttributeValue objconstant(const Problem& p) { return p.model.constant(); }

AttributeValue lpstatus(const Problem& p) { return whole(p.solution.lpStatus); }
AttributeValue mipstatus(const Problem& p) { return whole(p.solution.mipStatus); }
AttributeValue stopstatus(const Problem& p) { return whole(p.solution.stop); }
AttributeValue simplexiter(const Problem& p) { return p.solution.simplexIterations; }
AttributeValue bariter(const Problem& p) { return p.solution.barrierIterations; }
AttributeValue nodes(const Problem& p) { return p.solution.nodes; }
AttributeValue mipsols(const Problem& p) { return whole(p.solution.mipSolutions); }
AttributeValue lpobjval(const Problem& p) { return objectiveOf(p.solution.lp); }
AttributeValue mipobjval(const Problem& p) { return objectiveOf(p.solution.mip); }
AttributeValue bestbound(const Problem& p) { return provenBound(p.solution, p.model.sense()); }
AttributeValue time(const Problem& p) { return p.solution.seconds; }
AttributeValue maxabsprimalinfeas(const Problem& p) { return currentViolation(p).absolute; }
AttributeValue maxrelprimalinfeas(const Problem& p) { return currentViolation(p).relative; }
AttributeValue maxdualinfeas(const Problem& p) { return currentDualViolation(p); }
AttributeValue engine(const Problem& p) {
  const NonlinearSolution& nonlinear = p.solution.nonlinear;
  return nonlinear.engine.empty() ? p.sessionEngine : nonlinear.engine;
}

}  // namespace getters

// All but the numbers of lines are of the settled model.
template <class T>
T valueOf(Problem& problem, int id) {
  constexpr int kCounts[] = {TVLO_ATTRIBUTE_rows, TVLO_ATTRIBUTE_originalrows, TVLO_ATTRIBUTE_sparerows,
                             TVLO_ATTRIBUTE_cols, TVLO_ATTRIBUTE_originalcols};
  if (std::find(std::begin(kCounts), std::end(kCounts), id) == std::end(kCounts)) problem.settle();
  static const Table<AttributeGetter<Problem>> table({
#define TVLO_ATTRIBUTE(id, name, ...) {id, #name, getters::name},
#include "tvlo/attributes.def"
#undef TVLO_ATTRIBUTE
  });
  return attributeOf<T, Problem>(problem, table, id);
}

}  // namespace

int narrowed(int64_t value, int id) {
  if (value < std::numeric_limits<int>::min() || value > std::numeric_limits<int>::max()) {
    badArgument("The value %lld of %d needs 64 bits", static_cast<long long>(value), id);
  }
  return static_cast<int>(value);
}

}  // namespace tvlo

using namespace tvlo;

int TVLOgetintattrib(TVLOprob prob, int id, int* value) {
  return guardUnsettled(prob, [&] {
    requireArray(value, 1, "results");
    *value = narrowed(valueOf<int64_t>(*prob, id), id);
  });
}

int TVLOgetintattrib64(TVLOprob prob, int id, int64_t* value) {
  return guardUnsettled(prob, [&] {
    requireArray(value, 1, "results");
    *value = valueOf<int64_t>(*prob, id);
  });
}

int TVLOgetdblattrib(TVLOprob prob, int id, double* value) {
  return guardUnsettled(prob, [&] {
    requireArray(value, 1, "results");
    *value = valueOf<double>(*prob, id);
  });
}

int TVLOgetstringattrib(TVLOprob prob, int id, char* value, int maxbytes, int* nbytes) {
  return guardUnsettled(prob, [&] { copyText(valueOf<std::string>(*prob, id), value, maxbytes, nbytes); });
}
