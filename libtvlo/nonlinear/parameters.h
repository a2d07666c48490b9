// The control and attribute tables of the nonlinear component, derived from controls.def and attributes.def as core's
// are from its own.
#pragma once

#include "core/attributes.h"
#include "core/controls.h"

namespace tvlo {

const ControlTable& componentControls();
const AttributeTable& componentAttributes();

namespace slpcontrol {
enum Id : int {
#define TVLO_CONTROL(id, name, ...) name = id,
#include "nonlinear/controls.def"
#undef TVLO_CONTROL
};
}  // namespace slpcontrol

namespace slpattribute {
enum Id : int {
#define TVLO_ATTRIBUTE(id, name, ...) name = id,
#include "nonlinear/attributes.def"
#undef TVLO_ATTRIBUTE
};
}  // namespace slpattribute

}  // namespace tvlo
