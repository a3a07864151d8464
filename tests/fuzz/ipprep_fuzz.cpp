// Fuzz target of the attribute preprocessor. The first byte of an input
// chooses the size of the output buffers; the rest up to a zero byte is
// read as a variable file, and what follows the zero byte (without one,
// the same bytes) is the text to expand and evaluate with those
// definitions. Whatever the definitions, the expansion ends, stays in its
// buffers, leaves a text without references as it is, and gives only the
// codes it knows.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "fuzzfile.h"
#include "ipprep.h"

namespace {

void check(bool ok) {
    if (!ok) std::abort();
}

// A buffer of exactly `room` bytes, filled with a mark, so that the
// sanitizer sees a write past it and the checks see a missing terminator.
std::unique_ptr<char[]> buffer(int room) {
    std::unique_ptr<char[]> out(new char[room]);
    std::memset(out.get(), 'x', room);
    return out;
}

bool terminated(const char* out, int room) {
    return std::memchr(out, '\0', room) != nullptr;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    int room = data[0] == 255 ? 2048 : data[0] + 1;
    const char* rest = reinterpret_cast<const char*>(data + 1);
    size_t length = size - 1;
    const char* zero = static_cast<const char*>(std::memchr(rest, '\0', length));
    size_t fileLength = zero ? static_cast<size_t>(zero - rest) : length;
    std::string text = zero ? std::string(zero + 1, rest + length) : std::string(rest, length);
    text = text.c_str();  // up to a zero byte, as the calls see it

    check(ipinit(nullptr) == IP_OK);
    // Made afresh each time: a file cut to nothing and written again is
    // flushed to the disk at its close, which costs milliseconds.
    static std::string last;
    static const bool tidy = std::atexit([] { std::remove(last.c_str()); }) == 0;
    (void)tidy;
    if (!last.empty()) std::remove(last.c_str());
    std::string file = last = fuzzFile(".var", data + 1, fileLength);
    file.resize(file.size() - 4);
    int loaded = ipincfile(file.c_str());
    check(loaded == IP_OK || loaded == IP_TWICE);

    auto out = buffer(room);
    int status = ipexpand(out.get(), text.c_str(), room);
    check(status == IP_OK || status == IP_UNDEFINED || status == IP_TOOLONG ||
          status == IP_RECURSIVE);
    if (status != IP_TOOLONG) check(terminated(out.get(), room));
    if (ipvarref(text.c_str()) == IP_OK && text.size() < static_cast<size_t>(room) &&
        text.size() < static_cast<size_t>(IP_TEXTMAX))
        check(status == IP_OK && text == out.get());

    out = buffer(room);
    int result = ipevaluate(out.get(), text.c_str(), room);
    check((result >= -7 && result <= -2) || result == IP_OK || result == IP_UNDEFINED ||
          result == IP_TOOLONG || result == IP_RECURSIVE);
    check(terminated(out.get(), room));

    ipfinfile();
    return 0;
}
