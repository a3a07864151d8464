// Value evaluation: an attribute value, free text, becomes a VHDL literal
// of the type it is for. The quotes the type demands are put on, a pair
// the symbol's author wrote around the whole value is taken off, and a
// reference to another attribute (@NAME) becomes the VHDL name that
// attribute's generic has.
#pragma once

// The literal for `value` (null: "OPEN") of the VHDL type `type` (null: no
// quotes), in vodata.buf: use or copy it before that buffer's next use.
char* voeval(const char* value, const char* type);
