// A translator ready to write: the root record, a command line record, the
// message file, an output stream held in memory, and a dialogue whose
// answers come from a string and whose questions go to one.
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
        for (FILE* f : {mem_, in_, out_})
            if (f) std::fclose(f);
        std::free(memText_);
        std::free(asked_);
        vodatafree(vo);
        ktMsgFileClose(msgFp);
        msgFp = nullptr;
        voreplyin = stdin;
        voreplyout = stderr;
    }

    // Points the output channel at a fresh stream in memory.
    void writeToMemory() {
        if (mem_) std::fclose(mem_);
        std::free(memText_);
        mem_ = open_memstream(&memText_, &memLen_);
        vo->file->fp = mem_;
        vofilereset(vo->file);
    }
    std::string written() {
        std::fflush(mem_);
        return std::string(memText_, memLen_);
    }

    // The answers to the questions to come; the questions land in asked().
    void answer(const std::string& answers) {
        input_ = answers;
        voreplyin = in_ = fmemopen(input_.data(), input_.size(), "r");
        voreplyout = out_ = open_memstream(&asked_, &askedLen_);
    }
    std::string asked() {
        std::fflush(out_);
        return std::string(asked_, askedLen_);
    }

private:
    FILE *mem_ = nullptr, *in_ = nullptr, *out_ = nullptr;
    char *memText_ = nullptr, *asked_ = nullptr;
    size_t memLen_ = 0, askedLen_ = 0;
    std::string input_;
};
