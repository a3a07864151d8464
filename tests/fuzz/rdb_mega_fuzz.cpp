// Fuzz target of the mega index readers: any bytes as the index of a mega
// library, searched for a few names, and for the input's own first word,
// through the cached table and through the file itself.
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

#include "fuzzfile.h"
#include "kspath.h"
#include "ktstr.h"
#include "rdb_api.h"
#include "rdb_mega.h"

namespace {

rdbObject* library = nullptr;
std::string workDir, indexPath;

void writeFile(const std::string& path, const void* data, size_t size) {
    FILE* f = std::fopen(path.c_str(), "wb");
    if (!f || (size && std::fwrite(data, 1, size, f) != size)) std::abort();
    std::fclose(f);
}

// A hit names a member of the data file; the table matches whole names.
void search(const char* name, bool cached) {
    ksPathBuf found, path;
    for (int options : {1, 0}) {
        long offset =
            rdbiSearchMega(library, rdbClassSYMBOL, name, "1", 0, &found, &path, options);
        if (offset < -1) std::abort();
        if (offset < 0) continue;
        if (!*found || std::strstr(path, "/sym.lib") == nullptr) std::abort();
        std::string wanted = std::string(name) + ".1";
        ktStrLoc(wanted.data());
        if (cached && wanted != found) std::abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    fuzzEnvironment();
    if (rdbInit(1, "5.3.1", 0) != rdbStatOK) std::abort();
    const char* tmp = std::getenv("TMPDIR");
    std::string dir = std::string(tmp && *tmp ? tmp : "/tmp") + "/entgen-mega-XXXXXX";
    if (!mkdtemp(dir.data()) || chdir(dir.c_str()) != 0) std::abort();
    ksGetdefReset();  // the database's start read the directory before
    workDir = dir;
    std::atexit([] { std::filesystem::remove_all(workDir); });
    const char ini[] = "DIR [p] ./p (p)\nDIR [m] ./m (m)\n";
    writeFile("scrivet.ini", ini, sizeof ini - 1);
    mkdir("m", 0777);
    writeFile("m/sym.lib", "V 5\nE\n", 6);
    indexPath = dir + "/m/sym.tbl";
    int st;
    rdbObject* project = rdbOpenProject(".", nullptr, "", 3, &st);
    if (!project || rdbInitView(project, "Scrivet", "scrivet.ini") != rdbStatOK) std::abort();
    library = rdbFindNextLib(project, nullptr, "m", &st);
    if (!library || !rdbObjMegafile(library)) std::abort();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    writeFile(indexPath, data, size);
    std::string first;
    for (size_t i = 0; i < size && i < 20 && std::isalnum(data[i]); ++i)
        first += static_cast<char>(data[i]);
    for (bool cached : {true, false}) {
        rdbPolicy = cached ? rdbPolicy & ~128u : rdbPolicy | 128u;
        // The file changes within one second: its table is read afresh.
        int st;
        if (rdbObject* index = rdbiMegaOpenTbl(library, rdbClassSYMBOL, 4, &st))
            rdbiMegaFreeIndx(index);
        for (const char* name : {"and2", "a", "*", first.c_str()})
            if (*name) search(name, cached && !std::strpbrk(name, "*?"));
    }
    return 0;
}
