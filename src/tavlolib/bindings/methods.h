// Tables of the problem's methods that each stand for one function of the library; they end with an empty entry.
#pragma once

#include "pyutil/python.h"

namespace tavlo {

const PyMethodDef* nonlinearMethods();

}  // namespace tavlo
