// PIQP over our factorisation: its own one can't be stopped, and works entry by entry.
#pragma once

#include <piqp/fwd.hpp>

// It must not print.
#undef piqp_print
#undef piqp_eprint
#define piqp_print(...) static_cast<void>(0)
#define piqp_eprint(...) static_cast<void>(0)

#include <functional>
#include <piqp/kkt_fwd.hpp>
#include <piqp/kkt_solver_base.hpp>
#include <piqp/kkt_system.hpp>
#include <piqp/piqp.hpp>
#include <piqp/sparse/kkt_full.hpp>

#include "linear/ldl.h"

namespace tvlo::piqp {

using Data = ::piqp::sparse::Data<double, int>;
using Vector = Eigen::VectorXd;

class Kkt final : public ::piqp::KKTSolverBase<double, int, ::piqp::PIQP_SPARSE>,
                  private ::piqp::sparse::KKTImpl<Kkt, double, int, ::piqp::KKT_FULL> {
 public:
  // To be called before the first solve. `iterate` is called before each factorisation.
  void prepare(const Data& data, Watch& watch, std::function<void()> iterate);
  double work() const { return factors_.work(); }

  std::unique_ptr<KKTSolverBase> clone() const override { return std::make_unique<Kkt>(*this); }
  void update_data(const Data& data, int options) override { this->update_data_impl(data, options); }
  bool update_scalings_and_factor(const Data& data, const double& delta, const Vector& x, const Vector& z) override;
  void solve(const Data& data, const Vector& rhsX, const Vector& rhsY, const Vector& rhsZ, Vector& x, Vector& y,
             Vector& z) override;
  void eval_P_x(const Data& data, const double& factor, const Vector& x, Vector& result) override;
  void eval_A_xn_and_AT_xt(const Data& data, const double& factor, const double& transposed, const Vector& x,
                           const Vector& y, Vector& result, Vector& resultTransposed) override;
  void eval_G_xn_and_GT_xt(const Data& data, const double& factor, const double& transposed, const Vector& x,
                           const Vector& y, Vector& result, Vector& resultTransposed) override;

 private:
  using Base = ::piqp::sparse::KKTImpl<Kkt, double, int, ::piqp::KKT_FULL>;
  friend Base;
  struct Ordering {
    const Ldl* factors = nullptr;
    int inv(Eigen::Index line) const { return factors->position(line); }
  };

  // Under the names that PIQP's builder of the matrix knows.
  double m_delta = 1;
  ::piqp::SparseMat<double, int> PKPt;
  Eigen::VectorXi PKi;
  Ordering ordering;

  Ldl factors_;
  Watch* watch_ = nullptr;
  std::function<void()> iterate_;
  Vector right_;
};

}  // namespace tvlo::piqp

// What PIQP chooses its way of solving the system by: ours takes the place of all.
template <>
inline bool piqp::detail::init_kkt_solver_impl<double, int>(
    const sparse::Data<double, int>&, const Settings<double>&,
    std::unique_ptr<KKTSolverBase<double, int, PIQP_SPARSE>>& solver, std::integral_constant<int, PIQP_SPARSE>) {
  solver = std::make_unique<tvlo::piqp::Kkt>();
  return true;
}
