// Message files. Stand-in: reads the message source form (#define NAME
// NUMBER /* "text" */) found under the message file's name instead of the
// compiled binary file; no cache, version check or exceptions.
#include "ktmsg.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <regex>
#include <string>

#include "kspath.h"
#include "kssrch.h"
#include "ktmem.h"
#include "ktstr.h"

struct ktMsgCore {
    std::map<int, std::string> texts;
};

namespace {
ktMsgHandle* openList = nullptr;
char staticBuf[4096];

std::string decodeLiteral(const std::string& s) {
    std::string out;
    for (size_t i = 0; i < s.size(); ++i) {
        if (s[i] != '\\' || i + 1 == s.size()) {
            out += s[i];
            continue;
        }
        char c = s[++i];
        switch (c) {
            case 'n': out += '\n'; break;
            case 't': out += '\t'; break;
            default: out += c; break;
        }
    }
    return out;
}

bool load(const char* path, ktMsgCore* core) {
    FILE* f = std::fopen(path, "r");
    if (!f) return false;
    static const std::regex line(
        R"(^#[ \t]*define[ \t]+[_a-zA-Z][_a-zA-Z0-9]*[ \t]+(-?[0-9]+)[ \t]+/\*[ \t]*"((\\.|[^"\\])*)\")");
    char buf[2048];
    while (std::fgets(buf, sizeof buf, f)) {
        std::cmatch m;
        if (std::regex_search(buf, m, line))
            core->texts[std::atoi(m[1].str().c_str())] = decodeLiteral(m[2].str());
    }
    std::fclose(f);
    return true;
}
}  // namespace

ktMsgHandle* ktMsgFileOpen(const char* name, const char* app, const char* label,
                           const char* minver, const char* maxver) {
    if (!name) return nullptr;
    for (ktMsgHandle* h = openList; h; h = h->next)
        if (std::strcmp(h->name, name) == 0) {
            ++h->refs;
            return h;
        }
    char file[KS_PATHMAX], path[KS_PATHMAX];
    if (ksMerge(file, nullptr, nullptr, name, "kmb") != KS_OK) return nullptr;
    if (ksGetini(file, path) != KS_OK) return nullptr;
    auto* core = new ktMsgCore;
    if (!load(path, core)) {
        delete core;
        return nullptr;
    }
    auto* h = static_cast<ktMsgHandle*>(ktMemCalloc(1, sizeof(ktMsgHandle), "ktMsgHandle"));
    h->core = core;
    h->name = ktStrCpy(name);
    h->app = ktStrCpy(app);
    h->label = ktStrCpy(label);
    h->minver = ktStrCpy(minver);
    h->maxver = ktStrCpy(maxver);
    h->refs = 1;
    h->next = openList;
    if (openList) openList->prev = h;
    openList = h;
    return h;
}

void ktMsgFileClose(ktMsgHandle* handle) {
    ktMsgHandle* h = openList;
    while (h && h != handle) h = h->next;
    if (!h || --h->refs > 0) return;
    if (h->prev) h->prev->next = h->next;
    else openList = h->next;
    if (h->next) h->next->prev = h->prev;
    delete h->core;
    for (char* s : {h->name, h->app, h->label, h->minver, h->maxver})
        if (s) ktStrFree(s);
    ktMemFree(h);
}

ktMsgHandle* ktMsgFile() {
    static ktMsgHandle* own = nullptr;
    if (!own) own = ktMsgFileOpen("ktlib", "ktlib", "5.0", "5.0.0", nullptr);
    return own;
}

const char* ktMsgGetFilename(ktMsgHandle* handle) { return handle ? handle->name : nullptr; }

char* ktMsgStaticVa(ktMsgHandle* handle, int number, va_list args) {
    ktMsgHandle* h = openList;
    while (h && h != handle) h = h->next;
    auto it = h ? h->core->texts.find(number) : decltype(h->core->texts.end()){};
    if (!h || it == h->core->texts.end()) {
        std::snprintf(staticBuf, sizeof staticBuf, "*** internal message file error; message #%d",
                      number);
        return staticBuf;
    }
    std::vsnprintf(staticBuf, sizeof staticBuf, it->second.c_str(), args);
    return staticBuf;
}

char* ktMsgStatic(ktMsgHandle* handle, int number, ...) {
    va_list args;
    va_start(args, number);
    char* r = ktMsgStaticVa(handle, number, args);
    va_end(args);
    return r;
}
