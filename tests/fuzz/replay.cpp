// Stands for the fuzzer in ordinary builds: runs the files of a folder, in the order of their names.
#include "fuzz.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>

int main(int, char** arguments) {
    std::filesystem::directory_iterator const corpus(arguments[1]);
    std::set<std::filesystem::path> const files(begin(corpus), end(corpus));
    for (std::filesystem::path const& file : files) {
        std::cerr << file.string() << std::endl;
        std::ifstream input(file, std::ios::binary);
        fuzz::Bytes const bytes(std::istreambuf_iterator<char>(input), {});
        fuzz::require(!bytes.empty(), "the file can be read");
        LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
    }
    return files.empty() ? 2 : 0;
}
