// What has changed in a model since an engine last took it over. Additions go to the end and deletions keep
// the order, so what the engine holds is always: its own lines minus `deleted`, then the added ones.
#pragma once

#include <utility>
#include <vector>

namespace tvlo {

class LineChanges {  // of the rows or of the columns
 public:
  // Lines of the engine's copy, in its own numbering, that are gone; ascending.
  const std::vector<int>& deleted() const { return deleted_; }
  // Lines [0, kept()) of the model are in the engine's copy (once `deleted` are gone); the rest are new.
  int kept() const { return kept_; }
  // Kept lines, in the model's numbering, whose bounds (rows: type, right-hand side, range), cost or type changed.
  const std::vector<int>& bounds() const { return bounds_.list; }
  const std::vector<int>& costs() const { return costs_.list; }
  const std::vector<int>& types() const { return types_.list; }

  void synchronised(int lines) noexcept;
  void boundChanged(int line);
  void costChanged(int line);
  void typeChanged(int line);
  void linesDeleted(const std::vector<int>& sortedLines);  // in the model's numbering before the deletion

 private:
  struct Marked {
    std::vector<int> list;
    std::vector<bool> in;
    void add(int line, int kept);
    void clear() noexcept;
    void renumber(const std::vector<int>& newIndex);
    void cut(int kept) noexcept;  // forgets the lines from there on
  };
  int kept_ = 0;
  std::vector<int> origin_;  // engine numbering of kept lines; empty while it is the identity
  std::vector<int> deleted_;
  Marked bounds_, costs_, types_;
};

struct Changes {
  void replaced() noexcept;  // nothing of the engine's copy holds any more
  void coefficientChanged(int row, int column);
  void rowsDeleted(const std::vector<int>& sortedRows);
  void columnsDeleted(const std::vector<int>& sortedColumns);

  bool rebuild = true;    // the engine's copy can't be followed any more: hand everything over
  bool objective = true;  // sense or constant
  bool quadratic = true;  // the quadratic objective, or that of a row
  LineChanges rows, columns;
  // (row, column) of kept rows and columns, in the model's numbering; one may be listed more than once.
  std::vector<std::pair<int, int>> coefs;
  void synchronised(int nrows, int ncols) noexcept;
  bool none(int nrows, int ncols) const;
};

}  // namespace tvlo
