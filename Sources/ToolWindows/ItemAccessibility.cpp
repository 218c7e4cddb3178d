#include "ToolWindows/ItemAccessibility.h"

#include "ToolWindows/OrderedFileRow.h"
#include "ToolWindows/PageCard.h"
#include "ToolWindows/ReorderView.h"

#include <QAccessibleWidget>

namespace Pelgra {

namespace {

QAccessibleInterface* interfaceFor(const QString&, QObject* object)
{
    auto* const widget = qobject_cast<QWidget*>(object);
    if (qobject_cast<OrderedFileRow*>(widget) || qobject_cast<PageCard*>(widget))
        return new QAccessibleWidget(widget, QAccessible::ListItem);
    if (widget && qobject_cast<ReorderView*>(widget->parentWidget() ? widget->parentWidget()->parentWidget() : nullptr)
        && static_cast<ReorderView*>(widget->parentWidget()->parentWidget())->widget() == widget)
        return new QAccessibleWidget(widget, QAccessible::List, widget->accessibleName());
    return nullptr;
}

} // namespace

void installItemAccessibility()
{
    [[maybe_unused]] static const bool installed = [] {
        QAccessible::installFactory(interfaceFor);
        return true;
    }();
}

} // namespace Pelgra
