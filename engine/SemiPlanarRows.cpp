#include "engine/SemiPlanarRows.h"

#include <cstring>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "engine/SemiPlanarRows.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace posteffect {
namespace HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

constexpr std::size_t kGroup = 16;  // pixels, as many as a 128-bit block holds luma bytes

template <std::size_t kPixelBytes>
void ExpandScalar(uint8_t* dst, const uint8_t* luma, const uint8_t* chroma, std::size_t from,
                  std::size_t count) {
    for (std::size_t i = from; i < count; ++i) {
        uint8_t* pixel = dst + i * kPixelBytes;
        pixel[0] = luma[i];
        pixel[1] = chroma[i / 2 * 2];
        pixel[2] = chroma[i / 2 * 2 + 1];
        if (kPixelBytes == 4) pixel[3] = 255;
    }
}

#if HWY_TARGET == HWY_SCALAR

void ExpandYuvx(uint8_t* dst, const uint8_t* luma, const uint8_t* chroma, std::size_t count) {
    ExpandScalar<4>(dst, luma, chroma, 0, count);
}

void ExpandYuv(uint8_t* dst, const uint8_t* luma, const uint8_t* chroma, std::size_t count) {
    ExpandScalar<3>(dst, luma, chroma, 0, count);
}

#else

constexpr uint8_t kZero = 0x80;  // a look-up index that yields 0

// For each byte of a group's pixels: which of the group's 16 luma or chroma bytes it is.
template <std::size_t kPixelBytes>
struct GroupIndices {
    constexpr GroupIndices() : luma(), chroma() {
        for (std::size_t i = 0; i < kGroup * kPixelBytes; ++i) {
            const std::size_t pixel = i / kPixelBytes;
            const std::size_t part = i % kPixelBytes;
            luma[i] = part == 0 ? static_cast<uint8_t>(pixel) : kZero;
            chroma[i] =
                part == 1 || part == 2 ? static_cast<uint8_t>(pixel / 2 * 2 + part - 1) : kZero;
        }
    }
    alignas(64) uint8_t luma[kGroup * kPixelBytes];
    alignas(64) uint8_t chroma[kGroup * kPixelBytes];
};

constexpr GroupIndices<4> kYuvxIndices;
constexpr GroupIndices<3> kYuvIndices;

// Luma bytes widen to the low byte of 32 bits; a look-up puts each chroma pair at both of its
// pixels' places. One row at a time: two in turn, with the chroma read once, measured slower.
void ExpandYuvx(uint8_t* dst, const uint8_t* luma, const uint8_t* chroma, std::size_t count) {
    const hn::CappedTag<uint8_t, kGroup * 4> d8;
    const hn::Repartition<uint32_t, decltype(d8)> d32;
    const hn::Rebind<uint8_t, decltype(d32)> narrow;
    const std::size_t step = hn::Lanes(d8);
    const auto alpha = hn::Set(d32, 0xFF000000U);
    std::size_t i = 0;
    for (; i + kGroup <= count; i += kGroup) {
        const auto pairs = hn::LoadDup128(d8, chroma + i);
        for (std::size_t at = 0; at < kGroup * 4; at += step) {
            const auto vu = hn::TableLookupBytesOr0(pairs, hn::Load(d8, kYuvxIndices.chroma + at));
            const auto y = hn::PromoteTo(d32, hn::LoadU(narrow, luma + i + at / 4));
            hn::StoreU(hn::Or(hn::BitCast(d8, hn::Or(y, alpha)), vu), d8, dst + i * 4 + at);
        }
    }
    ExpandScalar<4>(dst, luma, chroma, i, count);
}

// Look-ups for both; 128 bits at a time, since 48 bytes are no multiple of more.
void ExpandYuv(uint8_t* dst, const uint8_t* luma, const uint8_t* chroma, std::size_t count) {
    const hn::FixedTag<uint8_t, kGroup> d8;
    std::size_t i = 0;
    for (; i + kGroup <= count; i += kGroup) {
        const auto pairs = hn::LoadU(d8, chroma + i);
        const auto ys = hn::LoadU(d8, luma + i);
        for (std::size_t at = 0; at < kGroup * 3; at += kGroup) {
            const auto vu = hn::TableLookupBytesOr0(pairs, hn::Load(d8, kYuvIndices.chroma + at));
            const auto y = hn::TableLookupBytesOr0(ys, hn::Load(d8, kYuvIndices.luma + at));
            hn::StoreU(hn::Or(y, vu), d8, dst + i * 3 + at);
        }
    }
    ExpandScalar<3>(dst, luma, chroma, i, count);
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

void RepeatPixel(uint8_t* dst, const uint8_t* pixel, std::size_t count) {
    if (count == 0) return;
    uint32_t value;
    std::memcpy(&value, pixel, sizeof(value));
    for (std::size_t i = 0; i < count; ++i) std::memcpy(dst + i * 4, &value, sizeof(value));
}

}  // namespace posteffect
#endif
