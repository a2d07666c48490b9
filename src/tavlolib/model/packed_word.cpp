#include "model/packed_word.h"

#include "model/release.h"
#include "pyutil/locks.h"
#include "pyutil/ref.h"
#include "runtime/errors.h"

namespace tavlo {

namespace {

int outOfMemory() {
  PyErr_NoMemory();
  return -1;
}

template <size_t N>
int rekeyBounds(boundmap* const (&maps)[N], const uint64_t (&flags)[N], uint64_t word, uint64_t from, uint64_t to) {
  for (size_t i = 0; i < N; ++i)
    if (word & flags[i]) {
      if (boundmap_set(maps[i], to, boundmap_get(maps[i], from)) != 0) return outOfMemory();
      boundmap_del(maps[i], from);
    }
  return 0;
}

int rekeyName(const NameField& field, uint64_t word, uint64_t from, uint64_t to) {
  if (!(word & field.flag)) return 0;
  namemap* map = tvl_py_env.*field.map;
  Ref name = Ref::borrow(namemap_get(map, from));
  const bool own = static_cast<bool>(name);
  if (!own && field.common) name = Ref::steal(field.common(from));
  if (!name) return PyErr_Occurred() ? -1 : 0;
  if (namemap_set(map, to, name.get()) != 0) return outOfMemory();
  name.release();  // the map has it now
  if (own) namemap_del(map, from);
  if (field.common) releaseBlockName(from);
  return 0;
}

}  // namespace

double readBound(const BoundField& field, uint64_t word) {
  const auto code = (word >> field.shift) & 3;
  return code < 3 ? field.cheap[code] : boundmap_get(tvl_py_env.*field.map, word & field.index_mask);
}

int writeBound(const BoundField& field, uint64_t* word, double value) {
  if (field.infinite < 0 ? value <= field.infinite : value >= field.infinite) value = field.infinite;
  boundmap* map = tvl_py_env.*field.map;
  const uint64_t index = *word & field.index_mask, flag = inMapBit(field);
  uint64_t code = 0;
  while (code < 3 && field.cheap[code] != value) ++code;
  if (code == 3) {
    if (boundmap_set(map, index, value) != 0) return outOfMemory();
    *word |= flag;
  } else if (*word & flag) {
    boundmap_del(map, index);
    *word &= ~flag;
  }
  *word = (*word & ~(3ULL << field.shift)) | (code << field.shift);
  return 0;
}

PyObject* readName(const NameField& field, uint64_t word) {
  const uint64_t index = word & field.index_mask;
  if (!(word & field.flag)) return PyUnicode_FromFormat(field.format, static_cast<unsigned long long>(index));
  if (PyObject* name = namemap_get(tvl_py_env.*field.map, index)) return newRef(name);
  PyObject* name = field.common ? field.common(index) : nullptr;
  return name || PyErr_Occurred() ? name : interfaceError("%s", field.missing);
}

int writeName(const NameField& field, uint64_t* word, PyObject* name) {
  namemap* map = tvl_py_env.*field.map;
  const uint64_t index = *word & field.index_mask;
  PyObject* previous = *word & field.flag ? namemap_get(map, index) : nullptr;
  if (namemap_set(map, index, name) != 0) return outOfMemory();
  Py_INCREF(name);
  *word |= field.flag;
  releaseChained(previous);
  return 0;
}

void dropVarEntries(uint64_t word) {
  const uint64_t index = word & kVarIndexMask;
  if (word & inMapBit(kVarLower)) boundmap_del(tvl_py_env.var_lb_map, index);
  if (word & inMapBit(kVarUpper)) boundmap_del(tvl_py_env.var_ub_map, index);
  if (word & kVarTholdBit) boundmap_del(tvl_py_env.var_thold_map, index);
  if (!(word & kVarNameBit)) return;
  namemap_del(tvl_py_env.var_name_map, index);
  releaseBlockName(index);
}

void dropConEntries(uint64_t word) {
  const uint64_t index = word & kConIndexMask;
  if (word & inMapBit(kConLower)) boundmap_del(tvl_py_env.con_lb_map, index);
  if (word & inMapBit(kConUpper)) boundmap_del(tvl_py_env.con_ub_map, index);
  if (word & kConNameBit) namemap_del(tvl_py_env.con_name_map, index);
}

int rekeyVar(uint64_t* word, uint64_t index) {
  const uint64_t from = *word & kVarIndexMask, to = index & kVarIndexMask;
  boundmap* const maps[] = {tvl_py_env.var_lb_map, tvl_py_env.var_ub_map, tvl_py_env.var_thold_map};
  const uint64_t flags[] = {inMapBit(kVarLower), inMapBit(kVarUpper), kVarTholdBit};
  if ((*word & kVarSideBits) && (rekeyBounds(maps, flags, *word, from, to) || rekeyName(kVarName, *word, from, to)))
    return -1;
  *word = (*word & ~kVarIndexMask) | to;
  return 0;
}

int rekeyCon(uint64_t* word, uint64_t index) {
  const uint64_t from = *word & kConIndexMask, to = index & kConIndexMask;
  boundmap* const maps[] = {tvl_py_env.con_lb_map, tvl_py_env.con_ub_map};
  const uint64_t flags[] = {inMapBit(kConLower), inMapBit(kConUpper)};
  if ((*word & kConSideBits) && (rekeyBounds(maps, flags, *word, from, to) || rekeyName(kConName, *word, from, to)))
    return -1;
  *word = (*word & ~kConIndexMask) | to;
  return 0;
}

uint64_t takeIndex(uint64_t& counter, pthread_mutex_t& mutex) {
  Locked lock(mutex);
  return counter++;
}

}  // namespace tavlo
