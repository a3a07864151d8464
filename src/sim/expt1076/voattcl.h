// Attribute declarations and specifications of an entity's ports: every
// attribute a pin carries that is none of the translator's own becomes a
// VHDL attribute, declared once in the entity and specified for each pin
// that carries it.
#pragma once

struct vogroup;

// Declares each attribute of the group's list whose flags meet `mask` (2:
// seen on a pin), then an empty line if any was declared.
void voatt_decl(vogroup* group, int mask);
// Specifies, pin by pin in pin order, each attribute of the group's list
// that the pin carries, then an empty line if any was specified. `mask` is
// always 2.
void voatt_spec(vogroup* group, int mask);
