// Value evaluation: attribute values turned into VHDL literals of their
// type, and defaults of TIME generics into VHDL times. Up to its first
// zero byte an input is the body of an entgen.ini (behind a version line),
// which gives the translations of references and the TICKSIZE and DELAY
// settings; each line behind the zero byte (the whole input without one)
// is a value behind a byte that chooses its type (a digit, for the seeds);
// an empty line is a missing value. Each value is evaluated as a port default or attribute
// is, and as a generic's default is, through the time conversion when its
// type is TIME. A reference whose translation can't fit ends the run, as
// it must; nothing else may.
#include <cstring>
#include <string>

#include "fuzzsupport.h"
#include "ipprep.h"
#include "ktmsg.h"
#include "ktstr.h"
#include "vgstruct.h"
#include "voeval.h"
#include "vogencl.h"
#include "vomain.h"
#include "voreadini.h"
#include "votr.h"

namespace {
struct Type {
    const char* name;
    char quote;
};
constexpr Type kTypes[] = {
    {nullptr, 0},    {"string", '"'},    {"BIT_VECTOR", '"'}, {"ktbit_2d", '"'},
    {"bit", '\''},   {"std_logic", '\''}, {"integer", 0},     {"TIME", 0},
    {"time", 0},     {"natural", 0},
};
constexpr size_t kTypeCount = sizeof kTypes / sizeof kTypes[0];

void checkTime(const char* text) {
    FUZZ_CHECK(votimeunit(text) == 0 || votimeunit(text) == 1);
    char* t = votimeval(text);
    FUZZ_CHECK(t);
    // A text with no unit comes back as it is, whatever its length, and so
    // does one that is no time the conversion reads; a converted time is
    // one number and its unit.
    if (!votimeunit(text))
        FUZZ_CHECK(std::strcmp(t, text) == 0 || ktStrIcmp(text, "OPEN") == 0);
    else
        FUZZ_CHECK(std::strcmp(t, text) == 0 || std::strlen(t) < 1024);
    ktStrFree(t);
}

void evaluate(const std::string& line) {
    // The digits choose in order: "7" is TIME.
    const Type& type =
        kTypes[line.empty() ? 0 : static_cast<unsigned char>(line[0] - '0') % kTypeCount];
    std::string value = line.empty() ? "" : line.substr(1);
    const char* v = line.empty() ? nullptr : value.c_str();
    const char* r = voeval(v, type.name);
    FUZZ_CHECK(r == vo->buf);
    const size_t n = std::strlen(r);
    FUZZ_CHECK(n > 0 && n < VO_BUFSIZE);
    if (!v) {
        FUZZ_CHECK(std::strcmp(r, "OPEN") == 0);
    } else if (type.quote && std::strcmp(r, "\"\"") != 0) {
        FUZZ_CHECK(r[0] == type.quote && r[n - 1] == type.quote);
    } else if (!type.quote && !value.empty() && value[0] != '"' && ipvarref(v) != IP_VARREF) {
        // A bare value with nothing to translate stays as it is, cut to fit.
        FUZZ_CHECK(value.compare(0, VO_BUFSIZE - 2, r) == 0);
    }
    // A generic's default: the literal, and for TIME its conversion.
    if (type.name && ktStrIcmp(type.name, "TIME") == 0) {
        std::string literal = r;
        checkTime(literal.c_str());
        checkTime(value.c_str());
    }
}
}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    fuzzTranslatorSetup();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzInWorkDir here;
    const long before = vomemtotal, empties = fuzzEmptyCopies;
    const auto* zero = static_cast<const uint8_t*>(std::memchr(data, 0, size));
    votrsetup();
    if (zero) {
        std::string ini = "ENTGEN 5.3.1\n" + std::string(reinterpret_cast<const char*>(data),
                                                         static_cast<size_t>(zero - data));
        fuzzWriteFile("entgen.ini", reinterpret_cast<const uint8_t*>(ini.data()), ini.size());
        // A later version line may still end the reading; what was read stays.
        if (fuzzCatchExit([] { voreadini("entgen.ini"); }) >= 0) {
            std::fclose(vo->ini->fp);
            vo->ini->fp = nullptr;
        }
        size -= static_cast<size_t>(zero + 1 - data);
        data = zero + 1;
    } else {
        vo->ini = voinibloc();
    }
    std::vector<std::string> lines = fuzzLines(data, size);
    const int code = fuzzCatchExit([&] {
        for (const std::string& line : lines) evaluate(line.c_str());
    });
    FUZZ_CHECK(code == -1 || code == 4);
    votrfree();
    voinifree(vo->ini);
    vo->ini = nullptr;
    // Every byte taken is given back, but for empty copies left counted.
    FUZZ_CHECK(vomemtotal >= before && vomemtotal - before <= fuzzEmptyCopies - empties);
    return 0;
}
