// What has changed in a model since an engine last took it over. Additions go to the end and deletions keep
// the order, so what the engine holds is always: its own lines minus `deleted`, then the added ones.
#pragma once

#include <utility>
#include <vector>

namespace tvlo {

class LineChanges {  // of the rows or of the columns
 public:
  // Lines of the engine's copy, in its own numbering, that are gone.
  const std::vector<int>& deleted() const { return deleted_; }
  // Lines [0, kept()) of the model are in the engine's copy (once `deleted` are gone); the rest are new.
  int kept() const { return kept_; }
  // Kept lines, in the model's numbering, whose bounds (rows: type, right-hand side, range), cost or type changed.
  const std::vector<int>& bounds() const { return bounds_.list; }
  const std::vector<int>& costs() const { return costs_.list; }
  const std::vector<int>& types() const { return types_.list; }

  void synchronised(int lines);
  void boundChanged(int line);
  void costChanged(int line);
  void typeChanged(int line);
  void linesDeleted(const std::vector<int>& sortedLines);  // in the model's numbering before the deletion

 private:
  struct Marked {
    std::vector<int> list;
    std::vector<bool> in;
    void add(int line, int kept);
    void clear();
    void renumber(const std::vector<int>& newIndex);
  };
  int kept_ = 0;
  std::vector<int> origin_;  // engine numbering of kept lines; empty while it is the identity
  std::vector<int> deleted_;
  Marked bounds_, costs_, types_;
};

struct Changes {
  bool rebuild = true;    // the engine's copy can't be followed any more: hand everything over
  bool objective = true;  // sense or constant
  LineChanges rows, columns;
  std::vector<std::pair<int, int>> coefs;  // (row, column) of kept rows and columns, in the model's numbering
  void synchronised(int nrows, int ncols);
  bool none(int nrows, int ncols) const;
};

}  // namespace tvlo
