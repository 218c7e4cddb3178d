#include "Support/ImageSamples.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>

namespace Pelgra {

namespace {

void setComponents(RasterImage& image, int x, int y, const std::vector<int>& components)
{
    std::byte* pixel = image.row(y).data() + static_cast<std::size_t>(x) * image.bytesPerPixel();
    for (const int component : components) {
        if (image.bitsPerComponent == 8) {
            *pixel++ = static_cast<std::byte>(component);
        } else {
            const auto value = static_cast<std::uint16_t>(component);
            std::memcpy(pixel, &value, 2);
            pixel += 2;
        }
    }
}

Quadrant quadrantAt(const RasterImage& image, int x, int y)
{
    const bool right = x >= image.width / 2;
    if (y < image.height / 2)
        return right ? Quadrant::topRight : Quadrant::topLeft;
    return right ? Quadrant::bottomRight : Quadrant::bottomLeft;
}

} // namespace

std::vector<int> quadrantComponents(ColorModel model, bool hasAlpha, int bitsPerComponent, Quadrant quadrant)
{
    static const std::array<std::array<int, 3>, 4> colors{
        {{220, 20, 20}, {20, 200, 20}, {20, 20, 220}, {230, 220, 20}}};
    static const std::array<int, 4> grays{40, 100, 160, 220};
    static const std::array<int, 4> alphas{255, 153, 255, 51};
    const auto index = static_cast<std::size_t>(quadrant);
    std::vector<int> components;
    if (model == ColorModel::gray)
        components = {grays[index]};
    else
        components.assign(colors[index].begin(), colors[index].end());
    if (model == ColorModel::cmyk) {
        for (int& component : components)
            component = 255 - component;
        components.push_back(0);
    }
    if (hasAlpha)
        components.push_back(alphas[index]);
    if (bitsPerComponent == 16) {
        // 3 more than the widened 8-bit value where it fits, so that a round trip through 8 bits is noticed.
        for (int& component : components)
            component = std::min(component * 257 + 3, 65535);
    }
    return components;
}

RasterImage testPicture(int width, int height, ColorModel model, bool hasAlpha, int bitsPerComponent)
{
    RasterImage image = RasterImage::make(width, height, model, hasAlpha, bitsPerComponent).value();
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x)
            setComponents(image, x, y, quadrantComponents(model, hasAlpha, bitsPerComponent, quadrantAt(image, x, y)));
    }
    return image;
}

RasterImage rampPicture(int width, int height, ColorModel model, bool hasAlpha, int bitsPerComponent)
{
    RasterImage image = RasterImage::make(width, height, model, hasAlpha, bitsPerComponent).value();
    const int largest = (1 << bitsPerComponent) - 1;
    std::uint32_t noise = 12345;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            std::vector<int> components;
            for (int component = 0; component < image.componentCount(); ++component) {
                noise = noise * 1664525 + 1013904223;
                const int ramp = (component % 2 == 0 ? x * largest / width : y * largest / height) * 9 / 10;
                components.push_back(ramp + static_cast<int>(noise >> 24) * (largest / 255) / 32);
            }
            setComponents(image, x, y, components);
        }
    }
    return image;
}

std::vector<int> componentsAt(const RasterImage& image, int x, int y)
{
    const std::byte* pixel = image.row(y).data() + static_cast<std::size_t>(x) * image.bytesPerPixel();
    std::vector<int> components;
    for (int component = 0; component < image.componentCount(); ++component) {
        if (image.bitsPerComponent == 8) {
            components.push_back(std::to_integer<int>(pixel[component]));
        } else {
            std::uint16_t value = 0;
            std::memcpy(&value, pixel + 2 * component, 2);
            components.push_back(value);
        }
    }
    return components;
}

std::vector<int> componentsIn(const RasterImage& image, Quadrant quadrant)
{
    const bool right = quadrant == Quadrant::topRight || quadrant == Quadrant::bottomRight;
    const bool bottom = quadrant == Quadrant::bottomLeft || quadrant == Quadrant::bottomRight;
    return componentsAt(image, image.width * (right ? 3 : 1) / 4, image.height * (bottom ? 3 : 1) / 4);
}

int largestDifference(const std::vector<int>& left, const std::vector<int>& right)
{
    if (left.size() != right.size())
        return std::numeric_limits<int>::max();
    int largest = 0;
    for (std::size_t index = 0; index < left.size(); ++index)
        largest = std::max(largest, std::abs(left[index] - right[index]));
    return largest;
}

int largestDifference(const RasterImage& left, const RasterImage& right)
{
    if (left.width != right.width || left.height != right.height || left.model != right.model
        || left.hasAlpha != right.hasAlpha || left.bitsPerComponent != right.bitsPerComponent)
        return std::numeric_limits<int>::max();
    int largest = 0;
    for (int y = 0; y < left.height; ++y) {
        for (int x = 0; x < left.width; ++x)
            largest = std::max(largest, largestDifference(componentsAt(left, x, y), componentsAt(right, x, y)));
    }
    return largest;
}

Bytes bytesOf(std::string_view text)
{
    const auto bytes = std::as_bytes(std::span(text));
    return {bytes.begin(), bytes.end()};
}

std::filesystem::path write(const TemporaryFolder& folder, std::string_view name, const Bytes& bytes)
{
    return folder.write(name, {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
}

} // namespace Pelgra
