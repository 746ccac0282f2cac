// Runs a fuzz target on a corpus and on a fixed set of mutations of it, without a fuzzer:
// NAME_mutations FOLDER COUNT makes COUNT mutations of every file in the folder.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

// The same numbers on every machine.
class Random {
public:
    explicit Random(std::uint64_t seed) : m_state(seed) {}
    std::size_t below(std::size_t limit) {
        m_state = m_state * 6364136223846793005u + 1442695040888963407u;
        return limit == 0 ? 0 : static_cast<std::size_t>(m_state >> 33) % limit;
    }

private:
    std::uint64_t m_state;
};

void run(const std::string& bytes) {
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
}

// Changes a few places: another byte, a piece left out, a piece twice, an end cut off.
std::string mutated(std::string bytes, Random& random) {
    for (std::size_t i = random.below(4) + 1; i > 0 && !bytes.empty(); --i) {
        const std::size_t at = random.below(bytes.size());
        const std::size_t length = std::min(random.below(16) + 1, bytes.size() - at);
        switch (random.below(5)) {
            case 0:
                bytes[at] = static_cast<char>(random.below(256));
                break;
            case 1:
                bytes.erase(at, length);
                break;
            case 2:
                bytes.insert(at, bytes.substr(at, length));
                break;
            case 3:
                bytes.replace(at, length, length, '\xff');
                break;
            default:
                bytes.resize(at);
        }
    }
    return bytes;
}

std::vector<std::filesystem::path> filesIn(const char* folder) {
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder))
        if (entry.is_regular_file()) files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    return files;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) return 1;
    const auto files = filesIn(argv[1]);
    const int count = std::atoi(argv[2]);
    Random random(1);
    for (const auto& path : files) {
        std::ifstream file(path, std::ios::binary);
        const std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
        run(bytes);
        for (int i = 0; i < count; ++i) run(mutated(bytes, random));
    }
    std::printf("%zu files, %zu inputs\n", files.size(), files.size() * static_cast<std::size_t>(count + 1));
    return files.empty() ? 1 : 0;
}
