// The library list of the schematic editor: DIR lines of scrivet.ini give
// each library a name and its directories.
#pragma once

// 1 when a library of this name (or alias) is known.
int qlm_library_exists(const char* name);
