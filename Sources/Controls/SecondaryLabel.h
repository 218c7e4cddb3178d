#pragma once

#include <QColor>
#include <QLabel>

namespace Pelgra {

/// Text that stands back behind the rest. Its colour is the palette's text, paler: some desktops give programs a
/// palette whose own colour for that (of placeholders) is the one of another appearance.
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
