#include "fuzzsupport.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "kspath.h"
#include "kterr.h"
#include "ktmsg.h"
#include "vgstruct.h"
#include "vomain.h"

namespace {
std::string workDir;

void removeWorkDir() {
    std::error_code ec;
    std::filesystem::remove_all(workDir, ec);
}

// Arguments fetched with different C types would read the list wrongly;
// these classes are the formatter's own.
int fetchClass(int type) {
    switch (type) {
        case KT_SPFMT_SHORT:
        case KT_SPFMT_CHAR:
            return KT_SPFMT_INT;
        case KT_SPFMT_POINTER:
            return KT_SPFMT_STRING;
        default:
            return type;
    }
}

struct ArgClasses {
    int cls = 0;      // the one class so far; -1 once two differ
    int plain = 0;    // arguments of directives without a position
    int highest = 0;  // the highest position named

    void take(int type) {
        int c = fetchClass(type);
        if (cls == 0)
            cls = c;
        else if (cls != c)
            cls = -1;
    }
};

int noteDirective(const ktSpFmtDesc* d, void* data) {
    auto* a = static_cast<ArgClasses*>(data);
    if (ktSpFmtDescIs(d) != KT_SPFMT_DIRECTIVE) return 1;
    int type = ktSpFmtArgIs(d);
    int base = type & ~(KT_SPFMT_STARWIDTH | KT_SPFMT_STARPREC);
    int stars = ((type & KT_SPFMT_STARWIDTH) ? 1 : 0) + ((type & KT_SPFMT_STARPREC) ? 1 : 0);
    if (stars) a->take(KT_SPFMT_INT);
    a->take(base);
    int pos = ktSpFmtArgPosition(d);
    if (pos < 0) {
        a->plain += 1 + stars;
        return 1;
    }
    for (int p : {pos, (type & KT_SPFMT_STARWIDTH) ? ktSpFmtArgWidth(d) : 0,
                  (type & KT_SPFMT_STARPREC) ? ktSpFmtArgPrecision(d) : 0})
        if (p > a->highest) a->highest = p;
    return 1;
}
}  // namespace

void fuzzSetup() {
    if (!workDir.empty()) return;
    // A file system in memory where there is one: the targets write files
    // for every input, and a disk makes each close or sync cost
    // milliseconds.
    const char* tmp = std::getenv("TMPDIR");
    if (!tmp || !*tmp) tmp = access("/dev/shm", W_OK | X_OK) == 0 ? "/dev/shm" : "/tmp";
    std::string tmpl = std::string(tmp) + "/entgen-fuzz-XXXXXX";
    if (!mkdtemp(tmpl.data())) fuzzFail(__FILE__, __LINE__, "mkdtemp");
    workDir = tmpl;
    std::atexit(removeWorkDir);
    setenv("KDIR", ENTGEN_SHARE_DIR, 1);
    setenv("HOME", workDir.c_str(), 1);  // "~" names the same place on every machine
    // Reports are still made in full, only their stream leads nowhere; so
    // does what the code prints on standard output.
    if (FILE* null = std::fopen("/dev/null", "w")) ktErrFileV = null;
    if (!std::freopen("/dev/null", "w", stdout)) fuzzFail(__FILE__, __LINE__, "stdout");
    ktErrLogEnable(0);
    // The system layer takes the default directory once, at its first call:
    // make that the working directory, wherever the driver runs.
    FuzzInWorkDir in;
    ksGetdefReset();
    char def[KS_PATHMAX];
    ksGetdef(def);
}

void fuzzTranslatorSetup() {
    fuzzSetup();
    vo = vodatabloc();
    vo->cmdl = vocmdlbloc();
    msgFp = ktMsgFileOpen("entgen", nullptr, nullptr, nullptr, nullptr);
}

const std::string& fuzzWorkDir() {
    return workDir;
}

FuzzInWorkDir::FuzzInWorkDir() : back_(open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
    if (back_ < 0 || chdir(workDir.c_str()) != 0) fuzzFail(__FILE__, __LINE__, "chdir");
}

FuzzInWorkDir::~FuzzInWorkDir() {
    if (fchdir(back_) != 0) fuzzFail(__FILE__, __LINE__, "fchdir");
    close(back_);
}

std::string fuzzWriteFile(const char* name, const uint8_t* data, size_t size) {
    std::string path = workDir + "/" + name;
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    out.close();
    if (!out) fuzzFail(__FILE__, __LINE__, path.c_str());
    return path;
}

std::string fuzzText(const uint8_t* data, size_t size) {
    std::string_view all(reinterpret_cast<const char*>(data), size);
    return std::string(all.substr(0, all.find('\0')));
}

std::vector<std::string> fuzzLines(const uint8_t* data, size_t size) {
    std::vector<std::string> lines;
    std::string_view rest(reinterpret_cast<const char*>(data), size);
    while (!rest.empty()) {
        size_t end = rest.find('\n');
        lines.emplace_back(rest.substr(0, end));
        if (end == std::string_view::npos) break;
        rest.remove_prefix(end + 1);
    }
    return lines;
}

int fuzzExitCatching = 0;

// The program's voexit, under the name the linker gives it beside ours.
extern "C" [[noreturn]] void __real__Z6voexiti(int code);

extern "C" void __wrap__Z6voexiti(int code) {
    if (!fuzzExitCatching) __real__Z6voexiti(code);
    vodone(code);
    throw FuzzExit{code};
}

long fuzzEmptyCopies = 0;

extern "C" char* __real__Z7vostcpyPKc(const char* text);

extern "C" char* __wrap__Z7vostcpyPKc(const char* text) {
    if (text && !*text) ++fuzzEmptyCopies;
    return __real__Z7vostcpyPKc(text);
}

void fuzzFail(const char* file, int line, const char* what) {
    std::fprintf(stderr, "%s:%d: fuzz check failed: %s\n", file, line, what);
    std::fflush(stderr);
    std::abort();
}

int fuzzArgClass(const char* format) {
    ArgClasses a;
    ktSpFmtParse(format, noteDirective, &a);
    if (a.cls < 0 || a.plain + a.highest > kFuzzArgs) return 0;
    return a.cls ? a.cls : KT_SPFMT_INT;
}
