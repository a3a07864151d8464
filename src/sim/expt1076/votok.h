// The output channel. Every piece of text the translator writes to a file
// goes through votok, which keeps the column, the nesting level and a
// hanging indent, so that no emitter formats white space itself. One file
// is open at a time. Also the two prompt helpers, getreply and equal.
#pragma once
#include <cstdio>

struct vofile;

// Mode flags of votok.
enum {
    VOTOK_WRAP = 0x001,       // break first if the text does not fit
    VOTOK_NLBEFORE = 0x002,   // break the line first, always
    VOTOK_NLAFTER = 0x004,    // break the line after the text
    VOTOK_INDENT = 0x008,     // one level deeper after the text
    VOTOK_HANG = 0x010,       // hanging indent grows by the text's length
    VOTOK_UNHANG = 0x020,     // hanging indent back to 0
    VOTOK_DEDENT = 0x040,     // one level out before the text
    VOTOK_WARNING = 0x080,    // "--WARNING: " comment at column 0, then back
    VOTOK_ERROR = 0x100,      // "--ERROR: " comment at column 0, then back
    VOTOK_COMMENT = 0x200,    // "--" comment at column 0
    VOTOK_ICOMMENT = 0x400,   // "--" comment at the current indent
    VOTOK_TRAILING = 0x800,   // "--" comment pushed to the right margin
};

// Where getreply reads answers and writes its questions: standard input
// and standard error, unless a test points them elsewhere.
extern FILE* voreplyin;
extern FILE* voreplyout;

void votok(int mode, const char* text);
// votok of the translator's message `number`, filled with the arguments
// that follow; the text is handed on before the next message is made.
void votokmsg(int mode, int number, ...);
int vofopen(const char* base, const char* ext);
void vofopenini(const char* base, const char* ext);
void vofclose();
void vofilereset(vofile* file);
// "base.ext" in lower case, in a buffer that the next call overwrites.
char* vomerge(const char* base, const char* ext);
char* getreply(const char* prompt, const char* dflt, char* out, int outlen);
int equal(const char* a, const char* b);
