// Runs a fuzz target once over every file of the folders named on the command line, so that ordinary test
// runs keep what fuzzing has found. Fails when a folder holds no file: a lost corpus must not look green.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize);

int main(int argc, char** argv) {
    size_t nFiles = 0;
    for (int i = 1; i < argc; ++i) {
        for (const auto& entry : std::filesystem::recursive_directory_iterator(argv[i])) {
            if (!entry.is_regular_file()) continue;
            std::ifstream file(entry.path(), std::ios::binary);
            const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
            LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
            ++nFiles;
        }
    }
    std::printf("%zu inputs replayed\n", nFiles);
    return nFiles == 0 ? 1 : 0;
}
