// Runs each file of the folders given through a fuzz entry: what compilers without libFuzzer do with the
// corpus.

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int argc, char** argv) {
    std::size_t files = 0;
    for (int i = 1; i < argc; ++i) {
        for (const auto& file : std::filesystem::directory_iterator(argv[i])) {
            std::ifstream in(file.path(), std::ios::binary);
            std::vector<std::uint8_t> bytes{std::istreambuf_iterator<char>(in), {}};
            std::printf("%s: %zu bytes\n", file.path().c_str(), bytes.size());
            std::fflush(stdout); // the last line names the file that a promise broke on
            LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
            ++files;
        }
    }
    std::printf("%zu inputs\n", files);
    return files > 0 ? 0 : 1;
}
