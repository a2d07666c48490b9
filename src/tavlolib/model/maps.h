// Ordered coefficient maps, index sets and side tables. Their representation is private to model/ (maps.cpp,
// chunked.h); everyone else uses these operations. Iteration is ascending; a container must not change while a
// cursor is open on it. Operations return 0, or -1 when memory is short or (get) the key is absent, unless a value is
// stated; they set no exception. Maps keyed by variables hold a reference to each key.
#pragma once

#include <cstdint>

#include "pyutil/python.h"

struct var_s;

namespace tavlo {

struct linmap;     // variable -> coefficient
struct quadmap;    // variable -> linmap of the partners of equal or larger index
struct rowcolmap;  // object index -> row or column
struct indexset;   // set of integers
struct boundmap;   // object index -> double
struct namemap;    // object index -> name object
struct linmap_iter;
struct quadmap_iter;
struct rowcolmap_iter;
struct indexset_iter;

linmap* linmap_new();
int64_t linmap_size(const linmap* map);
int linmap_get(const linmap* map, var_s* v, double* coef);
int linmap_has(const linmap* map, var_s* v);
int linmap_set(double coef, linmap* map, var_s* v);
int linmap_add(double coef, linmap* map, var_s* v);
int linmap_del(linmap* map, var_s* v);
int linmap_next(const linmap* map, var_s** key, double* coef, linmap_iter** cursor);  // 1 while entries remain, then 0
void linmap_iter_free(linmap_iter** cursor);
int linmap_copy(linmap** out, const linmap* map);
void linmap_free(linmap** map);
// Native form of iteration, for loops that must be fast: calls fn(var_s*, double) in ascending order, stops when it
// returns false, and returns whether it got to the end.
template <class Fn>
bool linmap_each(const linmap* map, Fn&& fn);
void linmap_scale(linmap* map, double factor);  // every coefficient times factor; entries stay, also as zeros

quadmap* quadmap_new();
int64_t quadmap_size(const quadmap* map);
int quadmap_get(const quadmap* map, var_s* v1, linmap** row);
int quadmap_set(quadmap* map, var_s* v1, linmap* row);
int quadmap_add(double coef, quadmap* map, var_s* v1, var_s* v2);
int quadmap_del(quadmap* map, var_s* v1, var_s* v2);
int quadmap_next(const quadmap* map, var_s** key, linmap** row, quadmap_iter** cursor);
void quadmap_iter_free(quadmap_iter** cursor);
int quadmap_copy(quadmap** out, const quadmap* map);
void quadmap_free(quadmap** map);
template <class Fn>
bool quadmap_each(const quadmap* map, Fn&& fn);  // fn(var_s*, var_s*, double)
template <class Fn>
bool quadmap_each_held(const quadmap* map, Fn&& fn);  // fn(var_s*), once for each reference that the map holds
void quadmap_scale(quadmap* map, double factor);

rowcolmap* rowcolmap_new();
int rowcolmap_get(const rowcolmap* map, uint64_t key, int64_t* value);
int rowcolmap_has(const rowcolmap* map, uint64_t key);
int rowcolmap_set(rowcolmap* map, uint64_t key, int64_t value);
int rowcolmap_del(rowcolmap* map, uint64_t key);
void rowcolmap_clear(rowcolmap* map);
int64_t rowcolmap_size(const rowcolmap* map);
int rowcolmap_next(const rowcolmap* map, uint64_t* key, int64_t* value, rowcolmap_iter** cursor);
void rowcolmap_iter_free(rowcolmap_iter** cursor);
int rowcolmap_copy(rowcolmap** out, const rowcolmap* map);
// Every value becomes new_value[value]; entries whose new value is negative go. Can't fail.
void rowcolmap_renumber(rowcolmap* map, const int32_t* new_value);
void rowcolmap_free(rowcolmap** map);
template <class Fn>
bool rowcolmap_each(const rowcolmap* map, Fn&& fn);  // fn(uint64_t key, int64_t value)

indexset* indexset_new();
int indexset_add(indexset* set, int64_t n);
int indexset_has(const indexset* set, int64_t n);
int indexset_del(indexset* set, int64_t n);
int indexset_next(const indexset* set, int64_t* n, indexset_iter** cursor);
void indexset_iter_free(indexset_iter** cursor);
int indexset_copy(indexset** out, const indexset* set);
void indexset_free(indexset** set);

boundmap* boundmap_new();
double boundmap_get(const boundmap* map, uint64_t key);  // 0.0 for an absent key
int boundmap_has(const boundmap* map, uint64_t key);
int boundmap_set(boundmap* map, uint64_t key, double value);
int boundmap_del(boundmap* map, uint64_t key);
void boundmap_free(boundmap** map);

namemap* namemap_new();
PyObject* namemap_get(const namemap* map, uint64_t key);  // borrowed; null for an absent key
int namemap_has(const namemap* map, uint64_t key);
int namemap_set(namemap* map, uint64_t key, PyObject* object);  // the pointer only: references are the caller's
int namemap_del(namemap* map, uint64_t key);                    // releases the object
void namemap_free(namemap** map);                               // releases the objects

}  // namespace tavlo

#include "model/maps_each.h"
