#pragma once

#include "Jobs/HUDState.h"

#include <QWidget>

class QLabel;

namespace Pelgra {

class Spinner;

/// The content of a heads-up panel: a leading symbol or spinner and up to two lines of text.
class HUDView : public QWidget {
    Q_OBJECT

public:
    explicit HUDView(QWidget* parent);

    void setState(const HUDState& state);

private:
    void showTexts(const QString& main, const QString& message);
    void showSymbol(const QString& name, const QColor& color);

    QLabel* m_symbol = nullptr;
    Spinner* m_spinner = nullptr;
    QLabel* m_main = nullptr;
    QLabel* m_message = nullptr;
};

} // namespace Pelgra
