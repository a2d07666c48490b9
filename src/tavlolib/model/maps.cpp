#include "model/maps.h"

#include <new>

#include "model/release.h"

namespace tavlo {

namespace {

template <class Map>
Map* makeMap() {
  void* p = PyMem_Malloc(sizeof(Map));
  return p ? new (p) Map : nullptr;
}

template <class Map>
void destroyMap(Map** map) {
  Map* m = *map;
  *map = nullptr;
  if (!m) return;
  m->~Map();
  PyMem_Free(m);
}

// A cursor is the position itself plus one, in the pointer: nothing to allocate, so nothing to run short of.
template <class Map, class Iter>
auto advance(const Map* map, Iter** cursor) {
  uint64_t position = *cursor ? reinterpret_cast<uintptr_t>(*cursor) - 1 : 0;
  auto* entry = map->c.step(&position);
  *cursor = entry ? reinterpret_cast<Iter*>(static_cast<uintptr_t>(position + 1)) : nullptr;
  return entry;
}

template <class Map, class Key, class Value>
int putPlain(Map* map, Key key, Value value) {
  auto spot = map->c.locate(key);
  if (!spot.found) return map->c.insert(spot, {key, value}) ? 0 : -1;
  map->c.at(spot).value = value;
  return 0;
}

template <class Map, class Key>
int dropPlain(Map* map, Key key) {
  const auto spot = map->c.locate(key);
  if (spot.found) map->c.erase(spot);
  return 0;
}

template <class Map, class Key>
int hasKey(const Map* map, Key key) {
  return map && map->c.locate(key).found;
}

template <class Map>
int copyPlain(Map** out, const Map* map) {
  *out = makeMap<Map>();
  if (*out && (*out)->c.copyFrom(map->c)) return 0;
  destroyMap(out);
  return -1;
}

// Changes the coefficient at the spot of v; the reference goes last, when the map is consistent again.
int placeCoef(linmap* map, Chunked<LinEntry, uint64_t>::Spot spot, var_s* v, double coef) {
  if (spot.found) {
    LinEntry& entry = map->c.at(spot);
    if (coef != 0) {
      entry.coef = coef;
      return 0;
    }
    var_s* held = entry.v;
    map->c.erase(spot);
    Py_DECREF(held);
    return 0;
  }
  if (coef == 0) return 0;
  if (!map->c.insert(spot, {v, coef})) return -1;
  Py_INCREF(v);
  return 0;
}

void dropRow(quadmap* map, Chunked<QuadEntry, uint64_t>::Spot spot) {
  QuadEntry entry = map->c.at(spot);
  map->c.erase(spot);
  linmap_free(&entry.row);
  Py_DECREF(entry.v);
}

}  // namespace

// ---- linmap ----
linmap* linmap_new() { return makeMap<linmap>(); }
int64_t linmap_size(const linmap* map) { return map ? map->c.size() : 0; }
int linmap_get(const linmap* map, var_s* v, double* coef) {
  const auto spot = map->c.locate(varIndex(v));
  if (!spot.found) return -1;
  *coef = map->c.at(spot).coef;
  return 0;
}
int linmap_has(const linmap* map, var_s* v) { return hasKey(map, varIndex(v)); }
int linmap_set(double coef, linmap* map, var_s* v) { return placeCoef(map, map->c.locate(varIndex(v)), v, coef); }
int linmap_add(double coef, linmap* map, var_s* v) {
  if (coef == 0) return 0;
  if (map->c.append({v, coef})) {
    Py_INCREF(v);
    return 0;
  }
  const auto spot = map->c.locate(varIndex(v));
  return placeCoef(map, spot, v, spot.found ? map->c.at(spot).coef + coef : coef);
}
int linmap_del(linmap* map, var_s* v) {
  const auto spot = map->c.locate(varIndex(v));
  return spot.found ? placeCoef(map, spot, v, 0) : 0;
}
int linmap_next(const linmap* map, var_s** key, double* coef, linmap_iter** cursor) {
  const LinEntry* entry = advance(map, cursor);
  if (!entry) return 0;
  *key = entry->v;
  *coef = entry->coef;
  return 1;
}
void linmap_iter_free(linmap_iter** cursor) { *cursor = nullptr; }
int linmap_copy(linmap** out, const linmap* map) {
  if (copyPlain(out, map) != 0) return -1;
  (*out)->c.each([](const LinEntry& e) {
    Py_INCREF(e.v);
    return true;
  });
  return 0;
}
void linmap_scale(linmap* map, double factor) {
  if (map) map->c.eachMutable([&](LinEntry& e) { e.coef *= factor; });
}
void linmap_free(linmap** map) {
  if (!*map) return;
  (*map)->c.each([](const LinEntry& e) {
    Py_DECREF(e.v);
    return true;
  });
  destroyMap(map);
}

// ---- quadmap ----
quadmap* quadmap_new() { return makeMap<quadmap>(); }
int64_t quadmap_size(const quadmap* map) {
  int64_t total = 0;
  if (map)
    map->c.each([&](const QuadEntry& q) {
      total += q.row->c.size();
      return true;
    });
  return total;
}
int quadmap_get(const quadmap* map, var_s* v1, linmap** row) {
  const auto spot = map->c.locate(varIndex(v1));
  if (!spot.found) return -1;
  *row = map->c.at(spot).row;
  return 0;
}
int quadmap_set(quadmap* map, var_s* v1, linmap* row) {
  const auto spot = map->c.locate(varIndex(v1));
  if (spot.found) {
    linmap* old = map->c.at(spot).row;
    map->c.at(spot).row = row;
    if (old != row) linmap_free(&old);
    return 0;
  }
  if (!map->c.insert(spot, {v1, row})) return -1;
  Py_INCREF(v1);
  return 0;
}
int quadmap_add(double coef, quadmap* map, var_s* v1, var_s* v2) {
  if (coef == 0) return 0;
  const auto spot = map->c.locate(varIndex(v1));
  if (spot.found) {
    linmap* row = map->c.at(spot).row;
    if (linmap_add(coef, row, v2) != 0) return -1;
    if (row->c.size() == 0) dropRow(map, spot);
    return 0;
  }
  linmap* row = linmap_new();
  if (!row || linmap_add(coef, row, v2) != 0 || quadmap_set(map, v1, row) != 0) {
    linmap_free(&row);
    return -1;
  }
  return 0;
}
int quadmap_del(quadmap* map, var_s* v1, var_s* v2) {
  const auto spot = map->c.locate(varIndex(v1));
  if (!spot.found) return 0;
  linmap* row = map->c.at(spot).row;
  linmap_del(row, v2);
  if (row->c.size() == 0) dropRow(map, spot);
  return 0;
}
int quadmap_next(const quadmap* map, var_s** key, linmap** row, quadmap_iter** cursor) {
  const QuadEntry* entry = advance(map, cursor);
  if (!entry) return 0;
  *key = entry->v;
  *row = entry->row;
  return 1;
}
void quadmap_iter_free(quadmap_iter** cursor) { *cursor = nullptr; }
int quadmap_copy(quadmap** out, const quadmap* map) {
  *out = quadmap_new();
  if (!*out) return -1;
  const bool whole = map->c.each([&](const QuadEntry& q) {
    linmap* row = nullptr;
    if (linmap_copy(&row, q.row) != 0) return false;
    if (quadmap_set(*out, q.v, row) == 0) return true;
    linmap_free(&row);
    return false;
  });
  if (!whole) quadmap_free(out);
  return whole ? 0 : -1;
}
void quadmap_scale(quadmap* map, double factor) {
  if (map) map->c.eachMutable([&](QuadEntry& q) { linmap_scale(q.row, factor); });
}
void quadmap_free(quadmap** map) {
  if (!*map) return;
  (*map)->c.eachMutable([](QuadEntry& q) {
    linmap_free(&q.row);
    Py_DECREF(q.v);
  });
  destroyMap(map);
}

// ---- rowcolmap ----
rowcolmap* rowcolmap_new() { return makeMap<rowcolmap>(); }
int rowcolmap_get(const rowcolmap* map, uint64_t key, int64_t* value) {
  const auto spot = map->c.locate(key);
  if (!spot.found) return -1;
  *value = map->c.at(spot).value;
  return 0;
}
int rowcolmap_has(const rowcolmap* map, uint64_t key) { return hasKey(map, key); }
int rowcolmap_set(rowcolmap* map, uint64_t key, int64_t value) { return putPlain(map, key, value); }
int rowcolmap_del(rowcolmap* map, uint64_t key) { return dropPlain(map, key); }
void rowcolmap_clear(rowcolmap* map) { map->c.clear(); }
int64_t rowcolmap_size(const rowcolmap* map) { return map ? map->c.size() : 0; }
int rowcolmap_next(const rowcolmap* map, uint64_t* key, int64_t* value, rowcolmap_iter** cursor) {
  const auto* entry = advance(map, cursor);
  if (!entry) return 0;
  *key = entry->k;
  *value = entry->value;
  return 1;
}
void rowcolmap_iter_free(rowcolmap_iter** cursor) { *cursor = nullptr; }
int rowcolmap_copy(rowcolmap** out, const rowcolmap* map) { return copyPlain(out, map); }
void rowcolmap_renumber(rowcolmap* map, const int32_t* new_value) {
  map->c.filter([&](PlainEntry<uint64_t, int64_t>& e) {
    e.value = new_value[e.value];
    return e.value >= 0;
  });
}
void rowcolmap_free(rowcolmap** map) { destroyMap(map); }

// ---- indexset ----
indexset* indexset_new() { return makeMap<indexset>(); }
int indexset_add(indexset* set, int64_t n) {
  const auto spot = set->c.locate(n);
  return spot.found || set->c.insert(spot, {n}) ? 0 : -1;
}
int indexset_has(const indexset* set, int64_t n) { return hasKey(set, n); }
int indexset_del(indexset* set, int64_t n) { return dropPlain(set, n); }
int indexset_next(const indexset* set, int64_t* n, indexset_iter** cursor) {
  const SetEntry* entry = advance(set, cursor);
  if (!entry) return 0;
  *n = entry->k;
  return 1;
}
void indexset_iter_free(indexset_iter** cursor) { *cursor = nullptr; }
int indexset_copy(indexset** out, const indexset* set) { return copyPlain(out, set); }
void indexset_free(indexset** set) { destroyMap(set); }

// ---- boundmap, namemap: objects may outlive these, so a null map counts as empty for reading and deleting ----
boundmap* boundmap_new() { return makeMap<boundmap>(); }
double boundmap_get(const boundmap* map, uint64_t key) {
  if (!map) return 0;
  const auto spot = map->c.locate(key);
  return spot.found ? map->c.at(spot).value : 0;
}
int boundmap_has(const boundmap* map, uint64_t key) { return hasKey(map, key); }
int boundmap_set(boundmap* map, uint64_t key, double value) { return map ? putPlain(map, key, value) : -1; }
int boundmap_del(boundmap* map, uint64_t key) { return map ? dropPlain(map, key) : 0; }
void boundmap_free(boundmap** map) { destroyMap(map); }

namemap* namemap_new() { return makeMap<namemap>(); }
PyObject* namemap_get(const namemap* map, uint64_t key) {
  if (!map) return nullptr;
  const auto spot = map->c.locate(key);
  return spot.found ? map->c.at(spot).value : nullptr;
}
int namemap_has(const namemap* map, uint64_t key) { return hasKey(map, key); }
int namemap_set(namemap* map, uint64_t key, PyObject* object) { return map ? putPlain(map, key, object) : -1; }
int namemap_del(namemap* map, uint64_t key) {
  if (!map) return 0;
  const auto spot = map->c.locate(key);
  if (!spot.found) return 0;
  PyObject* object = map->c.at(spot).value;
  map->c.erase(spot);
  releaseChained(object);
  return 0;
}
void namemap_free(namemap** map) {
  namemap* m = *map;
  *map = nullptr;  // what the objects' release runs must not find the map
  if (!m) return;
  m->c.each([](const PlainEntry<uint64_t, PyObject*>& e) {
    Py_DECREF(e.value);
    return true;
  });
  destroyMap(&m);
}

}  // namespace tavlo
