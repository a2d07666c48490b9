#include "nonlinear/parameters.h"

#include "tvlo/tvlo.h"

namespace tvlo {

const ControlTable& componentControls() {
  static const ControlTable table({
#define TVLO_CONTROL(id, name, type, standard, least, most, text, option, documentation) \
  {id, #name, type, standard, least, most, text, option, documentation},
#include "tvlo/tslp_controls.def"
#undef TVLO_CONTROL
  });
  return table;
}

const AttributeTable& componentAttributes() {
  static const AttributeTable table({
#define TVLO_ATTRIBUTE(id, name, type, documentation) {id, #name, type, documentation},
#include "tvlo/tslp_attributes.def"
#undef TVLO_ATTRIBUTE
  });
  return table;
}

}  // namespace tvlo
