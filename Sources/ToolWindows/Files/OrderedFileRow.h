#pragma once

#include "ToolWindows/Reordering/Reordering.h"

#include <QWidget>

#include <cstdint>

class QLabel;

namespace Pelgra {

class ChevronButton;

/// What a row shows beside its number.
enum class RowLeading : std::uint8_t { documentIcon, thumbnail };

/// One file of an ordered list: its number, its picture, its name and the buttons that move it.
class OrderedFileRow : public QWidget {
    Q_OBJECT

public:
    static constexpr int rowHeight = 80; ///< logical pixels

    OrderedFileRow(const OrderedFile& file, RowLeading leading, QWidget* parent);

    const OrderedFile& file() const { return m_file; }

    /// Where the row stands in a list of `count`.
    void setPosition(std::size_t index, std::size_t count);
    void setDimmed(bool dimmed);

Q_SIGNALS:
    /// One place up (-1) or down (+1).
    void moveRequested(const Pelgra::Identifier& id, int delta);
    /// The row above (-1) or below (+1) should get the keyboard focus.
    void focusMoveRequested(const Pelgra::Identifier& id, int delta);

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;

private:
    /// All rows leave room for the widest number of the list.
    void makeRoomForNumbers(std::size_t count);
    void elideName();

    OrderedFile m_file;
    QString m_fileName;
    QLabel* m_number;
    QLabel* m_name;
    ChevronButton* m_up;
    ChevronButton* m_down;
};

} // namespace Pelgra
