// The reader of the initialization file entgen.ini. It finds the file in
// the current directory or along the search list, checks the version line,
// splits the text into statements (a `|` starts a comment, a `+` at the
// head of a line continues the statement above) and hands each statement
// to the parser of its section. A bad statement costs one report and the
// reading goes on; only a missing or bad version line ends the run.
#pragma once

// The section keywords, compared exactly; index 0 is the version line.
extern const char* keyword[20];

// Results of voinitok.
constexpr int VOINI_SAMELINE = 5;  // the token continues the statement
constexpr int VOINI_NEWLINE = 4;   // the token begins the next statement
constexpr int VOINI_EOF = -1;      // the file ended before a token

// Tokens are at most this long; the rest of a longer word is dropped.
constexpr int VOINI_TOKENMAX = 255;

// Token sets used by more than one statement: a plain word, and the
// characters passed over in front of any token.
constexpr const char* VOINI_PLAIN = "|\n \t";
constexpr const char* VOINI_BLANKS = " \t";

// Makes vodata.ini and fills it from the file `name`; without the file the
// record keeps its defaults and warning 601 is made. Returns 1 when a file
// was read, 0 when none was found.
int voreadini(const char* name);

// Reads one token of the open file into vodata.buf: passes over `skips`,
// stops in front of a character of `delims`; a delimiter met at once is a
// token of its own. Comments and continuation marks never reach the caller.
// The first token of a line is read as a plain word whatever the sets.
int voinitok(const char* delims, const char* skips);

// Ends a statement whose operands were all read; `result` is that of the
// token behind the last operand. A token on the same line is extra text:
// warning 609, and the rest of the line is dropped. Returns the result of
// the next statement's first token.
int voiniend(int result, const char* key);

// Drops what is left of the current statement without a report.
int voiniskip(int result);
