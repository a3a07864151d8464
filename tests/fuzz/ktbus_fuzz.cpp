// Fuzz target of the bus syntax. Each input is a bus text: its iteration
// ends within its width, the width counts what the iteration makes, and a
// fault ends both on the same status; a text is a subset of itself.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "ktbus.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string text(reinterpret_cast<const char*>(data), size);
    text.resize(text.find('\0') == std::string::npos ? text.size() : text.find('\0'));
    ktBusExpandRepsep(size % 2 ? " ," : ",");

    int width = ktBusExpandWidth(text.c_str());
    int status = ktBusExpandStatus();
    // A refused width may stand for any number of members: not iterated.
    if (status == KT_BUS_TOOLARGE || (status == KT_BUS_OK && width == 0)) return 0;
    char out[256];
    long members = 0;
    for (vecrec* it = ktBusExpand(nullptr, text.c_str(), out, sizeof out); it;
         it = ktBusExpand(it, text.c_str(), out, sizeof out)) {
        if (++members > KT_BUS_MAXWIDTH) std::abort();
    }
    int ended = ktBusExpandStatus();
    if (status == KT_BUS_OK && ended == KT_BUS_OK && members != width) std::abort();
    // The iteration reads one item at a time: a name too long for `out` ends
    // it before it reaches a later item's fault, which the width saw.
    if (status != KT_BUS_OK && ended != status && ended != KT_BUS_NOROOM) std::abort();
    if (status == KT_BUS_OK && ended == KT_BUS_OK && !ktBusExpandSubset(text.c_str(), text.c_str()))
        std::abort();
    return 0;
}
