// resize.cpp: the resizing library's code, in a file of its own: it is compiled without our warnings, and with the same
// roundings on every machine.

#define STBIR_ASSERT(condition) static_cast<void>(0)
#define STB_IMAGE_RESIZE_IMPLEMENTATION
#include <stb_image_resize.h>
