// The bundled sample, damaged in thousands of ways: every run ends by itself, with a status that says so.

#include <algorithm>
#include <chrono>
#include <gtest/gtest.h>
#include <random>

#include "driver/run.h"
#include "support/damage.h"
#include "support/memory_file.h"
#include "support/scratch_folder.h"

namespace kest {
namespace {

using disk::bytes;

constexpr unsigned runs = 2000;
constexpr std::chrono::seconds longest_run{10};  // a sound one takes milliseconds

class damager {
public:
    explicit damager(unsigned seed) : m_random(seed) {}

    std::size_t below(std::size_t bound) { return std::uniform_int_distribution<std::size_t>(0, bound - 1)(m_random); }

    void damage(bytes& image) {
        for (std::size_t times = 1 + below(8); times > 0 && image.size() > 4096; --times) {
            const std::size_t at = below(image.size() - 8), pages = image.size() / 4096, kind = below(7);
            const std::uint32_t extreme = extremes[below(std::size(extremes))];
            if (kind == 0) image = disk::flip(image, 8 * at + below(8));
            if (kind == 1) image.resize(at);
            if (kind == 2) swap_pages(image, below(pages), below(pages));
            if (kind == 3) repeat(image, 1024);
            if (kind == 4) disk::put(image, at & ~std::size_t{1}, extreme);
            if (kind == 5) disk::put(image, at & ~std::size_t{1}, static_cast<std::uint16_t>(extreme));
            if (kind == 6) repeat(image, 8);
        }
    }

private:
    static void swap_pages(bytes& image, std::size_t a, std::size_t b) {
        if (a != b) std::swap_ranges(&image[4096 * a], &image[4096 * a] + 4096, &image[4096 * b]);
    }

    // What stands at one place, a file record, an LSN or a reference as often as not, comes to stand at another.
    void repeat(bytes& image, std::size_t size) {
        const std::size_t from = below(image.size() / size) * size, to = below(image.size() / size) * size;
        std::memmove(&image[to], &image[from], size);
    }

    static constexpr std::uint32_t extremes[] = {0,      1,      7,      0x7F,    0x80,       0xFFF,      0x1000,
                                                 0x7FFF, 0x8000, 0xFFFF, 0xFF000, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF};
    std::mt19937 m_random;
};

bytes sample(std::string_view name) {
    const std::string contents = disk::contents_of(std::string(KEST_SAMPLES) + "/" + std::string(name));
    return {contents.begin(), contents.end()};
}

TEST(damaged_evidence, never_stops_a_run) {
    const bytes sound[] = {sample("LogFile"), sample("MFT"), sample("UsnJrnl_J")};
    ASSERT_FALSE(sound[0].empty() || sound[1].empty() || sound[2].empty());
    for (unsigned seed = 0; seed < runs; ++seed) {
        SCOPED_TRACE(seed);
        damager random(seed);
        bytes images[] = {sound[0], sound[1], sound[2]};
        for (bytes& image : images) {
            if (random.below(4) != 0) random.damage(image);
        }
        const disk::memory_file log(images[0]), mft(images[1]), journal(images[2]);
        argument_list args = {"kest", "-quiet", "-out", "/dev/null", "-log", log.path()};
        if (random.below(4) != 0) args.insert(args.end(), {"-mftfile", mft.path(), "-showall_inodes"});
        if (random.below(4) != 0) args.insert(args.end(), {"-jrnlfile", journal.path()});
        const auto begin = std::chrono::steady_clock::now();
        const int status = run(args);
        EXPECT_TRUE(status == 0 || status == -1) << status;
        EXPECT_LT(std::chrono::steady_clock::now() - begin, longest_run);
    }
}

}  // namespace
}  // namespace kest
