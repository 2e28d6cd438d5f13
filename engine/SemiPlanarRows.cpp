#include "engine/SemiPlanarRows.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "engine/SemiPlanarRows.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace posteffect {
namespace HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

void ExpandTail(uint8_t* dst, const uint8_t* luma, const uint8_t* chroma, std::size_t from,
                std::size_t count, std::size_t pixelBytes) {
    for (std::size_t i = from; i < count; ++i) {
        uint8_t* pixel = dst + i * pixelBytes;
        pixel[0] = luma[i];
        pixel[1] = chroma[i / 2 * 2];
        pixel[2] = chroma[i / 2 * 2 + 1];
        if (pixelBytes == 4) pixel[3] = 255;
    }
}

#if HWY_TARGET == HWY_SCALAR

void ExpandYuvx(uint8_t* dst, const uint8_t* luma, const uint8_t* chroma, std::size_t count) {
    ExpandTail(dst, luma, chroma, 0, count, 4);
}

void ExpandYuv(uint8_t* dst, const uint8_t* luma, const uint8_t* chroma, std::size_t count) {
    ExpandTail(dst, luma, chroma, 0, count, 3);
}

#else

// Widening: each chroma pair becomes 64 bits that hold it at both of its pixels' places, each luma
// byte the low byte of its pixel's 32 bits; joined with the constant alpha they are stored in
// order.
void ExpandYuvx(uint8_t* dst, const uint8_t* luma, const uint8_t* chroma, std::size_t count) {
    const hn::ScalableTag<uint64_t> d64;
    const hn::Repartition<uint32_t, decltype(d64)> d32;
    const hn::Rebind<uint32_t, decltype(d64)> pairs32;
    const hn::Rebind<uint16_t, decltype(d64)> pairs16;
    const hn::Rebind<uint8_t, decltype(d32)> bytes;
    const std::size_t step = hn::Lanes(d32);
    const auto alpha = hn::Set(d64, 0xFF000000FF000000ULL);
    std::size_t i = 0;
    for (; i + step <= count; i += step) {
        const auto pair16 = hn::BitCast(
            pairs16, hn::LoadU(hn::Repartition<uint8_t, decltype(pairs16)>(), chroma + i));
        const auto pair = hn::PromoteTo(d64, hn::PromoteTo(pairs32, pair16));
        const auto both = hn::Or(hn::ShiftLeft<8>(pair), hn::ShiftLeft<40>(pair));
        const auto y = hn::BitCast(d64, hn::PromoteTo(d32, hn::LoadU(bytes, luma + i)));
        const auto pixels = hn::Or(hn::Or(both, alpha), y);
        hn::StoreU(hn::BitCast(hn::Repartition<uint8_t, decltype(d64)>(), pixels),
                   hn::Repartition<uint8_t, decltype(d64)>(), dst + i * 4);
    }
    ExpandTail(dst, luma, chroma, i, count, 4);
}

// Interleaving stores of three; chroma bytes are doubled by joining each vector with itself.
void ExpandYuv(uint8_t* dst, const uint8_t* luma, const uint8_t* chroma, std::size_t count) {
    const hn::CappedTag<uint8_t, 16> d;
    const hn::Half<decltype(d)> half;
    const std::size_t step = hn::Lanes(d);
    std::size_t i = 0;
    if (step == 16) {
        for (; i + step <= count; i += step) {
            hn::Vec<decltype(half)> first;
            hn::Vec<decltype(half)> second;
            hn::LoadInterleaved2(half, chroma + i, first, second);
            const auto first2 = hn::ZeroExtendVector(d, first);
            const auto second2 = hn::ZeroExtendVector(d, second);
            hn::StoreInterleaved3(hn::LoadU(d, luma + i), hn::InterleaveLower(d, first2, first2),
                                  hn::InterleaveLower(d, second2, second2), d, dst + i * 3);
        }
    }
    ExpandTail(dst, luma, chroma, i, count, 3);
}

#endif

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace posteffect
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace posteffect {

HWY_EXPORT(ExpandYuvx);
HWY_EXPORT(ExpandYuv);

void ExpandRowYuvx(uint8_t* dst, const uint8_t* luma, const uint8_t* chroma, std::size_t count) {
    HWY_DYNAMIC_DISPATCH(ExpandYuvx)(dst, luma, chroma, count);
}

void ExpandRowYuv(uint8_t* dst, const uint8_t* luma, const uint8_t* chroma, std::size_t count) {
    HWY_DYNAMIC_DISPATCH(ExpandYuv)(dst, luma, chroma, count);
}

}  // namespace posteffect
#endif
