// Fuzz target of the expression evaluator. The first byte of an input
// chooses the size of the output buffer, the rest is the text. Whatever the
// text, the output stays in its buffer and ends terminated, the result is
// a kind or a code the evaluator knows, and an error gives back the text.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "ixeval.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    // Mostly small buffers, which cut results; now and then a large one.
    int room = data[0] == 255 ? 4096 : data[0] + 1;
    std::string text(reinterpret_cast<const char*>(data + 1), size - 1);
    std::unique_ptr<char[]> out(new char[room]);
    std::memset(out.get(), 'x', room);

    int kind = ixevaluate(out.get(), text.c_str(), room);
    if (out[room - 1] != '\0') std::abort();
    switch (kind) {
        case IX_QUOTES:
        case IX_OPERANDS:
        case IX_OPERATOR:
        case IX_TOOLONG: {
            // The text as it stands, up to its first zero byte, cut to fit.
            std::string expected = std::string(text.c_str()).substr(0, room - 1);
            if (expected != out.get()) std::abort();
            break;
        }
        case IX_PARENS:
        case IX_BOOLEAN:
        case IX_INTEGER:
        case IX_STRING:
        case IX_REAL:
        case IX_SCIENTIFIC:
            break;
        default:
            std::abort();
    }
    return 0;
}
