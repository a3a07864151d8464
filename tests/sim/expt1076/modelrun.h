// A symbol translated by the program: written in short form into the
// library "cells" of a fresh directory, beside the given entgen.ini; the
// entity of its model comes back.
#pragma once
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "runprog.h"
#include "tempdir.h"

class ModelRun : public ::testing::Test {
protected:
    // "U NAME=value" a symbol attribute, "P label" a new pin, "A NAME=value"
    // an attribute of the pin above.
    std::string entity(const std::vector<std::string>& records, const std::string& ini = "") {
        std::string s = "V 5\nY 1\n";
        for (const std::string& r : records)
            s += (r[0] == 'U'   ? "U 0 0 8 0 1 0 "
                  : r[0] == 'P' ? "P 1 0 0 0 0 1\nL 1 0 0 8 0 1 0 0 "
                                : "A 1 0 8 0 1 0 ") +
                 r.substr(2) + "\n";
        dir.write("scrivet.ini", "DIR [p] ./cells (cells)\n");
        dir.write("cells/sym/part.1", s + "E\n");
        dir.write("entgen.ini", "ENTGEN 5.3.1\n" + ini);
        // A run that writes no model must not leave the last one to be read.
        std::remove(dir.path("cells/behv/part.vhd").c_str());
        run = runEntgen(dir.path(), {"-o", "cells:part"});
        EXPECT_EQ(run.status, 0) << run.err;
        const std::string m = dir.read("cells/behv/part.vhd");
        const size_t from = m.find("entity PART is\n");
        return from == std::string::npos ? m : m.substr(from, m.find("end PART;\n") + 10 - from);
    }
    TempDir dir;
    RunResult run{};
};
