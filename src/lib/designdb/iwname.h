// Names of the design database. Every name and value of a design object is
// interned here in upper case (only ASCII letters are folded); the strings
// live as long as the session's pool. Names are equal when their texts are; two calls
// with the same text need not give the same pointer.
#pragma once
#include <cstdint>

// Buckets of the name table.
constexpr uint32_t IW_NAMEBUCKETS = 10061;

// A stored upper-case copy of `text`; null stands for the empty text.
char* iwmkname(const char* text);
// The name hash: h = h * 10 + byte (a signed byte, lower case folded to
// upper), over 32 unsigned bits, modulo `count`.
uint32_t iwhash(const char* text, uint32_t count);
// Forgets the name table; the names' storage goes with the pool.
void iwdelnames();
// 1 for "@DATETIME", "@NAME", "@SHEET" and "@XYCOORD" exactly, else 0.
int iwsysatt(const char* name);
