// Name translation: each line of the input is a schematic name, except for
// lines that configure the translation as entgen.ini would:
//   =c<from> <to>   a character translation
//   =w<from> <to>   a whole-name translation
//   =p<prefix>      the prefix
//   =i              note the pairs for an initialization file to write
// Every name is translated, then again (a name seen before must give the
// same text, but for case), its own result is translated, its bus base and
// file name are taken; the collision test closes the input. The table of names and
// the configuration are released after each input.
//
// A translation longer than its buffer ends the run, as it must; names and
// texts are held short enough here that none can reach it.
#include <cstring>
#include <string>

#include "fuzzsupport.h"
#include "ktmsg.h"
#include "ktstr.h"
#include "vgstruct.h"
#include "vomain.h"
#include "votr.h"

namespace {
constexpr size_t kNameMax = 256;  // four characters of output at most for each
constexpr size_t kCharToMax = 4;
constexpr size_t kWordToMax = 256;
constexpr size_t kFromMax = 32;
constexpr size_t kPrefixMax = 16;

// The records' release leaves an empty text where it is (vostfree does);
// an empty text is given as none, which the translation reads the same way.
char* copy(const std::string& text) {
    return text.empty() ? nullptr : vostcpy(text.c_str());
}

void addRule(votrans*& list, const std::string& line, size_t toMax) {
    size_t blank = line.find(' ', 2);
    std::string from = line.substr(2, blank == std::string::npos ? std::string::npos : blank - 2);
    std::string to = blank == std::string::npos ? "" : line.substr(blank + 1);
    if (from.empty() || from.size() > kFromMax || to.size() > toMax) return;
    votrans** tail = &list;
    while (*tail) tail = &(*tail)->next;
    *tail = votransbloc();
    (*tail)->from = vostcpy(from.c_str());
    (*tail)->to = copy(to);
    (*tail)->fromlen = static_cast<int>(from.size());
}

// Configuration lines go into vo->ini; true for a line that was one.
bool configure(const std::string& line) {
    if (line.size() < 2 || line[0] != '=') return false;
    switch (line[1]) {
        case 'c':
            addRule(vo->ini->chars, line, kCharToMax);
            return true;
        case 'w':
            addRule(vo->ini->words, line, kWordToMax);
            return true;
        case 'p':
            if (line.size() - 2 <= kPrefixMax) {
                vostfree(vo->ini->prefix);
                vo->ini->prefix = copy(line.substr(2));
            }
            return true;
        case 'i':
            vo->cmdl->writeini = 1;
            return true;
        default:
            return false;
    }
}

void translate(const char* name) {
    std::string first = votr(name);
    FUZZ_CHECK(first.size() < VOTR_BUFSIZE);
    // A translation that differs from its name only in case is kept as the
    // name's own text: later calls give that.
    FUZZ_CHECK(ktStrIcmp(first.c_str(), votr(name)) == 0);
    if (first.size() <= kNameMax) votr(votr(name));
    char base[VOTR_BUFSIZE];
    FUZZ_CHECK(voGetScrivetName(name, base) == base && std::strlen(base) < VOTR_BUFSIZE);
    char* file = votruncnam(name);
    FUZZ_CHECK(file);
    // vostfree leaves an empty copy alone; the block goes all the same.
    vofree(file, std::strlen(file) + 1);
}
}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    fuzzTranslatorSetup();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    vo->ini = voinibloc();
    vo->cmdl->writeini = 0;
    votrsetup();
    for (std::string& line : fuzzLines(data, size)) {
        line = line.c_str();  // a name ends at its first zero
        if (configure(line) || line.size() > kNameMax) continue;
        translate(line.c_str());
    }
    votest_translations();
    votrfree();
    voinifree(vo->ini);
    vo->ini = nullptr;
    return 0;
}
