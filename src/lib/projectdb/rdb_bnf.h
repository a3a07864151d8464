// A parser driven by tables, for files of nested forms:
//
//     (keyword item item (keyword ...) ...)
//
// A grammar is given as rules in a small notation, one rule per keyword,
// and compiled once into two tables: keywords (forms, groups, tokens,
// literal words) and grammar entries (sequences of items, each a chain of
// alternatives). bnfReadFile reads a file against those tables into a tree
// of forms and tokens, the object table, reporting each fault with its
// line; the caller then walks the tree with the bnfGet and bnfFind calls.
//
// Notation of a rule's contents: items parted by ";", each one of
//   name           a form or group of that name, or a token: identifier,
//                  integertoken, stringtoken
//   'word'         a literal word
//   [ a | b ]      optional
//   ( a | b )      exactly one
//   { a | b }      any number, in any order
// and inside a group an alternative followed by (1) may occur at most once.
//
// Text of a file: white space is blank, tab and line feed; ";" where a
// token could begin starts a comment to the end of the line; a string is
// text between double quotes, over several lines if need be, with no
// escape, shorter than 4096 bytes; a word of a "-" or a digit followed by
// digits only is an integer, any other word an identifier of letters,
// digits and underscores, with a leading "&" dropped. Keywords compare
// without regard to case. Lines are read up to 4095 characters.
#pragma once
#include <cstdint>
#include <cstdio>

// Keyword kinds.
enum : int {
    BNF_FORM = 1,
    BNF_ENDFORM = 2,
    BNF_GROUP = 3,
    BNF_INTEGER = 4,
    BNF_STRING = 5,
    BNF_IDENT = 6,
    BNF_LITERAL = 7,
};
// Fixed keyword numbers: entry 0 is a dummy.
enum : int {
    BNF_KW_ENDFORM = 1,
    BNF_KW_INTEGER = 2,
    BNF_KW_STRING = 3,
    BNF_KW_IDENT = 4,
    BNF_KW_GOAL = 5,  // the first rule
};
// Grammar entry flags.
enum : int {
    BNF_REQUIRED = 1,
    BNF_OPTIONAL = 2,
    BNF_ISLITERAL = 4,
    BNF_ONCE = 8,
    BNF_ONEOF = 16,
    BNF_GROUPOPT = 32,
    BNF_REPEAT = 64,
    BNF_FIRST = 128,
};

struct bnfKeyword {
    char name[32];
    int used;   // 0: the parser passes over such a form and its contents
    int kind;   // BNF_FORM ...
    int first;  // first grammar entry of a form's or group's contents; 0 for none
};

struct bnfGrammar {
    int keyword;
    int flags;
    int count;  // not used by this parser: counts live with each form it reads
    int alt;    // next alternative of the same item, or 0
    int next;   // first entry of the next item of the sequence, or 0
};

struct bnfDescriptor {
    const bnfGrammar* grammar;
    int grammarSize;
    const bnfKeyword* keywords;
    int keywordSize;
    int pageSize;  // entries in a page of the object table
};

// A rule: a keyword, form or group, and its contents in the notation above.
struct bnfRule {
    const char* name;
    int kind;  // BNF_FORM or BNF_GROUP
    const char* contents;
    int used;
};

// Compiles `rules` into tables that live to the end of the process; the
// first rule is the goal, and rule i has keyword number BNF_KW_GOAL + i.
// Literal words follow the rules. Returns 0, or throws (tag 1) for a fault
// of the notation, which names the rule.
int bnfBuildTables(const bnfRule* rules, int count, bnfDescriptor* out);
// The number of a keyword by name, without regard to case; 0 for none.
int bnfFindKeyword(const bnfDescriptor* desc, const char* name);

// An entry of the object table: a form, a token or a literal.
struct bnfObject {
    int type;        // the keyword number: the form, the token kind or the literal
    intptr_t value;  // an integer, or the text of a string or identifier
    bnfObject* prev;
    bnfObject* next;
    bnfObject* link;  // a form's first child
    int line;
};

// Messages of the parser, by code.
enum : int {
    BNF_ERR_BUFFER = 1,
    BNF_ERR_ENDFORM = 2,
    BNF_ERR_QUOTES = 3,
    BNF_ERR_EOF = 4,
    BNF_NOTE_SKIP = 5,
    BNF_ERR_REQUIRED = 6,
    BNF_WARN_EARLYEND = 7,
    BNF_ERR_EXPECTEND = 8,
    BNF_WARN_SEMANTIC = 9,
    BNF_ERR_SYNTAX = 10,
    BNF_ERR_ONCE = 11,
    BNF_ERR_FORM = 12,
    BNF_ERR_GOAL = 13,
    BNF_ERR_TOOMANY = 99,
};

struct bnfPage;
struct bnfParser {
    const bnfDescriptor* desc;
    char* file;    // the path to read; set by the caller
    FILE* stream;  // open while reading
    bnfPage* pages;
    bnfObject* root;  // children: the goal form
    int errors;
    int warnings;
    int line;  // of the scanner
};

// A report of the parser: code, then up to two texts of its message.
using bnfParseErrFn = void (*)(bnfParser* parser, int code, const char* a, const char* b);
using bnfWriteMsgFn = void (*)(const char* text);

bnfParser* bnfNewParser(const bnfDescriptor* desc);
// Empties the parser for another file.
void bnfReinitParser(bnfParser* parser);
// Parses the file named in the parser. Returns the number of errors; 1
// when the file can't be opened.
int bnfReadFile(bnfParser* parser);
// Closes the file and frees the tables.
void bnfExitParser(bnfParser* parser);

// The default report: the level, the file, the line and the message, put
// out through bnfWriteMsg.
void bnfParseErr(bnfParser* parser, int code, const char* a, const char* b);
// Replaces the report function; null puts the default back.
void bnfRegisterParseErr(bnfParseErrFn fn);
// Writes text: on standard output, unless replaced.
void bnfWriteMsg(const char* text);
void bnfRegisterWriteMsg(bnfWriteMsgFn fn);

// ---- The tree ----------------------------------------------------------------
// `object` null stands for the root, whose one child is the goal form.
bnfObject* bnfFindFirst(bnfParser* parser, bnfObject* object, int keyword);
// The next sibling with the same keyword.
bnfObject* bnfFindNext(bnfParser* parser, bnfObject* object);
// The child form of `keyword` that occurs once: null with status 13 when
// there is none.
bnfObject* bnfGetOid(bnfParser* parser, bnfObject* object, int keyword, int* status);
// The first child and its type; null with status 13 when there is none.
bnfObject* bnfGetFirstobj(bnfParser* parser, bnfObject* object, int* type, int* status);
// The first identifier among the children, its text in `out`; returns its
// place for the Next calls, or null.
bnfObject* bnfGetObjIdent(bnfParser* parser, bnfObject* object, const char** out);
bnfObject* bnfGetFirstStrtok(bnfParser* parser, bnfObject* object, const char** out);
bnfObject* bnfGetNextStrtok(bnfParser* parser, bnfObject* place, const char** out);
// The text of a string or identifier entry, or null.
const char* bnfGetStrtok(bnfParser* parser, bnfObject* object);
bnfObject* bnfGetFirstInttok(bnfParser* parser, bnfObject* object, int* out);
bnfObject* bnfGetNextInttok(bnfParser* parser, bnfObject* place, int* out);
// Literals: their keyword numbers.
bnfObject* bnfGetFirstLitval(bnfParser* parser, bnfObject* object, int* keyword);
bnfObject* bnfGetNextLitval(bnfParser* parser, bnfObject* place, int* keyword);
// The name of a keyword.
const char* bnfKeywordName(const bnfParser* parser, int keyword);
