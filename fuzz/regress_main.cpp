// Runs a fuzz target over the files and folders given on the command line (the committed corpus),
// so that every input that was interesting or once failed is tried again by the test suite.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

namespace {

bool RunFile(const std::filesystem::path &path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        std::fprintf(stderr, "cannot read %s\n", path.c_str());
        return false;
    }
    const std::vector<char> bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size());
    return true;
}

}  // namespace

int main(int argc, char **argv) {
    size_t count = 0;
    bool ok = true;
    for (int a = 1; a < argc; ++a) {
        std::error_code ec;
        if (std::filesystem::is_directory(argv[a], ec)) {
            std::vector<std::filesystem::path> files;
            for (const auto &entry : std::filesystem::directory_iterator(argv[a], ec))
                if (entry.is_regular_file()) files.push_back(entry.path());
            std::sort(files.begin(), files.end());
            for (const auto &f : files) {
                ok = RunFile(f) && ok;
                ++count;
            }
        } else {
            ok = RunFile(argv[a]) && ok;
            ++count;
        }
    }
    std::printf("%zu inputs run\n", count);
    return ok && count > 0 ? 0 : 1;
}
