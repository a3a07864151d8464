// Initialization file reader. Stand-in: makes the empty configuration
// record without looking for or reading the file.
#include "voreadini.h"

#include "vgstruct.h"

const char* keyword[20] = {};

void voreadini(const char* name) {
    vo->ini = voinibloc();
    vo->ini->name = vostcpy(name);
}
