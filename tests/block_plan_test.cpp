#include "engine/BlockPlan.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
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
// the source texture; chroma pairs stay whole. Inner left and upper edges are cut by `skipX` and
// `skipY` when a block is copied.
void ExpectCoverage(const BlockPlan& plan, const CaptureGeometry& g, int skipX = 0, int skipY = 0) {
    std::vector<char> columns(static_cast<std::size_t>(g.imageWidth), 0);
    std::vector<char> rows(static_cast<std::size_t>(g.imageHeight), 0);
    for (int i = 0; i < plan.blockCount(); ++i) {
        const Rect out = plan.block(i).output;
        ASSERT_TRUE(out.x >= 0 && out.x % 2 == 0) << out.x;
        ASSERT_TRUE(out.w > 0 && out.w <= g.blockWidth) << out.w;
        ASSERT_TRUE(out.y >= 0 && out.y + out.h <= g.imageHeight) << out.y << " + " << out.h;
        ASSERT_LE(out.h, g.blockHeight);
        const int left = out.x == 0 ? 0 : skipX;
        const int top = out.y == 0 ? 0 : skipY;
        const int end = std::min(out.x + out.w, g.imageWidth);
        if (end > out.x + left) std::fill(columns.begin() + out.x + left, columns.begin() + end, 1);
        if (out.h > top) std::fill(rows.begin() + out.y + top, rows.begin() + out.y + out.h, 1);
    }
    // Blocks form a grid, so covered columns and rows are a covered image.
    EXPECT_EQ(std::count(columns.begin(), columns.end(), 0), 0);
    EXPECT_EQ(std::count(rows.begin(), rows.end(), 0), 0);
}

TEST(BlockPlan, CoversEveryPixelAndFetchesWithoutACropFromWhereItWrites) {
    for (const CaptureGeometry& g : ManyGeometries()) {
        SCOPED_TRACE(Describe(g));
        const RunCountingPlan counting(g);
        const CroppedPlan cropped(g, CropRect{});
        ExpectCoverage(counting, g);
        ExpectCoverage(cropped, g);
        for (int i = 0; i < counting.blockCount(); ++i) {
            const CaptureBlock a = counting.block(i);
            ASSERT_EQ(a.source, a.output);
            const CaptureBlock b = cropped.block(i);
            ASSERT_EQ(b.source, (Rect{b.output.x, b.output.y, b.source.w, b.output.h}));
            ASSERT_GE(b.source.w, b.output.w);
        }
        if (HasFailure()) return;
    }
}

// Corners of the quads by name.
struct Span {
    float left, top, right, bottom;
};

Span SpanOf(const QuadCoords& quad) {
    return {quad[2], quad[3], quad[6], quad[7]};
}

TEST(BlockPlan, MarginsSurroundEachBlockAsFarAsTheImageGoes) {
    for (CaptureGeometry g : ManyGeometries()) {
        SCOPED_TRACE(Describe(g));
        g.blockWidth = g.textureStride;
        for (const int margin : {32, 64}) {
            const MarginPlan plan(g, CropRect{}, margin);
            if (g.textureStride <= 2 * margin || g.blockHeight <= 2 * margin) {
                EXPECT_EQ(plan.blockCount(), 0) << "no progress";
                continue;
            }
            ExpectCoverage(plan, g);
            for (int i = 0; i < plan.blockCount(); ++i) {
                const CaptureBlock block = plan.block(i);
                const Rect& in = block.source;
                const Rect& out = block.output;
                ASSERT_EQ(in.x % 32, 0);
                ASSERT_TRUE(in.w > 0 && in.w <= g.textureStride && in.x + in.w <= g.imageWidth);
                ASSERT_TRUE(in.h > 0 && in.h <= g.blockHeight && in.y + in.h <= g.imageHeight);
                // What the clear picture is drawn from is the block's own place.
                const Span clear = SpanOf(block.textureQuad);
                const auto texture = static_cast<float>(g.textureStride);
                ASSERT_NEAR(static_cast<float>(in.x) + clear.left * texture, out.x, 0.01);
                ASSERT_NEAR(static_cast<float>(in.x) + clear.right * texture, out.x + out.w, 0.01);
                // The whole margin before the block, and no less than the block behind it: the rest
                // is what rounding to whole groups of 32 leaves.
                ASSERT_LE(in.x, std::max(0, out.x - margin));
                ASSERT_LE(in.y, std::max(0, out.y - margin));
                ASSERT_GE(in.x + in.w, std::min(g.imageWidth, out.x + out.w));
                ASSERT_GE(in.y + in.h, std::min(g.imageHeight, out.y + out.h));
                // The reduced picture's part is the same place again.
                const Span part = SpanOf(block.reducedQuad);
                const float region = SpanOf(block.reduceQuad).right * texture;
                ASSERT_NEAR(part.left * region, clear.left * texture, 0.01);
                ASSERT_NEAR(part.right * region, clear.right * texture, 0.01);
            }
        }
        if (HasFailure()) return;
    }
}

TEST(BlockPlan, MarginsStayInTheTextureForAnyCrop) {
    std::mt19937 random(11);
    const auto fraction = [&] { return static_cast<float>(random() % 1001) / 1000.0F; };
    for (CaptureGeometry g : ManyGeometries()) {
        g.blockWidth = g.textureStride;
        const CropRect crop = {fraction(), fraction(), std::max(0.001F, fraction()),
                               std::max(0.001F, fraction())};
        const MarginPlan plan(g, crop, 32);
        for (int i = 0; i < plan.blockCount(); ++i) {
            const CaptureBlock block = plan.block(i);
            for (const QuadCoords& quad :
                 {block.textureQuad, block.reduceQuad, block.reducedQuad}) {
                const Span span = SpanOf(quad);
                ASSERT_TRUE(span.left >= 0.0F && span.left <= span.right && span.right <= 1.001F);
                ASSERT_TRUE(span.top >= 0.0F && span.top <= span.bottom && span.bottom <= 1.001F);
            }
        }
    }
}

TEST(BlockPlan, OverlapsAreCoveredByOneOfTheTwoBlocks) {
    std::mt19937 random(5);
    for (const CaptureGeometry& g : ManyGeometries()) {
        const int halfX = static_cast<int>(random() % 60) * 2;
        const int halfY = static_cast<int>(random() % 90);
        SCOPED_TRACE(Describe(g) + " overlap " + std::to_string(halfX));
        const OverlapPlan plan(g, halfX, halfY);
        if (g.blockWidth <= 2 * halfX || g.blockHeight <= 2 * halfY) {
            EXPECT_EQ(plan.blockCount(), 0) << "the overlap takes the whole block";
            continue;
        }
        ExpectCoverage(plan, g, halfX, halfY);
        if (HasFailure()) return;
    }
}

TEST(BlockPlan, TilesAreTheImageCutUp) {
    const TilePlan plan({4000, 3000, 768, 480, 768});
    EXPECT_EQ(plan.columns(), 6);
    EXPECT_EQ(plan.rows(), 7);
    EXPECT_EQ(plan.block(41).output, (Rect{3840, 2880, 160, 120}));
    EXPECT_EQ(TilePlan({20, 10, 20, 10, 20}).blockCount(), 1);
}

TEST(BlockPlan, CellBlocksBeginAtTheirCellsAndHoldTheColoursOfThem) {
    std::mt19937 random(9);
    for (int i = 0; i < 3000; ++i) {
        const int width = 2 + static_cast<int>(random() % 3000);
        const int height = 2 + static_cast<int>(random() % 3000);
        const float cell = 1.0F + static_cast<float>(random() % 10000) / 100.0F;
        const CropRect crop = i % 2 == 0 ? CropRect{} : CropRect{0.1F, 0.3F, 0.5F, 0.25F};
        const int side = CellPlan::textureSide(cell);
        const CellPlan plan({width, height, side, side, side}, crop, cell);
        SCOPED_TRACE(std::to_string(width) + "x" + std::to_string(height) + " cell " +
                     std::to_string(cell));
        int covered = 0;
        for (int column = 0; column < plan.columns(); ++column) {
            const CaptureBlock block = plan.block(column);
            ASSERT_EQ(block.output.x, covered);
            covered += block.output.w;
            ASSERT_TRUE(block.output.w > 0 && block.output.w <= side);
            const float first = 16.0F * static_cast<float>(column) * cell;
            ASSERT_GE(static_cast<float>(block.output.x), first - 0.51F);
            ASSERT_LE(static_cast<float>(block.output.x), first + 1.51F);
            // The centres of the first cell and of the one beyond the last, as the crop shows them,
            // lie in what is fetched, with a pixel on each side.
            const float shown = cell * crop.w;
            const float start = static_cast<float>(width) * crop.x + first * crop.w;
            ASSERT_LE(static_cast<float>(block.source.x), start + 0.5F * shown - 1.0F);
            ASSERT_GE(static_cast<float>(block.source.x + block.source.w),
                      start + 16.5F * shown + 1.0F);
            ASSERT_LE(block.source.w, side);
            // The first texel of the reduced picture has the first centre for its own.
            const Span reduce = SpanOf(block.reduceQuad);
            const auto texels = static_cast<float>(side);
            const float sample = reduce.left + (reduce.right - reduce.left) * 0.5F / texels;
            ASSERT_NEAR(static_cast<float>(block.source.x) + sample * texels, start + 0.5F * shown,
                        0.02);
        }
        ASSERT_EQ(covered, width);
    }
    for (const float cell : {0.99F, -5.0F, std::nanf(""), 1.0e9F}) {
        EXPECT_EQ(CellPlan::textureSide(cell), 0) << cell;
    }
    EXPECT_EQ(CellPlan({100, 100, 64, 64, 64}, CropRect{}, 0.5F).blockCount(), 0);
}

TEST(BlockPlan, PullsALastColumnBackWhenItsWidthIsRoundedUp) {
    const struct {
        const char* what;
        CaptureGeometry geometry;
        int count, index;
        Rect output;
    } cases[] = {
        {"fits exactly", {1024, 768, 1024, 768, 1024}, 1, 0, {0, 0, 1024, 768}},
        {"one pixel wider", {1025, 768, 1024, 768, 1024}, 2, 1, {994, 0, 32, 768}},
        {"33 left", {1057, 768, 1024, 768, 1024}, 2, 1, {994, 0, 64, 768}},
        {"even rest", {1060, 768, 1024, 768, 1024}, 2, 1, {996, 0, 64, 768}},
        {"last of twelve", {4000, 3000, 1024, 1024, 1024}, 12, 11, {3072, 2048, 928, 952}},
        {"narrower than 32", {20, 10, 64, 64, 64}, 1, 0, {0, 0, 32, 10}},
        {"never beyond the block", {1996, 100, 1000, 100, 1024}, 2, 1, {996, 0, 1000, 100}},
        {"full columns stay as they are", {4000, 480, 720, 480, 736}, 6, 1, {720, 0, 720, 480}},
    };
    for (const auto& c : cases) {
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
        // The next block of the row begins where this one ends.
        const CaptureBlock next = plan.block((i + 1) % plan.blockCount());
        if (next.output.y != block.output.y) continue;
        EXPECT_FLOAT_EQ(next.globalQuad[0], block.globalQuad[4]);
        EXPECT_FLOAT_EQ(next.globalQuad[1], block.globalQuad[1]);
    }
}

TEST(BlockPlan, HasNoBlocksWhereNoProgressIsPossible) {
    for (const CaptureGeometry& g : std::vector<CaptureGeometry>{
             {0, 10, 64, 64, 64}, {10, -1, 64, 64, 64}, {10, 10, 0, 64, 64}, {10, 10, 64, 0, 64}}) {
        EXPECT_EQ(RunCountingPlan(g).blockCount(), 0) << Describe(g);
        EXPECT_EQ(CroppedPlan(g, CropRect{}).blockCount(), 0) << Describe(g);
    }
}

}  // namespace
