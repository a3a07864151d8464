// The command line and the dialogue: turns the arguments, or the answers
// to a few questions, into the vocmdl record, reads the editor's library
// list, and settles the output directory.
#pragma once

void vocmdlin(int argc, char** argv);
// Returns the next option letter, 0 for a word with no dash (in `value`),
// -1 at the end. `index` starts at 1.
int vogetopt(int argc, char** argv, const char* optstring, char** value, int* index);
void vodefext();
void voprompt();
void read_tmdir(int flag);
// The output directory as a private copy, or null.
char* chk_outdir(const char* name, int isexplicit);
void voshowlevels(struct volev* level);
