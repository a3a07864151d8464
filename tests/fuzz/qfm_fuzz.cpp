// The index of a mega library: the input is sym.tbl, records of 30 bytes,
// of the library "packed", whose data file sym.lib holds the same bytes.
// Every file of the library is walked; each one the walk names is looked
// for by its name in both letter cases and must come back the same, inside
// the data file, and a walk with its name as the pattern must meet it
// again. Its name also goes through the splitting and joining of
// "library:name". A second directory of the library, plain, holds one
// symbol, which the index may hide but never break.
#include <cstring>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "fuzzsupport.h"
#include "kspath.h"
#include "ktstr.h"
#include "qfm.h"
#include "qlm.h"

namespace {
kqLibDirectory* mega = nullptr;

int collect(const char* file, void* data) {
    static_cast<std::vector<std::string>*>(data)->push_back(file);
    return 0;
}

int count(const char*, void* data) {
    ++*static_cast<int*>(data);
    return 0;
}

bool lowerCase(const std::string& s) {
    for (char c : s)
        if (c >= 'A' && c <= 'Z') return false;
    return true;
}

// Looks the file up as a search is asked for it: name and extension apart.
void lookUp(const std::string& file, long size) {
    size_t dot = file.rfind('.');
    std::string name = file.substr(0, dot), ext = dot == std::string::npos ? "" : file.substr(dot + 1);
    char merged[KS_PATHMAX];
    // A name the path grammar can't join again is no file a search can ask for.
    if (ksMerge(merged, nullptr, nullptr, name.c_str(), ext.c_str()) != KS_OK || file != merged)
        return;
    qfm_id* lower = qfm_find_file("packed", QFM_SYMBOL, name.c_str(), ext.c_str());
    std::string upperName = name, upperExt = ext;
    ktStrUpc(upperName.data());
    ktStrUpc(upperExt.data());
    qfm_id* upper = qfm_find_file("PACKED", QFM_SYMBOL, upperName.c_str(), upperExt.c_str());
    // The index is searched without regard to case; the plain directory
    // finds its lower-case file by that name only.
    if (lower && lower->directory == mega) {
        FUZZ_CHECK(lower->position >= 0 && lower->position < size && lower->time > 1);
        FUZZ_CHECK(upper && upper->position == lower->position && upper->directory == mega);
    }
    if (upper) FUZZ_CHECK(lower && lower->directory == upper->directory);
    if (lower) FUZZ_CHECK(lowerCase(lower->name) && lowerCase(lower->ext));
    qfm_free_id(lower);
    qfm_free_id(upper);
    int met = 0;
    FUZZ_CHECK(qfm_file_loop("packed", QFM_SYMBOL, name.c_str(), ext.c_str(), count, &met) == 0);
    FUZZ_CHECK(met >= 1);
}
}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    fuzzSetup();
    const std::string dir = fuzzWorkDir();
    std::filesystem::create_directories(dir + "/mega");
    std::filesystem::create_directories(dir + "/plain/sym");
    static const uint8_t none = 0;
    fuzzWriteFile("plain/sym/and2.1", &none, 0);
    mega = qlm_read(("[m] " + dir + "/mega (packed)").c_str());
    FUZZ_CHECK(mega && qlm_read(("[r] " + dir + "/plain (packed)").c_str()));
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzzWriteFile("mega/sym.tbl", data, size);
    fuzzWriteFile("mega/sym.lib", data, size);
    std::vector<std::string> files;
    FUZZ_CHECK(qfm_file_loop("packed", QFM_SYMBOL, "*", "*", collect, &files) == 0);
    // The index's records, then the plain directory's one file.
    FUZZ_CHECK(files.size() <= size / QFM_MEGARECORD + 1 && !files.empty() && files.back() == "and2.1");
    std::set<std::string> seen;
    for (const std::string& f : files) {
        FUZZ_CHECK(!f.empty() && f.size() <= QFM_MEGARECORD && lowerCase(f));
        if (seen.size() < 64 && seen.insert(f).second) lookUp(f, static_cast<long>(size));
        char text[2 * QFM_MEGARECORD];
        char* merged = q_merge_lib_comp("packed", f.c_str());
        std::snprintf(text, sizeof text, "%s", merged);
        ktStrFree(merged);
        FUZZ_CHECK(std::strcmp(q_split_lib_comp(text), "packed") == 0 && f == text);
    }
    // The plain directory's symbol is found there when the index has none
    // that counts.
    FUZZ_CHECK(qfm_find_directory("packed", QFM_SYMBOL, "and2", "1") != nullptr);
    return 0;
}
