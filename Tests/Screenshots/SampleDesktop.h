#pragma once

#include <QWidget>

namespace Pelgra {

constexpr int tile = 320; ///< side of one background, logical pixels
constexpr int tileCount = 4;

/// Light, dark, colourful and full of text, side by side in the top-left corner of the screen.
class SampleDesktop : public QWidget {
public:
    SampleDesktop();

protected:
    void paintEvent(QPaintEvent* event) override;
};

} // namespace Pelgra
