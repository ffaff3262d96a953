// Runs a fuzz target over files, without a fuzzer: replay FILE-OR-FOLDER...
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv) __attribute__((weak));
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

namespace {

int run(const std::filesystem::path &file) {
    std::ifstream in(file, std::ios::binary);
    const std::vector<char> content(std::istreambuf_iterator<char>(in), {});
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(content.data()), content.size());
    return 1;
}

}  // namespace

int main(int argc, char **argv) {
    if (LLVMFuzzerInitialize != nullptr)
        LLVMFuzzerInitialize(&argc, &argv);
    int files = 0;
    for (int i = 1; i < argc; i++) {
        if (!std::filesystem::is_directory(argv[i])) {
            files += run(argv[i]);
            continue;
        }
        for (const auto &entry : std::filesystem::directory_iterator(argv[i]))
            files += run(entry.path());
    }
    std::printf("%d inputs\n", files);
    return files == 0;
}
