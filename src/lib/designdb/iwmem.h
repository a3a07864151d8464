// Memory of the design database. Objects and names come from pools: a pool
// hands out pieces of its blocks in steps of 8 bytes and frees nothing
// singly, so that a whole design goes in one call (iwbfree). Line-sized
// buffers come from a list of scratch buffers that keeps them for reuse,
// so that a run of many symbols allocates them once. An allocation that
// fails ends the run with "*** Out of Memory ***": nothing here returns null.
#pragma once
#include <cstddef>

// The pool of the session's objects and names (iwinit makes it).
extern int Idatamem;

// Makes a pool of blocks of `blocksize` bytes; identities rise from 1.
int iwbinit(size_t blocksize);
// `size` bytes, rounded up to a multiple of 8, from the pool. An unknown
// pool is reported as message 400 and ends the run.
void* iwballoc(int pool, size_t size);
// Frees the pool with all its blocks; an unknown identity does nothing.
void iwbfree(int pool);

// Thin covers of the memory layer: iwalloc never returns null, iwfree
// accepts null.
void* iwalloc(size_t size);
void iwfree(void* block);

// A scratch buffer of exactly `size` bytes whose first and last bytes are
// 0; the rest is not cleared. A free buffer of the same size is reused.
void* iwqkalloc(size_t size);
// Gives a scratch buffer back; message 217 if it was free already, 251 for
// a pointer that is no scratch buffer.
void iwqkfree(void* buffer);
// Frees every scratch buffer.
void iwqkpurge();
