#include "engines/slp/session.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <numeric>

#include "core/error.h"
#include "engines/nlp_bounds.h"
#include "engines/options.h"
#include "engines/slp/linearisation.h"

namespace tvlo {

namespace {

using Clock = std::chrono::steady_clock;
using Vector = std::vector<double>;

double largest(const Vector& values) {
  return std::accumulate(values.begin(), values.end(), 0.0,
                         [](double a, double b) { return std::max(a, std::abs(b)); });
}

struct Tolerances {
  // Steps are judged by the functions' values, which no longer change where gradients are this small.
  static constexpr double kFinest = 1e-7;
  double optimality = kFinest, acceptable = 1e-6, feasibility = 1e-6;
  int iterations = 3000;
  int logEvery = 1;

  explicit Tolerances(const ControlValues* controls) {
    if (controls == nullptr) return;
    for (const ControlRow& row : controls->table().rows()) {
      const std::string_view option = engineOption(row, "slp");
      if (option == "tol") optimality = std::max(kFinest, controls->getDouble(row.id));
      if (option == "acceptable_tol") acceptable = std::max(kFinest, controls->getDouble(row.id));
      if (option == "feasibility_tol") feasibility = controls->getDouble(row.id);
      if (option == "iterations") iterations = static_cast<int>(controls->getInt(row.id));
      if (option == "log_every") logEvery = static_cast<int>(controls->getInt(row.id));
    }
  }
};

// A point with the values of the functions there.
struct Iterate {
  Vector x, activity;
  double objective = 0;  // s f(x)
  double violation = 0;  // v(x)
};

double violationOf(const NlpProgram& program, const Vector& activity) {
  double sum = 0;
  for (int i = 0; i < program.rows(); ++i) {
    sum += std::max({0.0, program.rowLower[i] - activity[i], activity[i] - program.rowUpper[i]});
  }
  return sum;
}

class Run {
 public:
  Run(NlpProgram& program, const NlpRequest& request, Linearisation& linear, NlpResult& result)
      : program_(program),
        request_(request),
        context_(request.secondsLeft, request.interrupted),
        linear_(linear),
        result_(result),
        tolerances_(request.controls) {}

  void solve(const NlpPoint& start);

 private:
  struct Model {  // what a linearisation promises at its solution
    Vector step;
    double length = 0;     // as a radius
    double violation = 0;  // of the linearised rows
    double fall = 0;       // of s f
    double fallOfPhi(const Iterate& at, double penalty) const { return fall + penalty * (at.violation - violation); }
  };

  double phi(const Iterate& at) const { return at.objective + penalty_ * at.violation; }
  bool evaluate(Iterate& at);
  bool differentiate();
  void linearise();
  bool solveLinear(bool costs, double penalty, Model& model);  // without costs: the rows alone
  Vector alongStep(Vector activity, const Vector& step, double factor) const;
  bool findStep(Model& model);
  bool correct(Model& model, Iterate& trial);
  double measure();
  Vector reducedCosts() const;
  bool converged();
  void adaptScale(const Vector& step, double radius);
  bool tryStep(const Vector& step, Iterate& trial);  // false: it can't be evaluated there
  void move(Model& model);
  bool mayContinue();
  void end(NlpStatus status, const char* reason, int stop = 0);
  void endBy(Stop stop);
  void report();

  NlpProgram& program_;
  const NlpRequest& request_;
  const SolveContext context_;  // of the linear programs; silent
  Linearisation& linear_;
  NlpResult& result_;
  const Tolerances tolerances_;

  Iterate now_;
  Vector gradient_, jacobian_;  // at now_; the gradient of s f
  Vector scale_;                // of columns: steps are within +-radius_ * scale_
  Vector taken_;                // the last step that was taken
  Vector dual_;                 // of the last linear program, for s f
  double radius_ = 1;
  double penalty_ = 1;
  double stationarity_ = TVLO_INFINITY;  // see measure()
  double lastStep_ = 0;
  bool begun_ = false, ended_ = false;
};

bool Run::evaluate(Iterate& at) {
  const Clock::time_point begin = Clock::now();
  double value = 0;
  at.activity.assign(program_.rows(), 0);
  const bool done =
      program_.objective(at.x.data(), true, value) && program_.constraints(at.x.data(), false, at.activity.data());
  result_.evaluation += std::chrono::duration<double>(Clock::now() - begin).count();
  at.objective = program_.sense * value;
  at.violation = violationOf(program_, at.activity);
  return done && std::isfinite(value) && allFinite(at.activity);
}

bool Run::differentiate() {
  const Clock::time_point begin = Clock::now();
  gradient_.assign(program_.columns(), 0);
  jacobian_.resize(program_.jacobian.size(), 0);
  const bool done = program_.gradient(now_.x.data(), true, gradient_.data()) &&
                    program_.jacobianValues(now_.x.data(), false, jacobian_.data());
  result_.evaluation += std::chrono::duration<double>(Clock::now() - begin).count();
  if (program_.sense < 0) std::transform(gradient_.begin(), gradient_.end(), gradient_.begin(), std::negate<>());
  return done && allFinite(gradient_) && allFinite(jacobian_);
}

// Everything of the linearisation but its costs.
void Run::linearise() {
  Vector lower(program_.columns()), upper = lower;
  for (int j = 0; j < program_.columns(); ++j) {
    lower[j] = std::max(-scale_[j], (program_.columnLower[j] - now_.x[j]) / radius_);
    upper[j] = std::min(scale_[j], (program_.columnUpper[j] - now_.x[j]) / radius_);
  }
  if (!begun_) linear_.begin(program_, jacobian_);
  begun_ = true;
  linear_.setJacobian(jacobian_);
  linear_.setRows(now_.activity, radius_);
  linear_.setBox(lower, upper);
}

bool Run::solveLinear(bool costs, double penalty, Model& model) {
  const int columns = program_.columns();
  linear_.setCosts(costs ? gradient_ : Vector(columns, 0), penalty);
  if (linear_.solve(context_) != LpStatus::optimal) {
    if (linear_.stop() == Stop::none) {
      end(NlpStatus::failed, "a linear program was not solved");
    } else {
      endBy(linear_.stop());
    }
    return false;
  }
  model.step = linear_.step();
  model.length = model.fall = 0;
  for (int j = 0; j < columns; ++j) {
    model.length = std::max(model.length, radius_ * std::abs(model.step[j]) / scale_[j]);
    model.step[j] *= radius_;
    model.fall -= gradient_[j] * model.step[j];
  }
  model.violation = violationOf(program_, alongStep(now_.activity, model.step, 1));
  return true;
}

// activity + factor * J step
Vector Run::alongStep(Vector activity, const Vector& step, double factor) const {
  for (size_t k = 0; k < jacobian_.size(); ++k) {
    activity[program_.jacobian.row[k]] += factor * jacobian_[k] * step[program_.jacobian.column[k]];
  }
  return activity;
}

// The step for a penalty that is large enough: where the linearised rows can be satisfied within the box, it leads
// there, and elsewhere it gains a good part of what can be gained (Nocedal and Wright, algorithm 18.5).
bool Run::findStep(Model& model) {
  constexpr double kLargestPenalty = 1e12, kPart = 0.1;
  linearise();
  if (!solveLinear(true, penalty_, model)) return false;
  dual_ = linear_.dual();
  const double tolerance = 1e-3 * tolerances_.feasibility;
  if (model.violation <= tolerance) return true;

  Model best;
  if (!solveLinear(false, 1, best)) return false;
  const double gain = now_.violation - best.violation;
  const double hopeless = tolerances_.acceptable * std::min(1.0, radius_) * std::max(1.0, now_.violation);
  if (now_.violation > tolerances_.feasibility && gain <= hopeless) {
    end(NlpStatus::infeasible, "converged to a point of local infeasibility");
    return false;
  }
  const double enough = best.violation <= tolerance ? tolerance : now_.violation - kPart * gain;
  while (model.violation > enough && penalty_ < kLargestPenalty) {
    penalty_ *= 10;
    if (!solveLinear(true, penalty_, model)) return false;
    dual_ = linear_.dual();
  }
  return true;
}

// By duality no step in a box of size 1 makes phi's linearisation fall by more than this, whatever the size of the box
// that the duals come from. It is 0 where the first-order conditions hold, and there only.
double Run::measure() {
  double sum = penalty_ * now_.violation;
  for (int i = 0; i < program_.rows(); ++i) {
    if (program_.rowLower[i] <= -TVLO_INFINITY) dual_[i] = std::min(dual_[i], 0.0);
    if (program_.rowUpper[i] >= TVLO_INFINITY) dual_[i] = std::max(dual_[i], 0.0);
    if (dual_[i] == 0) continue;
    sum -= dual_[i] * ((dual_[i] > 0 ? program_.rowLower[i] : program_.rowUpper[i]) - now_.activity[i]);
  }
  const Vector cost = reducedCosts();
  for (int j = 0; j < program_.columns(); ++j) {
    const double size = std::max(1.0, std::abs(now_.x[j]));
    const double room = cost[j] > 0 ? now_.x[j] - program_.columnLower[j] : program_.columnUpper[j] - now_.x[j];
    sum += std::abs(cost[j]) * std::min(size, room);
  }
  return std::max(0.0, sum);
}

// Of s f.
Vector Run::reducedCosts() const {
  Vector costs = gradient_;
  for (size_t k = 0; k < jacobian_.size(); ++k) {
    costs[program_.jacobian.column[k]] -= jacobian_[k] * dual_[program_.jacobian.row[k]];
  }
  return costs;
}

bool Run::converged() {
  stationarity_ = measure();
  const double size = std::max(1.0, std::abs(now_.objective));
  if (now_.violation > tolerances_.feasibility || stationarity_ > tolerances_.optimality * size) return false;
  end(NlpStatus::optimal, "optimal");
  return true;
}

// Columns that turn back and forth get less room, those that keep their way get more (J. Zhang, N.-H. Kim and L.
// Lasdon, An improved successive linear programming algorithm, Management Science 31 (1985)).
void Run::adaptScale(const Vector& step, double radius) {
  constexpr double kLess = 0.5, kMore = 1.5, kExtreme = 1e4;
  for (int j = 0; j < program_.columns(); ++j) {
    const bool whole = std::abs(step[j]) > 0.99 * radius * scale_[j];
    const double turn = step[j] * taken_[j];
    if (turn < 0) scale_[j] = std::max(kLess * scale_[j], 1 / kExtreme);
    if (turn > 0 && whole) scale_[j] = std::min(kMore * scale_[j], kExtreme);
  }
  taken_ = step;
}

bool Run::tryStep(const Vector& step, Iterate& trial) {
  trial.x = now_.x;
  for (int j = 0; j < program_.columns(); ++j) {
    trial.x[j] = std::clamp(now_.x[j] + step[j], program_.columnLower[j], program_.columnUpper[j]);
  }
  return evaluate(trial);
}

// Whether a step that looks bad becomes better by its second-order correction: the rows keep their gradients, but agree
// with their values at the trial point, so that their curvature is taken into account (the same, section 18.3).
bool Run::correct(Model& model, Iterate& trial) {
  if (program_.linearRows || program_.rows() == 0) return false;
  linear_.setRows(alongStep(trial.activity, model.step, -1), radius_);
  Model corrected;
  Iterate there;
  if (!solveLinear(true, penalty_, corrected) || !tryStep(corrected.step, there) || phi(there) >= phi(trial))
    return false;
  model = std::move(corrected);
  trial = std::move(there);
  return true;
}

void Run::move(Model& model) {
  constexpr double kTaken = 1e-4, kPoor = 0.25, kGood = 0.75, kLargest = 1e15, kNoise = 1e-15;
  const double promised = model.fallOfPhi(now_, penalty_);
  const double noise = kNoise * std::max(1.0, std::abs(phi(now_)));
  Iterate trial;
  const bool defined = tryStep(model.step, trial);
  const auto ratioAtTrial = [&] { return (phi(now_) - phi(trial) + noise) / (promised + noise); };
  double ratio = defined ? ratioAtTrial() : -1;
  if (defined && ratio < kPoor && correct(model, trial)) ratio = ratioAtTrial();
  if (ended_) return;
  lastStep_ = model.length;
  const double radius = radius_, tried = std::min(radius, model.length);
  const bool whole = model.length > 0.99 * radius_;
  if (promised < 10 * noise) {
    radius_ *= 0.5;  // values can't tell good steps from bad ones any more; the gradients soon will
  } else if (ratio < kPoor) {
    radius_ = (ratio < 0 ? 0.25 : 0.5) * tried;
  } else if (ratio > kGood && whole) {
    radius_ = std::min(2 * radius_, kLargest);
  }
  if (ratio <= kTaken) return;
  Vector gradient = gradient_, jacobian = jacobian_;
  std::swap(now_, trial);
  if (!differentiate()) {
    std::swap(now_, trial);
    gradient_ = std::move(gradient);
    jacobian_ = std::move(jacobian);
    radius_ = 0.25 * tried;
    return;
  }
  adaptScale(model.step, radius);
  constexpr double kFar = 1e10;
  const double size = largest(now_.x);
  if (whole && size > kFar && now_.objective < 0 && now_.violation <= tolerances_.feasibility * size) {
    end(NlpStatus::unbounded, "iterates diverge");
  }
}

bool Run::mayContinue() {
  constexpr double kShortest = 1e-12;
  report();
  const int stop =
      request_.iteration ? request_.iteration(result_.iterations, program_.sense * now_.objective, now_.violation) : 0;
  if (stop != 0) {
    end(NlpStatus::unfinished, "stopped on request", stop);
  } else if (context_.stop() != Stop::none) {
    endBy(context_.stop());
  } else if (result_.iterations >= tolerances_.iterations) {
    end(NlpStatus::unfinished, "iteration limit", -2);
  } else if (radius_ < kShortest) {
    const double size = std::max(1.0, std::abs(now_.objective));
    const bool nearly = now_.violation <= tolerances_.feasibility && stationarity_ <= tolerances_.acceptable * size;
    end(nearly ? NlpStatus::acceptable : NlpStatus::unfinished, "steps became too small");
  }
  return !ended_;
}

void Run::report() {
  const int iteration = result_.iterations;
  if (!request_.log || iteration % tolerances_.logEvery != 0) return;
  if (iteration % (20 * static_cast<int64_t>(tolerances_.logEvery)) == 0) {
    request_.log("  Iter          Objective   Violation  Stationary      Step     Radius    Penalty");
  }
  request_.log(format("%6d  %18.10e    %.2e    %.2e  %.2e   %.2e   %.2e", iteration, program_.sense * now_.objective,
                      now_.violation, std::min(stationarity_, 1e99), lastStep_, radius_, penalty_));
}

void Run::end(NlpStatus status, const char* reason, int stop) {
  result_.status = status;
  result_.reason = reason;
  result_.stop = stop;
  ended_ = true;
}

void Run::endBy(Stop stop) {
  const bool late = stop == Stop::timeLimit;
  end(NlpStatus::unfinished, late ? "time limit" : "stopped on request", late ? -1 : static_cast<int>(stop));
}

void Run::solve(const NlpPoint& start) {
  now_.x = startWithin(program_, start);
  if (!evaluate(now_) || !differentiate()) {
    end(NlpStatus::failed, "a function can't be evaluated at the start");
    return;
  }
  scale_.assign(program_.columns(), 1);
  taken_.assign(program_.columns(), 0);
  if (request_.warm) penalty_ = std::max(1.0, 2 * largest(start.dual));
  dual_.assign(program_.rows(), 0);

  if (program_.columns() == 0) {
    const bool feasible = now_.violation <= tolerances_.feasibility;
    end(feasible ? NlpStatus::optimal : NlpStatus::infeasible, "there are no columns");
  }
  while (!ended_ && mayContinue()) {
    Model model;
    if (!findStep(model) || converged()) break;
    move(model);
    ++result_.iterations;
  }

  NlpPoint& point = result_.point;
  result_.objective = program_.sense * now_.objective;
  point.x = now_.x;
  point.activity = now_.activity;
  point.redcost = reducedCosts();
  point.dual = dual_;
  for (Vector* const values : {&point.dual, &point.redcost}) {
    for (double& value : *values) value *= program_.sense;
  }
}

class Slp final : public NlpSession {
 public:
  explicit Slp(LpOpener open) : linear_(std::move(open)) {}
  void solve(NlpProgram& program, const NlpPoint& start, const NlpRequest& request, NlpResult& result) override {
    const Clock::time_point begin = Clock::now();
    result = NlpResult();
    if (!endsByBounds(program, result)) Run(program, request, linear_, result).solve(start);
    result.seconds = std::chrono::duration<double>(Clock::now() - begin).count();
  }

 private:
  Linearisation linear_;
};

}  // namespace

std::unique_ptr<NlpSession> openSlp(LpOpener open) { return std::make_unique<Slp>(std::move(open)); }

}  // namespace tvlo
