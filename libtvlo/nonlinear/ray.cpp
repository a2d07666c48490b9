#include "nonlinear/ray.h"

#include <algorithm>
#include <cmath>

#include "nonlinear/answer.h"

namespace tvlo {

namespace {

constexpr int kSteps = 20;          // powers of ten of the first distance
constexpr double kFeasible = 1e-9;  // of the rows, relative to their largest terms
constexpr double kNoise = 1e-12;    // of the objective, relative
constexpr double kLarge = 1e8;      // an objective that overflows at the first step comes from one like this

}  // namespace

bool fallsForever(const Model& model, ModelProgram& program, const std::vector<double>& from,
                  const std::vector<double>& through) {
  double last = 0;
  double lastGain = 0;
  double distance = 1;
  for (int k = 0; k <= kSteps; ++k, distance *= 10) {
    NlpPoint point;
    point.x.resize(through.size());
    for (size_t j = 0; j < through.size(); ++j) {
      double& x = point.x[j] = from[j] + distance * (through[j] - from[j]);
      if (program.columnLower[j] > -TVLO_INFINITY) x = std::max(x, program.columnLower[j]);
      if (program.columnUpper[j] < TVLO_INFINITY) x = std::min(x, program.columnUpper[j]);
    }
    const PointValues whole = modelPoint(model, program, point);
    const double value = model.sense() * whole.objective;
    if (!(checkAnswer(model, program, whole, point).primal <= kFeasible)) return false;
    if (std::isinf(value)) return value < 0 && last <= -kLarge;
    if (k > 0) {
      const double gain = last - value;
      if (!(gain > kNoise * std::abs(value)) || gain < 0.9 * lastGain) return false;
      lastGain = gain;
    }
    last = value;
  }
  return true;
}

}  // namespace tvlo
