/**
 * Runs every file of the folders on the command line through a fuzz target, in the order of their names: what a
 * fuzzer once found stays found in builds that have no fuzzer.
 */
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <dirent.h>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
extern "C" [[gnu::weak]] int LLVMFuzzerInitialize(int* argc, char*** argv);

namespace {

std::vector<std::uint8_t> contentsOf(const std::string& path) {
    std::vector<std::uint8_t> contents;
    std::FILE* const file = std::fopen(path.c_str(), "rb");
    for (int byte = 0; file != nullptr && (byte = std::fgetc(file)) != EOF;) {
        contents.push_back(static_cast<std::uint8_t>(byte));
    }
    if (file == nullptr || std::ferror(file) != 0) {
        std::perror(path.c_str());
        std::exit(1);
    }
    std::fclose(file);
    return contents;
}

} // namespace

int main(int argc, char** argv) {
    if (LLVMFuzzerInitialize != nullptr) {
        LLVMFuzzerInitialize(&argc, &argv);
    }
    std::size_t inputs = 0;
    for (int i = 1; i < argc; ++i) {
        dirent** names = nullptr;
        const int count = scandir(
            argv[i], &names, [](const dirent* entry) { return entry->d_name[0] != '.' ? 1 : 0; }, alphasort);
        for (int n = 0; n < count; ++n) {
            const std::vector<std::uint8_t> contents = contentsOf(std::string(argv[i]) + "/" + names[n]->d_name);
            (void)LLVMFuzzerTestOneInput(contents.data(), contents.size());
            ++inputs;
            std::free(names[n]);
        }
        std::free(names);
    }
    std::printf("%zu inputs replayed\n", inputs);
    return inputs == 0 ? 1 : 0; // a corpus that is not there proves nothing
}
