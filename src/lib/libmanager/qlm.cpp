// Library list. Stand-in: no DIR line has been read, so no library exists.
#include "qlm.h"

int qlm_library_exists(const char* /*name*/) { return 0; }
