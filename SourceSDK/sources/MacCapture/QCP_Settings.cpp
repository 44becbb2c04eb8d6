// The settings record and the parameter list. Both are answered once the
// settings record is built: until then no source has settings to report, and
// the ones the host sends are accepted without effect.
#include "QCP_API.h"

extern "C" {

void QCP_GetSourceSettings(const char*, const char*, char*, uint32_t* length) {
    (void)length; // like a source without settings: the length stays as it was
}

int QCP_SetSourceSettings(const char*, const char*, const char*) { return 1; }

int QCP_GetValidParameterValues(const char*, const char*, char*, uint32_t*) { return 0; }

} // extern "C"
