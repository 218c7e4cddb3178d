#include "PelgraCore/Thumbnails.h"

#include <atomic>
#include <charconv>
#include <fstream>
#include <iostream>
#include <string_view>
#include <thread>
#include <vector>

using namespace Pelgra;

namespace {

constexpr double pixels = 400;

/// The pages as the window for organising shows them: each asked for alone, on every core, of one document.
std::vector<std::optional<RasterImage>> thumbnailsOf(const std::filesystem::path& file, int count)
{
    std::vector<std::optional<RasterImage>> images(static_cast<std::size_t>(count));
    Thumbnails::Pages pages(file);
    std::atomic<int> next = 0;
    std::vector<std::jthread> workers;
    for (unsigned worker = 0; worker < std::max(1U, std::thread::hardware_concurrency()); ++worker) {
        workers.emplace_back([&] {
            for (int page = next++; page < count; page = next++)
                images[static_cast<std::size_t>(page)] = pages.image(page, pixels);
        });
    }
    workers.clear();
    return images;
}

} // namespace

/// pelgra-thumbnails FILE COUNT OUTPUT: writes the thumbnails of the first COUNT pages as PPM, or for 0 the number of
/// pages as text.
int main(int argumentCount, char** arguments)
{
    int count = 0;
    const std::string_view number = argumentCount == 4 ? arguments[2] : "";
    if (std::from_chars(number.data(), number.data() + number.size(), count).ec != std::errc()) {
        std::cerr << "Usage: pelgra-thumbnails FILE COUNT OUTPUT\n";
        return 2;
    }
    std::ofstream out(arguments[3], std::ios::binary);
    if (count == 0)
        out << Thumbnails::pdfPageCount(arguments[1]) << '\n';
    for (const std::optional<RasterImage>& image : thumbnailsOf(arguments[1], count)) {
        if (!image)
            return 1;
        out << "P6 " << image->width << ' ' << image->height << " 255\n";
        out.write(reinterpret_cast<const char*>(image->pixels.data()),
                  static_cast<std::streamsize>(image->pixels.size()));
    }
    return out ? 0 : 1;
}
