// The generic clause of an entity, from the generics the examination pass
// gathered, with each generic's default; and the conversion of a delay
// written on a symbol (ticks, a time, or min:typ:max) into a VHDL time.
#pragma once

struct vogroup;

// Writes the clause; nothing when every generic is left out.
void vogen_clause(vogroup* group);
// The VHDL time for the default `text` of a TIME generic, as a new string
// to be released with ktStrFree.
char* votimeval(const char* text);
// 1 when `text` is to be converted by votimeval, 0 when it stands as it is
// (a number in fs, or followed by a word that is no time unit).
int votimeunit(const char* text);
