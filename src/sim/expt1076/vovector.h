// Vector ports: single pins of a bus (D0, D1, ...) gathered into one port
// by the symbol attribute VHDL_VECTOR, whose value reads name[range]:type.
#pragma once

struct vogroup;

// Gives every pin that a VHDL_VECTOR of the group's symbol covers the
// vector's name, range and type; runs once every pin has its port.
void voSetPinVector(vogroup* g);
