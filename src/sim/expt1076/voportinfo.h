// Port information: what a symbol pin becomes as a port of the entity, and
// the tables of pin types that give a port its mode.
#pragma once

struct iwsym;
struct iwspin;
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

// The port of one symbol pin, hung on the pin under tag 5. All strings are
// private copies.
struct voPort {
    char* type;
    char* range;  // with its parentheses; null for a scalar port
    char* name;   // the port's name in the model
    char* value;  // the default expression, or null
    char* mode;   // "IN", "OUT", "INOUT", "BUFFER" or "LINKAGE"
    char* brf;    // the resolution function of VHDL_BRF, or null
};

// Makes the port record of `pin` and hangs it on the pin. `parent` is null.
void voGetPortInfo(iwsym* symbol, iwspin* pin, vogroup* parent);
// The VHDL mode of a direction code; "UnKnownPORT" for any other number.
const char* voport_dir_string(int code);
// The pin type `name` (any case): PIN_TYPE entries first, then the types
// entered at run time; null when neither holds it.
vopint* vofind_pintype(const char* name);
// Appends the pin type `name` with direction `dir` to the list, unless the
// list holds that name already (any case). The entry holds its own copy.
void voaddpintype(const char* name, int dir, vopint** list);
