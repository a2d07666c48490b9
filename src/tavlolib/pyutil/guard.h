// The border between our C++ and the interpreter's C: no C++ exception passes it.
#pragma once

#include <new>
#include <type_traits>

#include "pyutil/python.h"

namespace tavlo {

// The result of body(), or null (-1 for an int) with MemoryError when memory is short.
template <class Body>
auto guarded(Body&& body) noexcept -> decltype(body()) {
  try {
    return body();
  } catch (const std::bad_alloc&) {
    PyErr_NoMemory();
    if constexpr (std::is_pointer_v<decltype(body())>)
      return nullptr;
    else
      return -1;
  }
}

}  // namespace tavlo
