// Message files. Nearly every text the system shows, and every VHDL
// statement template the translator writes, is a numbered message in a
// compiled message file ("kmb"). A file is found by the search for support
// files, checked for its identity and version, and stays open on disk: only
// its index is held in memory, and the texts in use are kept in a cache of
// 80 entries, so that a repeated message costs no disk access. A handle
// names an open file; opening a name twice gives the same handle with one
// more reference. A file is input from outside: an index whose numbers
// repeat, fall or point outside the file, and a text that doesn't take the
// arguments its number is known to take, make the file a damaged one. Every
// failure is thrown (tag 1 or 2) as a numbered error of the library's own
// message file; when that file is the one failing, the error is a Fatal
// text made in place.
//
// ktMsgStatic gives a message filled with its arguments in one growing
// buffer that the next call overwrites: use the text at once, or copy it.
//
// The compiled form, written by the build's message compiler: behind the
// two bytes of a binary file (ktdufs.h), a header of 15 32-bit words, the
// records in the order of the source, and the index last.
#pragma once
#include <cstdarg>
#include <cstddef>
#include <cstdint>

constexpr int32_t KT_MSG_MAGIC = 0x10203;
constexpr int KT_MSG_HEADERWORDS = 15;
constexpr int32_t KT_MSG_MAXCOUNT = 200000;  // entries of an index
constexpr int KT_MSG_MAXARGS = 128;          // arguments of one message

// Words of the header.
enum {
    KT_MSG_HMAGIC = 0,
    KT_MSG_HMAJOR = 1,  // -1 in all three when the file has no version
    KT_MSG_HMINOR = 2,
    KT_MSG_HPATCH = 3,
    KT_MSG_HINDEX = 4,    // offset of the index
    KT_MSG_HVERSION = 5,  // offsets of the string records, 0 if none
    KT_MSG_HAPP = 6,
    KT_MSG_HLABEL = 7,
};

// Offsets count from the first byte behind the file's two leading bytes.
struct ktMsgIndexEntry {
    int32_t number;  // above 0; the index rises by number, none twice
    int32_t offset;  // of the text, between the header and the index
    int32_t length;  // of the text, its terminating zero counted
};

// What callers hold: an open file, its cache entries and its signatures
// are the module's own.
struct ktMsgHandle;

// The arguments a message takes, one letter per argument position, in
// order: d int (also a `*` width or precision), h short, l long, L 64-bit
// int, f double, c char, s string, p pointer. The build derives them from
// the message sources, and a text fetched from a file must take exactly
// these, or the file is refused as damaged: a text is a format only where
// it fits what the caller passes.
struct ktMsgSignature {
    int32_t number;
    const char* args;
};

// The signatures of one message file, rising by number.
struct ktMsgSignatureSet {
    const char* name;  // the file's name without extension; null ends the list
    const ktMsgSignature* table;
    int32_t count;
};

// Every message file the build compiled, made by the message compiler from
// the sources; a file whose name is not in it is checked only for texts
// that are no format or that hold an n directive.
extern const ktMsgSignatureSet ktMsgSignatureSetsV[];

// What a message text takes, as ktMsgArgsOf reads it.
struct ktMsgArgs {
    int count;                           // argument positions
    int types[KT_MSG_MAXARGS];           // ktSpFmtArgIs of each; KT_SPFMT_INT for a `*`
    char signature[KT_MSG_MAXARGS + 1];  // the letters of ktMsgSignature
    char problem[96];                    // why a text was refused
};

// Reads the arguments of a message text. 0, with `problem` said, when the
// text is no format of ktSprintf, leaves an argument position out, uses one
// as two types, or holds an n directive: no message may write through an
// argument.
int ktMsgArgsOf(const char* text, ktMsgArgs* out);

// Opens the file `name` with the extension "kmb". `app` and `label` must
// equal the file's application and label strings; `minver` and `maxver`
// ("5.3.1", "5.3", or a definition line of a message source) bound its
// version field by field. Any of the four may be null. A failed version
// check throws, or with KT_MSGNOVERSION set is a warning.
ktMsgHandle* ktMsgFileOpen(const char* name, const char* app, const char* label, const char* minver,
                           const char* maxver);
// Drops one reference; the last one closes the file. A handle that isn't
// open is ignored.
void ktMsgFileClose(ktMsgHandle* handle);
// The foundation library's own message file, opened on first use.
ktMsgHandle* ktMsgFile();
const char* ktMsgGetFilename(ktMsgHandle* handle);

// Receives a text that lives only for the call; the result is passed on.
typedef int (*ktMsgCopyFunc)(void* data, const char* text);

// The raw text of a message, unformatted, handed to `copy`. A text read
// from the file is first checked against what its number takes.
int ktMsgText(ktMsgHandle* handle, int number, ktMsgCopyFunc copy, void* data);
// The message formatted with `args` (ktSprintf rules), handed to `copy`.
int ktMsgGenerateVa(ktMsgHandle* handle, int number, ktMsgCopyFunc copy, void* data, va_list args);

// A buffer and its size, for ktMsgCopyToBuffer.
struct ktMsgBuffer {
    char* text;
    size_t size;
};
// Copies what fits into the ktMsgBuffer `data`, always terminated; 1 when
// the text didn't fit whole (also a text exactly `size` long), else 0.
int ktMsgCopyToBuffer(void* data, const char* text);
// Stores a pooled copy of the text in the char* that `data` points at, for
// the caller to release with ktStrFree; 0.
int ktMsgCopyAlloc(void* data, const char* text);

// For a message that is literal text around one plain %s (no position,
// flags, width or precision): its text in front of the directive and
// behind it, which is what the message formatted with a string holds
// around that string. The texts are good until the next fetch of a
// message. 0, with nothing set, for any other message and for one that
// cannot be read; a fetch that fails throws as ktMsgStatic does.
int ktMsgAroundString(ktMsgHandle* handle, int number, const char** before, const char** after);

// The formatted message in the static buffer, good until the next call.
char* ktMsgStatic(ktMsgHandle* handle, int number, ...);
char* ktMsgStaticVa(ktMsgHandle* handle, int number, va_list args);
