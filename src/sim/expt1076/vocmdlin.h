// The command line and the dialogue: turns the arguments, or the answers
// to a few questions, into the vocmdl record, reads the editor's library
// list, and settles the output directory.
#pragma once

void vocmdlin(int argc, char** argv);
// Returns the next option letter, 0 for a word with no dash (in `value`),
// -1 at the end. `index` starts at 1.
int vogetopt(int argc, char** argv, const char* optstring, char** value, int* index);
// A symbol name without a version gets ".1"; a library name stays as it is.
void vodefext();
void voprompt();
// Reads the DIR lines of scrivet.ini into the library list (flag 0; any
// other flag reads nothing). Reports bad lines and goes on.
void read_tmdir(int flag);
// The output directory as a private copy. With `isexplicit`, `name` is a
// directory, made if need be; null when it can't be. Else `name` is a
// design name, and the result is the "behv" directory beside the symbol;
// a symbol in no library, or in a read-only one, ends the run.
char* chk_outdir(const char* name, int isexplicit);
// Prints the level names, oldest first.
void voshowlevels(struct volev* level);
