// Name translation: any schematic name becomes a VHDL identifier. One
// table of translated names lives for the whole run.
#pragma once

void votrsetup();
void votrfree();
// The translated name, in a static buffer valid until the next call.
char* votr(const char* name);
// A private copy of the name component of `name`: no directory, no extension.
char* votruncnam(const char* name);
void votest_translations();
void vodump_translations();
