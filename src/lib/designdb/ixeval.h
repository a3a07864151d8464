// The expression evaluator of attribute values. It knows integers, real
// numbers, strings and booleans, and works on the text itself: a text is
// split at its weakest operator and both sides are evaluated the same way,
// so there is no lexer and no tree beyond the nodes of one split. A text
// that is no well-formed constant or expression is a string and comes back
// unchanged, so an ordinary attribute value passes through unharmed.
//
// Failures travel as negative kinds in the nodes and come back from
// ixevaluate; nothing is thrown and nothing is reported. A node's text
// holds at most IX_TEXTMAX - 1 bytes, which also bounds the depth of the
// evaluation: every split makes the texts shorter.
#pragma once
#include <cstdint>

constexpr int IX_TEXTMAX = 512;  // bytes of a node's value area

// Kinds of a node; a negative kind is one of the codes below.
enum : int32_t {
    IX_FRESH = -1,  // as ixalloc makes it
    IX_TEXT = 0,    // text not yet evaluated, or an operator
    IX_BOOLEAN = 1,
    IX_CHARACTER = 2,
    IX_INTEGER = 3,
    IX_STRING = 4,
    IX_REAL = 5,
    IX_SCIENTIFIC = 7,  // a real number written with an exponent
};

// Error codes, as kinds.
enum : int32_t {
    IX_ILLEGALCONST = -7,
    IX_QUOTES = -6,
    IX_PARENS = -5,
    IX_OPERANDS = -4,
    IX_OPERATOR = -3,
    IX_TOOLONG = -2,
};

struct ixnode {
    int32_t kind;
    union {
        int32_t integer;  // boolean (non-zero is true) and integer
        char character;
        double real;  // real and scientific
        // Text and string. One byte more than the area, so that a joined
        // string of the full IX_TEXTMAX bytes keeps its terminator.
        char text[IX_TEXTMAX + 1];
    } value;
};

// Evaluates `text` and writes the result into `out`, of `size` bytes,
// which always ends terminated at its last byte. Returns the result's
// kind, or a negative code; after a code other than IX_PARENS `out` holds
// the original text. Unbalanced brackets are found before anything else and
// leave `out` as it was but for its last byte. A size of 0 or below writes
// nothing and gives IX_TOOLONG.
int ixevaluate(char* out, const char* text, int size);

// The words of a kind or a code: "Integer result", "Mismatched
// parenthesis", ..., "Error of undefined type" for anything else.
const char* ixgetmsg(int code);

// A part of the text node `node`: `mode` '1' is the left part, or the
// constant when the text holds no operator; '2' the right part, null when
// there is none; 'o' the operator, null when there is none. A malformed
// text gives a node of a negative kind in any mode.
ixnode* ixclassify(int mode, ixnode* node);

// The priority of the operator at the start of `text`, -1 for none. A
// lower number binds less tightly.
int ixepriority(const char* text);

// Applies a binary operator: gives back `left` with the result and frees
// the other two nodes.
ixnode* ixbinary(ixnode* left, ixnode* op, ixnode* right);
// Applies a unary operator: gives back `operand` with the result and frees
// `op`.
ixnode* ixunary(ixnode* op, ixnode* operand);

// A fresh node, of kind IX_FRESH; released with ixfree.
ixnode* ixalloc();
void ixfree(ixnode* node);
