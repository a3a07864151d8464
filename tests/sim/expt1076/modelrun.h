// A symbol translated by the program, as a designer runs it: the symbol is
// written in short form into the library "cells" of a fresh directory,
// with the given entgen.ini, and the entity of its model is read back.
#pragma once
#include <gtest/gtest.h>

#include <string>

#include "runprog.h"
#include "tempdir.h"

class ModelRun : public ::testing::Test {
protected:
    void SetUp() override { dir.write("scrivet.ini", "DIR [p] ./cells (cells)\n"); }

    // Records in short form: "U NAME=value" an attribute of the symbol,
    // "P label" a new pin, "A NAME=value" an attribute of the pin above.
    // Returns the model's lines from the entity's first to its last.
    std::string entity(std::initializer_list<std::string> records, const std::string& ini = "") {
        std::string s = "V 5\nY 1\n";
        for (const std::string& r : records) {
            if (r[0] == 'U') s += "U 0 0 8 0 1 0 " + r.substr(2) + "\n";
            if (r[0] == 'P') s += "P 1 0 0 0 0 1\nL 1 0 0 8 0 1 0 0 " + r.substr(2) + "\n";
            if (r[0] == 'A') s += "A 1 0 8 0 1 0 " + r.substr(2) + "\n";
        }
        dir.write("cells/sym/part.1", s + "E\n");
        dir.write("entgen.ini", "ENTGEN 5.3.1\n" + ini);
        run = runEntgen(dir.path(), {"-o", "cells:part"});
        EXPECT_EQ(run.status, 0) << run.err;
        const std::string model = dir.read("cells/behv/part.vhd");
        const size_t from = model.find("entity PART is\n"), to = model.find("end PART;\n");
        if (from == std::string::npos || to == std::string::npos) return model;
        return model.substr(from, to - from + 10);
    }

    TempDir dir;
    RunResult run{};
};
