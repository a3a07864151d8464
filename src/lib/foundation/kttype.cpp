// Typed values: the operations tables of the library's types, their type
// data, and the reading of numbers with scale and unit words. A table
// serves every type of its kind; what differs between them (a range, a
// list of names, a test of a path) stands in the type data.
#include "kttype.h"

#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cfloat>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "kspath.h"
#include "ktex.h"
#include "ktlib_msg.h"
#include "ktmem.h"
#include "ktmsg.h"
#include "ktstr.h"

ktTypedata ktTypeReturnDataV = 0;

namespace {

[[noreturn]] void fail(int number, const char* a = nullptr, const char* b = nullptr,
                       const char* c = nullptr) {
    ktExThrowBuild(KT_EX_FAIL, nullptr, ktMsgFile(), number, a, b, c);
}

// Anything but white space behind `end`.
bool leftOver(const char* end) {
    while (std::isspace(static_cast<unsigned char>(*end))) ++end;
    return *end != '\0';
}

void sinkText(ktTypeSinkFn sink, void* data, const char* text) {
    if (sink) sink(text, data);
}

// ---- Integers -----------------------------------------------------------------

void intParse(const char* text, void* typeData) {
    auto* range = static_cast<ktTypeIntRange*>(typeData);
    const char* end;
    double v = ktCvtUstrtod(text, &end);
    // A fraction is refused, not cut: 2.5 files to keep is a mistake.
    if (end == text || leftOver(end) || v != std::trunc(v)) fail(KTM_TYPE_NOTINT, text);
    if (!(v >= static_cast<double>(range->min) && v <= static_cast<double>(range->max))) {
        std::string lo = std::to_string(range->min), hi = std::to_string(range->max);
        fail(KTM_TYPE_INTRANGE, text, lo.c_str(), hi.c_str());
    }
    ktTypeReturnDataV = static_cast<ktTypedata>(static_cast<long>(v));
}

void intPrint(ktTypedata* value, void*, ktTypeSinkFn sink, void* data) {
    sinkText(sink, data, std::to_string(static_cast<long>(*value)).c_str());
}

// ---- 64-bit integers ----------------------------------------------------------

void int64Parse(const char* text, void* typeData) {
    auto* range = static_cast<ktTypeInt64Range*>(typeData);
    char* end;
    errno = 0;
    long long v = std::strtoll(text, &end, 10);
    if (end == text || leftOver(end)) fail(KTM_TYPE_NOTINT, text);
    if (errno == ERANGE || v < range->min || v > range->max) {
        std::string lo = std::to_string(range->min), hi = std::to_string(range->max);
        fail(KTM_TYPE_INT64RANGE, text, lo.c_str(), hi.c_str());
    }
    auto* p = static_cast<int64_t*>(ktMemMalloc(sizeof(int64_t), "ktTypeInt64"));
    *p = v;
    ktTypeReturnDataV = ktTypePtrToTypedata(p);
}

void int64Print(ktTypedata* value, void*, ktTypeSinkFn sink, void* data) {
    sinkText(sink, data, std::to_string(*reinterpret_cast<int64_t*>(*value)).c_str());
}

ktTypedata int64Copy(ktTypedata value, void*) {
    auto* p = static_cast<int64_t*>(ktMemMalloc(sizeof(int64_t), "ktTypeInt64"));
    *p = *reinterpret_cast<int64_t*>(value);
    return ktTypePtrToTypedata(p);
}

void blockFree(ktTypedata value, void*) {
    if (value) ktMemFree(reinterpret_cast<void*>(value));
}

// ---- Floating point -----------------------------------------------------------

void floatParse(const char* text, void* typeData) {
    auto* range = static_cast<ktTypeFloatRange*>(typeData);
    const char* end;
    double v = ktCvtUstrtod(text, &end);
    if (end == text || leftOver(end)) fail(KTM_TYPE_NOTFLOAT, text);
    if (!(v >= range->min && v <= range->max)) {
        char lo[32], hi[32];
        std::snprintf(lo, sizeof lo, "%g", range->min);
        std::snprintf(hi, sizeof hi, "%g", range->max);
        fail(KTM_TYPE_FLOATRANGE, text, lo, hi);
    }
    auto* p = static_cast<double*>(ktMemMalloc(sizeof(double), "ktTypeFloat"));
    *p = v;
    ktTypeReturnDataV = ktTypePtrToTypedata(p);
}

void floatPrint(ktTypedata* value, void*, ktTypeSinkFn sink, void* data) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%g", *reinterpret_cast<double*>(*value));
    sinkText(sink, data, buf);
}

ktTypedata floatCopy(ktTypedata value, void*) {
    auto* p = static_cast<double*>(ktMemMalloc(sizeof(double), "ktTypeFloat"));
    *p = *reinterpret_cast<double*>(value);
    return ktTypePtrToTypedata(p);
}

// ---- Strings and paths --------------------------------------------------------

void stringParse(const char* text, void* typeData) {
    auto* d = static_cast<ktTypeStringData*>(typeData);
    char* s = ktStrCpy(text);
    if (d && d->filter && !d->filter(s)) {
        ktStrFree(s);
        fail(KTM_TYPE_REFUSED, d->name, text);
    }
    ktTypeReturnDataV = ktTypePtrToTypedata(s);
}

void stringPrint(ktTypedata* value, void*, ktTypeSinkFn sink, void* data) {
    sinkText(sink, data, reinterpret_cast<const char*>(*value));
}

void stringFree(ktTypedata value, void*) {
    if (value) ktStrFree(reinterpret_cast<char*>(value));
}

ktTypedata stringCopy(ktTypedata value, void*) {
    return ktTypePtrToTypedata(ktStrCpy(reinterpret_cast<const char*>(value)));
}

// The shared empty string is never written to, so the filters leave it be.
int upperFilter(char* text) {
    if (*text) ktStrUpc(text);
    return 1;
}
int lowerFilter(char* text) {
    if (*text) ktStrLoc(text);
    return 1;
}
int notEmptyFilter(char* text) {
    return *text != '\0';
}

void fileParse(const char* text, void* typeData) {
    auto* d = static_cast<ktTypeFileData*>(typeData);
    char path[KS_PATHMAX];
    if (!*text || ksAbsPath2(text, path) != KS_OK) fail(KTM_TYPE_BADPATH, text);
    if (d->test && !d->test(path)) fail(d->message, path);
    ktTypeReturnDataV = ktTypePtrToTypedata(ktStrCpy(path));
}

int isFile(const char* path) {
    return ksExists(path, KS_FILE) == KS_OK;
}
int isDir(const char* path) {
    return ksExists(path, KS_DIR) == KS_OK;
}
int readable(const char* path) {
    return isFile(path) && access(path, R_OK) == 0;
}
// An existing file that can be written, or a new one in a directory that can.
int writable(const char* path) {
    if (isFile(path)) return access(path, W_OK) == 0;
    if (ksExists(path, KS_ANY) == KS_OK) return 0;
    char dir[KS_PATHMAX];
    std::snprintf(dir, sizeof dir, "%s", path);
    char* slash = std::strrchr(dir, '/');
    if (!slash) return 0;
    slash[slash == dir ? 1 : 0] = '\0';
    return isDir(dir) && access(dir, W_OK | X_OK) == 0;
}
int readWritable(const char* path) {
    return isFile(path) && access(path, R_OK | W_OK) == 0;
}
int writableDir(const char* path) {
    return isDir(path) && access(path, W_OK | X_OK) == 0;
}

// ---- Enumerations -------------------------------------------------------------

void enumParse(const char* text, void* typeData) {
    auto* d = static_cast<ktTypeEnumData*>(typeData);
    char* word = ktStrTrimAlloc(text);
    int i = ktStrIindex(word, d->names, d->count);
    if (i == -1 && *word && std::strspn(word, "0123456789") == std::strlen(word) &&
        std::strlen(word) < 10 && std::atoi(word) < d->count)
        i = std::atoi(word);
    ktStrFree(word);
    if (i == -2) fail(KTM_TYPE_AMBIGUOUS, text);
    if (i < 0) {
        std::string names;
        for (int k = 0; k < d->count; ++k) names += (k ? ", " : "") + std::string(d->names[k]);
        fail(KTM_TYPE_NOTWORD, text, names.c_str());
    }
    ktTypeReturnDataV = i;
}

void enumPrint(ktTypedata* value, void* typeData, ktTypeSinkFn sink, void* data) {
    auto* d = static_cast<ktTypeEnumData*>(typeData);
    if (*value >= 0 && *value < d->count)
        sinkText(sink, data, d->names[*value]);
    else
        sinkText(sink, data, std::to_string(static_cast<long>(*value)).c_str());
}

// ---- Pointer types ------------------------------------------------------------

void pointerParse(const char* text, void* typeData) {
    static_cast<ktTypePointerData*>(typeData)->parse(text);
}
void pointerPrint(ktTypedata* value, void* typeData, ktTypeSinkFn sink, void* data) {
    static_cast<ktTypePointerData*>(typeData)->print(*value, sink, data);
}
void pointerFree(ktTypedata value, void* typeData) {
    if (value) static_cast<ktTypePointerData*>(typeData)->free(value);
}
ktTypedata pointerCopy(ktTypedata value, void* typeData) {
    return value ? static_cast<ktTypePointerData*>(typeData)->copy(value) : 0;
}

// A string array: a null-terminated array of pooled strings.
char** newArray(const std::vector<const char*>& words) {
    auto** a = static_cast<char**>(ktMemMalloc((words.size() + 1) * sizeof(char*), "ktStrArray"));
    for (size_t i = 0; i < words.size(); ++i) a[i] = ktStrCpy(words[i]);
    a[words.size()] = nullptr;
    return a;
}

void arrayParse(const char* text) {
    ktStrBuf* buf = ktStrBufCreate(64);
    std::vector<std::string> words;
    for (const char* p = text; p && *p;) {
        p = ktStrBufTokQuote(p, buf, " \t\r\n");
        if (!p) break;
        words.emplace_back(ktStrBufString(buf));
    }
    ktStrBufDestroy(buf);
    std::vector<const char*> ptrs;
    for (const std::string& w : words) ptrs.push_back(w.c_str());
    ktTypeReturnDataV = ktTypePtrToTypedata(newArray(ptrs));
}

// The words again, quoted where a blank, a quote or a backslash would
// split or change them.
void arrayPrint(ktTypedata value, ktTypeSinkFn sink, void* data) {
    std::string text;
    for (char** w = reinterpret_cast<char**>(value); *w; ++w) {
        if (w != reinterpret_cast<char**>(value)) text += ' ';
        bool quote = !**w || std::strpbrk(*w, " \t\r\n\"\\");
        if (quote) text += '"';
        for (const char* c = *w; *c; ++c) {
            if (quote && (*c == '"' || *c == '\\')) text += '\\';
            text += *c;
        }
        if (quote) text += '"';
    }
    sinkText(sink, data, text.c_str());
}

ktTypedata arrayCopy(ktTypedata value) {
    std::vector<const char*> ptrs;
    for (char** w = reinterpret_cast<char**>(value); *w; ++w) ptrs.push_back(*w);
    return ktTypePtrToTypedata(newArray(ptrs));
}

void arrayFree(ktTypedata value) {
    auto** a = reinterpret_cast<char**>(value);
    for (char** w = a; *w; ++w) ktStrFree(*w);
    ktMemFree(a);
}

ktTypeByteBlock* newBlock(const void* bytes, size_t count) {
    auto* b = static_cast<ktTypeByteBlock*>(
        ktMemMalloc(offsetof(ktTypeByteBlock, bytes) + count + 1, "ktByteBlock"));
    b->count = static_cast<int32_t>(count);
    std::memcpy(b->bytes, bytes, count);
    b->bytes[count] = 0;
    return b;
}

void blockParse(const char* text) {
    ktTypeReturnDataV = ktTypePtrToTypedata(newBlock(text, std::strlen(text)));
}

void blockPrint(ktTypedata value, ktTypeSinkFn sink, void* data) {
    auto* b = reinterpret_cast<ktTypeByteBlock*>(value);
    std::string text(reinterpret_cast<const char*>(b->bytes), static_cast<size_t>(b->count));
    sinkText(sink, data, text.c_str());
}

ktTypedata blockCopy(ktTypedata value) {
    auto* b = reinterpret_cast<ktTypeByteBlock*>(value);
    return ktTypePtrToTypedata(newBlock(b->bytes, static_cast<size_t>(b->count)));
}

void blockRelease(ktTypedata value) {
    ktMemFree(reinterpret_cast<void*>(value));
}

// A type record as a value: named by the name of one of the library's types.
ktTypeTS* const kNamedTypes[] = {
    &ktPositiveIntTS, &ktUnsignedIntTS,    &ktIntTS,
    &ktCharTS,        &ktInt64TS,          &ktPositiveFloatTS,
    &ktFloatTS,       &ktStringTS,         &ktStringUpperTS,
    &ktStringLowerTS, &ktRestTS,           &ktRest1TS,
    &ktStringConstTS, &ktStringNotEmptyTS, &ktFileNameTS,
    &ktFileReadTS,    &ktFileWriteTS,      &ktFileReadWriteTS,
    &ktDirTS,         &ktDirWriteTS,       &ktYesNoTS,
    &ktOnOffTS,       &ktTrueFalseTS,      &ktErrSevTS,
    &ktErrCntxTS,     &ktErrActionTS,      &ktErrStyleTS,
    &ktVoidTS,        &ktCallbackTS,       &ktAnyTS,
    &ktStrArrayTS,    &ktByteBlockTS,      &ktTypespecTS,
};

void specParse(const char* text, void*) {
    char* name = ktStrTrimAlloc(text);
    for (ktTypeTS* spec : kNamedTypes)
        if (ktStrIcmp(spec->name, name) == 0) {
            ktStrFree(name);
            ktTypeReturnDataV = ktTypePtrToTypedata(ktTypeTSCopy(spec));
            return;
        }
    ktStrFree(name);
    fail(KTM_TYPE_REFUSED, ktTypespecTS.name, text);
}

void specPrint(ktTypedata* value, void*, ktTypeSinkFn sink, void* data) {
    sinkText(sink, data, reinterpret_cast<ktTypeTS*>(*value)->name);
}

void specFree(ktTypedata value, void*) {
    if (value) ktTypeTSFree(reinterpret_cast<ktTypeTS*>(value));
}

ktTypedata specCopy(ktTypedata value, void*) {
    return value ? ktTypePtrToTypedata(ktTypeTSCopy(reinterpret_cast<ktTypeTS*>(value))) : 0;
}

// ---- Type data of the library's types ----------------------------------------

ktTypeIntRange positiveRange{1, 2147483647};
ktTypeIntRange unsignedRange{0, 2147483647};
ktTypeIntRange intRange{-2147483647, 2147483647};
ktTypeIntRange charRange{0, 1023};
ktTypeInt64Range int64Range{-INT64_MAX, INT64_MAX};
ktTypeFloatRange positiveFloatRange{0, DBL_MAX};
ktTypeFloatRange floatRange{-DBL_MAX, DBL_MAX};

ktTypeStringData stringData{"ktStringVT", nullptr};
ktTypeStringData upperData{"ktStringUpperVT", upperFilter};
ktTypeStringData lowerData{"ktStringLowerVT", lowerFilter};
ktTypeStringData restData{"ktStringRestOfLineVT", nullptr};
ktTypeStringData rest1Data{"ktStringRestOfLine1VT", nullptr};
ktTypeStringData constData{"ktStringConstVT", nullptr};
ktTypeStringData notEmptyData{"ktStringNotEmptyVT", notEmptyFilter};

ktTypeFileData fileNameData{nullptr, KTM_TYPE_BADPATH};
ktTypeFileData fileReadData{readable, KTM_TYPE_NOREAD};
ktTypeFileData fileWriteData{writable, KTM_TYPE_NOWRITE};
ktTypeFileData fileReadWriteData{readWritable, KTM_TYPE_NOREADWRITE};
ktTypeFileData dirData{isDir, KTM_TYPE_NODIR};
ktTypeFileData dirWriteData{writableDir, KTM_TYPE_NODIRWRITE};

constexpr const char* kYesNo[] = {"No", "Yes"};
constexpr const char* kOnOff[] = {"Off", "On"};
constexpr const char* kTrueFalse[] = {"False", "True"};
constexpr const char* kSeverities[] = {"Error", "Status",   "Note",    "Warning",
                                       "Fatal", "Internal", "Disabled"};
constexpr const char* kChannels[] = {"Stderr", "StatusLine", "AlertBox", "LogFile"};
constexpr const char* kActions[] = {"statusLine", "alertBox", "disabled"};
constexpr const char* kStyles[] = {"terse", "verbose"};
ktTypeEnumData yesNoData{2, kYesNo};
ktTypeEnumData onOffData{2, kOnOff};
ktTypeEnumData trueFalseData{2, kTrueFalse};
ktTypeEnumData sevData{7, kSeverities};
ktTypeEnumData cntxData{4, kChannels};
ktTypeEnumData actionData{3, kActions};
ktTypeEnumData styleData{2, kStyles};

ktTypePointerData arrayData{arrayParse, arrayPrint, arrayCopy, arrayFree};
ktTypePointerData blockData{blockParse, blockPrint, blockCopy, blockRelease};

}  // namespace

ktTypeTB ktIntTB = {KT_TYPE_WORD, intParse, intPrint, nullptr, nullptr, nullptr};
ktTypeTB ktInt64TB = {KT_TYPE_OWNED, int64Parse, int64Print, blockFree, int64Copy, nullptr};
ktTypeTB ktFloatTB = {KT_TYPE_OWNED, floatParse, floatPrint, blockFree, floatCopy, nullptr};
ktTypeTB ktStringTB = {KT_TYPE_OWNED, stringParse, stringPrint, stringFree, stringCopy, nullptr};
ktTypeTB ktFileTB = {KT_TYPE_OWNED, fileParse, stringPrint, stringFree, stringCopy, nullptr};
ktTypeTB ktEnumTB = {KT_TYPE_WORD, enumParse, enumPrint, nullptr, nullptr, nullptr};
ktTypeTB ktPointer4TB = {KT_TYPE_OWNED, pointerParse, pointerPrint,
                         pointerFree,   pointerCopy,  nullptr};
ktTypeTB ktPointer3TB = {KT_TYPE_OWNED, specParse, specPrint, specFree, specCopy, nullptr};

ktTypeTS ktPositiveIntTS = {"ktPositiveIntVT", &ktIntTB, &positiveRange, 1};
ktTypeTS ktUnsignedIntTS = {"ktUnsignedIntVT", &ktIntTB, &unsignedRange, 1};
ktTypeTS ktIntTS = {"ktIntVT", &ktIntTB, &intRange, 1};
ktTypeTS ktCharTS = {"ktCharVT", &ktIntTB, &charRange, 1};
ktTypeTS ktInt64TS = {"ktInt64VT", &ktInt64TB, &int64Range, 1};
ktTypeTS ktPositiveFloatTS = {"ktPositiveFloatVT", &ktFloatTB, &positiveFloatRange, 1};
ktTypeTS ktFloatTS = {"ktFloatVT", &ktFloatTB, &floatRange, 1};
ktTypeTS ktStringTS = {"ktStringVT", &ktStringTB, &stringData, 1};
ktTypeTS ktStringUpperTS = {"ktStringUpperVT", &ktStringTB, &upperData, 1};
ktTypeTS ktStringLowerTS = {"ktStringLowerVT", &ktStringTB, &lowerData, 1};
ktTypeTS ktRestTS = {"ktStringRestOfLineVT", &ktStringTB, &restData, 1};
ktTypeTS ktRest1TS = {"ktStringRestOfLine1VT", &ktStringTB, &rest1Data, 1};
ktTypeTS ktStringConstTS = {"ktStringConstVT", &ktStringTB, &constData, 1};
ktTypeTS ktStringNotEmptyTS = {"ktStringNotEmptyVT", &ktStringTB, &notEmptyData, 1};
ktTypeTS ktFileNameTS = {"ktFileNameVT", &ktFileTB, &fileNameData, 1};
ktTypeTS ktFileReadTS = {"ktFileReadVT", &ktFileTB, &fileReadData, 1};
ktTypeTS ktFileWriteTS = {"ktFileWriteVT", &ktFileTB, &fileWriteData, 1};
ktTypeTS ktFileReadWriteTS = {"ktFileReadWriteVT", &ktFileTB, &fileReadWriteData, 1};
ktTypeTS ktDirTS = {"ktDirVT", &ktFileTB, &dirData, 1};
ktTypeTS ktDirWriteTS = {"ktDirWriteVT", &ktFileTB, &dirWriteData, 1};
ktTypeTS ktYesNoTS = {"ktYesNoVT", &ktEnumTB, &yesNoData, 1};
ktTypeTS ktOnOffTS = {"ktOnOffVT", &ktEnumTB, &onOffData, 1};
ktTypeTS ktTrueFalseTS = {"ktTrueFalseVT", &ktEnumTB, &trueFalseData, 1};
ktTypeTS ktErrSevTS = {"ktErrSevVT", &ktEnumTB, &sevData, 1};
ktTypeTS ktErrCntxTS = {"ktErrCntxVT", &ktEnumTB, &cntxData, 1};
ktTypeTS ktErrActionTS = {"ktErrActionVT", &ktEnumTB, &actionData, 1};
ktTypeTS ktErrStyleTS = {"ktErrStyleVT", &ktEnumTB, &styleData, 1};
ktTypeTS ktVoidTS = {"ktVoidVT", nullptr, nullptr, 1};
ktTypeTS ktCallbackTS = {"ktCallbackVT", nullptr, nullptr, 1};
ktTypeTS ktAnyTS = {"ktAnyVT", nullptr, nullptr, 1};
ktTypeTS ktStrArrayTS = {"ktStrArrayVT", &ktPointer4TB, &arrayData, 1};
ktTypeTS ktByteBlockTS = {"ktByteBlockVT", &ktPointer4TB, &blockData, 1};
ktTypeTS ktTypespecTS = {"ktTypespecVT", &ktPointer3TB, nullptr, 1};

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

ktTypedata ktTypeParse(ktTypeTS* spec, const char* text) {
    if (!text) text = "";
    if (!spec->ops || !spec->ops->parse) fail(KTM_TYPE_REFUSED, spec->name, text);
    spec->ops->parse(text, spec->data);
    return ktTypeReturnDataV;
}

ktTypedata ktTypeCopyValue(ktTypeTS* spec, ktTypedata value) {
    if (spec->ops && spec->ops->kind == KT_TYPE_OWNED && spec->ops->copy)
        return spec->ops->copy(value, spec->data);
    return value;
}

void ktTypeFreeValue(ktTypeTS* spec, ktTypedata value) {
    if (spec->ops && spec->ops->kind == KT_TYPE_OWNED && spec->ops->free)
        spec->ops->free(value, spec->data);
}

void ktTypePrint(ktTypeTS* spec, ktTypedata value, ktTypeSinkFn sink, void* sinkData) {
    if (spec->ops && spec->ops->print && (spec->ops->kind == KT_TYPE_WORD || value))
        spec->ops->print(&value, spec->data, sink, sinkData);
    else
        sinkText(sink, sinkData, "");
}

int ktTypeIsBoolean(const ktTypeTS* spec) {
    return spec == &ktYesNoTS || spec == &ktOnOffTS || spec == &ktTrueFalseTS;
}

// ---- Numbers with scale and unit ------------------------------------------------

namespace {

struct Word {
    const char* word;
    double scale;
};
constexpr Word kScales[] = {
    {"atto", 1e-18}, {"femto", 1e-15}, {"pico", 1e-12}, {"nano", 1e-9}, {"u", 1e-6},
    {"milli", 1e-3}, {"kilo", 1e3},    {"giga", 1e9},   {"tera", 1e12},
};
constexpr const char* kUnits[] = {"amps", "farads", "henries", "ohms", "seconds", "volts"};

// The number of letters at `p` that begin `word`, case not counting.
size_t prefixOf(const char* p, const char* word) {
    size_t n = 0;
    while (word[n] && std::tolower(static_cast<unsigned char>(p[n])) == word[n]) ++n;
    return n;
}

// Passes over a scale word and gives its factor.
const char* readScale(const char* p, double* scale) {
    *scale = 1;
    if (prefixOf(p, "meg") == 3) {
        *scale = 1e6;
        return p + 3;
    }
    for (const Word& w : kScales)
        if (size_t n = prefixOf(p, w.word)) {
            *scale = w.scale;
            return p + n;
        }
    return p;
}

// Passes over a unit word, which must end where the letters end.
const char* readUnit(const char* p) {
    for (const char* u : kUnits) {
        size_t n = prefixOf(p, u);
        if (n && !std::isalpha(static_cast<unsigned char>(p[n]))) return p + n;
    }
    return p;
}

bool atWordEnd(const char* p) {
    return !std::isalpha(static_cast<unsigned char>(*p));
}

}  // namespace

double ktCvtUstrtod(const char* text, const char** end) {
    char* e;
    double v = std::strtod(text, &e);
    *end = e;
    if (e == text) return 0;
    double scale;
    const char* p = readUnit(readScale(e, &scale));
    if (atWordEnd(p)) {
        *end = p;
        return v * scale;
    }
    // A unit word that begins like a scale word: 5farads, 2amps.
    const char* u = readUnit(e);
    if (u != e && atWordEnd(u)) {
        *end = u;
        return v;
    }
    *end = p;
    return v * scale;
}
