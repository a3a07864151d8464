// Files that move between machines. A binary file begins with two bytes:
// the format version (1) and a description of the writer's machine (byte
// order and the widths of its short, int, long, float and double). Values
// are then read by type on any host, their bytes swapped and their width
// widened or narrowed as the description demands; a value that doesn't fit
// its memory type is an error, never a silent cut. Positions told to and by
// this interface don't count the two bytes. Files this system writes carry
// 0x01 0x85: big-endian, 2-byte shorts, 4-byte ints and longs.
//
// The text half reads lines so that a file whose lines end in CR LF reads
// like one whose lines end in LF.
#pragma once
#include <cstddef>
#include <cstdint>
#include <cstdio>

// Value types of ktDufsBRead and ktDufsBWrite, with their width in memory.
enum {
    KT_DUFS_BYTES = 0,   // 1
    KT_DUFS_SHORT = 1,   // 2
    KT_DUFS_INT = 2,     // 4
    KT_DUFS_INT2 = 3,    // 4; a second number for an int, read the same way
    KT_DUFS_LONG = 4,    // 4
    KT_DUFS_FLOAT = 5,   // 4
    KT_DUFS_DOUBLE = 6,  // 8
    KT_DUFS_STRING = 7,  // a length byte and that many characters; written
                         // from a text, read only by ktDufsBReadString
};

// The machine description this system writes.
constexpr uint8_t KT_DUFS_VERSION = 0x01;
constexpr uint8_t KT_DUFS_MACHINE = 0x85;
constexpr uint32_t KT_DUFS_MAGIC = 0x1234567;

enum { KT_DUFS_READ = 1, KT_DUFS_WRITE = 2, KT_DUFS_UPDATE = 3 };

// An open file: its stream, its machine description and what it asks of
// each read and write are the module's own.
struct ktDufsB;

// A string value read back: its characters and a terminator.
constexpr size_t KT_DUFS_STRINGMAX = 256;

// Opens `path` in mode "r", "w" or "w+". Reading checks the two leading
// bytes; writing puts 0x01 0x85 there. A file that can't be opened, or a
// read file shorter than two bytes, gives null with errno set; a file whose
// description can't be read, or another mode, throws (tag 2; tag 1 for the
// mode and for a null argument).
ktDufsB* ktDufsBFopen(const char* path, const char* mode);
// Closes the stream and releases the handle; the result is fclose's.
int ktDufsBFclose(ktDufsB* handle);
// Reads `count` values of `type` into `buffer`, each at its memory width;
// `isSigned` says how a narrower file value is widened and what counts as
// fill when a wider one is narrowed. Returns the number of whole values
// read, so a short read shows as a smaller number. A string is no type of
// this call (tag 1): its buffer is typed by ktDufsBReadString.
size_t ktDufsBRead(ktDufsB* handle, void* buffer, size_t count, int type, int isSigned);
// Reads one string value into `out`, always terminated: 1, or 0 on a
// short read.
size_t ktDufsBReadString(ktDufsB* handle, char (&out)[KT_DUFS_STRINGMAX]);
// Writes `count` values of `type` from `buffer` in the file's order; a
// string is one value, of at most 255 characters. Returns the values written.
size_t ktDufsBWrite(ktDufsB* handle, const void* buffer, size_t count, int type);
// As fseek and ftell, with positions counted behind the two leading bytes.
int ktDufsBFseek(ktDufsB* handle, long offset, int whence);
long ktDufsBFtell(ktDufsB* handle);

// fgets that turns a CR LF line end into LF, also when the CR is the last
// character that fits in the buffer.
char* ktDufsFgets(char* buffer, int size, FILE* stream);
// The next line, of any length, with its line end, in a buffer that the
// next call overwrites; null at the end of the stream.
char* ktDufsFgetline(FILE* stream);
