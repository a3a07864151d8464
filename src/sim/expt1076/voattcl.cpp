// Attribute declarations and specifications. Stand-in: writes nothing; pin
// attributes are not yet gathered.
#include "voattcl.h"

void voatt_decl(vogroup*, int) {}
void voatt_spec(vogroup*, int) {}
