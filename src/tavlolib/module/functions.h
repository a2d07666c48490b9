// The module's function table.
#pragma once

#include "pyutil/python.h"

namespace tavlo {

extern PyMethodDef kModuleMethods[];

}  // namespace tavlo
