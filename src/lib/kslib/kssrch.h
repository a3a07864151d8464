// Search lists. Support files (message files, scrivet.ini, entgen.ini, the
// master database) are looked for in the current directory and along the
// directories of KDIR.
#pragma once

// Finds the support file `spec`; its path goes to `path` (256 bytes).
// Returns KS_OK or KS_NOTFOUND.
int ksGetini(const char* spec, char* path);
