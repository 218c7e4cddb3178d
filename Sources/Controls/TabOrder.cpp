#include "Controls/TabOrder.h"

#include <QWidget>

#include <algorithm>
#include <tuple>

namespace Pelgra::TabOrder {

namespace {

void collect(const QWidget& container, QList<QWidget*>& controls);

void append(QWidget& control, QList<QWidget*>& controls)
{
    if (control.isEnabled() && control.focusPolicy() & Qt::TabFocus)
        controls.append(&control);
    collect(control, controls);
}

void collect(const QWidget& container, QList<QWidget*>& controls)
{
    if (const auto* const group = dynamic_cast<const Group*>(&container)) {
        if (QWidget* const stop = group->tabStop())
            append(*stop, controls);
        return;
    }
    QList<QWidget*> children = container.findChildren<QWidget*>(QString(), Qt::FindDirectChildrenOnly);
    children.removeIf([](const QWidget* child) { return child->isWindow() || !child->isVisible(); });
    std::stable_sort(children.begin(), children.end(), [](const QWidget* a, const QWidget* b) {
        return std::make_tuple(a->y(), a->x()) < std::make_tuple(b->y(), b->x());
    });
    for (QWidget* const child : children)
        append(*child, controls);
}

} // namespace

QList<QWidget*> controlsOf(const QWidget& container)
{
    QList<QWidget*> controls;
    collect(container, controls);
    return controls;
}

QWidget* next(const QWidget& window, bool forward)
{
    const QList<QWidget*> controls = controlsOf(window);
    if (controls.isEmpty())
        return nullptr;
    const qsizetype current = controls.indexOf(window.focusWidget());
    if (current < 0)
        return forward ? controls.first() : controls.last();
    return controls[(current + (forward ? 1 : controls.size() - 1)) % controls.size()];
}

} // namespace Pelgra::TabOrder
