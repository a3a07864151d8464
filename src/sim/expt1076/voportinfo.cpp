// Port information. Stand-in: only the words of the direction codes are
// here; the port records of the pins are not made yet.
#include "voportinfo.h"

namespace {
struct Direction {
    int code;
    const char* word;
};
constexpr Direction kDirections[] = {
    {VOPORT_IN, "IN"},         {VOPORT_OUT, "OUT"},         {VOPORT_INOUT, "INOUT"},
    {VOPORT_BUFFER, "BUFFER"}, {VOPORT_LINKAGE, "LINKAGE"},
};
}  // namespace

const char* voport_dir_string(int code) {
    for (const Direction& d : kDirections)
        if (d.code == code) return d.word;
    return "UnKnownPORT";
}
