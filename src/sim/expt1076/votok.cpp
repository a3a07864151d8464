// The token writer and the opening and closing of the output file. A file
// opened here is written through a block of this module's own, which goes
// to the stream (itself unbuffered) each time it fills and at the close:
// a full disk ends the run at the token that fills a block. A stream handed
// in takes each token at once, with one write and one error test. The run
// has one thread, so streams are written without stdio's locking.
//
// Every output file (model, identifier list, initialization file) is
// written to a temporary file beside it and put in its place by one rename
// when it is complete and on the disk: any end of the run before that (a
// write error, a fatal report, a signal) leaves the old file as it was, and
// two runs writing one file never mix. The temporary file goes on every way
// out but a kill that can't be caught.
#include "votok.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <climits>
#include <cstdlib>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <string_view>

#include "entgen_msg.h"
#include "kspath.h"
#include "kterr.h"
#include "ktex.h"
#include "ktmsg.h"
#include "ktstr.h"
#include "vgstruct.h"
#include "vomain.h"

FILE* voreplyin = stdin;
FILE* voreplyout = stderr;

namespace {
// A reply line and its first word each fit this many characters.
constexpr int kReplyMax = 80;

[[noreturn]] void fatal(int number, const char* path = nullptr) {
    // Counted as fatal whatever the severity the message gives the report.
    vomsg(4);
    std::snprintf(ViewLocation, sizeof ViewLocation, " ");
    if (path)
        ktErrReportBuild(nullptr, ViewLocation, msgFp, number, path);
    else
        ktErrReportBuild(nullptr, ViewLocation, msgFp, number);
    voexit(4);
}

void checked(vofile* f) {
    if (ferror_unlocked(f->fp)) fatal(VOM_WRITEERR);
}

// The block of the file opened here, and that file's stream; null when no
// file opened here is being written.
constexpr size_t kBlockSize = 16384;
char block[kBlockSize];
size_t blockUsed = 0;
FILE* blockStream = nullptr;

// The pieces of one token (line breaks, blanks, the comment prefix, the
// text), gathered in the block of a file opened here, or else for one
// write to the stream; a text too long for the room goes on its own.
struct Token {
    vofile* f;
    bool own;  // the stream of a file opened here
    char* buf;
    size_t size;
    size_t n;
    char local[256];

    explicit Token(vofile* file) : f(file), own(file->fp == blockStream) {
        buf = own ? block : local;
        size = own ? sizeof block : sizeof local;
        n = own ? blockUsed : 0;
    }

    void flush() {
        if (n) fwrite_unlocked(buf, 1, n, f->fp);
        n = 0;
        if (own) checked(f);
    }

    // The token is complete: a stream handed in takes it now.
    void finish() {
        if (own) {
            blockUsed = n;
            return;
        }
        flush();
        checked(f);
    }

    void put(const char* text, int len) {
        if (len <= 0) return;
        const auto length = static_cast<size_t>(len);
        if (length > size - n) {
            flush();
            if (length > size) {
                fwrite_unlocked(text, 1, length, f->fp);
                if (own) checked(f);
                f->column += len;
                return;
            }
        }
        std::memcpy(buf + n, text, length);
        n += length;
        f->column += len;
    }

    // An indent goes in front of nearly every line of a model.
    void spaces(int count) {
        for (int left = count; left > 0;) {
            if (n == size) flush();
            const size_t room = size - n;
            const size_t k = static_cast<size_t>(left) < room ? static_cast<size_t>(left) : room;
            std::memset(buf + n, ' ', k);
            n += k;
            left -= static_cast<int>(k);
        }
        if (count > 0) f->column += count;
    }

    void breakLine() {
        if (n == size) flush();
        buf[n++] = '\n';
        f->column = 0;
    }
};

// Copies at most 255 characters of `text` into `out` (256 bytes), lower-cased.
void lowerCopy(char* out, const char* text) {
    ktStrncpyNullTerm(out, text, KS_PATHMAX);
    ktStrLoc(out);
}
}  // namespace

void votok(int mode, const char* text) {
    vofile* f = vo ? vo->file : nullptr;
    if (!f || !f->fp) fatal(VOM_NOOUTPUT);
    if (!text) text = "";
    const int len = static_cast<int>(std::strlen(text));
    const int oldColumn = f->column;
    constexpr int atColumn0 = VOTOK_WARNING | VOTOK_ERROR | VOTOK_COMMENT;
    Token t(f);

    if ((mode & VOTOK_NLBEFORE) || ((mode & VOTOK_WRAP) && len + f->column > f->width) ||
        ((mode & (atColumn0 | VOTOK_ICOMMENT)) && f->column != 0) ||
        ((mode & VOTOK_TRAILING) && len + f->column + 4 > f->width))
        t.breakLine();
    if (mode & VOTOK_DEDENT) --f->level;

    if (mode & atColumn0) {
        // The comment starts where the line now stands: column 0.
    } else if (mode & VOTOK_TRAILING) {
        t.spaces(f->width - f->column - len - 2);
    } else if (f->column == 0) {
        t.spaces(f->level * f->unit + f->hang);
    }

    if (mode & (VOTOK_COMMENT | VOTOK_ICOMMENT | VOTOK_TRAILING))
        t.put("--", 2);
    else if (mode & VOTOK_WARNING)
        t.put("--WARNING: ", 11);
    else if (mode & VOTOK_ERROR)
        t.put("--ERROR: ", 9);

    t.put(text, len);

    if (mode & (VOTOK_WARNING | VOTOK_ERROR)) {
        // Back to where the interrupted line stood.
        t.breakLine();
        t.spaces(oldColumn);
    }
    if (mode & VOTOK_NLAFTER) t.breakLine();
    t.finish();
    if (mode & VOTOK_INDENT) ++f->level;
    if (mode & VOTOK_HANG) f->hang += len;
    if (mode & VOTOK_UNHANG) f->hang = 0;
}

void votokmsg(int mode, int number, ...) {
    va_list args;
    va_start(args, number);
    votok(mode, ktMsgStaticVa(msgFp, number, args));
    va_end(args);
}

namespace {
// The file being written: where it goes and where it is written meanwhile.
// Plain arrays, so that a signal handler may read them.
char targetPath[PATH_MAX];
char tempPath[PATH_MAX];
volatile sig_atomic_t tempLive = 0;

void dropTemp() {
    if (!tempLive) return;
    tempLive = 0;
    unlink(tempPath);
}

// A signal that ends the run takes the temporary file with it, then ends
// the run as it would have.
void onEndingSignal(int sig) {
    if (tempLive) unlink(tempPath);
    signal(sig, SIG_DFL);
    raise(sig);
}

// Once per run: every way out removes a temporary file still open. A signal
// that someone else handles, or that the run was told to ignore, is left so.
void guardTempFiles() {
    static bool done = false;
    if (done) return;
    done = true;
    std::atexit(dropTemp);
    ktAbortAddHandler(dropTemp);
    for (int sig : {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGPIPE, SIGXFSZ}) {
        struct sigaction old {};
        if (sigaction(sig, nullptr, &old) != 0 || old.sa_handler != SIG_DFL) continue;
        struct sigaction sa {};
        sa.sa_handler = onEndingSignal;
        sigemptyset(&sa.sa_mask);
        sigaction(sig, &sa, nullptr);
    }
}

[[noreturn]] void failOutput(int number, const char* path = nullptr) {
    dropTemp();
    fatal(number, path);
}

// Builds the lower-cased path of base.ext in `dir` (null: the current
// directory) into vodata.buf and returns it; one file is open at a time.
char* outputPath(const char* dir, const char* base, const char* ext) {
    if (vo->file->fp) fatal(VOM_NOOUTPUT);
    char b[KS_PATHMAX], e[KS_PATHMAX];
    lowerCopy(b, base);
    lowerCopy(e, ext);
    char* path = vo->buf;
    // A name too long for a path cannot be opened: say so with what we have.
    if (ksMerge(path, nullptr, dir, b, e) != KS_OK) fatal(VOM_NOOPEN, b);
    return path;
}

// The permissions of a newly created file: 0666 less the mask.
mode_t newFileMode() {
    // The mask can only be read by setting it; nothing here changes it,
    // so once is enough.
    static const mode_t mask = [] {
        mode_t m = umask(0);
        umask(m);
        return m;
    }();
    return 0666 & ~mask;
}

// What the new file may replace at `path`, and the permissions it takes:
// those of a file it replaces, else what a new file would get. A link is
// replaced, not written through; a file the user may not write stays, as
// does anything that is no file.
bool replaceable(const char* path, mode_t* mode) {
    *mode = newFileMode();
    struct stat st;
    if (lstat(path, &st) != 0) return errno == ENOENT;
    if (S_ISLNK(st.st_mode)) return true;
    // No write bit protects a file even from a user whom access() lets in.
    if (!S_ISREG(st.st_mode) || !(st.st_mode & 0222) || access(path, W_OK) != 0) return false;
    *mode = st.st_mode & 07777;
    return true;
}

// "<dir>/.<name>.XXXXXX" beside `path`, or ".entgen.XXXXXX" in its directory
// when the name leaves no room.
void tempNameFor(const char* path) {
    const char* slash = std::strrchr(path, '/');
    std::string_view dir(path, slash ? static_cast<size_t>(slash - path + 1) : 0);
    const char* name = slash ? slash + 1 : path;
    constexpr size_t kNameMax = 255, kAdded = 8;  // '.' and ".XXXXXX"
    if (std::strlen(name) + kAdded > kNameMax) name = "entgen";
    std::snprintf(tempPath, sizeof tempPath, "%.*s.%s.XXXXXX", static_cast<int>(dir.size()),
                  dir.data(), name);
}

// The six name characters of a temporary file: unpredictable enough that
// two runs never pick the same one, from a generator seeded once per run
// (no system call per file).
void fillTempName(char* x) {
    static uint64_t state = [] {
        struct timespec ts {};
        clock_gettime(CLOCK_REALTIME, &ts);
        uint64_t local = 0;
        return (static_cast<uint64_t>(ts.tv_sec) << 32) ^ static_cast<uint64_t>(ts.tv_nsec) ^
               (static_cast<uint64_t>(getpid()) << 16) ^ reinterpret_cast<uintptr_t>(&local);
    }();
    static constexpr char kLetters[] =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
    state += 0x9E3779B97F4A7C15ull;
    uint64_t z = state;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    z ^= z >> 31;
    for (int i = 0; i < 6; ++i, z /= 62) x[i] = kLetters[z % 62];
}

// Creates the temporary file under a fresh name, never one that exists
// (someone else's file is never written), with the permissions a new file
// gets; the stream is the file's only handle.
FILE* createTemp() {
    const size_t len = std::strlen(tempPath);
    char* x = tempPath + len - 6;
    for (int tries = 0; tries < 1000; ++tries) {
        fillTempName(x);
        if (FILE* fp = std::fopen(tempPath, "wxe")) return fp;
        if (errno != EEXIST) return nullptr;
    }
    return nullptr;
}

void openOutput(const char* path) {
    vofile* f = vo->file;
    mode_t mode;
    if (!replaceable(path, &mode)) fatal(VOM_NOOPEN, path);
    guardTempFiles();
    std::snprintf(targetPath, sizeof targetPath, "%s", path);
    tempNameFor(path);
    f->fp = createTemp();
    if (!f->fp) fatal(VOM_NOOPEN, path);
    tempLive = 1;
    // Created with what a new file gets; a file replaced passes on its own.
    if (mode != newFileMode() && fchmod(fileno(f->fp), mode) != 0) {
        std::fclose(f->fp);
        f->fp = nullptr;
        failOutput(VOM_NOOPEN, path);
    }
    // The text gathers in the module's block, so the stream keeps none of
    // its own and never asks the system for the file's block size; one
    // output file is open at a time.
    std::setvbuf(f->fp, nullptr, _IONBF, 0);
    vofilereset(f);
    blockStream = f->fp;
}
}  // namespace

int vofopen(const char* base, const char* ext) {
    char* path = outputPath(vo->cmdl ? vo->cmdl->outdir : nullptr, base, ext);
    // Asked only when the answer matters: under -o a model replaces its file.
    if (!(vo->cmdl && vo->cmdl->overwrite) && !voGraphicsMode && ksExists(path, KS_FILE) == KS_OK) {
        vomsg(2);
        std::snprintf(ViewLocation, sizeof ViewLocation, " ");
        ktErrReportBuild(nullptr, ViewLocation, msgFp, VOM_EXISTS, path);
        char question[KS_PATHMAX + 16];
        std::snprintf(question, sizeof question, "Overwrite %s?", path);
        char reply[KS_PATHMAX];
        getreply(question, "No", reply, sizeof reply);
        if (!equal(reply, "Yes")) return 0;
    }
    openOutput(path);
    return 1;
}

void vofopenini(const char* base, const char* ext) {
    // The initialization file goes to the current directory, replaced unasked.
    openOutput(outputPath(nullptr, base, ext));
}

void vofclose() {
    vofile* f = vo ? vo->file : nullptr;
    if (!f || !f->fp) return;
    // Buffered text reaches the disk here; losing it is the same failure as a
    // failed write, and the old file stays.
    if (f->fp == blockStream) {
        if (blockUsed) fwrite_unlocked(block, 1, blockUsed, f->fp);
        blockStream = nullptr;
        blockUsed = 0;
    }
    bool failed = std::fflush(f->fp) != 0 || std::ferror(f->fp);
    if (tempLive && !failed) failed = fsync(fileno(f->fp)) != 0;
    failed = std::fclose(f->fp) != 0 || failed;
    f->fp = nullptr;
    if (failed) failOutput(VOM_WRITEERR);
    if (!tempLive) return;  // a stream that was handed in, not one opened here
    if (std::rename(tempPath, targetPath) != 0) failOutput(VOM_NOOPEN, targetPath);
    tempLive = 0;
}

void vofilereset(vofile* file) {
    // Whatever stream the record gets next, no block of an earlier one is its.
    blockStream = nullptr;
    blockUsed = 0;
    file->level = 0;
    file->unit = 4;
    file->hang = 0;
    file->width = 76;
    file->column = 0;
}

char* vomerge(const char* base, const char* ext) {
    static char name[KS_PATHMAX];
    if (ksMerge(name, nullptr, nullptr, base, ext) != KS_OK)
        ktStrncpyNullTerm(name, base, sizeof name);
    return ktStrLoc(name);
}

char* getreply(const char* prompt, const char* dflt, char* out, int outlen) {
    if (dflt && *dflt)
        std::fprintf(voreplyout, "%s[%s]: ", prompt, dflt);
    else
        std::fprintf(voreplyout, "%s: ", prompt);
    std::fflush(voreplyout);

    char line[kReplyMax + 1];
    char word[kReplyMax + 1] = "";
    if (std::fgets(line, sizeof line, voreplyin)) {
        // The rest of an over-long line is no part of the next answer.
        if (!std::strchr(line, '\n')) {
            int c;
            while ((c = std::fgetc(voreplyin)) != EOF && c != '\n') {
            }
        }
        std::sscanf(line, "%80s", word);
    }
    const char* answer = *word ? word : (dflt ? dflt : "");
    if (outlen > 0) ktStrncpyNullTerm(out, answer, static_cast<size_t>(outlen));
    return out;
}

int equal(const char* a, const char* b) {
    for (; *a && *b; ++a, ++b) {
        if (ktCharUpc(*a) != ktCharUpc(*b)) return 0;
    }
    return *a == '\0';
}
