// Search lists. Stand-in: looks in ./532, ., then D/532 and D for each
// directory D of KDIR, without the version subdirectory list or ksTrnlog.
#include "kssrch.h"

#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "kspath.h"

namespace {
bool tryDir(std::string_view dir, const char* spec, char* path) {
    for (const char* sub : {"532/", ""}) {
        std::string p(dir);
        if (!p.empty() && p.back() != '/') p += '/';
        p += sub;
        p += spec;
        if (p.size() < KS_PATHMAX && ksExists(p.c_str(), KS_FILE) == KS_OK) {
            std::strcpy(path, p.c_str());
            return true;
        }
    }
    return false;
}
}  // namespace

int ksGetini(const char* spec, char* path) {
    if (tryDir("./", spec, path)) return KS_OK;
    const char* kdir = std::getenv("KDIR");
    std::string_view list = kdir ? kdir : "";
    while (!list.empty()) {
        size_t sep = list.find(':');
        std::string_view d = list.substr(0, sep);
        if (!d.empty() && tryDir(d, spec, path)) return KS_OK;
        if (sep == std::string_view::npos) break;
        list.remove_prefix(sep + 1);
    }
    return KS_NOTFOUND;
}
