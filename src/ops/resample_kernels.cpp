#include "ops/resample_kernels.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace kestr {
namespace {

constexpr float kPi = 3.1415927410125732F;
constexpr float kOne = 16384.0F;  // the weight of a whole sample

// Sine and cosine are taken in double precision and narrowed: every system then has the same
// single.
float Sine(float x) {
    return static_cast<float>(std::sin(static_cast<double>(x)));
}
float Cosine(float x) {
    return static_cast<float>(std::cos(static_cast<double>(x)));
}

float Sinc(float x) {
    if (x == 0.0F) return 1.0F;
    const float p = kPi * x;
    return Sine(p) / p;
}

float Triangle(float x) {
    if (x < -1.0F) return 0.0F;
    if (x < 0.0F) return x + 1.0F;
    if (x < 1.0F) return 1.0F - x;
    return 0.0F;
}

float CubicBSpline(float x) {
    if (x < -2.0F) return 0.0F;
    if (x < -1.0F) return (x + 2.0F) * (x + 2.0F) * (x + 2.0F) / 6.0F;
    if (x < 0.0F) return (4.0F + x * x * (-6.0F - 3.0F * x)) / 6.0F;
    if (x < 1.0F) return (4.0F + x * x * (3.0F * x - 6.0F)) / 6.0F;
    if (x < 2.0F) return (2.0F - x) * (2.0F - x) * (2.0F - x) / 6.0F;
    return 0.0F;
}

float Mitchell(float x) {
    const float a = std::fabs(x);
    if (a < 1.0F) return (7.0F * a * a * a - 12.0F * a * a + 5.333333492279053F) / 6.0F;
    if (a < 2.0F) {
        return (-2.3333332538604736F * a * a * a + 12.0F * a * a - 20.0F * a +
                10.666666984558105F) /
               6.0F;
    }
    return 0.0F;
}

float Lanczos3(float x) {
    const float a = std::fabs(x);
    return a < 3.0F ? Sinc(a) * Sinc(a / 3.0F) : 0.0F;
}

float BlackmanSinc(float x) {
    const float u = kPi * (x * 0.25F);
    // Not cut off at 4: the length of the list of contributions does that.
    return Sinc(x) * (0.42F + 0.5F * Cosine(u) + 0.08F * Cosine(2.0F * u));
}

struct CKernel {
    float (*at)(float);
    float support;
};
constexpr auto kKernels = std::to_array<CKernel>({{&Triangle, 1.0F},
                                                  {&CubicBSpline, 2.0F},
                                                  {&Mitchell, 2.0F},
                                                  {&Lanczos3, 3.0F},
                                                  {&BlackmanSinc, 4.0F}});

const CKernel& KernelOf(int method) {
    return kKernels[static_cast<size_t>(method - kFirstFilterMethod)];
}

}  // namespace

float KernelAt(int method, float x) {
    return KernelOf(method).at(x);
}

float KernelSupport(int method) {
    return KernelOf(method).support;
}

CContributionList::CContributionList(int32_t sourceSize, int32_t destinationSize, int method) {
    const CKernel& kernel = KernelOf(method);
    const auto scale = static_cast<float>(static_cast<double>(destinationSize) / sourceSize);
    const float halfWidth = scale < 1.0F ? kernel.support / scale : kernel.support;
    const float stretch = scale < 1.0F ? 1.0F / scale : 1.0F;
    const int32_t end = sourceSize - 1;
    std::vector<float> raw;
    m_contributions.reserve(static_cast<size_t>(destinationSize));
    for (int32_t i = 0; i < destinationSize; ++i) {
        const float centre = static_cast<float>(i) / scale;
        const auto left = static_cast<int64_t>(std::ceil(centre - halfWidth));
        const auto right = static_cast<int64_t>(std::floor(centre + halfWidth));
        raw.clear();
        float sum = 0.0F;
        for (int64_t j = left; j <= right; ++j) {
            const float weight = kernel.at((centre - static_cast<float>(j)) / stretch) / stretch;
            raw.push_back(weight);
            sum += weight;
        }
        const float factor = sum == 0.0F || sum == 1.0F ? kOne : kOne / sum;

        CContribution& added = m_contributions.emplace_back();
        added.first = static_cast<int32_t>(std::clamp<int64_t>(left, 0, end));
        added.last = static_cast<int32_t>(std::clamp<int64_t>(right, added.first, end));
        added.weightOffset = m_weights.size();
        std::vector<int32_t>& weights = m_weights;
        weights.resize(weights.size() + added.PairCount());
        // Two weights of 16 bits share a number; none comes near 32768, which is two whole samples.
        for (size_t k = 0; k < raw.size(); ++k) {
            const auto weight = static_cast<int32_t>(raw[k] * factor);
            const auto position = static_cast<int32_t>(
                std::clamp<int64_t>(left + static_cast<int64_t>(k), added.first, added.last));
            const auto bits = static_cast<uint32_t>(weight);
            added.weightSum += bits;
            int32_t& pair =
                weights[added.weightOffset + static_cast<size_t>(position / 2 - added.FirstPair())];
            const auto old = static_cast<uint32_t>(pair);
            pair = static_cast<int32_t>(position % 2 == 0
                                            ? (old & 0xFFFF0000U) | ((old + bits) & 0xFFFFU)
                                            : old + (bits << 16));
        }
    }
}

}  // namespace kestr
