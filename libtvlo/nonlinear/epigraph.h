// Kinks taken out of expressions. Where max(a, b), |a| = max(a, -a) or a convex pwl, the maximum of its pieces, stands
// in a place that only ever asks it to be small, a new column t with the rows t >= a, t >= b does in its place, exactly
// and without a kink; where it only asks a min or a concave pwl to be large, t <= a, t <= b. Places are followed
// through sums and through functions that are monotone wherever they have a value.
//
// A kink elsewhere is left as it is or, if that is wanted, taken out exactly: its column is to equal one of the pieces,
// which is to be chosen, and keeps the rows for all the others. A pwl of neither kind is first split into a convex and
// a concave one.
//
// Always left as they are: kinks of operands with sign in them, which jump, those in arguments of users' functions, and
// piecewise-linear functions that jump or have very many pieces.
#pragma once

#include <vector>

#include "nonlinear/expression.h"

namespace tvlo {

struct EpigraphPiece {  // scale * node + offset; node -1: the offset alone
  int node;
  double scale, offset;
};
struct Epigraph {
  int column;  // the new one, as the expression's nodes name it
  int side;    // 1: at least each piece, -1: at most each
  int node;    // what it is in the place of, as it was
  bool exact;  // the column is to equal one of them
  std::vector<EpigraphPiece> pieces;
};

class EpigraphFinder {
 public:
  explicit EpigraphFinder(std::vector<PwlTable>& tables) : tables_(tables) {}

  // Puts columns from `nextColumn` on in the places of the root's kinks, for a root that is asked to be small (place 1)
  // or large (-1; 0: neither), leaves in `found` what they stand for, inner ones first, and returns what the root is
  // now. The nodes before are as they were. `all`: also those that only an exact column can stand for.
  int lift(Expression& expression, int place, bool all, int nextColumn, std::vector<Epigraph>& found);

 private:
  struct Places {  // of the operands
    int a = 0, b = 0;
  };
  void findJumps(const Expression& expression);
  void demand(const Expression& expression, int k, int place);
  int placeFor(const Expression& expression, int k, int place) const;
  void demandOperands(const Expression& expression, int k, int place);
  void replace(Expression& expression, int k, int place, int column, std::vector<Epigraph>& found);
  Places placesOf(const Expression& expression, int k, int place) const;
  bool liftable(const Expression& expression, int k, int place) const;
  int sideOf(const Expression& expression, int k, int place) const;
  bool splits(const Expression& expression, int k) const;
  int put(Expression& expression, int k, int place, int side, int column, std::vector<Epigraph>& found);
  int split(Expression& expression, const ExpressionNode& node, int column, std::vector<Epigraph>& found);
  void addPieces(const PwlTable& table, int operand);
  static bool jumps(const PwlTable& table);
  static bool convex(const PwlTable& table, int place);
  static bool startsAtZero(const Expression& expression, int k);
  static bool nonNegative(const Expression& expression, int k);
  void gatherPieces(const Expression& expression, int k, int place);
  static size_t at(int k, int place) { return 3 * static_cast<size_t>(k) + static_cast<size_t>(place + 1); }
  int copyFor(const Expression& expression, int k, int place) { return copyOf(k, placeFor(expression, k, place)); }
  int& copyOf(int k, int place) { return copy_[at(k, place)]; }

  std::vector<PwlTable>& tables_;
  bool all_ = false;
  std::vector<bool> jumps_, demanded_;  // of each node; of each node and place
  std::vector<int> copy_;               // of each node and place: what comes in its place
  std::vector<EpigraphPiece> pieces_;
  std::vector<int> open_;
};

}  // namespace tvlo
