// Passes every file of a fuzz target's corpus to the target once.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <memory>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

class Corpus : public testing::TestWithParam<const char*> {};

TEST_P(Corpus, isAnswered) {
    struct Close {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };
    const std::unique_ptr<std::FILE, Close> file(std::fopen(GetParam(), "rb"));
    ASSERT_NE(file, nullptr) << GetParam();
    std::vector<std::uint8_t> input(1 << 16);
    input.resize(std::fread(input.data(), 1, input.size(), file.get()));
    EXPECT_EQ(LLVMFuzzerTestOneInput(input.data(), input.size()), 0) << GetParam();
}

constexpr const char* kFiles[] = {
#include ZEB_CORPUS_LIST
};

INSTANTIATE_TEST_SUITE_P(Files, Corpus, testing::ValuesIn(kFiles));

}  // namespace
