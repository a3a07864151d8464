// Error reporting: error objects and their chains, building them from
// numbered messages, the two styles, the reporting flow (log, fatal end,
// stream, print), error streams, location texts and the log file with its
// preferences.
#include "kterr.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "kspath.h"
#include "ktex.h"
#include "ktlib_msg.h"
#include "ktlist.h"
#include "ktmem.h"
#include "ktmsg.h"
#include "ktpref.h"
#include "ktstr.h"

namespace {
char unknownProgram[] = "unknown";

// The log: when it is wanted and usable, its name and its stream.
struct LogState {
    int usable;                // 0 once the file could not be opened
    int enabled;               // logging wanted
    int opened;                // a name was made and an open tried
    int fresh;                 // an old file of the same name is still to be deleted
    char (*path)[KS_PATHMAX];  // absolute after the open
    char* program;
    FILE* stream;
    int keep;   // older logs kept beside this process's own
    int first;  // ktErrLogEnable has not been called yet
};
LogState logState = {1, 1, 0, 1, nullptr, unknownProgram, nullptr, 1, 1};
}  // namespace

ktErrStyleVT ktErrStyleV[KT_ERR_NCHANNELS] = {verbose, terse, terse, verbose};
ktErrActionVT ktErrActionV[KT_ERR_NSEVERITIES] = {alertBox, statusLine, alertBox, alertBox,
                                                  alertBox, alertBox,   disabled};
FILE* ktErrFileV = stderr;
void (*ktErrOutFuncV)(ktErrStream*, ktErrObject*) = ktErrReport;

namespace {
constexpr const char* kWords[KT_ERR_NSEVERITIES] = {"Error", "Status",         "Note",    "Warning",
                                                    "Fatal", "Internal Error", "Disabled"};
constexpr char kLetters[KT_ERR_NSEVERITIES + 1] = "ESIWFZD";

// The log's own complaints carry this number and never enter the log.
constexpr int kLogComplaint = KTM_ERRLOG;
// Messages of this band describe failures of building a message; one that
// fails itself is answered by a hand-made object.
constexpr int kBandFirst = 1101, kBandLast = 1110;

const char* word(int sev) {
    return sev >= 0 && sev < KT_ERR_NSEVERITIES ? kWords[sev] : kWords[KT_ERR_ERROR];
}

char letter(int sev) {
    return sev >= 0 && sev < KT_ERR_NSEVERITIES ? kLetters[sev] : kLetters[KT_ERR_ERROR];
}

int severityOfLetter(char c) {
    c = ktCharUpc(c);
    const char* p = std::strchr(kLetters, c);
    return c && p ? static_cast<int>(p - kLetters) : KT_ERR_ERROR;
}

FILE* errFile() {
    return ktErrFileV ? ktErrFileV : stderr;
}

const char* orEmpty(const char* s) {
    return s ? s : "";
}

// The severity designator in front of a message text: "[", blanks, a
// letter, "]", then at least one character. Returns 0 and the severity
// and text, or the number of the complaint that says what is wrong.
int readDesignator(const char* text, int* severity, const char** body) {
    if (!text || text[0] != '[') return KTM_ERR_NOLEFT;
    const char* right = std::strchr(text + 1, ']');
    if (!right) return KTM_ERR_NORIGHT;
    const char* p = text + 1;
    while (*p == ' ') ++p;
    if (p == right) return KTM_ERR_NOLETTER;
    if (!right[1]) return KTM_ERR_NOTEXT;
    *severity = severityOfLetter(*p);
    *body = right + 1;
    return 0;
}

bool bandRetired = false;

// The complaint put in front of a message that has no usable designator.
ktErrObject* complaint(int code, ktMsgHandle* msgfile, int number) {
    ktMsgHandle* own = ktMsgFile();
    if (bandRetired || (msgfile == own && number >= kBandFirst && number <= kBandLast)) {
        bandRetired = true;
        return ktErrCreate(ktErrLocationRoutine("ktErrBuildVa"), "ktlib", 0, KT_ERR_ERROR,
                           "Problem building internal Error Handling message.  Perhaps someone "
                           "should not have alterned the ktlib message file.");
    }
    const char* file = ktMsgGetFilename(msgfile);
    return ktErrBuild(ktErrLocationRoutine("ktErrBuildVa"), own, code, number,
                      file ? file : "(none)");
}

void freeObject(ktErrObject* e) {
    for (char* s : {e->app, e->location, e->text})
        if (s) ktStrFree(s);
    ktMemFlFree(e, sizeof(ktErrObject));
}

// The chain of a pending exception goes behind the report that ends its
// flight, unless the report already holds it.
void takePending(ktErrObject* err) {
    ktErrObject* pending = ktExErrV;
    if (!pending) return;
    ktExErrV = nullptr;
    for (ktErrObject* e = err; e; e = e->next)
        if (e == pending) return;
    ktErrAppend(err, pending);
}

void appendPiece(std::string& out, const ktErrObject* e, int style) {
    if (e->app && std::strcmp(e->app, "USER_FORMATTED") == 0) {
        out += orEmpty(e->text);
        return;
    }
    char head[128];
    if (style == terse) {
        if (e->number)
            std::snprintf(head, sizeof head, "-%c-%d: ", letter(e->severity), e->number);
        else
            std::snprintf(head, sizeof head, "-%c: ", letter(e->severity));
        out.append(orEmpty(e->app)).append(head);
    } else {
        out.append(orEmpty(e->app)).append(": ").append(word(e->severity));
        if (e->number) out.append(" ").append(std::to_string(e->number));
        out.append(": ");
    }
    if (e->location && *e->location) out.append(e->location).append(": ");
    out += orEmpty(e->text);
}

char* stringBuf = nullptr;
size_t stringBufSize = 0;

char locationBuf[512];

char* location(const char* format, const char* name, int line) {
    if (!name || !*name) return nullptr;
    std::snprintf(locationBuf, sizeof locationBuf, format, name, line);
    return locationBuf;
}

void releaseStream(ktErrStream* stream) {
    if (stream->list) {
        while (!ktDlistEmpty(stream->list))
            ktErrDestroy(static_cast<ktErrObject*>(ktDlistRemHead(stream->list)));
        ktDlistFreeList(stream->list);
    }
    ktMemFree(stream);
}
}  // namespace

// Objects.

ktErrObject* ktErrCreate(const char* location, const char* app, int number, int severity,
                         const char* text) {
    auto* e = static_cast<ktErrObject*>(ktMemFlAlloc(sizeof(ktErrObject), "errorObject"));
    e->app = ktStrCpy(app);
    e->location = ktStrCpy(location);
    e->text = ktStrCpy(text);
    e->next = nullptr;
    e->number = number;
    e->severity = severity;
    e->refs = 1;
    return e;
}

ktErrObject* ktErrCreate2(const char* app, int severity, const char* text) {
    return ktErrCreate(nullptr, app, 0, severity, text);
}

ktErrObject* ktErrBuildVa(const char* location, ktMsgHandle* msgfile, int number, va_list args) {
    // Copied out of the message buffer at once: making the object may make
    // a report of its own (the first record of a free list does), which
    // fills that buffer again.
    const std::string text = ktMsgStaticVa(msgfile, number, args);
    ktErrObject* err =
        ktErrCreate(location, ktMsgGetFilename(msgfile), number, KT_ERR_ERROR, nullptr);
    int severity = KT_ERR_ERROR;
    const char* body = nullptr;
    int problem = readDesignator(text.c_str(), &severity, &body);
    if (!problem) {
        err->severity = severity;
        err->text = ktStrCpy(body);
        return err;
    }
    err->text = ktStrCpy(text.c_str());
    return ktErrAppend(complaint(problem, msgfile, number), err);
}

ktErrObject* ktErrBuild(const char* location, ktMsgHandle* msgfile, int number, ...) {
    va_list args;
    va_start(args, number);
    ktErrObject* e = ktErrBuildVa(location, msgfile, number, args);
    va_end(args);
    return e;
}

ktErrObject* ktErrCopy(ktErrObject* err) {
    for (ktErrObject* e = err; e; e = e->next) ++e->refs;
    return err;
}

void ktErrDestroy(ktErrObject* err) {
    while (err) {
        ktErrObject* next = err->next;
        if (--err->refs <= 0) freeObject(err);
        err = next;
    }
}

void ktErrDestroyTop(ktErrObject** chain, ktErrObject* stop) {
    ktErrObject* e = *chain;
    while (e && e != stop) {
        ktErrObject* next = e->next;
        e->next = nullptr;
        ktErrDestroy(e);
        e = next;
    }
    *chain = e;
}

ktErrObject* ktErrAppend(ktErrObject* err, ktErrObject* other) {
    if (!err) return other;
    ktErrObject* last = err;
    while (last->next) last = last->next;
    last->next = other;
    return err;
}

int ktErrSeverity(const ktErrObject* err) {
    return err ? err->severity : KT_ERR_ERROR;
}
int ktErrNum(const ktErrObject* err) {
    return err ? err->number : 0;
}
const char* ktErrApp(const ktErrObject* err) {
    return err ? err->app : nullptr;
}
const char* ktErrText(const ktErrObject* err) {
    return err ? err->text : nullptr;
}

void ktErrLoop(ktErrObject* err, void (*function)(ktErrObject*, void*), void* data) {
    for (ktErrObject* e = err; e;) {
        ktErrObject* next = e->next;  // the function may release e
        function(e, data);
        e = next;
    }
}

// Reporting.

void ktErrReport(ktErrStream* stream, ktErrObject* err) {
    if (!err) return;
    takePending(err);
    ktErrLog(err);
    FILE* out = errFile();
    if (err->severity == KT_ERR_FATAL || err->severity == KT_ERR_INTERNAL) {
        std::fprintf(out, "\n*** Fatal error encountered ***\n%s\n", ktErrString(err, Stderr));
        std::fflush(out);
        ktAbort(err->severity == KT_ERR_INTERNAL);
    }
    if (err->severity != KT_ERR_DISABLED) {
        if (stream) {
            ktErrStreamAdd(stream, err);
            ktErrStreamSetAlert(stream, 0);
        }
        // Unbuffered where the order against the output stream counts.
        std::fprintf(out, "%s\n", ktErrString(err, Stderr));
    }
    ktErrDestroy(err);
}

void ktErrReportBuildVa(ktErrStream* stream, const char* location, ktMsgHandle* msgfile, int number,
                        va_list args) {
    ktErrReport(stream, ktErrBuildVa(location, msgfile, number, args));
}

void ktErrReportBuild(ktErrStream* stream, const char* location, ktMsgHandle* msgfile, int number,
                      ...) {
    va_list args;
    va_start(args, number);
    ktErrReportBuildVa(stream, location, msgfile, number, args);
    va_end(args);
}

void ktErrReport2(const char* app, int severity, const char* text) {
    ktErrReport(nullptr, ktErrCreate2(app, severity, text));
}

void ktErrOut(ktErrStream* stream, ktErrObject* err) {
    ktErrOutFuncV(stream, err);
}

void ktErrOut3(const char* location, const char* app, int severity, const char* text) {
    ktErrOutFuncV(nullptr, ktErrCreate(location, app, 0, severity, text));
}

void ktErrYell(const char* format, ...) {
    va_list args;
    va_start(args, format);
    std::vfprintf(errFile(), format, args);
    va_end(args);
    std::fflush(errFile());
}

const char* ktErrString(const ktErrObject* err, int channel) {
    int style = channel >= 0 && channel < KT_ERR_NCHANNELS ? ktErrStyleV[channel] : verbose;
    std::string out;
    for (const ktErrObject* e = err; e; e = e->next) {
        if (e != err) out += "\n+";
        appendPiece(out, e, style);
    }
    if (out.size() + 1 > stringBufSize) {
        stringBufSize = out.size() + 1;
        stringBuf = static_cast<char*>(ktMemRealloc(stringBuf, stringBufSize, "errorString"));
    }
    std::memcpy(stringBuf, out.c_str(), out.size() + 1);
    return stringBuf;
}

// Locations.

char* ktErrLocationFile(const char* file) {
    return location("%s", file, 0);
}

char* ktErrLocationLine(const char* file, int line) {
    return location(line > 0 ? "%s, line %d" : "%s", file, line);
}

char* ktErrLocationRoutine(const char* name) {
    return location("in call to routine %s()", name, 0);
}

// Streams.

ktErrStream* ktErrStreamCreate() {
    auto* s = static_cast<ktErrStream*>(ktMemCalloc(1, sizeof(ktErrStream), "errorStream"));
    s->refs = 1;
    return s;
}

void ktErrStreamAdd(ktErrStream* stream, ktErrObject* err) {
    if (!stream || !err) return;
    if (!stream->list) stream->list = ktDlistCreate();
    // A stream whose alert stays up keeps its newest objects; the
    // counters see every one.
    if (stream->list->count >= KT_DLIST_MAX)
        ktErrDestroy(static_cast<ktErrObject*>(ktDlistRemHead(stream->list)));
    ktDlistAddTail(stream->list, ktErrCopy(err));
    switch (err->severity) {
        case KT_ERR_STATUS:
            ++stream->status;
            break;
        case KT_ERR_NOTE:
            ++stream->notes;
            break;
        case KT_ERR_WARNING:
            ++stream->warnings;
            break;
        case KT_ERR_ERROR:
            ++stream->errors;
            break;
        case KT_ERR_INTERNAL:
            ++stream->internals;
            break;
        default:
            break;
    }
}

void ktErrStreamSetAlert(ktErrStream* stream, int flag) {
    if (!stream) return;
    stream->alert = flag;
    if (flag) return;
    if (stream->list)
        while (!ktDlistEmpty(stream->list))
            ktErrDestroy(static_cast<ktErrObject*>(ktDlistRemHead(stream->list)));
    if (stream->dying && --stream->refs <= 0) releaseStream(stream);
}

void ktErrStreamDestroy(ktErrStream* stream) {
    if (!stream) return;
    if (stream->alert) {
        stream->dying = 1;
        return;
    }
    if (--stream->refs <= 0) releaseStream(stream);
}

// The log file.

namespace {
// A complaint of the log: a Warning that the log itself never takes in.
void logComplaint(const char* format, const char* a, const char* b = "", const char* c = "") {
    char text[1024];
    std::snprintf(text, sizeof text, format, a, b, c);
    ktErrOut(nullptr, ktErrCreate(nullptr, "ktErrLog", kLogComplaint, KT_ERR_WARNING, text));
}

void releaseLogPath() {
    ktMemFree(logState.path);
    logState.path = nullptr;
}

// "<base>.<ext>-<pid>.err" in the log directory, and the older logs of
// that form trimmed to `keep`. False when a name doesn't fit.
bool perProcessName(const char* dir, char* path) {
    char base[KS_PATHMAX], ext[KS_PATHMAX], name[KS_PATHMAX], pattern[KS_PATHMAX];
    if (ksParse(logState.program, nullptr, nullptr, base, ext) != KS_OK || !*base) return false;
    const long pid = static_cast<long>(getpid());
    int n = *ext ? std::snprintf(name, sizeof name, "%s.%s-%ld", base, ext, pid)
                 : std::snprintf(name, sizeof name, "%s-%ld", base, pid);
    if (n < 0 || n >= static_cast<int>(sizeof name)) return false;
    if (ksMerge(path, nullptr, dir, name, "err") != KS_OK) return false;
    n = *ext ? std::snprintf(name, sizeof name, "%s.%s-*", base, ext)
             : std::snprintf(name, sizeof name, "%s-*", base);
    if (n < 0 || n >= static_cast<int>(sizeof name)) return false;
    if (ksMerge(pattern, nullptr, dir, name, "err") != KS_OK) return false;
    ktErrSaveOnlyNewestFiles(pattern, logState.keep);
    return true;
}

// "<base>.err" in the log directory; failing that "unknown.err" there or
// here, with a Warning.
void programName(const char* dir, char* path) {
    char base[KS_PATHMAX];
    if (ksParse(logState.program, nullptr, nullptr, base, nullptr) == KS_OK && *base &&
        ksMerge(path, nullptr, dir, base, "err") == KS_OK)
        return;
    if (ksMerge(path, nullptr, dir, "unknown", "err") != KS_OK) std::strcpy(path, "unknown.err");
    logComplaint(
        "Error creating name for error log file, trying `%s' instead (I was given "
        "KT_LOGDIR=`%s' and program=`%s').",
        path, orEmpty(dir), orEmpty(logState.program));
}

struct OldLog {
    char* path;
    uint32_t time;
};

struct OldLogs {
    OldLog* files;
    int count;
    int room;
};

int collectLogFile(const char* path, void* data) {
    auto* t = static_cast<OldLogs*>(data);
    if (t->count == t->room) {
        t->room += t->room ? 10 : 20;
        t->files = static_cast<OldLog*>(
            ktMemRealloc(t->files, sizeof(OldLog) * static_cast<size_t>(t->room), "errorLogFiles"));
    }
    t->files[t->count++] = OldLog{ktStrCpy(path), ksFtime(path)};
    return 1;
}
}  // namespace

void ktErrSaveOnlyNewestFiles(const char* pattern, int keep) {
    OldLogs t{nullptr, 0, 0};
    ksLoop2(pattern, KS_FILE, collectLogFile, &t);
    std::stable_sort(t.files, t.files + t.count,
                     [](const OldLog& a, const OldLog& b) { return a.time > b.time; });
    for (int i = 0; i < t.count; ++i) {
        if (i >= keep) ksDelete(t.files[i].path, KS_FILE);
        ktStrFree(t.files[i].path);
    }
    if (t.files) ktMemFree(t.files);
}

void ktErrLogOpenFile() {
    LogState& log = logState;
    if (!((log.enabled && !log.opened) || (log.opened && !log.usable))) return;
    log.opened = 1;
    if (!log.path) {
        log.path = static_cast<char(*)[KS_PATHMAX]>(ktMemMalloc(KS_PATHMAX, "errorLogFilename"));
        ktOnExitAdd(releaseLogPath);
    }
    if (log.stream) {
        std::fclose(log.stream);
        log.stream = nullptr;
    }
    const char* dir = std::getenv("KT_LOGDIR");
    char* path = *log.path;
    if (!(log.keep > 0 && perProcessName(dir, path))) programName(dir, path);

    // Opened as fopen's "a" opens; a stream only for a log that stays.
    int fd = open(path, O_WRONLY | O_CREAT | O_APPEND, 0666);
    FILE* f = fd < 0 || log.fresh ? nullptr : fdopen(fd, "a");
    if (fd < 0 || (!log.fresh && !f)) {
        if (fd >= 0) close(fd);
        log.usable = 0;
        logComplaint("Can't open error log file `%s', logging disabled.", path);
        return;
    }
    log.usable = 1;
    if (log.fresh) {
        // The log of an earlier run of the same name goes now; the file
        // comes back at the first write.
        log.fresh = 0;
        close(fd);
        ksDelete(path, KS_FILE);
    } else {
        log.stream = f;
    }
    ksAbsPath(*log.path);
}

void ktErrLog(const ktErrObject* err) {
    LogState& log = logState;
    if (!err || err->severity == KT_ERR_STATUS) return;
    if (log.enabled && !log.opened) ktErrLogOpenFile();
    if (!log.usable || !log.enabled || !log.path || err->number == kLogComplaint) return;
    if (!log.stream) {
        log.stream = std::fopen(*log.path, "a");
        if (!log.stream) {
            logComplaint("Can't re-open error log file `%s'.", *log.path);
            return;
        }
    }
    std::fprintf(log.stream, "%s\n", ktErrString(err, LogFile));
    std::fflush(log.stream);
}

void ktErrLogEnable(int on) {
    LogState& log = logState;
    on = on ? 1 : 0;
    if (!log.first && on == log.enabled) return;
    log.first = 0;
    log.enabled = on;
    if (on) {
        ktErrLogOpenFile();
        return;
    }
    log.opened = 0;
    if (log.stream) {
        std::fclose(log.stream);
        log.stream = nullptr;
    }
}

void ktErrLogSetArgv0(const char* name) {
    if (!name) return;
    LogState& log = logState;
    char* old = log.program;
    log.program = ktStrOldCopy(name);
    if (old && old != unknownProgram) ktMemFree(old);
}

void ktErrLogKeepFiles(int n) {
    logState.keep = n > 0 ? n : 0;
}

void ktErrLogReset() {
    LogState& log = logState;
    if (log.stream) std::fclose(log.stream);
    log.stream = nullptr;
    log.usable = log.enabled = log.fresh = log.keep = log.first = 1;
    log.opened = 0;
    if (log.program != unknownProgram) ktMemFree(log.program);
    log.program = unknownProgram;
}

void ktErrInit(int* count, char** args) {
    static bool done = false;
    if (done) return;
    done = true;
    if (args && args[0]) ktErrLogSetArgv0(args[0]);

    struct Option {
        const char* name;
        ktTypeTS* type;
        int help;
        ktTypedata value;
    };
    const Option options[] = {
        {"action_status", &ktErrActionTS, KTM_ERR_HELPSTATUS, statusLine},
        {"action_note", &ktErrActionTS, KTM_ERR_HELPNOTE, alertBox},
        {"action_warning", &ktErrActionTS, KTM_ERR_HELPWARNING, alertBox},
        {"action_error", &ktErrActionTS, KTM_ERR_HELPERROR, alertBox},
        {"style_stderr", &ktErrStyleTS, KTM_ERR_HELPSTDERR, verbose},
        {"style_statusLine", &ktErrStyleTS, KTM_ERR_HELPSTATUSLINE, terse},
        {"style_alertBox", &ktErrStyleTS, KTM_ERR_HELPALERTBOX, terse},
        {"stdout", &ktOnOffTS, KTM_ERR_HELPSTDOUT, 0},
        {"logging", &ktOnOffTS, KTM_ERR_HELPLOGGING, 1},
        {"keep_logfiles", &ktUnsignedIntTS, KTM_ERR_HELPKEEP, 0},
    };
    ktPrefDB* group = ktPrefCreate("err");
    for (const Option& o : options)
        ktPrefAdd2(group, o.name, o.type, ktMsgFile(), o.help, &o.value);
    int none = 0;
    // A bad entry of the initialization file keeps its option at the
    // default; it is reported once the good ones are in force, so that the
    // report goes where they say.
    ktErrObject* bad = ktExCatch(
        KT_EX_FAIL,
        [&]() -> ktErrObject* {
            ktPrefParse("wexcombe", count ? count : &none, args);
            return nullptr;
        },
        [](uint32_t, ktErrObject*) { return ktExTake(); });

    auto value = [group](const char* name) { return static_cast<int>(ktPrefVal(group, name)); };
    ktErrActionV[KT_ERR_STATUS] = static_cast<ktErrActionVT>(value("action_status"));
    ktErrActionV[KT_ERR_NOTE] = static_cast<ktErrActionVT>(value("action_note"));
    ktErrActionV[KT_ERR_WARNING] = static_cast<ktErrActionVT>(value("action_warning"));
    ktErrActionV[KT_ERR_ERROR] = static_cast<ktErrActionVT>(value("action_error"));
    ktErrStyleV[Stderr] = static_cast<ktErrStyleVT>(value("style_stderr"));
    ktErrStyleV[StatusLine] = static_cast<ktErrStyleVT>(value("style_statusLine"));
    ktErrStyleV[AlertBox] = static_cast<ktErrStyleVT>(value("style_alertBox"));
    ktErrFileV = value("stdout") ? stdout : stderr;
    ktErrLogKeepFiles(value("keep_logfiles"));
    // The first call always acts: with logging on, the log opens here
    // unless a report opened it already.
    ktErrLogEnable(value("logging"));
    if (bad) ktErrReport(nullptr, bad);
}
