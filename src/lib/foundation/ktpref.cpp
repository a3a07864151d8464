// Preferences: groups of typed options, the command-line branch, and the
// reading of initialization files into data that are matched to the
// declared options. The data of a file are kept in groups and options of
// the same records as the declared ones, all of the string type, so that
// a group declared after the file was read still finds its entries.
#include "ktpref.h"

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include "kspath.h"
#include "kssrch.h"
#include "ktdufs.h"
#include "kterr.h"
#include "ktex.h"
#include "ktlib_msg.h"
#include "ktmem.h"
#include "ktmsg.h"
#include "ktstr.h"
#include "ktsym.h"

namespace {

ktSym* groups = nullptr;     // declared groups, by lower-case name
ktSym* fileData = nullptr;   // groups of the entries read from files
ktSym* filesRead = nullptr;  // full paths of the files read
int optionsMade = 0;
// The group of a command-line option that names none: the name of the
// program, cut to 80 characters.
char defaultGroup[81] = "";

// An entry of a file whose failure was thrown once; it isn't thrown again
// when a later parse meets it.
constexpr uint8_t kReported = 0x01;

constexpr size_t kNameMax = 80;   // a group or option of the command line
constexpr size_t kTokenMax = 79;  // a group or option of a file

ktSym* newTable(uint32_t buckets) {
    static bool handler = false;
    if (!handler) {
        handler = true;
        ktOnExitAdd(ktPrefDestroyAll);
        ktOnExitSetOrder(ktPrefDestroyAll, 85);
    }
    return ktSymCreate(buckets, ktSymStHash, ktStrEqu, ktSymStCpy, ktSymStFree);
}

char* lowerCopy(std::string_view text) {
    std::string s(text);
    return ktStrLoc(ktStrCpy(s.c_str()));
}

// ---- Records ------------------------------------------------------------------

ktPrefDB* newGroup(ktSym* table, const char* name, char* key) {
    auto* g = static_cast<ktPrefDB*>(ktMemFlAlloc(sizeof(ktPrefDB), "ktPrefDB"));
    g->key = key;
    g->name = ktStrCpy(name);
    g->references = 1;
    g->options = ktSymCreate(31, ktSymStHash, ktStrEqu, ktSymStCpy, ktSymStFree);
    ktSymStore(table, key, g);
    return g;
}

ktPrefOption* newOption(const char* name, ktTypeTS* type) {
    auto* o = static_cast<ktPrefOption*>(ktMemFlAlloc(sizeof(ktPrefOption), "ktPrefOption"));
    *o = ktPrefOption{};
    o->type = ktTypeTSCopy(type);
    o->key = lowerCopy(name);
    o->name = ktStrCpy(name);
    o->order = optionsMade++;
    return o;
}

void setSource(ktPrefOption* o, const char* file, int line) {
    if (o->sourceFile) ktStrFree(o->sourceFile);
    o->sourceFile = file ? ktStrCpy(file) : nullptr;
    o->sourceLine = line;
}

// Puts a new value in place of the old one, freeing the old one if the
// option owned it.
void replaceValue(ktPrefOption* o, ktTypedata value, uint8_t flags) {
    if (o->flags & KT_PREF_OWNED) ktTypeFreeValue(o->type, o->value);
    o->value = value;
    o->flags |= KT_PREF_OWNED | flags;
}

void destroyOption(void* p) {
    auto* o = static_cast<ktPrefOption*>(p);
    if (o->flags & KT_PREF_OWNED) ktTypeFreeValue(o->type, o->value);
    ktTypeFreeValue(o->type, o->defaultValue);
    for (char* s : {o->key, o->name, o->sourceFile, o->description})
        if (s) ktStrFree(s);
    ktTypeTSFree(o->type);
    ktMemFlFree(o, sizeof(ktPrefOption));
}

void destroyGroup(void* p) {
    auto* g = static_cast<ktPrefDB*>(p);
    ktSymDestroy(g->options, destroyOption);
    ktStrFree(g->key);
    ktStrFree(g->name);
    ktMemFlFree(g, sizeof(ktPrefDB));
}

ktPrefOption* findOption(ktPrefDB* group, const char* option) {
    char* key = lowerCopy(option);
    auto* o = static_cast<ktPrefOption*>(ktSymFetch(group->options, key));
    ktStrFree(key);
    return o;
}

ktPrefOption* needOption(ktPrefDB* group, const char* option) {
    ktPrefOption* o = findOption(group, option);
    if (!o) {
        std::string full = std::string(group->name) + "." + option;
        ktExThrowBuild(KT_EX_FAIL, nullptr, ktMsgFile(), KTM_PREFUNKNOWN, full.c_str());
    }
    return o;
}

ktPrefOption* addOption(ktPrefDB* group, const char* option, ktTypeTS* type,
                        const ktTypedata* defaultValue) {
    if (findOption(group, option))
        ktExThrowBuild(KT_EX_FAIL, nullptr, ktMsgFile(), KTM_PREFDOUBLE, group->name, option);
    ktPrefOption* o = newOption(option, type);
    ktTypedata d = defaultValue ? *defaultValue : 0;
    if (defaultValue) d = ktTypeCopyValue(type, d);
    o->defaultValue = d;
    o->value = d;
    o->flags = KT_PREF_ALWAYS;
    ktSymStore(group->options, o->key, o);
    return o;
}

// Chains "bad entry at file, line" with its reason behind it.
void addFailure(ktErrObject** failures, const char* file, int line, ktErrObject* reason) {
    ktErrObject* e = ktErrBuild(ktErrLocationLine(file, line), ktMsgFile(), KTM_PREF_BADENTRY);
    ktErrAppend(e, reason);
    *failures = ktErrAppend(*failures, e);
}

// ---- Command line -------------------------------------------------------------

// "-group.option value", "+group.option value", and for the two-valued
// types "+group.option" (yes) and "-group.option" (no) alone.
int optionHandler(const char* arg, const char* next, void*) {
    std::string_view body(arg + 1);
    size_t dot = body.find('.');
    std::string_view group = dot == std::string_view::npos ? "" : body.substr(0, dot);
    std::string_view name = dot == std::string_view::npos ? body : body.substr(dot + 1);
    if (group.size() > kNameMax || name.empty() || name.size() > kNameMax) return 3;
    if (group.empty()) group = defaultGroup;
    if (!groups) return 3;

    char* groupKey = lowerCopy(group);
    auto* g = static_cast<ktPrefDB*>(ktSymFetch(groups, groupKey));
    ktStrFree(groupKey);
    ktPrefOption* o = g ? findOption(g, std::string(name).c_str()) : nullptr;
    if (!o) return 3;

    if (ktTypeIsBoolean(o->type)) {
        replaceValue(o, arg[0] == '+' ? 1 : 0, KT_PREF_BYCMDLINE);
        return 1;
    }
    if (!next) return 3;
    if (o->type == &ktVoidTS) {
        o->flags |= KT_PREF_BYCMDLINE;
        return 2;
    }
    replaceValue(o, ktTypeParse(o->type, next), KT_PREF_BYCMDLINE);
    return 2;
}

// ---- Reading a file -----------------------------------------------------------

// The file's entry `group`.`option` = `value`, made or replaced.
void storeEntry(std::string_view group, std::string_view option, const char* value,
                const char* path, int line) {
    if (!fileData) fileData = newTable(11);
    char* groupKey = lowerCopy(group);
    auto* g = static_cast<ktPrefDB*>(ktSymFetch(fileData, groupKey));
    if (g)
        ktStrFree(groupKey);
    else
        g = newGroup(fileData, std::string(group).c_str(), groupKey);
    std::string name(option);
    ktPrefOption* o = findOption(g, name.c_str());
    if (!o) {
        o = newOption(name.c_str(), &ktStringTS);
        ktSymStore(g->options, o->key, o);
    }
    replaceValue(o, ktTypePtrToTypedata(ktStrCpy(value)), 0);
    o->flags &= static_cast<uint8_t>(~kReported);
    setSource(o, path, line);
}

bool isSpace(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

std::string_view trim(std::string_view s) {
    while (!s.empty() && isSpace(s.front())) s.remove_prefix(1);
    while (!s.empty() && isSpace(s.back())) s.remove_suffix(1);
    return s;
}

// The place of the quote that closes the value opened at `text`, passing
// over backslash escapes as the tokenizer does; npos when there is none.
size_t closingQuote(std::string_view text) {
    for (size_t i = 1; i < text.size(); ++i) {
        if (text[i] == '\\') {
            ++i;
        } else if (text[i] == '"') {
            return i;
        }
    }
    return std::string_view::npos;
}

// One line of a file: an entry, or nothing; a bad quoted value is added to
// `failures`.
void readLine(std::string_view line, const char* path, int number, ktErrObject** failures) {
    if (!line.empty() && line.front() == '|') {
        // Only a line of this format's version is read; any other, and a
        // comment, is passed over.
        size_t mark = line.find_first_of(" \t\r\n");
        if (line.substr(0, mark) != "|5.0") return;
        line.remove_prefix(mark == std::string_view::npos ? line.size() : mark);
    }
    line = trim(line);
    if (line.empty() || line.front() == '|') return;

    size_t end = line.find_first_of(". \t");
    std::string_view group = KT_PREF_GLOBAL, option = line.substr(0, end);
    if (end != std::string_view::npos && line[end] == '.') {
        group = option;
        line.remove_prefix(end + 1);
        end = line.find_first_of(" \t");
        option = line.substr(0, end);
    }
    if (group.empty() || option.empty() || group.size() > kTokenMax || option.size() > kTokenMax)
        return;
    std::string_view rest =
        trim(end == std::string_view::npos ? std::string_view() : line.substr(end));

    std::string value;
    if (!rest.empty() && rest.front() == '"') {
        size_t close = closingQuote(rest);
        if (close == std::string_view::npos) {
            addFailure(failures, path, number, ktErrBuild(nullptr, ktMsgFile(), KTM_PREF_NOQUOTE));
            return;
        }
        std::string_view behind = trim(rest.substr(close + 1));
        if (!behind.empty() && behind.front() != '|') {
            addFailure(failures, path, number,
                       ktErrBuild(nullptr, ktMsgFile(), KTM_PREF_AFTERQUOTE));
            return;
        }
        std::string quoted(rest.substr(0, close + 1));
        ktStrBuf* buf = ktStrBufCreate(static_cast<int>(quoted.size()));
        ktStrBufTokQuote(quoted.c_str(), buf, " \t");
        value = ktStrBufString(buf);
        ktStrBufDestroy(buf);
    } else {
        value = trim(rest.substr(0, rest.find('|')));
    }
    storeEntry(group, option, value.c_str(), path, number);
}

using File = std::unique_ptr<FILE, int (*)(FILE*)>;

// Opens the file `name`: one without a directory is looked for along the
// search list, with the extension "ini" if it has none. `path` receives its
// absolute path.
File openFile(const char* name, char (&path)[KS_PATHMAX]) {
    File none{nullptr, std::fclose};
    char dev[KS_PATHMAX], dir[KS_PATHMAX], base[KS_PATHMAX], ext[KS_PATHMAX];
    if (!*name || ksParse(name, dev, dir, base, ext) != KS_OK) return none;
    if (!dev[0] && !dir[0]) {
        char spec[KS_PATHMAX];
        if (ksMerge(spec, "", "", base, ext[0] ? ext : "ini") != KS_OK) return none;
        if (ksGetini(spec, path) != KS_OK) return none;
    } else if (ksAbsPath2(name, path) != KS_OK) {
        return none;
    }
    return File{std::fopen(path, "r"), std::fclose};
}

// Reads a file into the data, once; 0 when it can't be opened.
int readFile(const char* name, ktErrObject** failures) {
    char path[KS_PATHMAX];
    File f = openFile(name, path);
    if (!f) return 0;
    if (!filesRead) filesRead = newTable(13);
    if (ktSymFetch(filesRead, path)) return 1;
    ktSymStore(filesRead, path, reinterpret_cast<void*>(1));
    int number = 0;
    while (const char* line = ktDufsFgetline(f.get())) readLine(line, path, ++number, failures);
    return 1;
}

// ---- Matching -----------------------------------------------------------------

// The words that every two-valued type takes, as its own names.
const char* booleanWord(const ktTypeTS* type, const char* text) {
    auto* d = static_cast<const ktTypeEnumData*>(type->data);
    for (const char* yes : {"on", "yes", "true", "1"})
        if (ktStrIcmp(text, yes) == 0) return d->names[1];
    for (const char* no : {"off", "no", "false", "0"})
        if (ktStrIcmp(text, no) == 0) return d->names[0];
    return text;
}

// Sets `o` from the entry `e`; returns the reason when the text is refused.
ktErrObject* applyEntry(ktPrefOption* o, ktPrefOption* e, bool global) {
    if (o->flags & (KT_PREF_BYCMDLINE | KT_PREF_BYAPP)) return nullptr;
    if (global && (o->flags & KT_PREF_BYGROUP)) return nullptr;
    const char* text = reinterpret_cast<const char*>(e->value);
    if (ktTypeIsBoolean(o->type)) text = booleanWord(o->type, text);
    ktTypedata value = o->value;
    if (o->type != &ktVoidTS) {
        ktErrObject* reason = ktExCatch(
            KT_EX_FAIL,
            [&]() -> ktErrObject* {
                value = ktTypeParse(o->type, text);
                return nullptr;
            },
            [](uint32_t, ktErrObject*) { return ktExTake(); });
        if (reason) return reason;
        replaceValue(o, value, 0);
    }
    o->flags |= KT_PREF_OWNED;
    if (global) {
        o->flags |= KT_PREF_BYGLOBAL;
    } else {
        o->flags &= static_cast<uint8_t>(~KT_PREF_BYGLOBAL);
        o->flags |= KT_PREF_BYGROUP;
    }
    setSource(o, e->sourceFile, e->sourceLine);
    return nullptr;
}

struct Match {
    ktPrefDB* group;  // the declared group, or the global entries
    ktPrefOption* entry;
    ktErrObject** failures;
};

// Round one, per entry of a group's data.
int matchGroupEntry(void* value, void*, void* data, void*) {
    auto* m = static_cast<Match*>(data);
    auto* e = static_cast<ktPrefOption*>(value);
    auto* o = static_cast<ktPrefOption*>(ktSymFetch(m->group->options, e->key));
    if (!o) return 1;
    ktErrObject* reason = applyEntry(o, e, false);
    if (!reason) return 1;
    if (e->flags & kReported) {
        ktErrDestroy(reason);
    } else {
        e->flags |= kReported;
        addFailure(m->failures, e->sourceFile, e->sourceLine, reason);
    }
    return 1;
}

int matchGroup(void* value, void* key, void* data, void*) {
    if (std::strcmp(static_cast<const char*>(key), KT_PREF_GLOBAL) == 0) return 1;
    auto* declared = static_cast<ktPrefDB*>(ktSymFetch(groups, key));
    if (!declared) return 1;
    Match m{declared, nullptr, static_cast<ktErrObject**>(data)};
    ktSymLoop(static_cast<ktPrefDB*>(value)->options, matchGroupEntry, &m, nullptr);
    return 1;
}

// Round two: a global entry for every group that has the option. A value
// that one group's type refuses may suit another, so a refusal is dropped.
int matchGlobalInGroup(void* value, void*, void* data, void*) {
    auto* m = static_cast<Match*>(data);
    auto* o = static_cast<ktPrefOption*>(
        ktSymFetch(static_cast<ktPrefDB*>(value)->options, m->entry->key));
    if (o) ktErrDestroy(applyEntry(o, m->entry, true));
    return 1;
}

int matchGlobalEntry(void* value, void*, void*, void*) {
    Match m{nullptr, static_cast<ktPrefOption*>(value), nullptr};
    ktSymLoop(groups, matchGlobalInGroup, &m, nullptr);
    return 1;
}

void matchAll(ktErrObject** failures) {
    ktSymLoop(fileData, matchGroup, failures, nullptr);
    if (auto* global = static_cast<ktPrefDB*>(ktSymFetch(fileData, KT_PREF_GLOBAL)))
        ktSymLoop(global->options, matchGlobalEntry, nullptr, nullptr);
}

}  // namespace

ktPrefDB* ktPrefCreate(const char* name) {
    if (!groups) groups = newTable(11);
    char* key = lowerCopy(name);
    auto* g = static_cast<ktPrefDB*>(ktSymFetch(groups, key));
    if (!g) return newGroup(groups, name, key);
    ++g->references;
    ktStrFree(key);
    return g;
}

void ktPrefDestroy(ktPrefDB* group) {
    if (!group || --group->references > 0) return;
    ktSymRemove(groups, group->key);
    destroyGroup(group);
}

void ktPrefAdd(ktPrefDB* group, const char* option, ktTypeTS* type, const char* description,
               const ktTypedata* defaultValue) {
    ktPrefOption* o = addOption(group, option, type, defaultValue);
    o->description = description ? ktStrCpy(description) : nullptr;
}

void ktPrefAdd2(ktPrefDB* group, const char* option, ktTypeTS* type, ktMsgHandle* msgfile,
                int number, const ktTypedata* defaultValue) {
    ktPrefOption* o = addOption(group, option, type, defaultValue);
    o->msgfile = msgfile;
    o->descriptionNumber = number;
}

int ktPrefParse(const char* file, int* argc, char** argv) {
    int none = 0;
    if (!argc) argc = &none;
    if (*argc > 0 && argv && argv[0] && !defaultGroup[0]) {
        char name[KS_PATHMAX];
        if (ksParse(argv[0], nullptr, nullptr, name, nullptr) == KS_OK)
            ktStrncpyNullTerm(defaultGroup, name, sizeof defaultGroup);
    }
    if (*argc > 1 && argv && groups && groups->count)
        ktCmdParse1(argc, argv, optionHandler, nullptr);

    int result = 1;
    ktErrObject* failures = nullptr;
    if (file) result = readFile(file, &failures);
    if (groups && fileData) matchAll(&failures);
    if (failures) ktExThrow(KT_EX_FAIL, failures);
    return result;
}

ktTypedata ktPrefVal(ktPrefDB* group, const char* option) {
    return needOption(group, option)->value;
}

ktTypeTS* ktPrefTypespec(ktPrefDB* group, const char* option) {
    return needOption(group, option)->type;
}

void ktPrefSetval(ktPrefDB* group, const char* option, const ktTypedata* value) {
    ktPrefOption* o = needOption(group, option);
    replaceValue(o, ktTypeCopyValue(o->type, value ? *value : 0), KT_PREF_BYAPP);
}

void ktCmdParse1(int* argc, char** argv,
                 int (*handler)(const char* arg, const char* next, void* data), void* data) {
    int i = 1;
    while (i < *argc) {
        const char* arg = argv[i];
        if (!arg || (arg[0] != '-' && arg[0] != '+')) {
            ++i;
            continue;
        }
        const char* next = i + 1 < *argc ? argv[i + 1] : nullptr;
        int r = handler(arg, next, data);
        if (r == 3) {
            ++i;
            continue;
        }
        int taken = r == 1 ? 1 : r == 2 && next ? 2 : 0;
        if (!taken) return;
        // The taken arguments go behind the end, the rest move down.
        char* held[2] = {argv[i], taken == 2 ? argv[i + 1] : nullptr};
        for (int j = i; j + taken < *argc; ++j) argv[j] = argv[j + taken];
        *argc -= taken;
        for (int k = 0; k < taken; ++k) argv[*argc + k] = held[k];
    }
}

void ktPrefDestroyAll() {
    for (ktSym** table : {&groups, &fileData}) {
        if (*table) ktSymDestroy(*table, destroyGroup);
        *table = nullptr;
    }
    if (filesRead) ktSymDestroy(filesRead, ktSymDummy);
    filesRead = nullptr;
    defaultGroup[0] = '\0';
}
