// The nonlinear component's C interface. The conventions of tvlo.h hold.
//
// A nonlinear problem stands over an optimizer problem and shares its model: reading a file, or setting control
// `objsense`, changes that. Its errors are its own and leave the optimizer problem's last error alone.
#pragma once

#include "tvlo/tvlo.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct tslp_prob_s* TSLPprob;

// Flag bits of TSLPcontrolcode, which finds a control or attribute by its id, else by its name in lower case.
enum {
  TSLP_FLAG_INT = 1,
  TSLP_FLAG_DOUBLE = 2,
  TSLP_FLAG_STRING = 4,
  TSLP_FLAG_CONTROL = 16,
  TSLP_FLAG_UNDEFINED = 512
};

TVLO_API int TSLPinit(void);  // counted, like TVLOinit; starts nothing of the optimizer
TVLO_API int TSLPfree(void);
TVLO_API int TSLPcreateprob(TSLPprob* slp, TVLOprob* prob);  // over *prob, which must outlive it
TVLO_API int TSLPdestroyprob(TSLPprob slp);
// What the model has of formulas; TVLOcopyprob copies the rest. A null or empty name changes nothing.
TVLO_API int TSLPcopyprob(TSLPprob dest, TSLPprob src, const char* name);
TVLO_API int TSLPcopycontrols(TSLPprob dest, TSLPprob src);                      // all but the objective sense
TVLO_API int TSLPgetlasterror(TSLPprob slp, int* code, char* text);              // TVLO_ERRORTEXT_MAX bytes
TVLO_API int TSLPsetcbmessage(TSLPprob slp, TVLOmessagefn handler, void* data);  // null removes it

TVLO_API int TSLPreadprob(TSLPprob slp, const char* filename, const char* flags);
TVLO_API int TSLPwriteprob(TSLPprob slp, const char* filename, const char* flags);

TVLO_API int TSLPsetintcontrol(TSLPprob slp, int id, int value);
TVLO_API int TSLPsetdblcontrol(TSLPprob slp, int id, double value);
TVLO_API int TSLPsetstrcontrol(TSLPprob slp, int id, const char* value);
TVLO_API int TSLPgetintcontrol(TSLPprob slp, int id, int* value);
TVLO_API int TSLPgetdblcontrol(TSLPprob slp, int id, double* value);
TVLO_API int TSLPgetstrcontrol(TSLPprob slp, int id, char* value, int maxbytes, int* nbytes);
TVLO_API int TSLPgetintattrib(TSLPprob slp, int id, int* value);
TVLO_API int TSLPgetdblattrib(TSLPprob slp, int id, double* value);
TVLO_API int TSLPgetstrattrib(TSLPprob slp, int id, char* value, int maxbytes, int* nbytes);
// The component's list, and the list of its local solver's options; both end at an empty name.
TVLO_API int TSLPgetcalist(const int** ids, const char* const** names, const int** types);
TVLO_API int TSLPgetKTRcalist(const int** ids, const char* const** names, const int** types);
TVLO_API int TSLPcontrolcode(int id, const char* name, int* flags);

#ifdef __cplusplus
}
#endif
