// Controls, and the lists of controls and attributes.
#include "capi/attributes.h"
#include "capi/guard.h"
#include "capi/lists.h"
#include "core/attributes.h"

using namespace tvlo;

int TVLOsetintcontrol(TVLOprob prob, int id, int value) { return TVLOsetintcontrol64(prob, id, value); }

int TVLOsetintcontrol64(TVLOprob prob, int id, int64_t value) {
  return guard(prob, [&] { prob->controls.setInt(id, value); });
}

int TVLOsetdblcontrol(TVLOprob prob, int id, double value) {
  return guard(prob, [&] { prob->controls.setDouble(id, value); });
}

int TVLOsetstrcontrol(TVLOprob prob, int id, const char* value) {
  return guard(prob, [&] {
    requireArray(value, 1, "characters");
    prob->controls.setString(id, value);
  });
}

int TVLOgetintcontrol(TVLOprob prob, int id, int* value) {
  return guard(prob, [&] {
    requireArray(value, 1, "results");
    *value = narrowed(prob->controls.getInt(id), id);
  });
}

int TVLOgetintcontrol64(TVLOprob prob, int id, int64_t* value) {
  return guard(prob, [&] {
    requireArray(value, 1, "results");
    *value = prob->controls.getInt(id);
  });
}

int TVLOgetdblcontrol(TVLOprob prob, int id, double* value) {
  return guard(prob, [&] {
    requireArray(value, 1, "results");
    *value = prob->controls.getDouble(id);
  });
}

int TVLOgetstringcontrol(TVLOprob prob, int id, char* value, int maxbytes, int* nbytes) {
  return guard(prob, [&] { copyText(prob->controls.getString(id), value, maxbytes, nbytes); });
}

// One list serves both functions: it ends at id 0 and at an empty name.
int TVLOgetcalist_c(const int** ids, const char* const** names, const int** types) {
  return guardGlobal([&] {
    static const ParameterList list(optimizerControls(), optimizerAttributes());
    list.give(ids, names, types);
  });
}

int TVLOgetcalist_d(const int** ids, const char* const** names, const int** types) {
  return TVLOgetcalist_c(ids, names, types);
}
