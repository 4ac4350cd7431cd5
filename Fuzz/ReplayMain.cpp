// Runs stored inputs through a fuzz target without libFuzzer, so that every ordinary test run
// checks them. Takes files and folders; fails when it finds none to run.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

namespace {

namespace fs = std::filesystem;

std::vector<fs::path> inputsAt(const fs::path &path) {
    if (!fs::is_directory(path)) {
        return {path};
    }
    std::vector<fs::path> inputs;
    for (const fs::directory_entry &entry : fs::recursive_directory_iterator(path)) {
        if (entry.is_regular_file()) {
            inputs.push_back(entry.path());
        }
    }
    // A folder lists its files in any order; sorted, every run fails at the same input.
    std::sort(inputs.begin(), inputs.end());
    return inputs;
}

bool replay(const fs::path &input) {
    std::ifstream file(input, std::ios::binary);
    if (!file) {
        std::fprintf(stderr, "%s: cannot be read\n", input.c_str());
        return false;
    }
    // An exact allocation, so that the address sanitizer sees a read past the end.
    const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
    const std::vector<std::uint8_t> exact(bytes.begin(), bytes.end());
    LLVMFuzzerTestOneInput(exact.data(), exact.size());
    return true;
}

} // namespace

int main(int argc, char **argv) {
    int count = 0;
    for (int i = 1; i < argc; ++i) {
        for (const fs::path &input : inputsAt(argv[i])) {
            if (!replay(input)) {
                return 1;
            }
            ++count;
        }
    }
    std::printf("%d inputs ran\n", count);
    return count > 0 ? 0 : 1;
}
