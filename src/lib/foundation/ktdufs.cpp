// Files that move between machines: typed binary values behind a two-byte
// machine description, and text lines that may end in CR LF. When a file's
// layout is the host's, a read is one fread; other files are converted
// value by value through a most-significant-first scratch copy, which keeps
// the widening and narrowing rules the same on hosts of either byte order.
// A file opened for reading is read whole at the open (unless it is very
// large) and decoded from memory: one read instead of a call per value.
#include "ktdufs.h"

#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "kspath.h"
#include "kterr.h"
#include "ktex.h"
#include "ktlib_msg.h"
#include "ktmem.h"
#include "ktmsg.h"
#include "ktstr.h"

struct ktDufsWidth {
    uint8_t file;     // bytes of a value of this type in the file
    uint8_t differs;  // 1 if that isn't its width in memory
};

struct ktDufsB {
    FILE* stream;           // null while the file is read from `data`
    uint8_t* data;          // a read file's bytes behind the two leading ones
    size_t size, at;        // their number and the position among them
    char* name;             // the path it was opened with, pooled
    uint32_t magic;         // KT_DUFS_MAGIC while the handle is valid
    int converted;          // 1 if any value needs work on the way in or out
    int swap;               // 1 if the file's byte order differs from the host's
    ktDufsWidth widths[8];  // by value type
    int mode;               // KT_DUFS_READ, KT_DUFS_WRITE or KT_DUFS_UPDATE
};

namespace {

// Width in memory of each value type; a string is handled on its own.
constexpr uint8_t kMemWidth[8] = {1, 2, 4, 4, 4, 4, 8, 1};
constexpr bool kHostMsbFirst = std::endian::native == std::endian::big;
// The widest value a machine description can declare: a 16-byte int.
constexpr size_t kMaxWidth = 16;
// A read file up to this size is held in memory; a larger one is streamed.
constexpr long kWholeMax = 4L << 20;

// Reads what is left of the stream or the memory copy, as fread would.
size_t readRaw(ktDufsB* h, void* out, size_t width, size_t count) {
    if (h->stream) return std::fread(out, width, count, h->stream);
    if (width == 0) return 0;
    size_t left = h->at < h->size ? h->size - h->at : 0;
    size_t n = std::min(count, left / width);
    if (n) std::memcpy(out, h->data + h->at, n * width);
    // A value cut by the end is consumed, as fread consumes it.
    h->at += std::min(count * width, left);
    return n;
}

// The bytes of the regular file open at `fd` (its size then `size`), read
// to its end into memory of ktMem: null and errno set on a failed read.
uint8_t* readWhole(int fd, long size, size_t* got) {
    size_t room = static_cast<size_t>(size) + 1, have = 0;
    auto* data = static_cast<uint8_t*>(ktMemMalloc(room, "ktDufsData"));
    for (;;) {
        ssize_t n = read(fd, data + have, room - have);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) {
            int e = errno;
            ktMemFree(data);
            errno = e;
            return nullptr;
        }
        have += static_cast<size_t>(n);
        // A short read of a regular file is its end; a full one means it
        // grew since it was measured.
        if (have < room) break;
        room *= 2;
        data = static_cast<uint8_t*>(ktMemRealloc(data, room, "ktDufsData"));
    }
    *got = have;
    return data;
}

// The library's own message file can't explain a failure to open itself.
bool isOwnMessageFile(const char* path, char* name, char* ext) {
    return ksParse(path, nullptr, nullptr, name, ext) == KS_OK && ktStrIcmp(name, "ktlib") == 0 &&
           ktStrIcmp(ext, "kmb") == 0;
}

template <typename... Args>
[[noreturn]] void fail(uint32_t tag, const char* routine, const char* path, int number,
                       Args... args) {
    char name[KS_PATHMAX], ext[KS_PATHMAX];
    if (path && isOwnMessageFile(path, name, ext)) {
        char text[3 * KS_PATHMAX];
        std::snprintf(text, sizeof text,
                      "KTLIB Error %d: Error %d occured while trying to open or read the binary "
                      "message file %s.%s!\n",
                      1008, number, name, ext);
        ktExThrow2(tag, "ktlib", KT_ERR_FATAL, text);
    }
    char where[64];
    std::snprintf(where, sizeof where, "in call to routine %s()", routine);
    ktExThrowBuild(tag, where, ktMsgFile(), number, args...);
}

void checkHandle(const ktDufsB* h, const char* routine) {
    if (!h || h->magic != KT_DUFS_MAGIC) fail(KT_EX_PRECOND, routine, nullptr, KTM_DUFS_BADHANDLE);
}

void checkType(int type, const char* routine) {
    if (type < KT_DUFS_BYTES || type > KT_DUFS_STRING)
        fail(KT_EX_PRECOND, routine, nullptr, KTM_DUFS_BADTYPE, type);
}

void reverse(uint8_t* bytes, size_t n) {
    for (size_t i = 0, j = n - 1; i < j; ++i, --j) std::swap(bytes[i], bytes[j]);
}

// Reverses the bytes of each of `count` values of `width` bytes.
void swapAll(uint8_t* out, size_t count, size_t width) {
    auto each = [&](auto word, auto flip) {
        for (size_t i = 0; i < count; ++i) {
            decltype(word) v;
            std::memcpy(&v, out + i * width, sizeof v);
            v = flip(v);
            std::memcpy(out + i * width, &v, sizeof v);
        }
    };
    if (width == 2) return each(uint16_t{}, [](uint16_t v) { return __builtin_bswap16(v); });
    if (width == 4) return each(uint32_t{}, [](uint32_t v) { return __builtin_bswap32(v); });
    if (width == 8) return each(uint64_t{}, [](uint64_t v) { return __builtin_bswap64(v); });
    for (size_t i = 0; i < count; ++i) reverse(out + i * width, width);
}

int modeNumber(const char* mode) {
    if (std::strcmp(mode, "r") == 0) return KT_DUFS_READ;
    if (std::strcmp(mode, "w") == 0) return KT_DUFS_WRITE;
    if (std::strcmp(mode, "w+") == 0) return KT_DUFS_UPDATE;
    return 0;
}

ktDufsB* makeHandle(FILE* f, const char* path, const char* mode, uint8_t version, uint8_t machine) {
    const char* routine = "ktDufsBFopen";
    if (version != KT_DUFS_VERSION)
        fail(KT_EX_FAIL, routine, path, KTM_DUFS_BADVERSION, static_cast<int>(version), path);
    if (!(machine & 0x80)) fail(KT_EX_FAIL, routine, path, KTM_DUFS_BADMACHINE, path);
    // Only 4-byte floats and 8-byte doubles can be read.
    if (machine & 0x60) fail(KT_EX_FAIL, routine, path, KTM_DUFS_BADFLOAT, path);
    int m = modeNumber(mode);
    if (!m) fail(KT_EX_PRECOND, routine, path, KTM_DUFS_BADMODE, path, mode);

    uint8_t file[8];
    file[KT_DUFS_BYTES] = 1;
    file[KT_DUFS_SHORT] = (machine & 0x10) ? 4 : 2;
    file[KT_DUFS_INT] = file[KT_DUFS_INT2] = static_cast<uint8_t>(2 << ((machine >> 2) & 3));
    file[KT_DUFS_LONG] = (machine & 0x02) ? 8 : 4;
    file[KT_DUFS_FLOAT] = 4;
    file[KT_DUFS_DOUBLE] = 8;
    file[KT_DUFS_STRING] = 1;

    auto* h = static_cast<ktDufsB*>(ktMemCalloc(1, sizeof(ktDufsB), "ktDufsB"));
    h->stream = f;
    h->name = ktStrCpy(path);
    h->magic = KT_DUFS_MAGIC;
    h->swap = ((machine & 0x01) != 0) != kHostMsbFirst;
    h->converted = h->swap;
    for (int t = 0; t < 8; ++t) {
        h->widths[t].file = file[t];
        h->widths[t].differs = file[t] != kMemWidth[t];
        h->converted |= h->widths[t].differs;
    }
    h->mode = m;
    return h;
}

// Copies a most-significant-first value of `fromWidth` bytes into `toWidth`
// bytes: filled at the front with the sign or zero when widening, and when
// narrowing only if every dropped byte is that fill. False if it doesn't fit.
bool resize(const uint8_t* from, size_t fromWidth, uint8_t* to, size_t toWidth, int isSigned) {
    uint8_t fill = (isSigned && (from[0] & 0x80)) ? 0xFF : 0x00;
    if (fromWidth <= toWidth) {
        std::memset(to, fill, toWidth - fromWidth);
        std::memcpy(to + (toWidth - fromWidth), from, fromWidth);
        return true;
    }
    for (size_t i = 0; i < fromWidth - toWidth; ++i)
        if (from[i] != fill) return false;
    std::memcpy(to, from + (fromWidth - toWidth), toWidth);
    return true;
}

// Between the host's order and most-significant-first, or between the
// file's order and it: the same reversal either way.
void toFromMsbFirst(uint8_t* bytes, size_t n, bool msbFirst) {
    if (!msbFirst) reverse(bytes, n);
}

size_t readString(ktDufsB* h, char (&out)[KT_DUFS_STRINGMAX]) {
    unsigned char length;
    if (readRaw(h, &length, 1, 1) != 1) {
        *out = '\0';
        return 0;
    }
    size_t got = readRaw(h, out, 1, length);
    out[got] = '\0';
    return got == length ? 1 : 0;
}

size_t readConverted(ktDufsB* h, uint8_t* out, size_t count, int type, int isSigned) {
    size_t fileWidth = h->widths[type].file, memWidth = kMemWidth[type];
    bool fileMsbFirst = kHostMsbFirst != static_cast<bool>(h->swap);
    uint8_t raw[kMaxWidth], value[kMaxWidth];
    for (size_t i = 0; i < count; ++i) {
        if (readRaw(h, raw, 1, fileWidth) != fileWidth) return i;
        toFromMsbFirst(raw, fileWidth, fileMsbFirst);
        if (!resize(raw, fileWidth, value, memWidth, isSigned))
            fail(KT_EX_FAIL, "ktDufsBRead", h->name, KTM_DUFS_NOFIT, h->name,
                 static_cast<int>(fileWidth), static_cast<int>(memWidth));
        toFromMsbFirst(value, memWidth, kHostMsbFirst);
        std::memcpy(out + i * memWidth, value, memWidth);
    }
    return count;
}

size_t writeString(ktDufsB* h, const char* text) {
    size_t n = std::strlen(text);
    // The length must fit its one byte; a cut string would be another string.
    if (n > 255)
        fail(KT_EX_PRECOND, "ktDufsBWrite", h->name, KTM_DUFS_LONGSTRING, h->name,
             static_cast<int>(n));
    unsigned char length = static_cast<unsigned char>(n);
    if (std::fwrite(&length, 1, 1, h->stream) != 1) return 0;
    return std::fwrite(text, 1, n, h->stream) == n ? 1 : 0;
}

}  // namespace

ktDufsB* ktDufsBFopen(const char* path, const char* mode) {
    if (!path || !mode) fail(KT_EX_PRECOND, "ktDufsBFopen", nullptr, KTM_DUFS_NULLARG);
    if (std::strcmp(mode, "r") == 0) {
        // A file read is input from outside: only a regular file, never
        // waited on.
        long size = 0;
        int fd = ksOpenRead(path, &size);
        if (fd < 0) return nullptr;
        if (size <= kWholeMax) {
            size_t got = 0;
            uint8_t* data = readWhole(fd, size, &got);
            int e = errno;
            close(fd);
            if (!data) {
                errno = e;
                return nullptr;
            }
            if (got < 2) {
                ktMemFree(data);
                errno = ENODATA;
                return nullptr;
            }
            return ktExCatch(
                KT_EX_ALL,
                [&] {
                    ktDufsB* h = makeHandle(nullptr, path, mode, data[0], data[1]);
                    std::memmove(data, data + 2, got - 2);
                    h->data = data;
                    h->size = got - 2;
                    return h;
                },
                [&](uint32_t tag, ktErrObject* err) -> ktDufsB* {
                    ktMemFree(data);
                    ktExThrow(tag, err);
                });
        }
        close(fd);
    }
    std::string binaryMode = std::string(mode) + "b";
    // A file read is input from outside: only a regular file, never waited on.
    FILE* f = std::strchr(mode, 'r') ? ksFopen(path, binaryMode.c_str())
                                     : std::fopen(path, binaryMode.c_str());
    if (!f) return nullptr;

    bool writes = std::strchr(mode, 'w') != nullptr;
    uint8_t head[2] = {KT_DUFS_VERSION, KT_DUFS_MACHINE};
    if (std::strchr(mode, 'r')) {
        std::rewind(f);
        errno = 0;
        if (std::fread(head, 1, 2, f) != 2) {
            // A file that simply ends early sets no errno of its own.
            int e = errno ? errno : ENODATA;
            std::fclose(f);
            errno = e;
            return nullptr;
        }
    } else if (std::fwrite(head, 1, 2, f) != 2) {
        int e = errno;
        std::fclose(f);
        std::remove(path);
        errno = e;
        return nullptr;
    }
    return ktExCatch(
        KT_EX_ALL, [&] { return makeHandle(f, path, mode, head[0], head[1]); },
        [&](uint32_t tag, ktErrObject* err) -> ktDufsB* {
            std::fclose(f);
            if (writes) std::remove(path);
            ktExThrow(tag, err);
        });
}

int ktDufsBFclose(ktDufsB* h) {
    checkHandle(h, "ktDufsBFclose");
    h->magic = 0;
    int r = h->stream ? std::fclose(h->stream) : 0;
    if (h->data) ktMemFree(h->data);
    if (h->name) ktStrFree(h->name);
    ktMemFree(h);
    return r;
}

size_t ktDufsBRead(ktDufsB* h, void* buffer, size_t count, int type, int isSigned) {
    // The common case first: one value of a file held in memory, at the
    // host's width.
    if (h && h->magic == KT_DUFS_MAGIC && !h->stream && buffer && count == 1 &&
        type >= KT_DUFS_BYTES && type < KT_DUFS_STRING && !h->widths[type].differs) {
        size_t width = kMemWidth[type];
        if (h->at >= h->size || h->size - h->at < width) return readRaw(h, buffer, width, 1);
        std::memcpy(buffer, h->data + h->at, width);
        h->at += width;
        if (h->swap && width > 1) swapAll(static_cast<uint8_t*>(buffer), 1, width);
        return 1;
    }
    checkHandle(h, "ktDufsBRead");
    if (!buffer) fail(KT_EX_PRECOND, "ktDufsBRead", nullptr, KTM_DUFS_NULLARG);
    checkType(type, "ktDufsBRead");
    // A string's buffer must be known to hold 256 bytes.
    if (type == KT_DUFS_STRING) fail(KT_EX_PRECOND, "ktDufsBRead", nullptr, KTM_DUFS_BADTYPE, type);
    if (count == 0) return 0;
    auto* out = static_cast<uint8_t*>(buffer);
    if (h->widths[type].differs) return readConverted(h, out, count, type, isSigned);

    size_t width = kMemWidth[type];
    size_t got = readRaw(h, out, width, count);
    if (h->swap && width > 1) swapAll(out, got, width);
    return got;
}

size_t ktDufsBReadString(ktDufsB* h, char (&out)[KT_DUFS_STRINGMAX]) {
    checkHandle(h, "ktDufsBReadString");
    return readString(h, out);
}

size_t ktDufsBWrite(ktDufsB* h, const void* buffer, size_t count, int type) {
    checkHandle(h, "ktDufsBWrite");
    if (!buffer) fail(KT_EX_PRECOND, "ktDufsBWrite", nullptr, KTM_DUFS_NULLARG);
    checkType(type, "ktDufsBWrite");
    // A file opened for reading takes no writes.
    if (!h->stream) {
        errno = EBADF;
        return 0;
    }
    if (type == KT_DUFS_STRING) return writeString(h, static_cast<const char*>(buffer));
    const auto* in = static_cast<const uint8_t*>(buffer);
    if (type == KT_DUFS_BYTES) return std::fwrite(in, 1, count, h->stream);

    size_t fileWidth = h->widths[type].file, memWidth = kMemWidth[type];
    bool fileMsbFirst = kHostMsbFirst != static_cast<bool>(h->swap);
    uint8_t value[kMaxWidth], out[kMaxWidth];
    for (size_t i = 0; i < count; ++i) {
        std::memcpy(value, in + i * memWidth, memWidth);
        toFromMsbFirst(value, memWidth, kHostMsbFirst);
        // Every file opened for writing has the host's widths; a file read
        // from elsewhere and written anyway takes signed values.
        if (!resize(value, memWidth, out, fileWidth, 1))
            fail(KT_EX_FAIL, "ktDufsBWrite", h->name, KTM_DUFS_NOFIT, h->name,
                 static_cast<int>(fileWidth), static_cast<int>(memWidth));
        toFromMsbFirst(out, fileWidth, fileMsbFirst);
        if (std::fwrite(out, 1, fileWidth, h->stream) != fileWidth) return i;
    }
    return count;
}

int ktDufsBFseek(ktDufsB* h, long offset, int whence) {
    checkHandle(h, "ktDufsBFseek");
    if (!h->stream) {
        long from = whence == SEEK_SET   ? 0
                    : whence == SEEK_CUR ? static_cast<long>(h->at)
                    : whence == SEEK_END ? static_cast<long>(h->size)
                                         : -1;
        if (from < 0 || (offset < 0 && -offset > from)) {
            errno = EINVAL;
            return -1;
        }
        h->at = static_cast<size_t>(from + offset);
        return 0;
    }
    if (whence == SEEK_SET) offset += 2;
    return std::fseek(h->stream, offset, whence);
}

long ktDufsBFtell(ktDufsB* h) {
    checkHandle(h, "ktDufsBFtell");
    if (!h->stream) return static_cast<long>(h->at);
    long at = std::ftell(h->stream);
    return at < 0 ? at : at - 2;
}

char* ktDufsFgets(char* buffer, int size, FILE* stream) {
    if (!std::fgets(buffer, size, stream)) return nullptr;
    size_t n = std::strlen(buffer);
    if (n >= 2 && buffer[n - 2] == '\r' && buffer[n - 1] == '\n') {
        buffer[n - 2] = '\n';
        buffer[n - 1] = '\0';
    } else if (n > 0 && n == static_cast<size_t>(size) - 1 && buffer[n - 1] == '\r') {
        // The buffer ended between CR and what follows it.
        int c = std::getc(stream);
        if (c == '\n')
            buffer[n - 1] = '\n';
        else if (c != EOF)
            std::ungetc(c, stream);
    }
    return buffer;
}

char* ktDufsFgetline(FILE* stream) {
    static char* line = nullptr;
    static size_t room = 0;
    if (!line) {
        room = 100;
        line = static_cast<char*>(ktMemMalloc(room, "ktStaticBuffer"));
    }
    size_t length = 0;
    for (;;) {
        if (!ktDufsFgets(line + length, static_cast<int>(room - length), stream))
            return length ? line : nullptr;
        length += std::strlen(line + length);
        bool full = length + 1 == room && line[length - 1] != '\n';
        if (!full) return line;
        room *= 2;
        line = static_cast<char*>(ktMemRealloc(line, room, "ktStaticBuffer"));
    }
}
