#include "runprog.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>

namespace {
std::string slurp(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}
}  // namespace

RunResult runProgram(const std::string& program, const std::string& dir,
                     const std::vector<std::string>& args, const std::string& input,
                     const std::vector<std::string>& env, const std::vector<int>& closed) {
    const std::string in = dir + "/.stdin", out = dir + "/.stdout", err = dir + "/.stderr";
    std::ofstream(in, std::ios::binary) << input;
    pid_t pid = fork();
    if (pid == 0) {
        if (chdir(dir.c_str()) != 0) _exit(127);
        int fi = open(in.c_str(), O_RDONLY);
        int fo = open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        int fe = open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        dup2(fi, 0);
        dup2(fo, 1);
        dup2(fe, 2);
        for (int fd : {fi, fo, fe})
            if (fd > 2) close(fd);
        for (int fd : closed) close(fd);
        for (const std::string& e : env) putenv(strdup(e.c_str()));
        // A program that hangs ends, and its test fails, instead of waiting
        // for the test driver's time limit.
        alarm(60);
        std::vector<char*> argv;
        argv.push_back(const_cast<char*>(program.c_str()));
        for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
        argv.push_back(nullptr);
        execv(program.c_str(), argv.data());
        _exit(127);
    }
    int st = 0;
    waitpid(pid, &st, 0);
    RunResult r;
    r.status = WIFEXITED(st) ? WEXITSTATUS(st) : 128 + WTERMSIG(st);
    r.out = slurp(out);
    r.err = slurp(err);
    unlink(in.c_str());
    unlink(out.c_str());
    unlink(err.c_str());
    return r;
}

RunResult runEntgen(const std::string& dir, const std::vector<std::string>& args,
                    const std::string& input, const std::vector<std::string>& env,
                    const std::vector<int>& closed) {
    std::vector<std::string> all{"KDIR=" ENTGEN_SHARE_DIR};
    all.insert(all.end(), env.begin(), env.end());
    return runProgram(ENTGEN_PROGRAM, dir, args, input, all, closed);
}

RunResult compileMessages(const std::string& dir, const std::string& name,
                          const std::string& source) {
    std::ofstream(dir + "/" + name + "_msg.h", std::ios::binary) << source;
    return runProgram(KMBC_PROGRAM, dir, {name + "_msg.h", name + ".kmb"});
}
