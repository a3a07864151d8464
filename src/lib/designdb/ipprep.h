// The attribute expression preprocessor: variables in attribute values. A
// variable's name begins with "@"; a value that names one is a reference to
// be replaced by the variable's value before the value is evaluated. The
// translator reads values as plain text and only asks whether a value
// refers to a variable at all.
//
// Variables are defined by attributes of a symbol whose names begin with
// "@" and by the lines of variable files (<name>.var). They live in a table
// of levels: level 99 holds the global definitions of "@@" lines, the
// others the definitions made while Iplevel names them. A look-up tries
// level 99, then Iplevel down to 1, then 0, and the first definition found
// wins; a name defined twice keeps its first value. Faults never stop
// anything: every call returns a status, and ipgetmsg gives its words.
#pragma once
#include <cstdio>

struct iwatt;
struct iwgroup;

// Status codes of the preprocessor. Negative codes are the evaluator's.
enum {
    IP_OK = 0,
    IP_TWICE = 3,      // a name was defined twice with different values
    IP_UNDEFINED = 4,  // a referenced variable has no definition
    IP_TOOLONG = 5,    // the expanded text is too long
    IP_VARDEF = 6,     // the name is a variable definition
    IP_VARREF = 7,     // the text holds a variable reference
    IP_RECURSIVE = 8,  // a variable refers to itself, directly or through others
    IP_NONAME = 9,     // a definition without a name
    IP_NOFILE = 10,    // no variable file was found
};

constexpr int IP_LEVELS = 100;  // levels 0 to 99
constexpr int IP_GLOBAL = 99;   // the level of "@@" definitions
constexpr int IP_BUCKETS = 23;  // of a level, chosen by iwhash
constexpr int IP_TEXTMAX =
    1024;  // an expanded text and a line of a variable file, terminator included
// References one expansion may follow. A definition made of references to
// others can double its work with each level and yield nothing at all; an
// expansion that needs more than this many is refused as too long.
constexpr int IP_EXPANDMAX = 65536;

// One definition. It owns neither text: an attribute's are interned, a
// variable file's belong to the file definitions until ipfinfile.
struct ipentry {
    const char* name;
    const char* value;
    ipentry* next;  // of the bucket, in ascending byte order of names
};

struct iplevel {
    ipentry* buckets[IP_BUCKETS];
};

// IP_LEVELS slots, each null until its level gets a definition; null
// before ipinit and after ipfinish.
extern iplevel** Iptable;
// The level of new definitions and of the look-up's middle step; 0.
extern int Iplevel;

// ---- the table -------------------------------------------------------------------

// Empties the table (through ipfinish when there is one) and sets Iplevel
// to 0. With a group, adds the variable definitions of the attributes of
// all its symbols, in the order of the symbols and of their attribute
// lists. The first non-zero code of ipaddlist ends it and is returned, else
// IP_OK.
int ipinit(iwgroup* group);
// Releases the file definitions, the scratch buffers and the table.
void ipfinish();
// Releases the texts of the file definitions, and takes the definitions
// that point to them out of the table.
void ipfinfile();
// Reads the variable file `name`.var: from the current directory, else
// through the project database (the libraries of the view), else from a
// directory of KDIR. Lines whose first non-white byte is "@" define: "@NAME
// = value" at Iplevel, "@@NAME = value" at level 99, upper-cased. IP_NOFILE
// when there is no file (or the name can't be one), IP_TWICE when a line
// failed (the others still count), else IP_OK.
int ipincfile(const char* name);
// ipaddatt for each attribute of the list; the first non-zero code stops
// it and is returned.
int ipaddlist(iwatt* attributes);
// Adds the attribute as a definition when its name is that of a variable
// (ipvardef); else IP_OK.
int ipaddatt(iwatt* attribute);
// Adds a definition at Iplevel; a null value is the empty text. The table
// keeps the pointers: the texts must outlive the definition. IP_NONAME for
// a null name; IP_TWICE, keeping the first, for a name defined already
// with another value; else IP_OK.
int ipadddef(const char* name, const char* value);
// IP_VARDEF when `name` begins with "@" and is none of the system
// attributes "@DATETIME", "@NAME", "@SHEET", "@XYCOORD"; else IP_OK.
int ipvardef(const char* name);
// IP_VARREF when `text` holds a variable reference: an "@" outside double
// quotes that is the first byte or does not follow a letter, digit, "@" or
// "_". Otherwise (a null text too) IP_OK.
int ipvarref(const char* text);
// The value of the variable `name` (matched exactly; stored names are
// upper case), or null.
const char* ipgetvar(const char* name);

// ---- expansion and evaluation -------------------------------------------------------

// Writes `text` with its references replaced by the variables' values into
// `out`, when the result is shorter than `size`. A reference is the
// longest run of letters, digits, "@" and "_" from its "@"; a value is
// expanded in turn, as a text of its own. Returns IP_OK; IP_UNDEFINED,
// with the reference left as written; IP_RECURSIVE, the text cut behind
// the name met again; IP_TOOLONG when the result reaches IP_TEXTMAX bytes
// (it is cut there) or doesn't fit `size` (`out` is left alone). Of
// several faults the last one stands.
int ipexpand(char* out, const char* text, int size);
// Evaluates an attribute value: its references expanded, then the
// evaluator's result, in `out` of `size` bytes. 0 on success; a status of
// ipexpand, with the expanded text in `out`; or a negative code of the
// evaluator, with the text as it was in `out`. A text without references
// is evaluated as its first IP_TEXTMAX - 1 bytes.
int ipevaluate(char* out, const char* text, int size);
// The words of a code: the design database's message 334 + code for 0
// and the codes 3 to 10, whose one argument is the text the code concerns
// (a value, a variable's name, the name of a variable file); the
// evaluator's words for a negative code, and its "Error of undefined type"
// for any other. Good until the next message.
const char* ipgetmsg(int code, ...);

// ---- files and buffers ------------------------------------------------------------

// Opens the variable file "[alias:]name.var" through the project database:
// resolved along the libraries of the view (that of the alias only, when
// there is one). The open stream, or null.
FILE* iwvarfopen(const char* path);
// fopen.
FILE* iwfileopen(const char* path, const char* mode);

// Scratch buffers of the preprocessor: a free buffer of the same size is
// reused; nothing is cleared. A pointer that is no buffer is ignored.
void* ipqkalloc(int size);
void ipqkfree(void* buffer);
void ipqkpurge();
