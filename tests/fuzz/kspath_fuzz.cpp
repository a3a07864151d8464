// The path grammar: the lines of the input are paths and parts of paths.
// The first goes through every call that splits, joins, climbs, converts or
// makes a path absolute, and the status calls; the others are the parts
// that a join or a level takes. The second, when it holds no '/', is also
// a pattern listed in a directory of a few files. Outputs are buffers of
// exactly a path's size, so that a write past one is seen.
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "fuzzsupport.h"
#include "kspath.h"

namespace {
using Path = char[KS_PATHMAX];

bool fits(const char* text) {
    return std::memchr(text, '\0', KS_PATHMAX) != nullptr;
}

// `text` cut to a path, in a buffer of its own, for the calls that work in place.
void load(Path buf, const std::string& text) {
    size_t n = text.size() < KS_PATHMAX - 1 ? text.size() : KS_PATHMAX - 1;
    std::memcpy(buf, text.data(), n);
    buf[n] = '\0';
}

void grammar(const std::string& a, const std::string& b, const std::string& c) {
    Path dev, dir, name, ext, out;
    if (ksParse(a.c_str(), dev, dir, name, ext) == KS_OK) {
        FUZZ_CHECK(fits(dir) && fits(name) && fits(ext) && !*dev);
        FUZZ_CHECK(!std::strchr(name, '/') && !std::strchr(ext, '/'));
        FUZZ_CHECK(std::strlen(dir) + std::strlen(name) + std::strlen(ext) <= a.size());
    }
    if (ksParse2(a.c_str(), nullptr, dir, name) == KS_OK) FUZZ_CHECK(fits(dir) && fits(name));
    if (ksMerge(out, "", a.c_str(), b.c_str(), c.c_str()) == KS_OK) FUZZ_CHECK(fits(out));
    if (ksMerge(out, nullptr, nullptr, a.c_str(), nullptr) == KS_OK) FUZZ_CHECK(fits(out));

    Path buf;
    load(buf, a);
    if (ksDnpath(buf, b.c_str()) == KS_OK && !b.empty()) {
        size_t n = std::strlen(buf);
        FUZZ_CHECK(n > 0 && buf[n - 1] == '/');
    }
    load(buf, a);
    if (ksUppath(buf, name) == KS_OK) FUZZ_CHECK(fits(buf) && fits(name));

    if (ksConvPath(a.c_str(), out) == KS_OK)
        FUZZ_CHECK(!std::strstr(out, "//") && !std::strchr(out, '\\'));
    if (ksAbsPath2(a.c_str(), out) == KS_OK) FUZZ_CHECK(out[0] == '/');
    load(buf, a);
    if (ksAbsPath(buf) == KS_OK) FUZZ_CHECK(buf[0] == '/');
}

void status(const std::string& a) {
    uint32_t time = 0;
    long bytes = 0;
    int kind = 0;
    if (ksInfo(a.c_str(), &time, &bytes, &kind) == KS_OK)
        FUZZ_CHECK(kind == KS_DIR || kind == KS_FILE);
    ksExists(a.c_str(), KS_ANY);
    Path out;
    if (ksExists2(a.c_str(), KS_ANY, out) == KS_OK) FUZZ_CHECK(out[0] == '/');
}

int countMatch(const char* path, void* data) {
    FUZZ_CHECK(path && fits(path));
    ++*static_cast<int*>(data);
    return 1;
}

// A pattern is listed only inside the working directory: elsewhere the
// listing would depend on the machine (and could be as large as it likes).
void listing(const std::string& pattern) {
    if (pattern.find('/') != std::string::npos) return;
    std::string full = fuzzWorkDir() + "/lib/" + pattern;
    int seen = 0;
    int st = ksLoop2(full.c_str(), KS_ANY, countMatch, &seen);
    FUZZ_CHECK(st != KS_OK || seen > 0);
    ksLoop2(full.c_str(), KS_FILE, nullptr, nullptr);
}
}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    fuzzSetup();
    std::filesystem::create_directory(fuzzWorkDir() + "/lib");
    for (const char* f : {"and2.1", "and2.2", "inv.1", ".hidden", "a b.x", "or3"})
        fuzzWriteFile((std::string("lib/") + f).c_str(), nullptr, 0);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzInWorkDir here;
    std::vector<std::string> lines = fuzzLines(data, size);
    lines.resize(lines.size() < 3 ? 3 : lines.size());
    for (std::string& line : lines) line = line.c_str();  // each line up to its first zero
    grammar(lines[0], lines[1], lines[2]);
    status(lines[0]);
    listing(lines[1]);
    return 0;
}
