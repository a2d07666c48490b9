// Definitions of the maps and the native loops over them. Included by maps.h only.
#pragma once

#include "model/chunked.h"
#include "model/var_record.h"

namespace tavlo {

struct LinEntry {
  var_s* v;
  double coef;
  uint64_t key() const { return varIndex(v); }
};
struct QuadEntry {
  var_s* v;
  linmap* row;
  uint64_t key() const { return varIndex(v); }
};
template <class K, class V>
struct PlainEntry {
  K k;
  V value;
  K key() const { return k; }
};
struct SetEntry {
  int64_t k;
  int64_t key() const { return k; }
};

struct linmap {
  Chunked<LinEntry, uint64_t> c;
};
struct quadmap {
  Chunked<QuadEntry, uint64_t> c;
};
struct rowcolmap {
  Chunked<PlainEntry<uint64_t, int64_t>, uint64_t> c;
};
struct indexset {
  Chunked<SetEntry, int64_t> c;
};
struct boundmap {
  Chunked<PlainEntry<uint64_t, double>, uint64_t> c;
};
struct namemap {
  Chunked<PlainEntry<uint64_t, PyObject*>, uint64_t> c;
};

template <class Fn>
bool linmap_each(const linmap* map, Fn&& fn) {
  return !map || map->c.each([&](const LinEntry& e) { return fn(e.v, e.coef); });
}
template <class Fn>
bool quadmap_each(const quadmap* map, Fn&& fn) {
  return !map || map->c.each([&](const QuadEntry& q) {
    return q.row->c.each([&](const LinEntry& e) { return fn(q.v, e.v, e.coef); });
  });
}
template <class Fn>
bool quadmap_each_held(const quadmap* map, Fn&& fn) {
  return !map || map->c.each([&](const QuadEntry& q) {
    return fn(q.v) && q.row->c.each([&](const LinEntry& e) { return fn(e.v); });
  });
}
template <class Fn>
bool rowcolmap_each(const rowcolmap* map, Fn&& fn) {
  return !map || map->c.each([&](const PlainEntry<uint64_t, int64_t>& e) { return fn(e.k, e.value); });
}

}  // namespace tavlo
