// A translator ready to write: the root record, a command line record, the
// message file, and an output stream held in memory.
#pragma once
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "ktmsg.h"
#include "vgstruct.h"
#include "vomain.h"
#include "votok.h"

class TranslatorTest : public ::testing::Test {
protected:
    void SetUp() override {
        setenv("KDIR", ENTGEN_SHARE_DIR, 1);
        vo = vodatabloc();
        vo->cmdl = vocmdlbloc();
        msgFp = ktMsgFileOpen("entgen", nullptr, nullptr, nullptr, nullptr);
        ASSERT_NE(msgFp, nullptr);
        voGraphicsMode = 0;
    }

    void TearDown() override {
        if (vo->file->fp == mem_) vo->file->fp = nullptr;
        if (mem_) std::fclose(mem_);
        std::free(memText_);
        vodatafree(vo);
        ktMsgFileClose(msgFp);
        msgFp = nullptr;
        voreplyin = stdin;
        voreplyout = stderr;
    }

    // Points the output channel at a stream in memory.
    void writeToMemory() {
        mem_ = open_memstream(&memText_, &memLen_);
        vo->file->fp = mem_;
        vofilereset(vo->file);
    }

    std::string written() {
        std::fflush(mem_);
        return std::string(memText_, memLen_);
    }

private:
    FILE* mem_ = nullptr;
    char* memText_ = nullptr;
    size_t memLen_ = 0;
};
