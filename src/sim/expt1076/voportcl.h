// The port clause of an entity, from the port records of the symbol's pins,
// in the order of the pin list. Pins gathered into one vector port share
// its name, and a name is written once, at its first pin.
#pragma once

struct vogroup;
struct iwspin;
struct iwatt;

// Writes the clause; nothing when no pin has a port. `mode` is always 0.
void voport_clause(vogroup* group, int mode);
// Writes the port of one pin, its comments above it, without the semicolon
// or the line end behind it; nothing for a pin without a port record.
void voport_decl(iwspin* pin);
// Writes the VHDL_COM_ attributes of a list as comment lines, ordered by
// the name behind the prefix, without regard to case.
void voPrintCOM(iwatt* attributes);
