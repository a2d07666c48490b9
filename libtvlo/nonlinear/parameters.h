// The control and attribute tables of the nonlinear component, derived from tslp_controls.def and tslp_attributes.def
// as core's are from its own.
#pragma once

#include "core/attributes.h"
#include "core/controls.h"

namespace tvlo {

const ControlTable& componentControls();
const AttributeTable& componentAttributes();

namespace slpcontrol {
enum Id : int {
#define TVLO_CONTROL(id, name, ...) name = id,
#include "tvlo/tslp_controls.def"
#undef TVLO_CONTROL
};
}  // namespace slpcontrol

}  // namespace tvlo
