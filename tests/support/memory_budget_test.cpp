#include "support/memory_budget.h"

#include <gtest/gtest.h>

#include <vector>

namespace morvane {
namespace {

constexpr std::uint64_t kMiB = std::uint64_t{1} << 20;

TEST(MemoryBudget, TheLimitIsFourBytesForEachByteReadPlusTheAllowance) {
    MemoryBudget budget(kMiB);
    EXPECT_EQ(budget.Limit(), kMiB);
    budget.Read(1000);
    EXPECT_EQ(budget.Limit(), kMiB + 4000);
    // What was read stays read.
    budget.Read(10);
    EXPECT_EQ(budget.Limit(), kMiB + 4000);
    // An archive fixes the input: its inflated document says nothing.
    budget.FixInput(100);
    budget.Read(1000000);
    EXPECT_EQ(budget.Limit(), kMiB + 400);
    budget.Reset();
    EXPECT_EQ(budget.Limit(), kMiB);
    EXPECT_EQ(MemoryBudget().Limit(), 48 * kMiB);
    MemoryBudget huge;
    huge.Read(UINT64_MAX / 2);
    EXPECT_EQ(huge.Limit(), UINT64_MAX);
}

TEST(MemoryBudget, ChargesUpToTheLimitPassAndOneByteMoreIsRefused) {
    MemoryBudget budget(1000);
    budget.Charge(600);
    budget.Charge(400);
    EXPECT_EQ(budget.Used(), 1000u);
    try {
        budget.Charge(1);
        ADD_FAILURE() << "a charge past the limit passed";
    } catch (const ConversionError& refusal) {
        EXPECT_EQ(refusal.Kind(), ErrorKind::kOutOfMemory);
    }
    EXPECT_EQ(budget.Used(), 1000u);
    budget.Release(300);
    budget.Charge(300);
    EXPECT_FALSE(budget.Fits(1));
    EXPECT_FALSE(budget.Fits(UINT64_MAX));

    // The parser's buffer is held in place of what it held before.
    budget.Release(1000);
    budget.HoldForParser(700);
    budget.HoldForParser(900);
    EXPECT_EQ(budget.Used(), 900u);
    EXPECT_THROW(budget.Charge(101), ConversionError);
    budget.HoldForParser(0);
    budget.Charge(101);
    EXPECT_THROW(budget.HoldForParser(900), ConversionError);
}

// A container on the counted allocator charges each block with 16 bytes
// for the heap's own, and gives it all back when it is gone.
TEST(MemoryBudget, CountedContainersChargeTheirBlocksAndGiveThemBack) {
    MemoryBudget budget(kMiB);
    {
        std::vector<std::uint32_t, Counted<std::uint32_t>> numbers(&budget);
        numbers.reserve(1000);
        EXPECT_EQ(budget.Used(), 4016u);
        EXPECT_THROW(numbers.reserve(kMiB), ConversionError);
        EXPECT_EQ(budget.Used(), 4016u);
    }
    EXPECT_EQ(budget.Used(), 0u);
    std::vector<int, Counted<int>> uncounted(nullptr);
    uncounted.resize(100);
    EXPECT_EQ(budget.Used(), 0u);
}

}  // namespace
}  // namespace morvane
