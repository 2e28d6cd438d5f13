#include "apps/common/FrameColorRows.h"

#include <algorithm>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "apps/common/FrameColorRows.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace posteffect {
namespace HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

std::uint8_t Sample(std::int32_t fixed) {
    return static_cast<std::uint8_t>(std::clamp(fixed >> ColorSum::kFraction, 0, 255));
}

void LumaScalar(std::uint8_t* to, const std::uint8_t* from,
                const ChromaRow<const std::uint8_t>& chroma, std::size_t begin, std::size_t width,
                const ColorSum& sum) {
    for (std::size_t x = begin; x < width; ++x) {
        const auto pair = static_cast<std::ptrdiff_t>(x / 2) * chroma.step;
        to[x] =
            Sample(from[x] * sum.y + chroma.u[pair] * sum.u + chroma.v[pair] * sum.v + sum.offset);
    }
}

void ChromaScalar(const ChromaRow<std::uint8_t>& to, const ChromaRow<const std::uint8_t>& from,
                  std::size_t begin, std::size_t pairs, const ColorSum& sumU,
                  const ColorSum& sumV) {
    for (std::size_t i = begin; i < pairs; ++i) {
        const auto at = static_cast<std::ptrdiff_t>(i) * from.step;
        const auto place = static_cast<std::ptrdiff_t>(i) * to.step;
        const std::int32_t u = from.u[at];
        const std::int32_t v = from.v[at];
        to.u[place] = Sample(u * sumU.u + v * sumU.v + sumU.offset);
        to.v[place] = Sample(u * sumV.u + v * sumV.v + sumV.offset);
    }
}

#if HWY_TARGET == HWY_SCALAR

std::size_t LumaVectors(std::uint8_t*, const std::uint8_t*, const ChromaRow<const std::uint8_t>&,
                        std::size_t, const ColorSum&) {
    return 0;
}

std::size_t ChromaVectors(const ChromaRow<std::uint8_t>&, const ChromaRow<const std::uint8_t>&,
                          std::size_t, const ColorSum&, const ColorSum&) {
    return 0;
}

#else

using D32 = hn::ScalableTag<std::int32_t>;
using D8 = hn::Rebind<std::uint8_t, D32>;
using V32 = hn::Vec<D32>;

HWY_INLINE V32 Widened(hn::Vec<D8> samples) {
    return hn::PromoteTo(D32(), samples);
}

HWY_INLINE hn::Vec<D8> Samples(V32 fixed) {
    const V32 whole = hn::ShiftRight<ColorSum::kFraction>(fixed);
    const V32 clamped = hn::Min(hn::Max(whole, hn::Zero(D32())), hn::Set(D32(), 255));
    return hn::DemoteTo(D8(), clamped);
}

HWY_INLINE V32 Times(V32 samples, std::int32_t factor) {
    return hn::Mul(samples, hn::Set(D32(), factor));
}

HWY_INLINE void LoadPairs(const ChromaRow<const std::uint8_t>& row, std::size_t at, V32& u,
                          V32& v) {
    const D8 d;
    hn::Vec<D8> first = hn::Zero(d);
    hn::Vec<D8> second = hn::Zero(d);
    if (row.step == 1) {
        first = hn::LoadU(d, row.u + at);
        second = hn::LoadU(d, row.v + at);
    } else if (row.u < row.v) {
        hn::LoadInterleaved2(d, row.u + 2 * at, first, second);
    } else {
        hn::LoadInterleaved2(d, row.v + 2 * at, second, first);
    }
    u = Widened(first);
    v = Widened(second);
}

// What a pair adds to a sum.
HWY_INLINE V32 OfPairs(V32 u, V32 v, const ColorSum& sum) {
    return hn::Add(hn::Add(Times(u, sum.u), Times(v, sum.v)), hn::Set(D32(), sum.offset));
}

// Both return how many samples are done.
std::size_t LumaVectors(std::uint8_t* to, const std::uint8_t* from,
                        const ChromaRow<const std::uint8_t>& chroma, std::size_t width,
                        const ColorSum& sum) {
    const D8 d;
    const std::size_t pairs = hn::Lanes(d);
    std::size_t x = 0;
    for (; x + 2 * pairs <= width; x += 2 * pairs) {
        V32 u;
        V32 v;
        LoadPairs(chroma, x / 2, u, v);
        const V32 tint = OfPairs(u, v, sum);
        hn::Vec<D8> even;
        hn::Vec<D8> odd;
        hn::LoadInterleaved2(d, from + x, even, odd);
        even = Samples(hn::Add(Times(Widened(even), sum.y), tint));
        odd = Samples(hn::Add(Times(Widened(odd), sum.y), tint));
        hn::StoreInterleaved2(even, odd, d, to + x);
    }
    return x;
}

std::size_t ChromaVectors(const ChromaRow<std::uint8_t>& to,
                          const ChromaRow<const std::uint8_t>& from, std::size_t pairs,
                          const ColorSum& sumU, const ColorSum& sumV) {
    const D8 d;
    const std::size_t lanes = hn::Lanes(d);
    std::size_t i = 0;
    for (; i + lanes <= pairs; i += lanes) {
        V32 fromU;
        V32 fromV;
        LoadPairs(from, i, fromU, fromV);
        const hn::Vec<D8> u = Samples(OfPairs(fromU, fromV, sumU));
        const hn::Vec<D8> v = Samples(OfPairs(fromU, fromV, sumV));
        if (to.step == 1) {
            hn::StoreU(u, d, to.u + i);
            hn::StoreU(v, d, to.v + i);
        } else if (to.u < to.v) {
            hn::StoreInterleaved2(u, v, d, to.u + 2 * i);
        } else {
            hn::StoreInterleaved2(v, u, d, to.v + 2 * i);
        }
    }
    return i;
}

#endif

// Whether vectors can be read from and written to it.
template <typename Byte>
bool IsRegular(const ChromaRow<Byte>& row) {
    return row.step == 1 || (row.step == 2 && (row.u + 1 == row.v || row.v + 1 == row.u));
}

void Luma(std::uint8_t* to, const std::uint8_t* from, const ChromaRow<const std::uint8_t>& chroma,
          std::size_t width, const ColorSum& sum) {
    const std::size_t done = IsRegular(chroma) ? LumaVectors(to, from, chroma, width, sum) : 0;
    LumaScalar(to, from, chroma, done, width, sum);
}

void Chroma(const ChromaRow<std::uint8_t>& to, const ChromaRow<const std::uint8_t>& from,
            std::size_t pairs, const ColorSum& sumU, const ColorSum& sumV) {
    const std::size_t done =
        IsRegular(to) && IsRegular(from) ? ChromaVectors(to, from, pairs, sumU, sumV) : 0;
    ChromaScalar(to, from, done, pairs, sumU, sumV);
}

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace posteffect
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace posteffect {

HWY_EXPORT(Luma);
HWY_EXPORT(Chroma);

void ConvertLumaRow(std::uint8_t* to, const std::uint8_t* from,
                    const ChromaRow<const std::uint8_t>& chroma, std::size_t width,
                    const ColorSum& sum) {
    HWY_DYNAMIC_DISPATCH(Luma)(to, from, chroma, width, sum);
}

void ConvertChromaRow(const ChromaRow<std::uint8_t>& to, const ChromaRow<const std::uint8_t>& from,
                      std::size_t pairs, const ColorSum& sumU, const ColorSum& sumV) {
    HWY_DYNAMIC_DISPATCH(Chroma)(to, from, pairs, sumU, sumV);
}

}  // namespace posteffect
#endif
