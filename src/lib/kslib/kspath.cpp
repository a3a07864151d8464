// Path handling. Stand-in: the split, join, existence and creation calls
// that the translator needs, without trimming, ~ expansion or the cache.
#include "kspath.h"

#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

namespace {
void put(char* out, std::string_view text) {
    if (!out) return;
    size_t n = text.size() < KS_PATHMAX - 1 ? text.size() : KS_PATHMAX - 1;
    std::memcpy(out, text.data(), n);
    out[n] = '\0';
}
}  // namespace

int ksParse(const char* path, char* dev, char* dir, char* name, char* ext) {
    if (!path || std::strlen(path) >= KS_PATHMAX) return KS_BADSPEC;
    std::string_view p(path);
    put(dev, "");
    size_t slash = p.rfind('/');
    std::string_view last = slash == std::string_view::npos ? p : p.substr(slash + 1);
    put(dir, slash == std::string_view::npos ? std::string_view() : p.substr(0, slash + 1));
    size_t dot = last.rfind('.');
    if (last == "." || last == ".." || dot == std::string_view::npos || dot == 0) {
        put(name, last);
        put(ext, "");
    } else {
        put(name, last.substr(0, dot));
        put(ext, last.substr(dot + 1));
    }
    return KS_OK;
}

int ksMerge(char* out, const char* dev, const char* dir, const char* name, const char* ext) {
    std::string r = dev ? dev : "";
    if (dir && *dir) {
        r += dir;
        if (r.back() != '/') r += '/';
    }
    if (name) r += name;
    if (ext && *ext) {
        r += '.';
        r += ext;
    }
    if (r.size() >= KS_PATHMAX) return KS_BADSPEC;
    put(out, r);
    return KS_OK;
}

int ksDnpath(char* dir, const char* level) {
    if (!level || !*level) return KS_OK;
    std::string r = dir;
    if (!r.empty() && r.back() != '/') r += '/';
    r += level;
    if (r.back() != '/') r += '/';
    if (r.size() >= KS_PATHMAX) return KS_BADSPEC;
    put(dir, r);
    return KS_OK;
}

int ksExists(const char* path, int kind) {
    struct stat st;
    if (!path || ::stat(path, &st) != 0) return KS_NOTFOUND;
    int is = (st.st_mode & 0x4000) ? KS_DIR : KS_FILE;
    return (kind == KS_ANY || kind == is) ? KS_OK : KS_NOTFOUND;
}

int ksCreate(const char* path, int kind) {
    if (kind == KS_DIR) {
        std::string p = path;
        if (!p.empty() && p.back() == '/') p.pop_back();
        ::mkdir(p.c_str(), 0777);
        return ksExists(p.c_str(), KS_DIR) == KS_OK ? KS_OK : KS_NOACCESS;
    }
    FILE* f = std::fopen(path, "w+");
    if (!f) return KS_NOCREATE;
    std::fclose(f);
    return KS_OK;
}

void ksCoreDump() {
    std::abort();
}
