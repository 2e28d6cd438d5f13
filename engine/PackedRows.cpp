// Compiled without fused multiplications: they would round once where the renderer rounds twice.
#include "engine/PackedRows.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "engine/PackedRows.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace posteffect {
namespace HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

constexpr std::size_t kPixelBytes = 4;

// The programs' weights of red, green, blue, and what is added to them first.
struct Weights {
    float r, g, b, offset;
};
constexpr Weights kLuma = {0.299F, 0.587F, 0.114F, 0.0F};
constexpr Weights kV = {0.5F, -0.4186829F, -0.0813089F, 0.5F};
constexpr Weights kU = {-0.168727F, -0.33126147F, 0.5F, 0.5F};

// A level as what a program samples without asking for high precision: cut off to half a float's
// bits.
constexpr float kUnit = 1.0F / 255.0F;
constexpr uint32_t kHalfPrecision = 0xFFFFE000U;

float Unit(unsigned level) {
    float unit = static_cast<float>(level) * kUnit;
    uint32_t bits;
    std::memcpy(&bits, &unit, sizeof(bits));
    bits &= kHalfPrecision;
    std::memcpy(&unit, &bits, sizeof(bits));
    return unit;
}

// The level of a weighted sum, its last term first.
uint8_t Level(const Weights& weights, unsigned r, unsigned g, unsigned b) {
    float sum = weights.offset + Unit(b) * weights.b;
    sum += Unit(g) * weights.g;
    sum += Unit(r) * weights.r;
    return static_cast<uint8_t>(std::clamp(std::lrint(sum * 255.0F), 0L, 255L));
}

// The mean of two by two, as the linear filter takes it: of columns, then of rows, both rounded up.
unsigned Mean(const uint8_t* upper, const uint8_t* lower) {
    const auto columns = [](const uint8_t* row) { return (row[0] + row[kPixelBytes] + 1U) / 2; };
    return (columns(upper) + columns(lower) + 1) / 2;
}

void PackLumaScalar(uint8_t* luma, const uint8_t* rgba, std::size_t from, std::size_t count) {
    for (std::size_t i = from; i < count; ++i) {
        const uint8_t* pixel = rgba + i * kPixelBytes;
        luma[i] = Level(kLuma, pixel[0], pixel[1], pixel[2]);
    }
}

void PackChromaScalar(uint8_t* chroma, const uint8_t* upper, const uint8_t* lower, std::size_t from,
                      std::size_t pairs) {
    for (std::size_t i = from; i < pairs; ++i) {
        const std::size_t at = i * 2 * kPixelBytes;
        const auto mean = [&](std::size_t channel) {
            return Mean(upper + at + channel, lower + at + channel);
        };
        chroma[i * 2] = Level(kV, mean(0), mean(1), mean(2));
        chroma[i * 2 + 1] = Level(kU, mean(0), mean(1), mean(2));
    }
}

#if HWY_TARGET == HWY_SCALAR

void PackLuma(uint8_t* luma, const uint8_t* rgba, std::size_t count) {
    PackLumaScalar(luma, rgba, 0, count);
}

void PackChroma(uint8_t* chroma, const uint8_t* upper, const uint8_t* lower, std::size_t pairs) {
    PackChromaScalar(chroma, upper, lower, 0, pairs);
}

#else

// Of pixels as 32-bit lanes: the channel that begins at bit kBit, as Unit.
template <int kBit, class D>
HWY_INLINE hn::Vec<hn::Rebind<float, D> > UnitOf(D d, hn::Vec<D> pixels) {
    const hn::Rebind<float, D> df;
    const hn::Rebind<int32_t, D> di;
    const auto level = hn::And(hn::ShiftRight<kBit>(pixels), hn::Set(d, 0xFFU));
    const auto unit = hn::Mul(hn::ConvertTo(df, hn::BitCast(di, level)), hn::Set(df, kUnit));
    return hn::BitCast(df, hn::And(hn::BitCast(d, unit), hn::Set(d, kHalfPrecision)));
}

template <class D>
HWY_INLINE hn::Vec<hn::Rebind<int32_t, D> > LevelOf(D d, const Weights& weights,
                                                    hn::Vec<D> pixels) {
    const hn::Rebind<float, D> df;
    const hn::Rebind<int32_t, D> di;
    auto sum = hn::Add(hn::Set(df, weights.offset),
                       hn::Mul(UnitOf<16>(d, pixels), hn::Set(df, weights.b)));
    sum = hn::Add(sum, hn::Mul(UnitOf<8>(d, pixels), hn::Set(df, weights.g)));
    sum = hn::Add(sum, hn::Mul(UnitOf<0>(d, pixels), hn::Set(df, weights.r)));
    const auto level = hn::NearestInt(hn::Mul(sum, hn::Set(df, 255.0F)));
    return hn::Min(hn::Max(level, hn::Zero(di)), hn::Set(di, 255));
}

void PackLuma(uint8_t* luma, const uint8_t* rgba, std::size_t count) {
    const hn::ScalableTag<uint32_t> d;
    const hn::Rebind<uint8_t, decltype(d)> d8;
    const hn::Repartition<uint8_t, decltype(d)> bytes;
    std::size_t i = 0;
    for (const std::size_t lanes = hn::Lanes(d); i + lanes <= count; i += lanes) {
        const auto pixels = hn::BitCast(d, hn::LoadU(bytes, rgba + i * kPixelBytes));
        hn::StoreU(hn::DemoteTo(d8, LevelOf(d, kLuma, pixels)), d8, luma + i);
    }
    PackLumaScalar(luma, rgba, i, count);
}

// The mean of each byte, rounded up: what differs, halved, below what either has. Highway's own
// overflows on SVE.
template <class D>
HWY_INLINE hn::Vec<D> MeanOfBytes(D d, hn::Vec<D> a, hn::Vec<D> b) {
    const auto differing = hn::And(hn::Xor(a, b), hn::Set(d, 0xFEFEFEFEU));
    return hn::Sub(hn::Or(a, b), hn::ShiftRight<1>(differing));
}

template <class D>
HWY_INLINE hn::Vec<D> MeanOfColumns(D d, const uint8_t* row) {
    hn::Vec<D> left;
    hn::Vec<D> right;
    hn::LoadInterleaved2(d, reinterpret_cast<const uint32_t*>(row), left, right);
    return MeanOfBytes(d, left, right);
}

void PackChroma(uint8_t* chroma, const uint8_t* upper, const uint8_t* lower, std::size_t pairs) {
    const hn::ScalableTag<uint32_t> d;
    const hn::Rebind<uint16_t, decltype(d)> d16;
    const hn::Repartition<uint8_t, decltype(d16)> d8;
    std::size_t i = 0;
    for (const std::size_t lanes = hn::Lanes(d); i + lanes <= pairs; i += lanes) {
        const std::size_t at = i * 2 * kPixelBytes;
        const auto mean =
            MeanOfBytes(d, MeanOfColumns(d, upper + at), MeanOfColumns(d, lower + at));
        const auto both = hn::Or(LevelOf(d, kV, mean), hn::ShiftLeft<8>(LevelOf(d, kU, mean)));
        hn::StoreU(hn::BitCast(d8, hn::DemoteTo(d16, both)), d8, chroma + i * 2);
    }
    PackChromaScalar(chroma, upper, lower, i, pairs);
}

#endif

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace posteffect
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace posteffect {

HWY_EXPORT(PackLuma);
HWY_EXPORT(PackChroma);

void PackLumaRow(uint8_t* luma, const uint8_t* rgba, std::size_t count) {
    HWY_DYNAMIC_DISPATCH(PackLuma)(luma, rgba, count);
}

void PackChromaRow(uint8_t* chroma, const uint8_t* upper, const uint8_t* lower, std::size_t pairs) {
    HWY_DYNAMIC_DISPATCH(PackChroma)(chroma, upper, lower, pairs);
}

}  // namespace posteffect
#endif
