// Vector ports: the symbol attribute VHDL_VECTOR gathers single pins such
// as D0, D1, D2 into one port of the entity.
#pragma once

struct vogroup;

// Rewrites the port records of the pins that a VHDL_VECTOR of the group's
// first symbol covers: their name, range and type.
void voSetPinVector(vogroup* g);
