// Block plans for any geometry: every pixel is covered, and nothing lies outside the textures.
#include <algorithm>
#include <cmath>
#include <vector>

#include "engine/BlockPlan.h"
#include "fuzz/FuzzInput.h"

namespace {

bool Within(const QuadCoords& quad, float most) {
    return std::all_of(quad.begin(), quad.end(),
                       [=](float value) { return value >= -0.001F && value <= most; });
}

// Blocks form a grid, so covered columns and rows are a covered image. Inner left and upper edges
// are cut by the skips.
void CheckCoverage(const BlockPlan& plan, const CaptureGeometry& g, int skipX, int skipY) {
    constexpr int kMostBlocks = 300;  // beyond it nothing new comes up
    if (plan.blockCount() == 0 || plan.blockCount() > kMostBlocks) return;
    std::vector<char> columns(static_cast<std::size_t>(g.imageWidth));
    std::vector<char> rows(static_cast<std::size_t>(g.imageHeight));
    for (int i = 0; i < plan.blockCount(); ++i) {
        const Rect out = plan.block(i).output;
        FUZZ_CHECK(out.x >= 0 && out.y >= 0 && out.w > 0 && out.h > 0);
        FUZZ_CHECK(out.w <= g.textureStride && out.h <= g.blockHeight);
        for (int x = out.x + (out.x == 0 ? 0 : skipX); x < std::min(out.x + out.w, g.imageWidth);
             ++x) {
            columns[static_cast<std::size_t>(x)] = 1;
        }
        for (int y = out.y + (out.y == 0 ? 0 : skipY); y < std::min(out.y + out.h, g.imageHeight);
             ++y) {
            rows[static_cast<std::size_t>(y)] = 1;
        }
    }
    FUZZ_CHECK(std::count(columns.begin(), columns.end(), 0) == 0);
    FUZZ_CHECK(std::count(rows.begin(), rows.end(), 0) == 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    FuzzInput input(bytes, size);
    CaptureGeometry g{};
    // As small as the arithmetic allows and as large as images come.
    const int bound = 2 << input.below(11);
    g.imageWidth = input.below(bound) + input.below(2);
    g.imageHeight = input.below(bound) + input.below(2);
    g.blockWidth = input.below(1200);
    g.blockHeight = input.below(1200);
    g.textureStride = (g.blockWidth + 31) / 32 * 32;
    CropRect crop;
    const auto fraction = [&] {
        const float value = input.take<float>();
        return std::isfinite(value) ? std::abs(std::fmod(value, 1.0F)) : 0.5F;
    };
    if (input.below(2) == 1) crop = {fraction(), fraction(), fraction(), fraction()};

    CheckCoverage(RunCountingPlan(g), g, 0, 0);
    CheckCoverage(CroppedPlan(g, crop), g, 0, 0);
    CheckCoverage(TilePlan(g), g, 0, 0);
    const int halfX = input.below(200) * 2;
    const int halfY = input.below(400);
    CheckCoverage(OverlapPlan(g, halfX, halfY), g, halfX, halfY);
    for (const int margin : {32, 64}) {
        CaptureGeometry whole = g;
        whole.blockWidth = g.textureStride;
        const MarginPlan plan(whole, crop, margin);
        CheckCoverage(plan, whole, 0, 0);
        for (int i = 0; i < std::min(plan.blockCount(), 500); ++i) {
            const CaptureBlock block = plan.block(i);
            FUZZ_CHECK(Within(block.textureQuad, 1.001F) && Within(block.reduceQuad, 1.001F) &&
                       Within(block.reducedQuad, 1.001F));
        }
    }
    const float cell = input.take<float>();
    const int side = CellPlan::textureSide(cell);
    FUZZ_CHECK(side == 0 || (side % 32 == 0 && static_cast<float>(side) >= 16.0F * cell));
    CaptureGeometry cells = g;
    cells.blockWidth = cells.blockHeight = cells.textureStride = side;
    CheckCoverage(CellPlan(cells, crop, cell), cells, 0, 0);
    return 0;
}
