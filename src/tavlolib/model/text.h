// Text of modelling objects. New references, or null with an exception. Objects whose constructor never ran read "?".
#pragma once

#include "model/objects.h"

namespace tavlo {

PyObject* modelling_str(PyObject* self);  // str() and repr() of every modelling type

}  // namespace tavlo
