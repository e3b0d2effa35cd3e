// Points of a scan, with wider vectors where the processor has them.
#include "scankernels.h"

#include "vectorunits.h"

#include <algorithm>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace LxCV::ScanKernels {

namespace {

using Matrix = std::span<const double, 12>;

void Transform(Matrix m, std::span<LxCFloat3> points)
{
    for (LxCFloat3& point : points) {
        const double x = point.get(0);
        const double y = point.get(1);
        const double z = point.get(2);
        point.set(m[0] * x + m[1] * y + m[2] * z + m[3], m[4] * x + m[5] * y + m[6] * z + m[7],
                  m[8] * x + m[9] * y + m[10] * z + m[11]);
    }
}

#if defined(__x86_64__)
/// One row of the matrix times four points, in the order of `Transform`.
[[gnu::target("avx2"), gnu::always_inline]] inline __m128 TransformRow(const __m256d* row, __m256d x,
                                                                       __m256d y, __m256d z)
{
    __m256d sum = _mm256_add_pd(_mm256_mul_pd(row[0], x), _mm256_mul_pd(row[1], y));
    sum = _mm256_add_pd(sum, _mm256_mul_pd(row[2], z));
    return _mm256_cvtpd_ps(_mm256_add_pd(sum, row[3]));
}

/// Four points at a time, which are twelve floats or three vectors. Compilers would take them apart float by float.
[[gnu::target("avx2")]] void TransformWide(Matrix m, std::span<LxCFloat3> points)
{
    constexpr std::size_t c_iGroup = 4; // points
    __m256d rows[12];
    for (std::size_t i = 0; i < m.size(); ++i) {
        rows[i] = _mm256_set1_pd(m[i]);
    }
    const std::size_t whole = points.size() / c_iGroup * c_iGroup;
    for (std::size_t i = 0; i < whole; i += c_iGroup) {
        auto* const floats = reinterpret_cast<float*>(&points[i]);
        const __m128 a = _mm_loadu_ps(floats);     // x0 y0 z0 x1
        const __m128 b = _mm_loadu_ps(floats + 4); // y1 z1 x2 y2
        const __m128 c = _mm_loadu_ps(floats + 8); // z2 x3 y3 z3

        const __m128 yz01 = _mm_shuffle_ps(a, b, _MM_SHUFFLE(1, 0, 2, 1)); // y0 z0 y1 z1
        const __m128 xy23 = _mm_shuffle_ps(b, c, _MM_SHUFFLE(2, 1, 3, 2)); // x2 y2 x3 y3
        const __m256d x = _mm256_cvtps_pd(_mm_shuffle_ps(a, xy23, _MM_SHUFFLE(2, 0, 3, 0)));
        const __m256d y = _mm256_cvtps_pd(_mm_shuffle_ps(yz01, xy23, _MM_SHUFFLE(3, 1, 2, 0)));
        const __m256d z = _mm256_cvtps_pd(_mm_shuffle_ps(yz01, c, _MM_SHUFFLE(3, 0, 3, 1)));

        const __m128 u = TransformRow(rows, x, y, z);
        const __m128 v = TransformRow(rows + 4, x, y, z);
        const __m128 w = TransformRow(rows + 8, x, y, z);

        const __m128 uv01 = _mm_unpacklo_ps(u, v);                         // u0 v0 u1 v1
        const __m128 uv23 = _mm_unpackhi_ps(u, v);                         // u2 v2 u3 v3
        const __m128 wu01 = _mm_shuffle_ps(w, u, _MM_SHUFFLE(1, 1, 0, 0)); // w0 w0 u1 u1
        const __m128 vw11 = _mm_shuffle_ps(v, w, _MM_SHUFFLE(1, 1, 1, 1)); // v1 v1 w1 w1
        const __m128 wu23 = _mm_shuffle_ps(w, u, _MM_SHUFFLE(3, 3, 2, 2)); // w2 w2 u3 u3
        const __m128 vw33 = _mm_shuffle_ps(v, w, _MM_SHUFFLE(3, 3, 3, 3)); // v3 v3 w3 w3
        _mm_storeu_ps(floats, _mm_shuffle_ps(uv01, wu01, _MM_SHUFFLE(2, 0, 1, 0)));
        _mm_storeu_ps(floats + 4, _mm_shuffle_ps(vw11, uv23, _MM_SHUFFLE(1, 0, 2, 0)));
        _mm_storeu_ps(floats + 8, _mm_shuffle_ps(wu23, vw33, _MM_SHUFFLE(2, 0, 2, 0)));
    }
    Transform(m, points.subspan(whole));
}
#endif

} // namespace

void TransformPoints(std::span<const double, 12> matrix, std::span<LxCFloat3> points)
{
#if defined(__x86_64__)
    if (VectorUnits::AreWide()) {
        TransformWide(matrix, points);
        return;
    }
#endif
    Transform(matrix, points);
}

std::size_t ZeroInvalidPoints(std::span<const std::uint8_t> mask, std::span<LxCFloat3> points)
{
    std::size_t valid = 0;
    const std::size_t count = std::min(mask.size(), points.size());
    for (std::size_t i = 0; i < count; ++i) {
        if (mask[i] == c_uiValid) {
            ++valid;
        } else {
            points[i].set(0.0F, 0.0F, 0.0F);
        }
    }
    return valid;
}

} // namespace LxCV::ScanKernels
