#pragma once

#include <memory>
#include <span>

namespace Pelgra::Rendering {

/// From the colours of one profile (ICC.1) of 1, 3 or 4 components to sRGB: relative colorimetric, with black point
/// compensation. May be used by several threads at once.
class ProfileConversion {
public:
    ProfileConversion(const ProfileConversion&) = delete;
    ProfileConversion& operator=(const ProfileConversion&) = delete;
    virtual ~ProfileConversion() = default;

    /// Components from 0 to 1 into red, green and blue from 0 to 1.
    virtual void convertColor(const float* from, float* rgb) const = 0;
    /// Pixels of 8 bits a component, with nothing between them, into RGB.
    virtual void convertPixels(const unsigned char* from, unsigned char* rgb, int count) const = 0;

protected:
    ProfileConversion() = default;
};

/// Null for a profile that cannot be used, and for one whose colours are nearly those of sRGB or of grey on a screen.
std::shared_ptr<const ProfileConversion> makeConversion(std::span<const unsigned char> profile, int components);

} // namespace Pelgra::Rendering
