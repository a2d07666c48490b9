// Running a tape: the sweep over its operations and the code of its derivatives.
#include <cmath>

#include "elementary/functions.h"
#include "nonlinear/tape.h"
#include "nonlinear/user_sites.h"

namespace tvlo {

namespace {

// Of one operation on one lane: value, first and second derivative. Level 0 asks for the value only.
struct Jet {
  double v, d = 0, dd = 0;
};

template <int Level>
inline Jet powerJet(double x, double c) {
  Jet jet{std::pow(x, c)};
  if constexpr (Level > 0) {
    // By the value where that is safe: one call of pow for all three.
    const bool direct = x != 0 && std::isnormal(jet.v);
    jet.d = direct ? c * jet.v / x : c * std::pow(x, c - 1);
    if constexpr (Level > 1) jet.dd = direct ? (c - 1) * jet.d / x : c * (c - 1) * std::pow(x, c - 2);
  }
  return jet;
}

template <int Level>
inline Jet wholePowerJet(double x, double c) {
  const int n = static_cast<int>(c);
  Jet jet{wholePower(x, n)};
  if constexpr (Level > 0) jet.d = n * wholePower(x, n - 1);
  if constexpr (Level > 1) jet.dd = static_cast<double>(n) * (n - 1) * wholePower(x, n - 2);
  return jet;
}

template <int Level>
inline Jet elementaryJet(Op op, double x) {
  using namespace elementary;
  switch (op) {
#define ELEMENTARY_FUNCTION(name, Node, node, TOKEN, formula, words, least, most, trend, value, first, second) \
  case Op::name: {                                                                                             \
    const double v = value;                                                                                    \
    const double d = Level > 0 ? first : 0;                                                                    \
    return {v, d, Level > 1 ? second : 0};                                                                     \
  }
#include "elementary/functions.def"
    default:
      return {std::nan("")};
  }
}

// Of a power whose operands both vary: d by the base, by the exponent, twice by the base, by both, twice by the
// exponent. Where the base is negative, or 0, a whole exponent has a value but no derivative: 0 stands for it, which
// is right where the exponent is fixed.
template <int Level>
inline double generalPower(double x, double y, double* d) {
  const double v = std::pow(x, y);
  if constexpr (Level > 0) {
    const bool positive = x > 0;
    const double ln = positive ? std::log(x) : 0;
    const double lower = y == 0 ? 0 : std::pow(x, y - 1);
    d[0] = y * lower;
    d[1] = v * ln;
    if constexpr (Level > 1) {
      d[2] = y == 0 || y == 1 ? 0 : y * (y - 1) * std::pow(x, y - 2);
      d[3] = positive ? std::pow(x, y - 1) * (1 + y * ln) : 0;
      d[4] = v * ln * ln;
    }
  }
  return v;
}

}  // namespace

template <int W, int Level>
bool Tape::sweep(double* const w, const TapeContext& context) const {
  const auto at = [w](int slot) { return w + static_cast<size_t>(slot) * W; };
  double* v = at(code_.variables + code_.constants);
  bool zero = false;
  int users = 0;
  const size_t count = code_.ops.size();
  for (size_t k = 0; k < count; ++k, v += W) {
    const TapeOp op = code_.ops[k];
    const double* const a = at(op.a);
    const double* const b = at(op.b < 0 ? 0 : op.b);
    double* const d = Level > 0 && partial_[k] >= 0 ? at(partial_[k]) : nullptr;
    switch (op.op) {
      case Op::add:
        for (int l = 0; l < W; ++l) v[l] = a[l] + b[l];
        break;
      case Op::sub:
        for (int l = 0; l < W; ++l) v[l] = a[l] - b[l];
        break;
      case Op::mul:
        for (int l = 0; l < W; ++l) v[l] = a[l] * b[l];
        break;
      case Op::neg:
        for (int l = 0; l < W; ++l) v[l] = -a[l];
        break;
      case Op::square:
        for (int l = 0; l < W; ++l) v[l] = a[l] * a[l];
        break;
      case Op::div:
        for (int l = 0; l < W; ++l) {
          zero |= b[l] == 0 && l < context.lanes;
          v[l] = a[l] / b[l];
        }
        if (d == nullptr) break;
        for (int l = 0; l < W; ++l) {
          const double inverse = 1 / b[l];
          d[l] = inverse;
          d[W + l] = -v[l] * inverse;
          if constexpr (Level > 1) {
            d[3 * W + l] = -inverse * inverse;
            d[4 * W + l] = 2 * v[l] * inverse * inverse;
          }
        }
        break;
      case Op::min:
      case Op::max:
        for (int l = 0; l < W; ++l) {
          v[l] = op.op == Op::min ? lesser(a[l], b[l]) : greater(a[l], b[l]);
          if (d == nullptr) continue;
          const bool second = op.op == Op::min ? b[l] < a[l] : b[l] > a[l];
          d[l] = second ? 0 : 1;
          d[W + l] = second ? 1 : 0;
        }
        break;
      case Op::abs:
        for (int l = 0; l < W; ++l) v[l] = std::abs(a[l]);
        if (d == nullptr) break;
        for (int l = 0; l < W; ++l) d[l] = a[l] < 0 ? -1 : 1;
        break;
      case Op::sign:
        for (int l = 0; l < W; ++l) v[l] = std::isnan(a[l]) ? a[l] : elementary::sign(a[l]);
        break;
      case Op::pwl:
        for (int l = 0; l < W; ++l) {
          double slope;
          v[l] = pwlValue((*context.tables)[op.b], a[l], slope);
          if (d != nullptr) d[l] = slope;
        }
        break;
      case Op::pow:
        for (int l = 0; l < W; ++l) {
          double p[5];
          v[l] = generalPower<Level>(a[l], b[l], p);
          if (d == nullptr) continue;
          for (int i = 0; i < (Level > 1 ? 5 : 2); ++i) d[i * W + l] = p[i];
        }
        break;
      case Op::user: {
        const int* const argument = code_.arguments.data() + op.a;
        for (int l = 0; l < context.lanes; ++l) {
          double* const point = context.sites->argumentSpace();
          for (int i = 0; i < op.b; ++i) point[i] = at(argument[i])[l];
          const int site = context.site[l] + users;
          v[l] = context.sites->value(site, point);
          if (d == nullptr || !std::isfinite(v[l])) continue;
          const double* const first = context.sites->first(site, point);
          for (int i = 0; i < op.b; ++i) d[i * W + l] = first[i];
          if constexpr (Level > 1) {
            const double* const second = context.sites->second(site, point);
            for (int i = 0; i < op.b * (op.b + 1) / 2; ++i) d[(op.b + i) * W + l] = second[i];
          }
        }
        ++users;
        break;
      }
      default:
        for (int l = 0; l < W; ++l) {
          const Jet jet = op.op == Op::powConst   ? powerJet<Level>(a[l], b[l])
                          : op.op == Op::powWhole ? wholePowerJet<Level>(a[l], b[l])
                          : op.op == Op::constPow ? Jet{std::pow(a[l], b[l])}
                                                  : elementaryJet<Level>(op.op, a[l]);
          v[l] = jet.v;
          if (d == nullptr) continue;
          if (op.op == Op::constPow) {
            const double ln = std::log(a[l]);
            d[l] = jet.v * ln;
            d[W + l] = d[l] * ln;
          } else {
            d[l] = jet.d;
            d[W + l] = jet.dd;
          }
        }
    }
  }
  return !zero;
}

template <int W>
void Tape::execute(const std::vector<Instruction>& program, double* const w) {
  const auto at = [w](int slot) { return w + static_cast<size_t>(slot) * W; };
  for (const Instruction& step : program) {
    double* const t = at(step.target);
    const double* const s = at(step.source);
    const double* const x = at(step.x < 0 ? 0 : step.x);
    const double* const y = at(step.y < 0 ? 0 : step.y);
    const double f = step.factor;
    switch (step.kind) {
      case Kind::set:
        for (int l = 0; l < W; ++l) t[l] = f * s[l];
        break;
      case Kind::setTimes:
        for (int l = 0; l < W; ++l) t[l] = f * s[l] * x[l];
        break;
      case Kind::setTimesTimes:
        for (int l = 0; l < W; ++l) t[l] = f * s[l] * x[l] * y[l];
        break;
      case Kind::add:
        for (int l = 0; l < W; ++l) t[l] += f * s[l];
        break;
      case Kind::addTimes:
        for (int l = 0; l < W; ++l) t[l] += f * s[l] * x[l];
        break;
      case Kind::addTimesTimes:
        for (int l = 0; l < W; ++l) t[l] += f * s[l] * x[l] * y[l];
        break;
    }
  }
}

template <int W>
bool Tape::values(double* w, const TapeContext& context) const {
  return sweep<W, 0>(w, context);
}

template <int W>
bool Tape::gradients(double* w, const TapeContext& context) const {
  if (!sweep<W, 1>(w, context)) return false;
  execute<W>(gradientProgram_, w);
  return true;
}

template <int W>
bool Tape::hessians(double* w, const TapeContext& context) const {
  if (!sweep<W, 2>(w, context)) return false;
  execute<W>(hessianProgram_, w);
  return true;
}

template bool Tape::values<1>(double*, const TapeContext&) const;
template bool Tape::gradients<1>(double*, const TapeContext&) const;
template bool Tape::hessians<1>(double*, const TapeContext&) const;
template bool Tape::values<Tape::kLanes>(double*, const TapeContext&) const;
template bool Tape::gradients<Tape::kLanes>(double*, const TapeContext&) const;
template bool Tape::hessians<Tape::kLanes>(double*, const TapeContext&) const;

}  // namespace tvlo
