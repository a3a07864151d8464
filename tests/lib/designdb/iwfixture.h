// A design database session in a directory of the test's own: a library
// list with the primary library "cells", the build's message files found
// through KDIR, and the database's messages caught in memory once the
// session is open.
#pragma once
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>

#include "iwmsg.h"
#include "iwsession.h"
#include "kspath.h"
#include "kssrch.h"
#include "qlm.h"
#include "rdb_api.h"
#include "tempdir.h"

class DatabaseTest : public ::testing::Test {
protected:
    void SetUp() override {
        dir.write("scrivet.ini", "DIR [p] ./cells (cells)\n");
        dir.mkdir("cells/sym");
        here.emplace(dir.path());
        kdir.emplace("KDIR", ENTGEN_SHARE_DIR);
        resetSearch();
    }
    void TearDown() override {
        iwfinish();
        rdbExit();  // also after a start that failed
        if (caught_) std::fclose(caught_);
        std::free(text_);
        here.reset();
        kdir.reset();
        resetSearch();
    }

    static void resetSearch() {
        qlm_free_all();
        ksGetdefReset();
        ksKdirReset();
    }

    // Opens the session and catches its messages from here on.
    void open() {
        ASSERT_EQ(iwinit(), 1);
        iwmsgclose();
        if (caught_) std::fclose(caught_);
        std::free(text_);
        text_ = nullptr;
        seen_ = 0;
        caught_ = open_memstream(&text_, &length_);
        iwmsgsetup(7, caught_, "%s");
    }
    // The messages caught so far, and forgets them.
    std::string messages() {
        std::fflush(caught_);
        std::string out(text_ + seen_, length_ - seen_);
        seen_ = length_;
        return out;
    }

    TempDir dir;
    std::optional<ChdirGuard> here;
    std::optional<EnvGuard> kdir;

private:
    FILE* caught_ = nullptr;
    char* text_ = nullptr;
    size_t length_ = 0;
    size_t seen_ = 0;
};
