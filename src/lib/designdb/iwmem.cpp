// Pools and scratch buffers. A pool's block storage comes straight from the
// platform's heap, because a block that can't be had is tried again at half
// its size before the run gives up; everything else goes through the
// memory layer, which never fails.
#include "iwmem.h"

#include <cstdint>
#include <cstdio>

#include "iwmsg.h"
#include "ktex.h"
#include "ktmem.h"
#include "larkmoor_msg.h"

int Idatamem = 0;

namespace {

struct Block {
    Block* next;
    char* base;
    char* free;   // the next byte to hand out
    size_t left;  // bytes behind `free`
};

struct Pool {
    Pool* next;
    Block* blocks;  // newest first
    int id;
    size_t blocksize;
};

struct Scratch {
    Scratch* next;
    int free;
    size_t size;
    char* buffer;
};

Pool* pools_ = nullptr;
int lastId_ = 0;
Scratch* scratch_ = nullptr;

[[noreturn]] void outOfMemory() {
    std::fputs("\n\n*** Out of Memory ***\n", stderr);
    std::fflush(stderr);
    ktAbort(0);
}

Pool* findPool(int id) {
    for (Pool* p = pools_; p; p = p->next)
        if (p->id == id) return p;
    return nullptr;
}

// A new block of `size` bytes; when that much can't be had, half as much,
// as long as it still holds `need`. It goes at the head of the pool's list,
// where pieces are taken from, or, with `behind`, second: a piece larger
// than a block has a block of its own and leaves the head to the others.
Block* addBlock(Pool* p, size_t size, size_t need, bool behind) {
    for (;;) {
        if (void* raw = ktMem_HeapV.malloc(sizeof(Block) + size)) {
            auto* b = static_cast<Block*>(raw);
            b->base = b->free = static_cast<char*>(raw) + sizeof(Block);
            b->left = size;
            Block** at = behind && p->blocks ? &p->blocks->next : &p->blocks;
            b->next = *at;
            *at = b;
            return b;
        }
        if (size / 2 < need) outOfMemory();
        size /= 2;
    }
}

// Pieces come from the newest block only: the older ones are as good as
// full, and looking through them made every allocation cost as much as the
// pool was large.
void* take(Block* b, size_t size) {
    if (!b || b->left < size) return nullptr;
    void* piece = b->free;
    b->free += size;
    b->left -= size;
    return piece;
}

}  // namespace

int iwbinit(size_t blocksize) {
    auto* p = static_cast<Pool*>(ktMemMalloc(sizeof(Pool), "Lark:iwbinit()"));
    p->blocks = nullptr;
    p->id = ++lastId_;
    p->blocksize = blocksize < 8 ? 8 : blocksize;
    p->next = pools_;
    pools_ = p;
    return p->id;
}

void* iwballoc(int pool, size_t size) {
    size = size == 0 ? 8 : (size + 7) & ~static_cast<size_t>(7);
    Pool* p = findPool(pool);
    if (!p) {
        iwmsghndlr(IW_ERROR, IWM_NOPOOL, pool);
        ktAbort(0);
    }
    if (size > p->blocksize) return take(addBlock(p, size, size, true), size);
    if (void* piece = take(p->blocks, size)) return piece;
    return take(addBlock(p, p->blocksize, size, false), size);
}

void iwbfree(int pool) {
    for (Pool** at = &pools_; *at; at = &(*at)->next) {
        Pool* p = *at;
        if (p->id != pool) continue;
        *at = p->next;
        while (Block* b = p->blocks) {
            p->blocks = b->next;
            ktMem_HeapV.free(b);
        }
        ktMemFree(p);
        return;
    }
}

void* iwalloc(size_t size) {
    return ktMemMalloc(size, "Lark:iwalloc()");
}

void iwfree(void* block) {
    if (block) ktMemFree(block);
}

void* iwqkalloc(size_t size) {
    if (size == 0) size = 1;
    Scratch* s = scratch_;
    while (s && !(s->free && s->size == size)) s = s->next;
    if (!s) {
        s = static_cast<Scratch*>(ktMemMalloc(sizeof(Scratch), "Lark:iwqkalloc()"));
        s->buffer = static_cast<char*>(ktMemMalloc(size, "Lark:iwqkalloc()"));
        s->size = size;
        s->next = scratch_;
        scratch_ = s;
    }
    s->free = 0;
    s->buffer[0] = '\0';
    s->buffer[size - 1] = '\0';
    return s->buffer;
}

void iwqkfree(void* buffer) {
    for (Scratch* s = scratch_; s; s = s->next) {
        if (s->buffer != buffer) continue;
        if (s->free) iwmsghndlr(IW_WARNING, IWM_QKTWICE);
        s->free = 1;
        return;
    }
    iwmsghndlr(IW_ERROR, IWM_QKNONE);
}

void iwqkpurge() {
    while (Scratch* s = scratch_) {
        scratch_ = s->next;
        ktMemFree(s->buffer);
        ktMemFree(s);
    }
}
