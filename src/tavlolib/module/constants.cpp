#include "module/constants.h"

namespace tavlo {

const Constant kConstants[] = {
#define TAVLO_CONSTANT(name, kind, value) {#name, kind, value},
#include "module/constants.def"
#undef TAVLO_CONSTANT
    {nullptr, 0, 0},
};

}  // namespace tavlo
