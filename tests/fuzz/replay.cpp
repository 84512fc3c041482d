// Runs a target with the inputs of a corpus, without libFuzzer: replay FILE_OR_FOLDER...
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <vector>

#include "fuzzing.h"

namespace {

std::vector<std::filesystem::path> filesOf(const std::filesystem::path& path) {
    if (!std::filesystem::is_directory(path)) return {path};
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(path)) files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    return files;
}

}  // namespace

int main(int argc, char** argv) {
    LLVMFuzzerInitialize(&argc, &argv);
    std::size_t inputs = 0;
    for (int i = 1; i < argc; ++i) {
        for (const std::filesystem::path& path : filesOf(argv[i])) {
            std::ifstream file(path, std::ios::binary);
            const std::vector<char> bytes((std::istreambuf_iterator<char>(file)), {});
            if (file.bad() || !file.is_open()) {
                std::cerr << path << " cannot be read\n";
                return 1;
            }
            // Printed before the run, because the input may end the process.
            std::cout << path.filename().string() << ' ' << bytes.size() << std::endl;
            const std::vector<std::uint8_t> input(bytes.begin(), bytes.end());
            LLVMFuzzerTestOneInput(input.data(), input.size());
            ++inputs;
        }
    }
    std::cout << inputs << " inputs\n";
    // An empty corpus is an error.
    return inputs > 0 ? 0 : 1;
}
