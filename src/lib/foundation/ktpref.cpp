// Preferences. Stand-in: groups and options of the types the error and
// exception groups declare, set by their defaults or, for the two-valued
// types, from the command line; no initialization file is read.
#include "ktpref.h"

#include <cstdio>
#include <cstring>
#include <initializer_list>

#include "ktex.h"
#include "ktlib_msg.h"
#include "ktmem.h"
#include "ktmsg.h"
#include "ktstr.h"
#include "ktsym.h"

namespace {
constexpr const char* kYesNoNames[] = {"No", "Yes"};
ktTypeEnumData yesNoData{2, kYesNoNames};
constexpr const char* kOnOffNames[] = {"Off", "On"};
ktTypeEnumData onOffData{2, kOnOffNames};
constexpr const char* kActionNames[] = {"statusLine", "alertBox", "disabled"};
ktTypeEnumData actionData{3, kActionNames};
constexpr const char* kStyleNames[] = {"terse", "verbose"};
ktTypeEnumData styleData{2, kStyleNames};
ktTypeIntRange unsignedRange{0, 2147483647};

ktSym* groups = nullptr;
int optionsMade = 0;
// The group of an option given on the command line without one: the name
// of the program, cut to 80 characters.
char defaultGroup[81] = "";

char* lowerCopy(const char* text) {
    return ktStrLoc(ktStrCpy(text));
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
        char full[192];
        std::snprintf(full, sizeof full, "%s.%s", group->name, option);
        ktExThrowBuild(KT_EX_FAIL, nullptr, ktMsgFile(), KTM_PREFUNKNOWN, full);
    }
    return o;
}

void freeValue(ktPrefOption* o, ktTypedata value) {
    if (o->type->ops && o->type->ops->kind == 2 && o->type->ops->free)
        o->type->ops->free(value, o->type->data);
}

void destroyOption(void* p) {
    auto* o = static_cast<ktPrefOption*>(p);
    if (o->flags & KT_PREF_OWNED) freeValue(o, o->value);
    freeValue(o, o->defaultValue);
    for (char* s : {o->key, o->name, o->sourceFile, o->description})
        if (s) ktStrFree(s);
    ktTypeTSFree(o->type);
    ktMemFlFree(o, sizeof(ktPrefOption));
}

// The types whose value the sign of a command-line option gives.
bool isYesNoKind(const ktTypeTS* type) {
    return type == &ktYesNoTS || type == &ktOnOffTS;
}

// The command-line option handler: "-group.option" or "+group.option".
int optionHandler(const char* arg, const char*, void*) {
    const char* body = arg + 1;
    const char* dot = std::strchr(body, '.');
    char group[81], option[81];
    const char* name = body;
    if (dot && dot > body) {
        if (dot - body > 80) return 3;
        std::memcpy(group, body, dot - body);
        group[dot - body] = '\0';
        name = dot + 1;
    } else {
        if (dot) name = dot + 1;
        std::strcpy(group, defaultGroup);
    }
    size_t n = std::strlen(name);
    if (n < 1 || n > 80) return 3;
    std::memcpy(option, name, n + 1);
    ktStrLoc(group);
    ktStrLoc(option);

    auto* g = static_cast<ktPrefDB*>(ktSymFetch(groups, group));
    ktPrefOption* o = g ? findOption(g, option) : nullptr;
    // Only the two-valued kinds are read here; they take no value argument.
    if (!o || !isYesNoKind(o->type)) return 3;
    if (o->flags & KT_PREF_OWNED) freeValue(o, o->value);
    o->value = arg[0] == '+' ? 1 : 0;
    o->flags |= KT_PREF_OWNED | KT_PREF_BYCMDLINE;
    return 1;
}
}  // namespace

ktTypeTB ktEnumTB = {0, nullptr, nullptr, nullptr, nullptr, nullptr};
ktTypeTB ktIntTB = {0, nullptr, nullptr, nullptr, nullptr, nullptr};
ktTypeTS ktYesNoTS = {"ktYesNoVT", &ktEnumTB, &yesNoData, 1};
ktTypeTS ktOnOffTS = {"ktOnOffVT", &ktEnumTB, &onOffData, 1};
ktTypeTS ktUnsignedIntTS = {"ktUnsignedIntVT", &ktIntTB, &unsignedRange, 1};
ktTypeTS ktErrActionTS = {"ktErrActionVT", &ktEnumTB, &actionData, 1};
ktTypeTS ktErrStyleTS = {"ktErrStyleVT", &ktEnumTB, &styleData, 1};

ktTypedata ktTypeLongToTypedata(long value) {
    return static_cast<ktTypedata>(value);
}
ktTypedata ktTypePtrToTypedata(void* value) {
    return reinterpret_cast<ktTypedata>(value);
}

ktTypeTS* ktTypeTSCopy(ktTypeTS* spec) {
    ++spec->refs;
    return spec;
}

void ktTypeTSFree(ktTypeTS* spec) {
    if (--spec->refs > 0) return;
    if (spec->ops && spec->ops->release) spec->ops->release(spec);
    ktStrFree(const_cast<char*>(spec->name));
    ktMemFree(spec);
}

ktPrefDB* ktPrefCreate(const char* name) {
    if (!groups) groups = ktSymCreate(11, ktSymStHash, ktStrEqu, ktSymStCpy, ktSymStFree);
    char* key = lowerCopy(name);
    auto* g = static_cast<ktPrefDB*>(ktSymFetch(groups, key));
    if (g) {
        ++g->references;
        ktStrFree(key);
        return g;
    }
    g = static_cast<ktPrefDB*>(ktMemFlAlloc(sizeof(ktPrefDB), "ktPrefDB"));
    g->key = key;
    g->name = ktStrCpy(name);
    g->references = 1;
    g->options = ktSymCreate(31, ktSymStHash, ktStrEqu, ktSymStCpy, ktSymStFree);
    ktSymStore(groups, key, g);
    return g;
}

void ktPrefDestroy(ktPrefDB* group) {
    if (!group || --group->references > 0) return;
    ktSymRemove(groups, group->key);
    ktSymDestroy(group->options, destroyOption);
    ktStrFree(group->key);
    ktStrFree(group->name);
    ktMemFlFree(group, sizeof(ktPrefDB));
}

void ktPrefAdd2(ktPrefDB* group, const char* option, ktTypeTS* type, ktMsgHandle* msgfile,
                int number, const ktTypedata* defaultValue) {
    if (findOption(group, option))
        ktExThrowBuild(KT_EX_FAIL, nullptr, ktMsgFile(), KTM_PREFDOUBLE, group->name, option);
    auto* o = static_cast<ktPrefOption*>(ktMemFlAlloc(sizeof(ktPrefOption), "ktPrefOption"));
    *o = ktPrefOption{};
    o->type = ktTypeTSCopy(type);
    o->key = lowerCopy(option);
    o->name = ktStrCpy(option);
    o->msgfile = msgfile;
    o->descriptionNumber = number;
    o->order = optionsMade++;
    ktTypedata d = defaultValue ? *defaultValue : 0;
    if (type->ops && type->ops->kind == 2 && type->ops->copy) d = type->ops->copy(d, type->data);
    o->defaultValue = d;
    o->value = d;
    o->flags = KT_PREF_ALWAYS;
    ktSymStore(group->options, o->key, o);
}

int ktPrefParse(const char*, int* argc, char** argv) {
    if (*argc > 0 && !defaultGroup[0] && argv[0]) {
        const char* base = std::strrchr(argv[0], '/');
        base = base ? base + 1 : argv[0];
        std::snprintf(defaultGroup, sizeof defaultGroup, "%s", base);
    }
    if (*argc > 1 && groups) ktCmdParse1(argc, argv, optionHandler, nullptr);
    return 1;
}

ktTypedata ktPrefVal(ktPrefDB* group, const char* option) {
    return needOption(group, option)->value;
}

void ktCmdParse1(int* argc, char** argv,
                 int (*handler)(const char* arg, const char* next, void* data), void* data) {
    int i = 1;
    while (i < *argc) {
        const char* arg = argv[i];
        if (arg[0] != '-' && arg[0] != '+') {
            ++i;
            continue;
        }
        const char* next = i + 1 < *argc ? argv[i + 1] : nullptr;
        int r = handler(arg, next, data);
        int taken = r == 1 ? 1 : r == 2 && next ? 2 : 0;
        if (r == 3) {
            ++i;
            continue;
        }
        if (!taken) return;
        // The taken arguments go behind the end, the rest move down.
        char* held[2] = {argv[i], taken == 2 ? argv[i + 1] : nullptr};
        for (int j = i; j + taken < *argc; ++j) argv[j] = argv[j + taken];
        *argc -= taken;
        for (int k = 0; k < taken; ++k) argv[*argc + k] = held[k];
    }
}
