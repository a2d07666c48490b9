#include "quadratic/conic.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "linear/ldl.h"

namespace tvlo {

namespace {

using Vector = Eigen::VectorXd;
using Index = Eigen::Index;

constexpr int kMostIterations = 150;
constexpr int kMostIdle = 15;  // that come no nearer
constexpr double kRegularisation = 1e-9,
                 kMostRegularisation = 1e-5;  // of the system; the refinement takes it out again
constexpr int kMostRefinements = 8;
constexpr double kStep = 0.99;

double lengthOf(const Vector& v) { return v.size() == 0 ? 0 : v.lpNorm<Eigen::Infinity>(); }

// u0*v0 - u1'v1 of a cone's entries.
double form(const Vector& u, const Vector& v, Index at, Index size) {
  return u[at] * v[at] - u.segment(at + 1, size - 1).dot(v.segment(at + 1, size - 1));
}

// Larger of two, of u'Ju without cancellation.
double depth(const Vector& u, Index at, Index size) {
  const double length = u.segment(at + 1, size - 1).norm();
  return (u[at] - length) * (u[at] + length);
}

// The scaling W of s and z, with W*z = W^-1*s.
class Scaling {
 public:
  explicit Scaling(const ConicProgram& p) : p_(p), side_(Vector::Zero(p.sides)), eta_(p.cones.size()) {
    w_ = v_ = Vector::Zero(p.b.size());
  }

  bool update(const Vector& s, const Vector& z) {
    side_ = (s.segment(p_.zero, p_.sides).array() / z.segment(p_.zero, p_.sides).array()).sqrt();
    Index at = p_.zero + p_.sides;
    for (size_t k = 0; k < p_.cones.size(); ++k) {
      const Index size = p_.cones[k];
      const double ofS = std::sqrt(depth(s, at, size)), ofZ = std::sqrt(depth(z, at, size));
      if (!(ofS > 0 && ofZ > 0)) return false;
      eta_[k] = std::sqrt(ofS / ofZ);
      const double product = s.segment(at, size).dot(z.segment(at, size)) / ofS / ofZ;
      const double gamma = std::sqrt((1 + product) / 2);
      w_.segment(at, size) = -z.segment(at, size) / ofZ;
      w_[at] *= -1;
      w_.segment(at, size) = (w_.segment(at, size) + s.segment(at, size) / ofS).eval() / (2 * gamma);
      w_[at] = std::sqrt(1 + w_.segment(at + 1, size - 1).squaredNorm());
      v_.segment(at, size) = w_.segment(at, size);
      v_[at] += 1;
      v_.segment(at, size) /= std::sqrt(2 * v_[at]);
      at += size;
    }
    return side_.allFinite() && w_.allFinite();
  }

  Vector times(const Vector& u) const { return apply(u, false); }
  Vector divided(const Vector& u) const { return apply(u, true); }
  Vector squared(const Vector& u) const { return times(times(u)); }

  // Entries of W^2: visit(row, column, value) for those on and above the diagonal.
  template <class Visit>
  void entries(Visit visit) const {
    for (Index i = 0; i < p_.sides; ++i) visit(p_.zero + i, p_.zero + i, side_[i] * side_[i]);
    Index at = p_.zero + p_.sides;
    for (size_t k = 0; k < p_.cones.size(); ++k) {
      const Index size = p_.cones[k];
      const double scale = eta_[k] * eta_[k];
      for (Index j = 0; j < size; ++j) {
        for (Index i = 0; i < j; ++i) visit(at + i, at + j, scale * 2 * w_[at + i] * w_[at + j]);
        visit(at + j, at + j, scale * (2 * w_[at + j] * w_[at + j] + (j == 0 ? -1 : 1)));
      }
      at += size;
    }
  }

 private:
  Vector apply(const Vector& u, bool inverse) const {
    Vector result = Vector::Zero(u.size());
    auto sides = result.segment(p_.zero, p_.sides);
    sides = u.segment(p_.zero, p_.sides);
    if (inverse) {
      sides.array() /= side_.array();
    } else {
      sides.array() *= side_.array();
    }
    Index at = p_.zero + p_.sides;
    for (size_t k = 0; k < p_.cones.size(); ++k) {
      const Index size = p_.cones[k];
      // 2vv' - J, or with the signs of v's other entries turned.
      const double sign = inverse ? -1 : 1;
      const double product =
          2 * (v_[at] * u[at] + sign * v_.segment(at + 1, size - 1).dot(u.segment(at + 1, size - 1)));
      result[at] = product * v_[at] - u[at];
      result.segment(at + 1, size - 1) = product * sign * v_.segment(at + 1, size - 1) + u.segment(at + 1, size - 1);
      result.segment(at, size) *= inverse ? 1 / eta_[k] : eta_[k];
      at += size;
    }
    return result;
  }

  const ConicProgram& p_;
  Vector side_, w_, v_;
  std::vector<double> eta_;
};

// Products and quotients in the algebra of the cones, 0 where s is 0.
Vector product(const ConicProgram& p, const Vector& u, const Vector& v) {
  Vector result = Vector::Zero(u.size());
  result.segment(p.zero, p.sides) = u.segment(p.zero, p.sides).cwiseProduct(v.segment(p.zero, p.sides));
  Index at = p.zero + p.sides;
  for (const int size : p.cones) {
    result[at] = u.segment(at, size).dot(v.segment(at, size));
    result.segment(at + 1, size - 1) = u[at] * v.segment(at + 1, size - 1) + v[at] * u.segment(at + 1, size - 1);
    at += size;
  }
  return result;
}

Vector quotient(const ConicProgram& p, const Vector& by, const Vector& u) {  // x with by o x = u
  Vector result = Vector::Zero(u.size());
  result.segment(p.zero, p.sides) = u.segment(p.zero, p.sides).cwiseQuotient(by.segment(p.zero, p.sides));
  Index at = p.zero + p.sides;
  for (const int size : p.cones) {
    result[at] = form(by, u, at, size) / depth(by, at, size);
    result.segment(at + 1, size - 1) =
        (u.segment(at + 1, size - 1) - result[at] * by.segment(at + 1, size - 1)) / by[at];
    at += size;
  }
  return result;
}

// How far u + step*d stays in the cones, at most 1.
double longest(const ConicProgram& p, const Vector& u, const Vector& d) {
  double step = 1;
  for (Index i = p.zero; i < p.zero + p.sides; ++i) {
    if (d[i] < 0) step = std::min(step, -u[i] / d[i]);
  }
  Index at = p.zero + p.sides;
  for (const int size : p.cones) {
    // The smaller positive root of a*t^2 + 2b*t + c, where u + t*d leaves the cone.
    const double a = form(d, d, at, size), b = form(u, d, at, size), c = depth(u, at, size);
    const double root = b * b - a * c;
    if (d[at] < 0) step = std::min(step, -u[at] / d[at]);
    if (a < 0 || (b < 0 && root >= 0)) {
      const double under = std::sqrt(std::max(root, 0.0));
      const double t = b < 0 ? c / (under - b) : (-b - under) / a;
      if (t > 0) step = std::min(step, t);
    }
    at += size;
  }
  return step;
}

class Embedding {
 public:
  Embedding(const ConicProgram& program, double tolerance, Watch& watch)
      : original_(program), p_(program), tolerance_(tolerance), watch_(watch), w_(p_) {
    equilibrate();
    n_ = p_.c.size();
    m_ = p_.b.size();
    degree_ = static_cast<double>(p_.sides + static_cast<int>(p_.cones.size()));
    one_ = Vector::Zero(m_);
    one_.segment(p_.zero, p_.sides).setOnes();
    for (Index at = p_.zero + p_.sides, k = 0; k < static_cast<Index>(p_.cones.size()); at += p_.cones[k++]) {
      one_[at] = 1;
    }
  }

  ConicResult run() {
    now_.x = Vector::Zero(n_);
    now_.s = now_.z = one_;
    ConicResult best;
    std::vector<ConicPoint> central;
    double wanted = 100 * tolerance_;  // of the next such point
    double least = std::numeric_limits<double>::infinity();
    int idle = 0;
    for (int iteration = 0; iteration < kMostIterations; ++iteration) {
      watch_.check();
      ConicResult here = result();
      here.iterations = iteration;
      const double off = inexactness(here);
      if (off < 0.5 * least) idle = 0;
      if (off < least) {
        least = off;
        best = here;
      }
      if (off <= wanted && here.status == ConicStatus::optimal && atApex(here)) {
        central.push_back(centred());
        wanted = 0.1 * off;
      }
      // As near as rounding allows.
      if (off <= 1e-3 * tolerance_ || ++idle > (least <= tolerance_ ? 2 : kMostIdle)) break;
      while (!move()) {
        if (regularisation_ >= kMostRegularisation) break;
        regularisation_ *= 10;
      }
      if (regularisation_ >= kMostRegularisation) break;
    }
    if (!(least <= tolerance_)) best.status = ConicStatus::unfinished;
    if (best.status == ConicStatus::optimal) best.central = std::move(central);
    return best;
  }

 private:
  bool atApex(const ConicPoint& point) const {
    Index at = p_.zero + p_.sides;
    for (const int size : p_.cones) {
      if (point.s[at] <= 1e-5 * std::max(1.0, std::abs(original_.b[at]))) return true;
      at += size;
    }
    return false;
  }

  // The point at hand moved to the central path.
  ConicPoint centred() {
    const Iterate before = now_;
    for (int k = 0; k < 4; ++k) {
      if (!move(true)) break;
    }
    ConicPoint point = result();
    now_ = before;
    return point;
  }

  // Rows and columns get a largest entry of about 1; those of a cone have one factor.
  void equilibrate() {
    rows_ = Vector::Ones(p_.b.size());
    columns_ = Vector::Ones(p_.c.size());
    for (int pass = 0; pass < 8; ++pass) {
      Vector row = Vector::Zero(rows_.size()), column = Vector::Zero(columns_.size());
      for (Index j = 0; j < p_.A.outerSize(); ++j) {
        for (Eigen::SparseMatrix<double>::InnerIterator at(p_.A, j); at; ++at) {
          row[at.row()] = std::max(row[at.row()], std::abs(at.value()));
          column[j] = std::max(column[j], std::abs(at.value()));
        }
      }
      Index at = p_.zero + p_.sides;
      for (const int size : p_.cones) {
        row.segment(at, size).setConstant(row.segment(at, size).maxCoeff());
        at += size;
      }
      const auto factor = [](double largest) { return largest > 0 ? 1 / std::sqrt(largest) : 1.0; };
      row = row.unaryExpr(factor);
      column = column.unaryExpr(factor);
      p_.A = row.asDiagonal() * p_.A * column.asDiagonal();
      rows_ = rows_.cwiseProduct(row);
      columns_ = columns_.cwiseProduct(column);
    }
    p_.b = p_.b.cwiseProduct(rows_);
    p_.c = p_.c.cwiseProduct(columns_);
    right_ = 1 / std::max(1.0, lengthOf(p_.b));
    cost_ = 1 / std::max(1.0, lengthOf(p_.c));
    p_.b *= right_;
    p_.c *= cost_;
  }

  // What the point says, in the original problem.
  ConicResult result() const {
    ConicResult result;
    const bool ends = now_.tau > now_.kappa;
    const double improves = p_.c.dot(now_.x), excludes = p_.b.dot(now_.z);
    if (!ends && excludes < 0 && excludes <= improves) {
      result.status = ConicStatus::infeasible;
    } else if (!ends && improves < 0) {
      result.status = ConicStatus::unbounded;
    } else {
      result.status = ConicStatus::optimal;
    }
    result.x = now_.x.cwiseProduct(columns_) / right_;
    result.s = now_.s.cwiseQuotient(rows_) / right_;
    result.z = now_.z.cwiseProduct(rows_) / cost_;
    double by = now_.tau;
    if (result.status == ConicStatus::infeasible) by = -original_.b.dot(result.z);
    if (result.status == ConicStatus::unbounded) by = -original_.c.dot(result.x);
    result.x /= by;
    result.s /= by;
    result.z /= by;
    return result;
  }

  // Of the conditions that it should hold, relative.
  double inexactness(const ConicResult& r) const {
    const Vector left = original_.A * r.x, dual = original_.A.transpose() * r.z;
    if (r.status == ConicStatus::infeasible) return lengthOf(dual);
    if (r.status == ConicStatus::unbounded) return lengthOf(left + r.s) / std::max(1.0, lengthOf(r.x));
    const double primal = lengthOf(left + r.s - original_.b) / std::max({1.0, lengthOf(original_.b), lengthOf(left)});
    const double second = lengthOf(dual + original_.c) / std::max({1.0, lengthOf(original_.c), lengthOf(dual)});
    const double value = original_.c.dot(r.x), bound = -original_.b.dot(r.z);
    const double gap = std::abs(value - bound) / std::max({1.0, std::abs(value), std::abs(bound)});
    return std::max({primal, second, gap});
  }

  // `centre`: to the central path only.
  bool move(bool centre = false) {
    if (!w_.update(now_.s, now_.z) || !factorise()) return false;
    const Vector lambda = w_.times(now_.z);
    const double mu = (now_.s.dot(now_.z) + now_.tau * now_.kappa) / (degree_ + 1);
    const Vector ofX = p_.A.transpose() * now_.z + p_.c * now_.tau;
    const Vector ofZ = p_.A * now_.x + now_.s - p_.b * now_.tau;
    const double ofTau = p_.c.dot(now_.x) + p_.b.dot(now_.z) + now_.kappa;
    Vector x1, z1;
    if (!solve(-p_.c, p_.b, x1, z1)) return false;
    const double slope = p_.c.dot(x1) + p_.b.dot(z1) - now_.kappa / now_.tau;

    struct Direction {
      Vector x, s, z;
      double tau, kappa;
    };
    const auto direction = [&](double share, const Vector& complement, double ofKappa, Direction& d) {
      const Vector target = w_.times(quotient(p_, lambda, complement));
      Vector x2, z2;
      if (!solve(-share * ofX, -share * ofZ + target, x2, z2)) return false;
      d.tau = (-share * ofTau + ofKappa / now_.tau - p_.c.dot(x2) - p_.b.dot(z2)) / slope;
      d.x = x2 + d.tau * x1;
      d.z = z2 + d.tau * z1;
      d.s = -target - w_.squared(d.z);
      d.kappa = -(ofKappa + now_.kappa * d.tau) / now_.tau;
      return d.x.allFinite() && d.z.allFinite() && d.s.allFinite() && std::isfinite(d.tau);
    };
    const auto stepOf = [&](const Direction& d) {
      double step = std::min(longest(p_, now_.s, d.s), longest(p_, now_.z, d.z));
      if (d.tau < 0) step = std::min(step, -now_.tau / d.tau);
      if (d.kappa < 0) step = std::min(step, -now_.kappa / d.kappa);
      return step;
    };

    Direction d;
    const Vector square = product(p_, lambda, lambda);
    if (centre) {
      if (!direction(0, square - mu * one_, now_.kappa * now_.tau - mu, d)) return false;
    } else {
      if (!direction(1, square, now_.kappa * now_.tau, d)) return false;
      const double sigma = std::pow(1 - stepOf(d), 3);
      const Vector complement = square + product(p_, w_.divided(d.s), w_.times(d.z)) - sigma * mu * one_;
      if (!direction(1 - sigma, complement, now_.kappa * now_.tau + d.kappa * d.tau - sigma * mu, d)) return false;
    }
    const double step = kStep * stepOf(d);
    if (!(step > 1e-10)) return false;
    now_.x += step * d.x;
    now_.s += step * d.s;
    now_.z += step * d.z;
    now_.tau += step * d.tau;
    now_.kappa += step * d.kappa;
    // Only ratios count.
    const double size = std::max({now_.tau, now_.kappa, 1e-300});
    if (size < 1e-3 || size > 1e3) {
      for (Vector* const v : {&now_.x, &now_.s, &now_.z}) *v /= size;
      now_.tau /= size;
      now_.kappa /= size;
    }
    return now_.tau > 0 && now_.kappa > 0;
  }

  // [0 A'; A -W^2], its upper triangle regularised.
  bool factorise() {
    std::vector<Eigen::Triplet<double>> upper;
    upper.reserve(p_.A.nonZeros() + n_ + m_);
    for (Index j = 0; j < n_; ++j) {
      upper.emplace_back(static_cast<int>(j), static_cast<int>(j), regularisation_);
      for (Eigen::SparseMatrix<double>::InnerIterator at(p_.A, j); at; ++at) {
        upper.emplace_back(static_cast<int>(j), static_cast<int>(n_ + at.row()), at.value());
      }
    }
    for (Index i = 0; i < m_; ++i) {
      upper.emplace_back(static_cast<int>(n_ + i), static_cast<int>(n_ + i), -regularisation_);
    }
    w_.entries([&](Index i, Index j, double value) {
      upper.emplace_back(static_cast<int>(n_ + i), static_cast<int>(n_ + j), -value);
    });
    UpperMatrix matrix(n_ + m_, n_ + m_);
    if (!analysed_) {
      matrix.setFromTriplets(upper.begin(), upper.end());
      factors_.choose(matrix, watch_);
    }
    for (auto& t : upper) {
      const int i = factors_.position(t.row()), j = factors_.position(t.col());
      t = {std::min(i, j), std::max(i, j), t.value()};
    }
    matrix.setFromTriplets(upper.begin(), upper.end());
    if (!analysed_) {
      factors_.analyse(matrix, watch_);
      std::vector<signed char> signs(n_ + m_);
      for (Index i = 0; i < n_ + m_; ++i) signs[factors_.position(i)] = i < n_ ? 1 : -1;
      factors_.expect(std::move(signs));
    }
    analysed_ = true;
    return factors_.factorise(matrix, watch_);
  }

  bool solve(const Vector& ofX, const Vector& ofZ, Vector& x, Vector& z) {
    x = Vector::Zero(n_);
    z = Vector::Zero(m_);
    Vector restX = ofX, restZ = ofZ, right(n_ + m_);
    double last = std::numeric_limits<double>::infinity();
    Vector bestX = x, bestZ = z;
    for (int k = 0; k <= kMostRefinements; ++k) {
      for (Index i = 0; i < n_; ++i) right[factors_.position(i)] = restX[i];
      for (Index i = 0; i < m_; ++i) right[factors_.position(n_ + i)] = restZ[i];
      factors_.solve(right);
      for (Index i = 0; i < n_; ++i) x[i] += right[factors_.position(i)];
      for (Index i = 0; i < m_; ++i) z[i] += right[factors_.position(n_ + i)];
      restX = ofX - p_.A.transpose() * z;
      restZ = ofZ - p_.A * x + w_.squared(z);
      const double left = std::max(lengthOf(restX), lengthOf(restZ));
      if (!(left < 0.9 * last)) break;
      last = left;
      bestX = x;
      bestZ = z;
      if (left <= 1e-14 * std::max(lengthOf(ofX), lengthOf(ofZ))) break;
    }
    x = bestX;
    z = bestZ;
    return std::isfinite(last);
  }

  const ConicProgram& original_;
  ConicProgram p_;  // scaled
  const double tolerance_;
  Watch& watch_;
  Vector rows_, columns_, one_;
  double right_ = 1, cost_ = 1, degree_ = 0;
  Index n_ = 0, m_ = 0;

  struct Iterate {
    Vector x, s, z;
    double tau = 1, kappa = 1;
  };
  Iterate now_;
  Scaling w_;
  Ldl factors_;
  double regularisation_ = kRegularisation;
  bool analysed_ = false;
};

}  // namespace

ConicResult solveConic(const ConicProgram& program, double tolerance, Watch& watch) {
  return Embedding(program, tolerance, watch).run();
}

}  // namespace tvlo
