// The 64-bit words of variables and constraints: an index, bound codes for the commonest bounds, and flags that say
// which of the environment's side maps hold an entry under the index. One description of each field serves both kinds.
// Functions that return int return 0, or -1 with MemoryError; the word is then unchanged. Needs the interpreter lock.
#pragma once

#include <cstdint>

#include "model/name_blocks.h"
#include "model/objects.h"

namespace tavlo {

inline constexpr double kInfinity = 1e20;
inline constexpr double kFeasibilityTolerance = 1e-6;

// A bound: a two-bit code at shift, the in-map flag in the bit above. Codes 0 to 2 stand for the values in cheap, code
// 3 for the value in the map. Values at or beyond `infinite` (in its direction) are stored as it.
struct BoundField {
  int shift;
  double infinite;
  double cheap[3];
  boundmap* tvl_py_env_s::* map;
  uint64_t index_mask;
};
inline constexpr BoundField kVarLower{52, -kInfinity, {0, -kInfinity, 1}, &tvl_py_env_s::var_lb_map, kVarIndexMask};
inline constexpr BoundField kVarUpper{55, kInfinity, {kInfinity, 0, 1}, &tvl_py_env_s::var_ub_map, kVarIndexMask};
inline constexpr BoundField kConLower{57, -kInfinity, {-kInfinity, 0, 1}, &tvl_py_env_s::con_lb_map, kConIndexMask};
inline constexpr BoundField kConUpper{60, kInfinity, {kInfinity, 0, 1}, &tvl_py_env_s::con_ub_map, kConIndexMask};

inline constexpr uint64_t bit(int n) { return 1ULL << n; }
inline constexpr uint64_t inMapBit(const BoundField& f) { return bit(f.shift + 2); }

inline constexpr uint64_t kVarTholdBit = bit(58), kVarNameBit = bit(59), kConNameBit = bit(63);
inline constexpr int kVarTypeShift = 60;
inline constexpr uint64_t kVarSideBits = inMapBit(kVarLower) | inMapBit(kVarUpper) | kVarTholdBit | kVarNameBit;
inline constexpr uint64_t kConSideBits = inMapBit(kConLower) | inMapBit(kConUpper) | kConNameBit;

double readBound(const BoundField& field, uint64_t word);
int writeBound(const BoundField& field, uint64_t* word, double value);

// A name: one flag; the default is the format with the index. A variable that is flagged but not in the map has the
// name of its block.
struct NameField {
  uint64_t flag;
  uint64_t index_mask;
  namemap* tvl_py_env_s::* map;
  const char *format, *missing;
  PyObject* (*common)(uint64_t index);  // null: there are no blocks
};
inline constexpr NameField kVarName{
    kVarNameBit, kVarIndexMask, &tvl_py_env_s::var_name_map, "C%llu", "Internal error in variable name", blockName};
inline constexpr NameField kConName{
    kConNameBit, kConIndexMask, &tvl_py_env_s::con_name_map, "R%llu", "Internal error in constraint name", nullptr};

PyObject* readName(const NameField& field, uint64_t word);  // new reference, or null with InterfaceError
int writeName(const NameField& field, uint64_t* word, PyObject* name);

// Removes the entries that the flags tell of, for an object that goes.
void dropVarEntries(uint64_t word);
void dropConEntries(uint64_t word);
// Gives the word another index and moves its entries there.
int rekeyVar(uint64_t* word, uint64_t index);
int rekeyCon(uint64_t* word, uint64_t index);

// The next value of one of the environment's counters.
uint64_t takeIndex(uint64_t& counter, pthread_mutex_t& mutex);

}  // namespace tavlo
