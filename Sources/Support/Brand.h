#pragma once

#include <QColor>

namespace Pelgra::Brand {

/// The brand colour, an orange in sRGB.
inline constexpr QColor orange{243, 91, 40};

} // namespace Pelgra::Brand
