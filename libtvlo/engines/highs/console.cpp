// Some parts of HiGHS report what they find odd to the standard output, past its log. Our copy writes here instead: it
// is of use to HiGHS's developers only, and the output belongs to the program that uses us.
#include <string_view>

#include "core/error.h"
#include "tvlo/tvlo.h"

extern "C" {

TVLO_API int tvlo_highs_printf(const char*, ...) noexcept { return 0; }
// Its active-set method says no more than this before it writes in front of an array, when a constraint of its basis
// is missing in the factorisation: the solve must not go on.
TVLO_API int tvlo_highs_puts(const char* text) {
  if (std::string_view(text) == "error")
    throw tvlo::Error(TVLO_ERR_ENGINE, "HiGHS lost the basis of a quadratic problem");
  return 0;
}
TVLO_API int tvlo_highs_putchar(int character) noexcept { return character; }
}
