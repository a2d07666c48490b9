// Factorisation L*D*L' of a sparse symmetric matrix without pivoting: of a definite one, or of a quasi-definite one, as
// the systems of interior-point methods are. Multifrontal, so that most of the work is done in dense blocks, and it can
// be stopped. The matrix has fewer than 2^31 entries, its factors may have more.
#pragma once

#include <Eigen/SparseCore>
#include <cstdint>
#include <vector>

#include "linear/watch.h"

namespace tvlo {

using UpperMatrix = Eigen::SparseMatrix<double, Eigen::ColMajor, int>;  // of a symmetric matrix, its diagonal complete

class Ldl {
 public:
  // Chooses the order of elimination.
  void choose(const UpperMatrix& upper, Watch& watch);
  int position(Eigen::Index line) const { return position_[line]; }  // of a row and column in that order

  // What follows is in the order. Finds the pattern of the factors.
  void analyse(const UpperMatrix& upper, Watch& watch);
  double work() const { return work_; }  // multiplications of a factorisation
  // Signs, 1 or -1, that the pivots have but for rounding, of matrices with entries of about 1: pivots that have not,
  // or are too small, are replaced, and solutions need refinement.
  void expect(std::vector<signed char> signs) { signs_ = std::move(signs); }
  // Of a matrix of the analysed pattern. False where a pivot is zero or no number or, if `definite`, not positive.
  bool factorise(const UpperMatrix& upper, Watch& watch, bool definite = false);
  void solve(Eigen::VectorXd& x) const;

 private:
  // Columns that are eliminated together, and the rows below them where any has an entry.
  struct Node {
    int first = 0, width = 1, below = 0;
    int children = 0;                           // nodes whose updates it takes
    bool leaf = false;                          // its columns, few, are all that it leaves its parent
    int64_t rows = 0, values = 0, entries = 0;  // begin in rows_, values_, entries_
    int size() const { return width + below; }
    // What it leaves on the stack for its parent.
    int64_t left() const { return leaf ? 0 : static_cast<int64_t>(below) * below; }
  };
  struct Entry {
    int source;       // in the matrix's values
    int row, column;  // in the front
  };
  void findNodes(const std::vector<int>& parent, const std::vector<int>& counts);
  void place(const Node& node);
  bool eliminate(size_t number, const double* values, bool definite, Watch& watch);
  void assemble(size_t number, const double* values, double* to, Watch& watch);
  void addLeaf(const Node& child, double* front, int size);
  void addUpdate(const Node& child, double* front, int size);

  std::vector<int> position_;
  std::vector<Node> nodes_;  // children before their parents, and another at the end
  std::vector<int> rows_;    // ascending within a node
  std::vector<Entry> entries_;
  std::vector<double> values_, diagonal_;  // of L, with each node's columns as long as the node; of D
  double work_ = 0;
  std::vector<signed char> signs_;

  // Of a factorisation.
  std::vector<double> front_;    // the node at hand
  std::vector<double> product_;  // L*D of a few columns
  std::vector<double> updates_;  // of nodes whose parents' turn has not come: a stack, that ends
  int64_t top_ = 0;              // there
  std::vector<size_t> waiting_;  // these nodes
  std::vector<int> place_;       // of a row in the front
  std::vector<int> places_;      // of a child's rows
};

}  // namespace tvlo
