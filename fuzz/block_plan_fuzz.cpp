// Block plans for any geometry: every pixel is covered, and nothing lies outside the textures.
#include <algorithm>
#include <cmath>

#include "engine/BlockPlan.h"
#include "fuzz/FuzzInput.h"

namespace {

bool Within(const QuadCoords& quad, float most) {
    return std::all_of(quad.begin(), quad.end(),
                       [=](float value) { return value >= -0.001F && value <= most; });
}

// How far an image's columns, or rows, are covered from the first on.
class Covered {
  public:
    explicit Covered(int imageSide) : m_imageSide(imageSide) {}

    // Leaves no gap to those before; `skip` pixels of it are theirs.
    void add(int start, int skip, int length) {
        FUZZ_CHECK(start >= 0 && length > 0);
        FUZZ_CHECK(std::min(start + (start == 0 ? 0 : skip), m_imageSide) <= m_end);
        m_end = std::max(m_end, start + length);
    }
    bool isWhole() const { return m_end >= m_imageSide; }

  private:
    const int m_imageSide;
    int m_end = 0;
};

// Blocks form a grid, so covered columns and rows are a covered image. Inner left and upper edges
// are cut by the skips.
void CheckCoverage(const BlockPlan& plan, const CaptureGeometry& g, int skipX, int skipY) {
    constexpr int kMostBlocks = 64;  // a side; beyond it nothing new comes up
    const int columns = plan.columns();
    const int rows = plan.rows();
    if (plan.blockCount() == 0 || columns > kMostBlocks || rows > kMostBlocks) return;
    Covered across(g.imageWidth);
    for (int i = 0; i < columns; ++i) {
        const Rect out = plan.block(i).output;
        FUZZ_CHECK(out.w <= g.textureStride);
        across.add(out.x, skipX, out.w);
    }
    Covered down(g.imageHeight);
    for (int i = 0; i < rows; ++i) {
        // One of each row, so that those inside are seen, too.
        const int column = i % columns;
        const Rect out = plan.block(i * columns + column).output;
        FUZZ_CHECK(out.x == plan.block(column).output.x);
        FUZZ_CHECK(out.y == plan.block(i * columns).output.y);
        FUZZ_CHECK(out.h <= g.blockHeight);
        down.add(out.y, skipY, out.h);
    }
    FUZZ_CHECK(across.isWhole() && down.isWhole());
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
        const int step = std::max(1, plan.blockCount() / 20);
        for (int i = 0; i < plan.blockCount(); i += step) {
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
