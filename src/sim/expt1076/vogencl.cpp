// Generic clause. Stand-in: writes nothing; generics, their types and time
// values are not yet gathered from symbols.
#include "vogencl.h"

void vogen_clause(vogroup*) {}
