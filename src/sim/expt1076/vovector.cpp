// Vector ports. Stand-in: no VHDL_VECTOR attribute is read yet, so every
// pin keeps the port its own name gives it.
#include "vovector.h"

void voSetPinVector(vogroup*) {}
