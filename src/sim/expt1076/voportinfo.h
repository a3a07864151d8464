// Port information: what a symbol pin becomes as a port of the entity. For
// each pin, voGetPortInfo works out the port's mode (from the pin type),
// name and range (from the label), type, resolution function and default,
// and hangs the record on the pin. Pin types that no table knows are
// learned on the way: the first pin of such a type is an input, the type is
// from then on an INOUT one for the rest of the run.
#pragma once

struct iwsym;
struct iwspin;
struct iwatt;
struct vogroup;
struct vopint;

// Direction codes of pin types and ports.
enum {
    VOPORT_IN = 1,
    VOPORT_OUT = 2,
    VOPORT_INOUT = 4,
    VOPORT_BUFFER = 8,
    VOPORT_LINKAGE = 16,
    VOPORT_UNKNOWN = 32,
};

// A port, one for each pin. Every string is the record's own copy; the
// records live to the end of the run (voPortFreeAll).
struct voPort {
    char* type;   // VHDL type
    char* range;  // VHDL range with its parentheses; null for a scalar port
    char* name;   // the port's name in the model
    char* value;  // the default expression as a literal; null for none
    char* mode;   // "IN", "OUT", "INOUT", "BUFFER" or "LINKAGE"
    char* brf;    // resolution function; null for none
};

// Ports whose labels clash get a suffix from this counter; it is not reset
// between the symbols of a library.
extern int vogenid;

// Makes the port record of `pin` and hangs it on the pin. `parent` is
// always null: a symbol has no level above it.
void voGetPortInfo(iwsym* symbol, iwspin* pin, vogroup* parent);

// A zeroed record, kept for the whole run; not counted in vomemtotal.
voPort* voPortBlock();
// Hangs `port` (made by voPortBlock) on `pin`, in place of any earlier one.
void voHangPort(iwspin* pin, voPort* port);
// The record hung on `pin`, or null.
voPort* voPinPort(const iwspin* pin);
// Releases every record; the pins they hung on have none from then on.
void voPortFreeAll();
// Puts a copy of `text` (null: none) in `field` of the record hung on
// `pin`, in place of the text there.
void voPortSetText(const iwspin* pin, char** field, const char* text);

// The direction code of the pin's type; VOPORT_UNKNOWN without one or for
// a type no table knows, which is then learned as an INOUT type.
int voport_dir(iwspin* pin);
// The VHDL mode of a direction code; "UnKnownPORT" for any other number.
const char* voport_dir_string(int code);
// The pin type of that name (any case): the PIN_TYPE section first, then
// the types entered at run time; null when neither has it.
vopint* vofind_pintype(const char* name);
// Appends a pin type with its own copy of `name` to `list`, unless the
// list holds the name already (any case).
void voaddpintype(const char* name, int dir, vopint** list);

// A new string with the port's name in `out`: the translated base name of
// the label, or, when another pin has the same base name, a name made of
// the whole label.
void voGetPortName(iwsym* symbol, iwspin* pin, char** out);
// A new string with the range of a pin name in `out`, such as
// "(3 downto 0)", or null for a name without a subscript.
void voGetPortRange(const char* name, char** out);
// The value of the pin's VHDL_TYPE in `out` (VO_BUFSIZE bytes, cut there),
// or an empty text.
void voGetPortType(iwspin* pin, char* out);
// A new string with the value of the pin's VHDL_BRF in `out`, or null.
void voGetPortBRF(iwspin* pin, char** out);
// The attribute that gives the pin's default: FLOATVAL, then VHDL_DEFAULT
// of the pin, then the same two of the symbol; null when none does.
iwatt* vodefaultatt(iwsym* symbol, iwspin* pin);
// Reports (1001) when the pin names `a` and `b`, of the same base name,
// overlap; `q` is the pin named `b`.
void vorangecheck(const char* a, const char* b, iwspin* q, iwsym* symbol);
// The bounds of a range text such as "(7 downto 0)"; both 0 without one.
void voGetLeftRightBound(const char* text, int* left, int* right);
