// Hands each file of a fuzz target's corpus to it, as libFuzzer would.

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include <gtest/gtest.h>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size);

namespace foundation::test {
namespace {

std::vector<std::filesystem::path> corpus() {
    std::vector<std::filesystem::path> files;
    for (auto const& entry : std::filesystem::directory_iterator(CORPUS))
        files.push_back(entry.path());
    return files;
}

TEST(TheCorpus, IsThere) {
    EXPECT_GE(corpus().size(), 3U);
}

class AnInputOfTheCorpus : public testing::TestWithParam<std::filesystem::path> {};

TEST_P(AnInputOfTheCorpus, HoldsWhatTheFuzzTargetChecks) {
    std::ifstream file(GetParam(), std::ios::binary);
    std::vector<char> const bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    ASSERT_FALSE(bytes.empty());
    // Aborts at a finding.
    EXPECT_EQ(LLVMFuzzerTestOneInput(reinterpret_cast<std::uint8_t const*>(bytes.data()), bytes.size()), 0);
}

INSTANTIATE_TEST_SUITE_P(All, AnInputOfTheCorpus, testing::ValuesIn(corpus()), [](auto const& input) {
    return input.param.stem().string();
});

}  // namespace
}  // namespace foundation::test
