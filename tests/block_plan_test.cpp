#include "engine/BlockPlan.h"

#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <vector>

namespace {

int RoundUpTo32(int value) {
    return (value + 31) / 32 * 32;
}

std::string Describe(const CaptureGeometry& g) {
    return std::to_string(g.imageWidth) + "x" + std::to_string(g.imageHeight) + " in blocks of " +
           std::to_string(g.blockWidth) + "x" + std::to_string(g.blockHeight);
}

std::vector<CaptureGeometry> ManyGeometries() {
    std::vector<CaptureGeometry> all;
    std::mt19937 random(7);
    const auto even = [&](int most) {
        return 2 + static_cast<int>(random() % 1000000) % most / 2 * 2;
    };
    for (int i = 0; i < 3000; ++i) {
        const int blockWidth = even(1100);
        all.push_back(
            {even(3000) + i % 2, even(3000), blockWidth, even(1100), RoundUpTo32(blockWidth)});
    }
    // Sizes at which rounding once left columns out or passed the edge.
    for (const int width : {2, 20, 33, 34, 1000, 1996, 2870, 3024, 4000}) {
        for (const int blockWidth : {2, 64, 130, 176, 640, 720, 1000, 1024}) {
            all.push_back({width, 98, blockWidth, 48, RoundUpTo32(blockWidth)});
        }
    }
    return all;
}

// Every pixel of the image lies in a block that holds it at the right place; no block is wider than
// the source texture; chroma pairs stay whole.
void ExpectCoverage(const BlockPlan& plan, const CaptureGeometry& g) {
    std::vector<char> columns(static_cast<std::size_t>(g.imageWidth), 0);
    std::vector<char> rows(static_cast<std::size_t>(g.imageHeight), 0);
    for (int i = 0; i < plan.blockCount(); ++i) {
        const Rect out = plan.block(i).output;
        ASSERT_GE(out.x, 0);
        ASSERT_GE(out.y, 0);
        ASSERT_EQ(out.x % 2, 0);
        ASSERT_GT(out.w, 0);
        ASSERT_LE(out.w, g.blockWidth);
        ASSERT_LE(out.h, g.blockHeight);
        ASSERT_LE(out.y + out.h, g.imageHeight);
        for (int x = out.x; x < std::min(out.x + out.w, g.imageWidth); ++x) {
            columns[static_cast<std::size_t>(x)] = 1;
        }
        for (int y = out.y; y < out.y + out.h; ++y) rows[static_cast<std::size_t>(y)] = 1;
    }
    // Blocks form a grid, so covered columns and rows are a covered image.
    EXPECT_EQ(std::count(columns.begin(), columns.end(), 0), 0);
    EXPECT_EQ(std::count(rows.begin(), rows.end(), 0), 0);
}

TEST(BlockPlan, CoversEveryPixelOfImagesOfAllSizes) {
    for (const CaptureGeometry& g : ManyGeometries()) {
        SCOPED_TRACE(Describe(g));
        ExpectCoverage(RunCountingPlan(g), g);
        ExpectCoverage(CroppedPlan(g, CropRect{}), g);
        if (HasFailure()) return;
    }
}

TEST(BlockPlan, FetchesWithoutACropFromWhereItWrites) {
    for (const CaptureGeometry& g : ManyGeometries()) {
        SCOPED_TRACE(Describe(g));
        const RunCountingPlan counting(g);
        const CroppedPlan cropped(g, CropRect{});
        for (int i = 0; i < counting.blockCount(); ++i) {
            const CaptureBlock a = counting.block(i);
            ASSERT_TRUE(a.source == a.output);
            const CaptureBlock b = cropped.block(i);
            ASSERT_EQ(b.source.x, b.output.x);
            ASSERT_EQ(b.source.y, b.output.y);
            ASSERT_GE(b.source.w, b.output.w);
            ASSERT_EQ(b.source.h, b.output.h);
        }
    }
}

struct BlockCase {
    const char* what;
    CaptureGeometry geometry;
    int count;
    int index;
    Rect output;
};

TEST(BlockPlan, PullsALastColumnBackWhenItsWidthIsRoundedUp) {
    const BlockCase cases[] = {
        {"fits exactly", {1024, 768, 1024, 768, 1024}, 1, 0, {0, 0, 1024, 768}},
        {"one pixel wider", {1025, 768, 1024, 768, 1024}, 2, 1, {994, 0, 32, 768}},
        {"33 left", {1057, 768, 1024, 768, 1024}, 2, 1, {994, 0, 64, 768}},
        {"even rest", {1060, 768, 1024, 768, 1024}, 2, 1, {996, 0, 64, 768}},
        {"last of twelve", {4000, 3000, 1024, 1024, 1024}, 12, 11, {3072, 2048, 928, 952}},
        {"narrower than 32", {20, 10, 64, 64, 64}, 1, 0, {0, 0, 32, 10}},
        {"never beyond the block", {1996, 100, 1000, 100, 1024}, 2, 1, {996, 0, 1000, 100}},
        {"full columns stay as they are", {4000, 480, 720, 480, 736}, 6, 1, {720, 0, 720, 480}},
    };
    for (const BlockCase& c : cases) {
        SCOPED_TRACE(c.what);
        const RunCountingPlan plan(c.geometry);
        EXPECT_EQ(plan.blockCount(), c.count);
        EXPECT_EQ(plan.block(c.index).output, c.output);
    }
}

TEST(BlockPlan, FetchesThroughTheCropAtEvenColumns) {
    const CaptureGeometry g = {4000, 3000, 1024, 768, 1024};
    const CropRect crop = {0.25025F, 0.5F, 0.5F, 0.25F};
    const CroppedPlan plan(g, crop);
    for (int i = 0; i < plan.blockCount(); ++i) {
        const CaptureBlock block = plan.block(i);
        EXPECT_EQ(block.source.x % 2, 0);
        EXPECT_NEAR(block.source.x, 1001 + block.output.x * 0.5, 1.01);
        EXPECT_NEAR(block.source.y, 1500 + block.output.y * 0.25, 1.01);
        EXPECT_EQ(block.source.w % 32, 0);
        EXPECT_LE(block.source.w, g.textureStride);
        // The quad spans the part of the texture that the crop fills.
        EXPECT_FLOAT_EQ(block.textureQuad[6], 0.5F * static_cast<float>(block.output.w) / 1024.0F);
        EXPECT_FLOAT_EQ(block.textureQuad[1], 0.25F * static_cast<float>(block.output.h) / 768.0F);
    }
}

TEST(BlockPlan, GivesNeighboursTheSamePlaceAtTheirCommonEdge) {
    const CaptureGeometry g = {4000, 3000, 720, 480, 736};
    const CroppedPlan plan(g, CropRect{});
    for (int i = 0; i + 1 < plan.blockCount(); ++i) {
        const CaptureBlock left = plan.block(i);
        const CaptureBlock right = plan.block(i + 1);
        if (right.output.y != left.output.y) continue;
        EXPECT_FLOAT_EQ(left.globalQuad[4], right.globalQuad[0]);
        EXPECT_FLOAT_EQ(left.globalQuad[1], right.globalQuad[1]);
    }
}

TEST(BlockPlan, HasNoBlocksWhereNoProgressIsPossible) {
    for (const CaptureGeometry& g :
         {CaptureGeometry{0, 10, 64, 64, 64}, CaptureGeometry{10, -1, 64, 64, 64},
          CaptureGeometry{10, 10, 0, 64, 64}, CaptureGeometry{10, 10, 64, 0, 64}}) {
        EXPECT_EQ(RunCountingPlan(g).blockCount(), 0) << Describe(g);
        EXPECT_EQ(CroppedPlan(g, CropRect{}).blockCount(), 0) << Describe(g);
    }
}

}  // namespace
