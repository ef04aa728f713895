// export.cpp: the roads on which a host draws the picture band by band or hands it over whole outside a device. Their
// entries answer 0 and write nothing yet.

#include "output/output.h"

int32_t OutputPicture(Handle, void*, OffscreenCallback) { return 0; }
int32_t ExportCellData(const char*, void*, void*, void*) { return 0; }
