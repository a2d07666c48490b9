// Some parts of HiGHS report what they find odd to the standard output, past its log. Our copy writes here instead: it
// is of use to HiGHS's developers only, and the output belongs to the program that uses us.
#include "tvlo/tvlo.h"

extern "C" {

TVLO_API int tvlo_highs_printf(const char*, ...) noexcept { return 0; }
TVLO_API int tvlo_highs_puts(const char*) noexcept { return 0; }
TVLO_API int tvlo_highs_putchar(int character) noexcept { return character; }
}
