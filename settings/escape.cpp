// escape.cpp: the setup escape, through which a host's dialog reads and changes single settings, and the helpers that
// go with it. None of them is handled yet: the name table lists the escape, and it answers 0.

#include "settings/settings.h"

int32_t xEscapeSetup(Handle, int32_t, int32_t, void*, void*, int32_t) { return 0; }
void GetRasterInfo(Handle, const int32_t*, int32_t*) {}
int32_t ScaleImageSize(double*, double*) { return 0; }
