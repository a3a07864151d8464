// The reader of the initialization file entgen.ini.
#pragma once

// The section keywords of the initialization file, ending in a null.
extern const char* keyword[20];

void voreadini(const char* name);
