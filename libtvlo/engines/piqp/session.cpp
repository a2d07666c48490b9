#include "engines/piqp/session.h"

#include <algorithm>
#include <limits>

#include "core/error.h"
#include "engines/piqp/kkt.h"
#include "engines/piqp/translate.h"
#include "engines/watch.h"

namespace tvlo::piqp {

namespace {

constexpr int kMostIterations = 250;  // of a convex problem's some 15
// Columns and coefficients of a problem whose iterations cost so little that they go on as long as they get nearer:
// the nearer, the more surely is it seen which bounds hold with equality.
constexpr int64_t kSmall = 20000;
constexpr double kNearer = 1e-4;  // than was asked for

constexpr int kMostIdle = 25;  // iterations that come no nearer

// Thrown out of PIQP's loop.
struct Ended {
  ::piqp::Status status;
};
// PIQP with a way in, to what its classes keep for those that derive from them.
class Solver : public ::piqp::SparseSolver<double, int> {
 public:
  // `tolerance` is what has to be reached, however much more the settings ask for.
  void prepare(Watch& watch, const SolveRequest& request, double tolerance) {
    request_ = &request;
    tolerance_ = tolerance;
    auto& way = m_kkt_system.*&System::kkt_solver;
    static_cast<Kkt*>(way.get())->prepare(m_data, watch, [this] { onIteration(); });
  }

  ::piqp::Status run() {
    try {
      return solve();
    } catch (const Ended& ended) {
      unscale_results();
      restore_dual();
      return ended.status;
    }
  }

 private:
  struct System : ::piqp::KKTSystem<double, int, ::piqp::PIQP_SPARSE> {
    using KKTSystem::kkt_solver;
  };

  // Before each factorisation.
  void onIteration() {
    const auto& info = m_result.info;
    if (info.iter == iteration_) return;
    iteration_ = info.iter;
    if (request_->log) {
      request_->log(format("%4d  objective %.10e  infeasibility %.2e %.2e  gap %.2e", static_cast<int>(info.iter) - 1,
                           info.primal_obj, info.primal_res, info.dual_res, info.duality_gap));
    }
    const double off =
        std::max({std::min(info.primal_res, 10 * info.primal_res_rel), std::min(info.dual_res, 10 * info.dual_res_rel),
                  std::min(info.duality_gap, 10 * info.duality_gap_rel)});
    idle_ = off < 0.5 * best_ ? 0 : idle_ + 1;
    best_ = std::min(best_, off);
    if (off <= tolerance_ && idle_ >= 2) throw Ended{::piqp::PIQP_SOLVED};
    // As PIQP's own loop has it, whose settings may ask for more.
    const auto gone = [&](Eigen::Index count, double distance, double absolute, double relative) {
      return count > 5 && distance > m_settings.infeasibility_threshold &&
             (absolute < tolerance_ || relative < 0.1 * tolerance_);
    };
    if (gone(info.no_dual_update, info.primal_prox_inf, info.primal_res_reg, info.primal_res_reg_rel)) {
      throw Ended{::piqp::PIQP_PRIMAL_INFEASIBLE};
    }
    if (gone(info.no_primal_update, info.dual_prox_inf, info.dual_res_reg, info.dual_res_reg_rel)) {
      throw Ended{::piqp::PIQP_DUAL_INFEASIBLE};
    }
    if (idle_ > kMostIdle) throw Ended{::piqp::PIQP_NUMERICS};
  }

  const SolveRequest* request_ = nullptr;
  double tolerance_ = 0;
  double best_ = std::numeric_limits<double>::infinity();
  Eigen::Index iteration_ = 0;
  int idle_ = 0;  // iterations since it last came nearer
};

LpStatus lpStatusOf(::piqp::Status status) {
  switch (status) {
    case ::piqp::PIQP_SOLVED:
      return LpStatus::optimal;
    case ::piqp::PIQP_PRIMAL_INFEASIBLE:
      return LpStatus::infeasible;
    case ::piqp::PIQP_DUAL_INFEASIBLE:
      return LpStatus::unbounded;
    default:
      return LpStatus::unfinished;
  }
}

}  // namespace

void Session::solve(const Model& model, const SolveRequest& request, Solution& result) {
  const bool unchanged = model.changes().none(model.rows(), model.columns());
  if (unchanged && !request.cold && settled_.lpStatus != LpStatus::unstarted) {
    result = settled_;
    return;
  }
  settled_ = Solution();
  result.lpStatus = LpStatus::unfinished;
  const auto limit = request.controls->getInt(control::bariterlimit);
  if (limit <= 0) {
    result.stop = Stop::iterationLimit;
    return;
  }

  Watch watch = watchOf(request);
  const Program program(model);
  Solver solver;
  auto& settings = solver.settings();
  settings.max_iter = std::min<int64_t>(limit, kMostIterations);
  const double tolerance = request.controls->getDouble(control::barriergaptol);
  const int64_t size = program.columns() + program.P.nonZeros() + program.A.nonZeros() + program.G.nonZeros();
  const double goal = size > kSmall ? tolerance : kNearer * tolerance;
  settings.eps_abs = settings.eps_duality_gap_abs = goal;
  settings.eps_rel = settings.eps_duality_gap_rel = 0.1 * goal;
  ::piqp::Status status = ::piqp::PIQP_UNSOLVED;
  try {
    watch.check();
    solver.setup(program.P, program.c, program.A, program.b, program.G, program.lower, program.upper,
                 program.columnLower, program.columnUpper);
    watch.check();
    solver.prepare(watch, request, tolerance);
    status = solver.run();
  } catch (const Stopped& stopped) {
    result.stop = stopped.why;
    return;
  }
  const auto& found = solver.result();
  result.lpStatus = lpStatusOf(status);
  result.barrierIterations = found.info.iter;
  if (status == ::piqp::PIQP_MAX_ITER_REACHED && found.info.iter >= limit) result.stop = Stop::iterationLimit;
  result.lp = program.point(model, found.x, -found.y, found.z_l - found.z_u);
  if (result.lpStatus == LpStatus::optimal) settled_ = result;
}

}  // namespace tvlo::piqp
