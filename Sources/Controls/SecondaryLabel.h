#pragma once

#include <QColor>
#include <QLabel>

namespace Pelgra {

/// Text that is less prominent than the rest. Its colour is the palette's text colour, paler: some desktops hand out a
/// palette whose own colour for this (that of placeholders) belongs to another appearance.
class SecondaryLabel : public QLabel {
public:
    explicit SecondaryLabel(const QString& text, QWidget* parent = nullptr);

    static QColor colorFor(const QWidget& widget);

protected:
    void changeEvent(QEvent* event) override;

private:
    void takeColor();
};

} // namespace Pelgra
