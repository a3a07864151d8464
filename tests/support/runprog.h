// Runs the translator, or another program of the build, as a user would: in
// a directory of the test's, with the answers to its questions on standard
// input.
#pragma once
#include <string>
#include <vector>

struct RunResult {
    int status;  // exit status, or 128 + signal
    std::string out;
    std::string err;
};

// Runs `program` with `args` in `dir`, with `env` (entries "NAME=value")
// added to the environment and the standard descriptors in `closed` (0, 1,
// 2) closed, as a careless caller may start it.
RunResult runProgram(const std::string& program, const std::string& dir,
                     const std::vector<std::string>& args, const std::string& input = "",
                     const std::vector<std::string>& env = {}, const std::vector<int>& closed = {});

// Runs the entgen program with `args` in `dir`; KDIR names the build's
// support directory unless `env` sets it (entries "NAME=value").
RunResult runEntgen(const std::string& dir, const std::vector<std::string>& args,
                    const std::string& input = "", const std::vector<std::string>& env = {},
                    const std::vector<int>& closed = {});

// Compiles the message source `source` with the build's message compiler
// into `dir`/`name`.kmb; the source stays beside it as `name`_msg.h.
RunResult compileMessages(const std::string& dir, const std::string& name,
                          const std::string& source);
