#pragma once

#include <QList>

class QWidget;

/// The order in which the Tab key visits the controls of a window: as one reads, whatever the order in which they were
/// created. Items of lists come and go and change places, so the toolkit's own order would soon make no sense.
namespace Pelgra::TabOrder {

/// A widget of which Tab visits one child and the controls inside it; other keys lead to its siblings. Otherwise many
/// items would come between the controls before and after them.
class Group {
public:
    virtual ~Group() = default;

    /// Null for none.
    virtual QWidget* tabStop() const = 0;
};

/// The visible, enabled controls below the widget that take the focus by Tab: each container's children from the top
/// and then from the left, a control before those inside it.
QList<QWidget*> controlsOf(const QWidget& container);

/// The control after (or before) the one with the focus, around the ends; null where there is none.
QWidget* next(const QWidget& window, bool forward);

} // namespace Pelgra::TabOrder
