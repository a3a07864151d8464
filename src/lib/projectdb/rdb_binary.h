// The master database as a binary file, "rd520.bdb": a typed binary file
// (ktdufs.h) that holds classes, class lists, storage managers, schemas and
// databases in this order, every reference by name, so that each name a
// reference uses stands in the file before it. It has no symbols: they are
// resolved when the file is written. The writer and the reader of the
// layout stand side by side here.
#pragma once
#include <cstddef>
#include <cstdint>

#include "rdb_master.h"

// The internal version this reader and writer know.
constexpr int32_t rdbiRDVER = 0;

// Reads `file`, from the current directory or else along KDIR, into the
// master it names and registers the user. A master known by its name keeps
// what it holds, and the file is read to its end and dropped. Returns the
// master with status 0, or null with status 12 when the file can't be
// found or read, or is of another version.
rdbMaster* rdbiReadMaster(const char* file, int facility, const char* version, uintptr_t clientdata,
                          int* status);

// Writes `master` to `path` as database version "5.2.0". The file entries
// carry each source file's name without its directory. A master that the
// binary form can't carry whole (a text longer than 255 characters, class
// procedures, a lock test other than 1, properties of a view, search
// paths) is refused. 0, or 12 with the reason in `why`; a refused or
// failed write leaves no file behind.
int rdbiWriteMaster(const rdbMaster* master, const char* path, char* why, size_t size);
