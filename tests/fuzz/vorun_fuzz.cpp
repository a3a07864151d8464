// A whole translation of one symbol, in process: the input's first byte
// holds the run's switches (bit 0 expands bus pins as -s does, bit 1 asks
// for the initialization file to be written); the bytes behind it up to a
// zero byte are the symbol file cells/sym/part.1, and the rest is the body
// of entgen.ini, behind its version line. The run reads entgen.ini, starts
// the design database, loads the symbol, examines it and writes its model
// (and the file it was asked for), as a run of "entgen -o cells:part"
// does; then everything it made is released, the databases are ended, and
// the next input starts afresh. A run may end through its fatal reports;
// whatever it wrote then is dropped. Otherwise the model is there, whole,
// and no scratch file of the output is left beside it.
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

#include "fuzzsupport.h"
#include "iwsession.h"
#include "ktmsg.h"
#include "qlm.h"
#include "vgstruct.h"
#include "voexam.h"
#include "vomain.h"
#include "vomodel.h"
#include "voreadini.h"
#include "votr.h"
#include "vowritini.h"

namespace fs = std::filesystem;

namespace {
std::string out;  // the directory of the models

// The files in `dir`, by name.
std::vector<std::string> filesIn(const std::string& dir) {
    std::vector<std::string> names;
    for (const fs::directory_entry& e : fs::directory_iterator(dir))
        names.push_back(e.path().filename().string());
    return names;
}

void run(uint8_t flags) {
    voreadini("entgen.ini");
    voloadproj();
    voinitpa();
    voexampass();
    vomodel(vofindgr(vo->top));
    if (flags & 2) vowritini();
}
}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    fuzzSetup();
    out = fuzzWorkDir() + "/out";
    fs::create_directories(fuzzWorkDir() + "/cells/sym");
    fs::create_directories(out);
    std::ofstream(fuzzWorkDir() + "/scrivet.ini") << "DIR [p] ./cells (cells)\n";
    msgFp = ktMsgFileOpen("entgen", nullptr, nullptr, nullptr, nullptr);
    voGraphicsMode = 1;  // never ask
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzInWorkDir here;
    // An empty input has no switch byte: a run without switches and an
    // empty symbol file.
    const uint8_t flags = size ? data[0] : 0;
    std::string_view rest(reinterpret_cast<const char*>(data), size);
    if (size) rest.remove_prefix(1);
    const size_t zero = rest.find('\0');
    std::string symbol(rest.substr(0, zero));
    std::string ini = "ENTGEN 5.3.1\n";
    if (zero != std::string_view::npos) ini += rest.substr(zero + 1);
    fuzzWriteFile("cells/sym/part.1", reinterpret_cast<const uint8_t*>(symbol.data()),
                  symbol.size());
    fuzzWriteFile("entgen.ini", reinterpret_cast<const uint8_t*>(ini.data()), ini.size());

    const long before = vomemtotal, empties = fuzzEmptyCopies;
    vo = vodatabloc();
    vo->cmdl = vocmdlbloc();
    vo->cmdl->name = vostcpy("cells:part");
    vo->cmdl->outdir = vostcpy(out.c_str());
    vo->cmdl->overwrite = 1;
    vo->cmdl->kind = 2;
    vo->cmdl->vectors = flags & 1 ? 0 : 1;
    vo->cmdl->writeini = flags & 2 ? 1 : 0;
    votrsetup();

    const int code = fuzzCatchExit([&] { run(flags); });
    if (code >= 0) {
        FUZZ_CHECK(code == 4 && vo->fatals > 0);
        if (vo->ini && vo->ini->fp) std::fclose(vo->ini->fp);
        if (vo->ini) vo->ini->fp = nullptr;
        if (vo->file->fp) std::fclose(vo->file->fp);
        vo->file->fp = nullptr;
    } else {
        FUZZ_CHECK(vo->fatals == 0 && vo->top && !vo->file->fp);
        // The model, and nothing half written beside it.
        const std::vector<std::string> files = filesIn(out);
        FUZZ_CHECK(files.size() == 1 && files[0].size() > 4 &&
                   files[0].compare(files[0].size() - 4, 4, ".vhd") == 0);
        FUZZ_CHECK(fs::file_size(out + "/" + files[0]) > 0);
    }
    // A session that opened without finding the symbol is ended here; one
    // with a symbol ends with the run's records.
    if (!vo->top) iwfinish();
    vodatafree(vo);
    initalization = 0;
    qlm_free_all();
    // Every byte taken is given back, but for empty copies left counted.
    FUZZ_CHECK(vomemtotal >= before && vomemtotal - before <= fuzzEmptyCopies - empties);
    for (const std::string& f : filesIn(out)) fs::remove(out + "/" + f);
    for (const std::string& f : filesIn(fuzzWorkDir()))
        if (f.size() > 4 && f.compare(f.size() - 4, 4, ".ini") == 0 && f != "scrivet.ini" &&
            f != "entgen.ini")
            fs::remove(fuzzWorkDir() + "/" + f);
    return 0;
}
