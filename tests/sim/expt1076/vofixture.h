// A translator ready to write: the root record, a command line record, the
// message file, an output stream held in memory, a dialogue whose
// answers come from a string and whose questions go to one, and reports
// caught in memory on request.
#pragma once
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <regex>
#include <string>

#include "kterr.h"
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
        if (reports_) ktErrFileV = stderr;
        for (FILE* f : {mem_, in_, out_, reports_})
            if (f) std::fclose(f);
        std::free(memText_);
        std::free(asked_);
        std::free(reportText_);
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

    // Reports go to memory from here on (a death test still reads them on
    // standard error); reports() gives those since its last call.
    void catchReports() { ktErrFileV = reports_ = open_memstream(&reportText_, &reportLen_); }
    std::string reports() {
        std::fflush(reports_);
        std::string text(reportText_ + reportsTaken_, reportLen_ - reportsTaken_);
        reportsTaken_ = reportLen_;
        return text;
    }
    // The numbers of the translator's reports since the last call, blank-separated.
    std::string numbers() {
        static const std::regex number(R"(entgen: \w+ (\d+):)");
        std::string text = reports(), out;
        for (std::sregex_iterator it(text.begin(), text.end(), number), end; it != end; ++it)
            out += (out.empty() ? "" : " ") + (*it)[1].str();
        return out;
    }

private:
    FILE *mem_ = nullptr, *in_ = nullptr, *out_ = nullptr, *reports_ = nullptr;
    char *memText_ = nullptr, *asked_ = nullptr, *reportText_ = nullptr;
    size_t memLen_ = 0, askedLen_ = 0, reportLen_ = 0, reportsTaken_ = 0;
    std::string input_;
};
