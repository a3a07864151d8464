// What the project database's tests share: a fresh current directory and
// KDIR for each test, the database's environment variables unset, every
// master gone at the end, and the standard output of a call caught.
#pragma once
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <string>

#include "kspath.h"
#include "kssrch.h"
#include "rdb_master.h"
#include "rdb_model.h"
#include "tempdir.h"

// Where the shipped master databases lie.
inline std::string shipped(const char* name) {
    return std::string(ENTGEN_SHARE_DIR) + "/" + name;
}

inline std::string readAll(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

// The first start of the database opens its log: it goes to a directory of
// its own that lives as long as the test program.
class RdbLogDir : public ::testing::Environment {
public:
    void SetUp() override { setenv("KT_LOGDIR", dir_.path().c_str(), 1); }

private:
    TempDir dir_;
};

class RdbTest : public ::testing::Test {
protected:
    TempDir cwd, kdir;
    ChdirGuard into{cwd.path()};
    EnvGuard kdirVar{"KDIR", kdir.path().c_str()};
    EnvGuard vars[7] = {{"RDBASCII", nullptr},   {"RDBVERBOSE", nullptr}, {"RDBDEBUG", nullptr},
                        {"LOCKMODE", nullptr},   {"RDBITC", nullptr},     {"RDBMEGACACHE", nullptr},
                        {"RDBDIRCACHE", nullptr}};

    void SetUp() override {
        ksKdirReset();
        // The start of the database needs the library's own messages.
        kdir.write("ktlib.kmb", readAll(shipped("ktlib.kmb")));
    }
    void TearDown() override {
        while (rdbExit() == 0) {
        }
        rdbVerboseV = rdbDebugV = 0;
        ksKdirReset();
    }

    // Standard output of `body`.
    template <typename Body>
    static std::string out(Body body) {
        ::testing::internal::CaptureStdout();
        body();
        return ::testing::internal::GetCapturedStdout();
    }

    // The shipped files in the KDIR directory.
    void shipBoth() {
        kdir.write("rd520.mdb", readAll(shipped("rd520.mdb")));
        kdir.write("rd520.bdb", readAll(shipped("rd520.bdb")));
    }
};
