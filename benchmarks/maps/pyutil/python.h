// Stands in for the interpreter's allocator, so that the container can be measured without an interpreter.
#pragma once

#include <cstdlib>

inline void* PyMem_Malloc(size_t size) { return std::malloc(size); }
inline void* PyMem_Realloc(void* p, size_t n) { return std::realloc(p, n); }
inline void PyMem_Free(void* p) { std::free(p); }
