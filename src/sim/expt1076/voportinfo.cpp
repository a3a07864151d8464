// Port information. Stand-in: only the words of the direction codes are
// here; the port records of the pins are not made yet.
#include "voportinfo.h"

const char* voport_dir_string(int code) {
    switch (code) {
        case VOPORT_IN: return "IN";
        case VOPORT_OUT: return "OUT";
        case VOPORT_INOUT: return "INOUT";
        case VOPORT_BUFFER: return "BUFFER";
        case VOPORT_LINKAGE: return "LINKAGE";
        default: return "UnKnownPORT";
    }
}
