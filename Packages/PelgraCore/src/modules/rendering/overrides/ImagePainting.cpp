#include "Override.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>

#include <mupdf/fitz.h>

/// MuPDF enlarges pictures by one loop for every case there is, which takes half the time a scanned page is drawn in.
/// This function takes its place for the most frequent case: an opaque picture of grey or RGB, upright or turned by
/// quarters, that is not blended with anything. The pixels come out bit for bit the same.
/// Made for MuPDF 1.21 and 1.25, of which it computes what they compute.
struct fz_overprint;
using PaintImage = void(fz_context*, fz_pixmap* target, const fz_irect* scissor, fz_pixmap* shape,
                        fz_pixmap* groupAlpha, fz_pixmap* image, fz_matrix matrix, int alpha, int mayInterpolate,
                        const fz_overprint*);
PELGRA_DECLARE_OVERRIDE(fz_paint_image, PaintImage)

namespace {

/// Places in the picture and weights are fixed-point numbers with this many binary digits after the point, as in MuPDF.
constexpr int fractionBits = 14;
constexpr int one = 1 << fractionBits;
constexpr int half = one / 2;
constexpr int largestSide = 1 << (31 - fractionBits);
constexpr int opaque = 255;
/// Pictures enlarged by more show their pixels as squares unless they ask otherwise.
constexpr float mostInterpolated = 2;
/// A turned picture is painted this many columns at a time: one row of them meets as many rows of the picture, which
/// have to stay in the processor's cache for the next.
constexpr int columnsAtOnce = 128;

int mixed(int first, int second, int weight)
{
    return first + (((second - first) * weight) >> fractionBits);
}

/// Between which two of the picture's pixels a pixel of the target lies along one axis.
struct Sample {
    int first = 0;
    int second = 0;
    int weight = 0; ///< of the second
};

/// The samples of all rows or columns of the target's area.
class Axis {
public:
    /// @param start, step place of the area's first pixel in the picture and from pixel to pixel, fixed-point
    Axis(fz_context* context, int count, int start, int step, int imageSide)
        : m_samples(static_cast<Sample*>(fz_malloc_no_throw(context, static_cast<std::size_t>(count) * sizeof(Sample))),
                    {context})
        , m_start(start)
        , m_step(step)
        , m_side(imageSide)
        , m_end(count)
    {
        if (!m_samples)
            return;
        while (m_begin < m_end && !isInside(m_begin))
            ++m_begin;
        while (m_end > m_begin && !isInside(m_end - 1))
            --m_end;
        for (int index = m_begin; index < m_end; ++index) {
            const auto whole = static_cast<int>(place(index) >> fractionBits);
            m_samples.get()[index] = {std::clamp(whole, 0, m_side - 1), std::clamp(whole + 1, 0, m_side - 1),
                                      static_cast<int>(place(index) & (one - 1))};
        }
    }

    bool hasMemory() const { return m_samples != nullptr; }
    /// The pixels of the target from begin() to before end() lie in the picture.
    int begin() const { return m_begin; }
    int end() const { return m_end; }
    const Sample& operator[](int index) const { return m_samples.get()[index]; }

private:
    struct Free {
        fz_context* context;
        void operator()(Sample* samples) const { fz_free(context, samples); }
    };

    std::int64_t place(int index) const { return m_start + std::int64_t{index} * m_step; }
    bool isInside(int index) const
    {
        return place(index) >= -half && place(index) + half < std::int64_t{m_side} << fractionBits;
    }

    std::unique_ptr<Sample, Free> m_samples;
    int m_start;
    int m_step;
    int m_side;
    int m_begin = 0;
    int m_end;
};

/// An area of the target and the part of the picture it shows.
struct Painting {
    fz_context* context;
    unsigned char* target; ///< the area's first pixel
    std::ptrdiff_t targetStride;
    const unsigned char* image;
    std::ptrdiff_t imageStride;
    const Axis& columns; ///< samples of the area's columns
    const Axis& rows;
};

template <int components, int targetComponents>
void put(unsigned char* target, int component, int value)
{
    if constexpr (components == targetComponents)
        target[component] = static_cast<unsigned char>(value);
    else
        std::fill_n(target, targetComponents, static_cast<unsigned char>(value));
}

/// A row of the picture at the width of the area.
template <int components>
void stretchRow(const Painting& painting, int imageRow, unsigned char* stretched)
{
    const unsigned char* const source = painting.image + imageRow * painting.imageStride;
    for (int x = painting.columns.begin(); x < painting.columns.end(); ++x, stretched += components) {
        const Sample& sample = painting.columns[x];
        for (int component = 0; component < components; ++component) {
            stretched[component] =
                static_cast<unsigned char>(mixed(source[sample.first * components + component],
                                                 source[sample.second * components + component], sample.weight));
        }
    }
}

/// False where there is no memory for two rows.
template <int components, int targetComponents>
bool paintUpright(const Painting& painting)
{
    const int width = painting.columns.end() - painting.columns.begin();
    const std::size_t rowBytes = static_cast<std::size_t>(width) * components;
    auto* const memory = static_cast<unsigned char*>(fz_malloc_no_throw(painting.context, rowBytes * 2));
    if (!memory)
        return false;
    unsigned char* upper = memory;
    unsigned char* lower = memory + rowBytes;
    int upperRow = -1;
    int lowerRow = -1;
    for (int y = painting.rows.begin(); y < painting.rows.end(); ++y) {
        const Sample& sample = painting.rows[y];
        if (upperRow != sample.first) {
            std::swap(upper, lower);
            std::swap(upperRow, lowerRow);
        }
        if (upperRow != sample.first)
            stretchRow<components>(painting, upperRow = sample.first, upper);
        if (lowerRow != sample.second)
            stretchRow<components>(painting, lowerRow = sample.second, lower);
        unsigned char* const target =
            painting.target + y * painting.targetStride + painting.columns.begin() * targetComponents;
        for (int x = 0; x < width; ++x) {
            for (int component = 0; component < components; ++component) {
                const int index = x * components + component;
                put<components, targetComponents>(target + x * targetComponents, component,
                                                  mixed(upper[index], lower[index], sample.weight));
            }
        }
    }
    fz_free(painting.context, memory);
    return true;
}

/// Columns of the area show rows of the picture.
template <int components, int targetComponents>
bool paintTurned(const Painting& painting)
{
    for (int left = painting.columns.begin(); left < painting.columns.end(); left += columnsAtOnce) {
        const int right = std::min(left + columnsAtOnce, painting.columns.end());
        for (int y = painting.rows.begin(); y < painting.rows.end(); ++y) {
            const Sample& across = painting.rows[y];
            unsigned char* target = painting.target + y * painting.targetStride + left * targetComponents;
            for (int x = left; x < right; ++x, target += targetComponents) {
                const Sample& down = painting.columns[x];
                const unsigned char* const upper = painting.image + down.first * painting.imageStride;
                const unsigned char* const lower = painting.image + down.second * painting.imageStride;
                for (int component = 0; component < components; ++component) {
                    const int first = across.first * components + component;
                    const int second = across.second * components + component;
                    put<components, targetComponents>(target, component,
                                                      mixed(mixed(upper[first], upper[second], across.weight),
                                                            mixed(lower[first], lower[second], across.weight),
                                                            down.weight));
                }
            }
        }
    }
    return true;
}

template <int components, int targetComponents>
bool paint(const Painting& painting, bool isTurned)
{
    return isTurned ? paintTurned<components, targetComponents>(painting)
                    : paintUpright<components, targetComponents>(painting);
}

/// Whether the case is one for these functions.
bool isSimple(const fz_pixmap& target, const fz_pixmap& image, fz_matrix matrix)
{
    const int components = image.n;
    const bool fits = !image.alpha && !target.alpha && image.s == 0 && target.s == 0
        && ((components == 1 && target.n == 1) || (components == 1 && target.n == 3)
            || (components == 3 && target.n == 3));
    if (!fits || image.w >= largestSide || image.h >= largestSide || !fz_is_rectilinear(matrix))
        return false;
    const float width = std::sqrt(matrix.a * matrix.a + matrix.b * matrix.b);
    const float height = std::sqrt(matrix.c * matrix.c + matrix.d * matrix.d);
    const auto imageWidth = static_cast<float>(image.w);
    const auto imageHeight = static_cast<float>(image.h);
    const bool isEnlarged = width > imageWidth || height > imageHeight;
    const bool isBlocky = (image.flags & FZ_PIXMAP_FLAG_INTERPOLATE) == 0
        && (width > imageWidth * mostInterpolated || height > imageHeight * mostInterpolated);
    return isEnlarged && !isBlocky;
}

/// False in any other case, or where memory ran out: then nothing was painted.
bool paintSimpleImage(fz_context* context, fz_pixmap& target, const fz_irect& scissor, const fz_pixmap& image,
                      fz_matrix matrix)
{
    if (!isSimple(target, image, matrix))
        return false;
    const fz_irect area = fz_intersect_irect(fz_irect_from_rect(fz_transform_rect(fz_unit_rect, matrix)), scissor);
    if (fz_is_empty_irect(area))
        return true;
    // From pixels of the target to those of the picture, in floating point for as long as possible.
    fz_matrix back =
        fz_invert_matrix(fz_pre_scale(matrix, 1.0F / static_cast<float>(image.w), 1.0F / static_cast<float>(image.h)));
    for (float* const part : {&back.a, &back.b, &back.c, &back.d, &back.e, &back.f})
        *part *= static_cast<float>(one);
    const auto x = static_cast<float>(area.x0);
    const auto y = static_cast<float>(area.y0);
    const int u = static_cast<int>((back.a * x) + (back.c * y) + back.e + ((back.a + back.c) * .5F)) - half;
    const int v = static_cast<int>((back.b * x) + (back.d * y) + back.f + ((back.b + back.d) * .5F)) - half;
    const bool isTurned = static_cast<int>(back.a) == 0 && static_cast<int>(back.d) == 0;
    if (!isTurned && (static_cast<int>(back.b) != 0 || static_cast<int>(back.c) != 0))
        return false;
    const int width = area.x1 - area.x0;
    const int height = area.y1 - area.y0;
    const Axis columns = isTurned ? Axis(context, width, v, static_cast<int>(back.b), image.h)
                                  : Axis(context, width, u, static_cast<int>(back.a), image.w);
    const Axis rows = isTurned ? Axis(context, height, u, static_cast<int>(back.c), image.w)
                               : Axis(context, height, v, static_cast<int>(back.d), image.h);
    if (!columns.hasMemory() || !rows.hasMemory())
        return false;
    const Painting painting{context,
                            target.samples + (area.y0 - target.y) * target.stride
                                + static_cast<std::ptrdiff_t>(area.x0 - target.x) * target.n,
                            target.stride,
                            image.samples,
                            image.stride,
                            columns,
                            rows};
    if (image.n == 3)
        return paint<3, 3>(painting, isTurned);
    return target.n == 3 ? paint<1, 3>(painting, isTurned) : paint<1, 1>(painting, isTurned);
}

} // namespace

void PELGRA_OVERRIDE(fz_paint_image)(fz_context* context, fz_pixmap* target, const fz_irect* scissor, fz_pixmap* shape,
                                     fz_pixmap* groupAlpha, fz_pixmap* image, fz_matrix matrix, int alpha,
                                     int mayInterpolate, const fz_overprint* overprint)
{
    const bool isPlain = !shape && !groupAlpha && !overprint && alpha == opaque && mayInterpolate;
    if (!isPlain || !paintSimpleImage(context, *target, *scissor, *image, matrix))
        PELGRA_OVERRIDDEN(fz_paint_image)
    (context, target, scissor, shape, groupAlpha, image, matrix, alpha, mayInterpolate, overprint);
}
