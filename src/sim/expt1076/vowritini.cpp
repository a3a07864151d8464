// Initialization file writer. Stand-in: writes nothing.
#include "vowritini.h"

void vowritini() {}
