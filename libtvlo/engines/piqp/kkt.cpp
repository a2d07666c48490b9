#include "engines/piqp/kkt.h"

namespace tvlo::piqp {

void Kkt::prepare(const Data& data, Watch& watch, std::function<void()> iterate) {
  watch_ = &watch;
  iterate_ = std::move(iterate);
  right_.resize(data.n + data.p + data.m);
  init_workspace(data);
  const UpperMatrix whole = create_kkt_matrix(data);
  factors_.choose(whole, watch);
  ordering.factors = &factors_;
  PKi = ::piqp::sparse::permute_sparse_symmetric_matrix(whole, PKPt, ordering);
  factors_.analyse(PKPt, watch);
}

bool Kkt::update_scalings_and_factor(const Data& data, const double& delta, const Vector& x, const Vector& z) {
  watch_->check();
  iterate_();
  m_delta = delta;
  update_kkt_cost_scalings(data, x);
  update_kkt_equality_scalings(data);
  update_kkt_inequality_scaling(data, z);
  return factors_.factorise(PKPt, *watch_);
}

void Kkt::solve(const Data& data, const Vector& rhsX, const Vector& rhsY, const Vector& rhsZ, Vector& x, Vector& y,
                Vector& z) {
  watch_->check();
  const auto place = [&](Eigen::Index line) { return factors_.position(line); };
  for (Eigen::Index i = 0; i < data.n; ++i) right_[place(i)] = rhsX[i];
  for (Eigen::Index i = 0; i < data.p; ++i) right_[place(data.n + i)] = rhsY[i];
  for (Eigen::Index i = 0; i < data.m; ++i) right_[place(data.n + data.p + i)] = rhsZ[i];
  factors_.solve(right_);
  for (Eigen::Index i = 0; i < data.n; ++i) x[i] = right_[place(i)];
  for (Eigen::Index i = 0; i < data.p; ++i) y[i] = right_[place(data.n + i)];
  for (Eigen::Index i = 0; i < data.m; ++i) z[i] = right_[place(data.n + data.p + i)];
}

void Kkt::eval_P_x(const Data& data, const double& factor, const Vector& x, Vector& result) {
  result.noalias() = data.P_utri.selfadjointView<Eigen::Upper>() * x;
  result *= factor;
}

void Kkt::eval_A_xn_and_AT_xt(const Data& data, const double& factor, const double& transposed, const Vector& x,
                              const Vector& y, Vector& result, Vector& resultTransposed) {
  result.noalias() = factor * (data.AT.transpose() * x);
  resultTransposed.noalias() = transposed * (data.AT * y);
}

void Kkt::eval_G_xn_and_GT_xt(const Data& data, const double& factor, const double& transposed, const Vector& x,
                              const Vector& y, Vector& result, Vector& resultTransposed) {
  result.noalias() = factor * (data.GT.transpose() * x);
  resultTransposed.noalias() = transposed * (data.GT * y);
}

}  // namespace tvlo::piqp
