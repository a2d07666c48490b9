#include "nonlinear/pieces.h"

#include <algorithm>
#include <cmath>

namespace tvlo {

namespace {

constexpr int kMostSolves = 60;
constexpr double kTie = 1e-6;   // of two pieces, relative
constexpr double kGain = 1e-8;  // of objective or violation, relative

// Whether a piece has the value of its kink.
bool meets(double off, double value) { return std::abs(off) <= kTie * std::max(1.0, std::abs(value)); }

// The one that is active at a point with these activities.
int nearestPiece(const ExactKink& kink, const std::vector<double>& activity) {
  const auto first = activity.begin() + kink.firstRow;
  const auto nearest =
      std::min_element(first, first + kink.pieces, [](double a, double b) { return std::abs(a) < std::abs(b); });
  return static_cast<int>(nearest - first);
}

class PieceSearch {
 public:
  PieceSearch(ModelProgram& program, double tolerance, const NlpAsk& ask)
      : program_(program), tolerance_(tolerance), ask_(ask), activity_(program.rows()) {}

  NlpResult run(const NlpPoint& start) {
    best_.point = start;
    if (!evaluate(best_.point.x)) return ask_(program_, start);
    for (const ExactKink& kink : program_.exactKinks()) choice_.push_back(nearestPiece(kink, activity_));
    best_ = solve(choice_);
    violation_ = violation(best_.point.x);
    std::vector<Move> moves = promising();
    bool together = moves.size() > 1;
    size_t next = 0;
    for (int left = kMostSolves; next < moves.size() && --left > 0 && !ended(best_);) {
      std::vector<int> choice = choice_;
      if (together) {
        for (const Move& move : moves) choice[move.kink] = move.piece;
      } else {
        choice[moves[next].kink] = moves[next].piece;
        ++next;
      }
      together = false;
      NlpResult result = solve(choice);
      const bool interrupted = result.stop != 0;
      if (takeBetter(std::move(result), choice)) {
        moves = promising();
        together = moves.size() > 1;
        next = 0;
      }
      if (interrupted) break;
    }
    choose(choice_);
    return std::move(best_);
  }

 private:
  struct Move {
    size_t kink;
    int piece;
  };

  bool evaluate(std::vector<double>& x) {
    return program_.complete(x) && program_.constraints(x.data(), true, activity_.data());
  }

  void choose(const std::vector<int>& choice) {
    for (size_t k = 0; k < choice.size(); ++k) program_.choosePiece(program_.exactKinks()[k], choice[k]);
  }

  bool isPoint(const std::vector<double>& x) const {
    return x.size() == static_cast<size_t>(program_.columns()) && allFinite(x);
  }

  // Infinite for a point that is none, or where something has no value.
  double violation(std::vector<double> x) {
    if (!isPoint(x) || !evaluate(x)) return HUGE_VAL;
    double worst = 0;
    for (int i = 0; i < program_.rows(); ++i) {
      const double lower = program_.rowLower[i], upper = program_.rowUpper[i];
      worst = std::max({worst, (lower - activity_[i]) / std::max(1.0, std::abs(lower)),
                        (activity_[i] - upper) / std::max(1.0, std::abs(upper))});
    }
    return worst;
  }

  static bool ended(const NlpResult& result) { return result.stop != 0 || result.status == NlpStatus::unbounded; }

  // With a choice, from the best point.
  NlpResult solve(const std::vector<int>& choice) {
    choose(choice);
    NlpPoint start;
    start.x = best_.point.x;
    return ask_(program_, start);
  }

  // Whether a result is better than the best, whose place it takes then.
  bool takeBetter(NlpResult result, const std::vector<int>& choice) {
    if (!isPoint(result.point.x)) return false;
    const double off = violation(result.point.x);
    const bool feasible = off <= tolerance_;
    bool better = feasible;
    if (feasible == (violation_ <= tolerance_)) {
      const double now = feasible ? program_.sense * result.objective : off;
      const double before = feasible ? program_.sense * best_.objective : violation_;
      better = now < before - kGain * (feasible ? std::max(1.0, std::abs(before)) : before);
    }
    if (!better && result.status != NlpStatus::unbounded) return false;
    best_ = std::move(result);
    violation_ = off;
    choice_ = choice;
    return true;
  }

  // Pieces that meet the chosen ones at the best point. Where that is an optimum, only those of kinks whose multiplier
  // has the sign that it could not have if the column were just bounded by the pieces.
  std::vector<Move> promising() {
    std::vector<Move> moves;
    std::vector<double> x = best_.point.x;
    if (!isPoint(x) || !evaluate(x)) return moves;
    const bool signs = violation_ <= tolerance_ && best_.point.dual.size() == activity_.size();
    for (size_t k = 0; k < choice_.size(); ++k) {
      const ExactKink& kink = program_.exactKinks()[k];
      const int row = kink.firstRow + choice_[k];
      if (signs && kink.side * program_.sense * best_.point.dual[row] >= -kTie) continue;
      for (int piece = 0; piece < kink.pieces; ++piece) {
        if (piece == choice_[k]) continue;
        if (meets(activity_[kink.firstRow + piece], x[kink.column])) moves.push_back({k, piece});
      }
    }
    return moves;
  }

  ModelProgram& program_;
  const double tolerance_;
  const NlpAsk& ask_;
  std::vector<double> activity_;
  std::vector<int> choice_;  // of the best result
  NlpResult best_;
  double violation_ = HUGE_VAL;
};

}  // namespace

NlpResult solveByPieces(ModelProgram& program, const NlpPoint& start, double tolerance, const NlpAsk& ask) {
  return PieceSearch(program, tolerance, ask).run(start);
}

bool piecesMeet(ModelProgram& program, std::vector<double>& x) {
  std::vector<double> activity(program.rows());
  if (!program.complete(x) || !program.constraints(x.data(), true, activity.data())) return false;
  return std::any_of(program.exactKinks().begin(), program.exactKinks().end(), [&](const ExactKink& kink) {
    const auto first = activity.begin() + kink.firstRow;
    return std::count_if(first, first + kink.pieces, [&](double off) { return meets(off, x[kink.column]); }) > 1;
  });
}

}  // namespace tvlo
