// Port information: what a symbol pin becomes as a port of the entity.
#pragma once

// Direction codes of pin types and ports.
enum {
    VOPORT_IN = 1,
    VOPORT_OUT = 2,
    VOPORT_INOUT = 4,
    VOPORT_BUFFER = 8,
    VOPORT_LINKAGE = 16,
    VOPORT_UNKNOWN = 32,
};

// The VHDL mode of a direction code; "UnKnownPORT" for any other number.
const char* voport_dir_string(int code);
