// Port clause. Stand-in: writes nothing; the symbol's pins are not yet
// turned into ports.
#include "voportcl.h"

void voport_clause(vogroup*, int) {}
