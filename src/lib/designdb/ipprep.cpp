// The attribute expression preprocessor. A reference is an "@" that starts
// a name: one inside a quoted text is part of a string, and one behind a
// name character (A@B, @@X) belongs to the word in front of it.
#include "ipprep.h"

#include <cstring>

namespace {
// Letters and digits are ASCII ones, whatever the locale.
bool continuesName(unsigned char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_' ||
           c == '@';
}
}  // namespace

int ipvarref(const char* text) {
    if (!text || !std::strchr(text, '@')) return IP_OK;
    bool quoted = false;
    for (const char* p = text; *p; ++p) {
        if (*p == '"') {
            quoted = !quoted;
        } else if (*p == '@' && !quoted &&
                   (p == text || !continuesName(static_cast<unsigned char>(p[-1])))) {
            return IP_VARREF;
        }
    }
    return IP_OK;
}
