// Feeds a fuzz target the files of the folder named on the command line, each as it is and then changed time and again
// by the target's own mutator. Every change follows from the number of its turn.

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <vector>

extern "C" {
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t max_size, unsigned seed);

// In place of libFuzzer's: turns a bit over, sets a number to an extreme, has a piece stand twice, or cuts.
std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t) {
    static std::minstd_rand random(1);
    if (size < 16) return size;
    static constexpr std::uint32_t extremes[] = {0,      1,      0x7F,    0x80,       0xFFF,      0x1000,    0x7FFF,
                                                 0x8000, 0xFFFF, 0xFF000, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF};
    const std::size_t at = random() % (size - 8) & ~std::size_t{1}, from = random() % (size - 8) & ~std::size_t{7};
    const std::size_t kind = random() % 12;
    if (kind == 0) return at;
    if (kind == 1) std::memmove(data + (at & ~std::size_t{7}), data + from, 8);
    if (kind > 1 && kind < 5) data[at] = static_cast<std::uint8_t>(data[at] ^ 1u << random() % 8);
    if (kind >= 5) std::memcpy(data + at, &extremes[random() % std::size(extremes)], 1u << random() % 3);
    return size;
}
}

constexpr unsigned most_changes = 12;  // then the file is taken anew

int main(int argc, char** argv) {
    if (argc != 3) return 2;
    const unsigned turns = static_cast<unsigned>(std::atoi(argv[2]));
    const std::filesystem::path folder = std::filesystem::absolute(argv[1]);
    LLVMFuzzerTestOneInput(nullptr, 0);
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        std::ifstream file(entry.path(), std::ios::binary);
        const std::vector<char> content{std::istreambuf_iterator<char>(file), {}};
        std::vector<std::uint8_t> input;
        for (unsigned turn = 0; turn <= turns; ++turn) {
            std::fprintf(stderr, "%s, turn %u\n", entry.path().filename().string().c_str(),
                         turn);  // the last one printed is the one that failed
            if (turn % most_changes == 0) input.assign(content.begin(), content.end());
            LLVMFuzzerTestOneInput(input.data(), input.size());
            const std::size_t size = input.size();
            input.resize(size + 64);
            input.resize(LLVMFuzzerCustomMutator(input.data(), size, size + 64, turn));
        }
    }
    return 0;
}
