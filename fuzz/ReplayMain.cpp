// Runs a fuzz target over stored inputs without a fuzzing engine, so that each finding of the
// past stays fixed: every file named, and every file below a folder named, is one execution.

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

namespace {

std::size_t executions = 0;

void runFile(const std::filesystem::path &path)
{
    std::ifstream file(path, std::ios::binary);
    const std::vector<char> content{std::istreambuf_iterator<char>(file), {}};
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t *>(content.data()), content.size());
    ++executions;
}

void run(const std::filesystem::path &path)
{
    if (!std::filesystem::is_directory(path)) {
        runFile(path);
        return;
    }
    for (const auto &entry : std::filesystem::recursive_directory_iterator(path)) {
        if (entry.is_regular_file())
            runFile(entry.path());
    }
}

} // namespace

int main(int argumentCount, char **arguments)
{
    for (int i = 1; i < argumentCount; ++i)
        run(arguments[i]);
    std::printf("%zu inputs replayed\n", executions);
    return executions > 0 ? 0 : 1;
}
