// Replays the seed corpus of a fuzz target in an ordinary build: every file
// of each directory given (and each file given) runs once through the
// target, in name order. Fails when nothing was run, so that a target whose
// corpus is missing shows in the test run; a crash or a sanitizer report
// ends the program as it would end the fuzzer.
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);
extern "C" __attribute__((weak)) int LLVMFuzzerInitialize(int* argc, char*** argv);

namespace fs = std::filesystem;

namespace {
std::vector<fs::path> inputsOf(const fs::path& arg) {
    std::vector<fs::path> files;
    if (!fs::is_directory(arg)) {
        files.push_back(arg);
        return files;
    }
    for (const fs::directory_entry& e : fs::directory_iterator(arg))
        if (e.is_regular_file()) files.push_back(e.path());
    std::sort(files.begin(), files.end());
    return files;
}
}  // namespace

int main(int argc, char** argv) {
    if (LLVMFuzzerInitialize) LLVMFuzzerInitialize(&argc, &argv);
    int run = 0;
    for (int i = 1; i < argc; ++i) {
        for (const fs::path& file : inputsOf(argv[i])) {
            std::ifstream in(file, std::ios::binary);
            if (!in) {
                std::fprintf(stderr, "can't read %s\n", file.c_str());
                return 1;
            }
            std::vector<uint8_t> data{std::istreambuf_iterator<char>(in), {}};
            auto start = std::chrono::steady_clock::now();
            static const uint8_t none = 0;  // an empty input still has an address
            LLVMFuzzerTestOneInput(data.empty() ? &none : data.data(), data.size());
            std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
            // Timing is the fuzzer's to enforce; here it is only shown.
            if (took.count() > 1.0)
                std::fprintf(stderr, "slow input: %s took %.2f s\n", file.c_str(), took.count());
            ++run;
        }
    }
    if (run == 0) {
        std::fprintf(stderr, "no input to replay: a fuzz target needs its seed corpus\n");
        return 1;
    }
    std::fprintf(stderr, "%d inputs replayed\n", run);
    return 0;
}
