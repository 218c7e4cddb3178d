#include "ToolWindows/ItemAccessibility.h"

#include "ToolWindows/Files/OrderedFileRow.h"
#include "ToolWindows/Frame/ToolChrome.h"
#include "ToolWindows/Frame/ToolWindow.h"
#include "ToolWindows/Pages/PageCard.h"
#include "ToolWindows/Reordering/ReorderView.h"

#include <QAbstractButton>
#include <QAccessibleWidget>
#include <QLabel>
#include <QPointer>

namespace Pelgra {

namespace {

/// A row or card: its texts are one element, with the buttons below it and nothing else.
class ItemInterface final : public QAccessibleWidget {
public:
    explicit ItemInterface(QWidget* item)
        : QAccessibleWidget(item, QAccessible::ListItem)
    {
    }

    int childCount() const override { return static_cast<int>(buttons().size()); }

    QAccessibleInterface* child(int index) const override
    {
        return QAccessible::queryAccessibleInterface(buttons().value(index));
    }

    int indexOfChild(const QAccessibleInterface* child) const override
    {
        return child ? static_cast<int>(buttons().indexOf(qobject_cast<QAbstractButton*>(child->object()))) : -1;
    }

private:
    QList<QAbstractButton*> buttons() const
    {
        return widget()->findChildren<QAbstractButton*>(QString(), Qt::FindDirectChildrenOnly);
    }
};

/// The items of a list in the order they are shown, not in the order they were made.
class ListInterface final : public QAccessibleWidget {
public:
    ListInterface(QWidget* content, const ReorderView* view)
        : QAccessibleWidget(content, QAccessible::List)
        , m_view(view)
    {
    }

    int childCount() const override { return static_cast<int>(items().size()); }

    QAccessibleInterface* child(int index) const override
    {
        return QAccessible::queryAccessibleInterface(items().value(index));
    }

    int indexOfChild(const QAccessibleInterface* child) const override
    {
        return child ? static_cast<int>(items().indexOf(qobject_cast<QWidget*>(child->object()))) : -1;
    }

private:
    QList<QWidget*> items() const { return m_view ? m_view->itemsInOrder() : QList<QWidget*>(); }

    QPointer<const ReorderView> m_view;
};

/// The view whose items the widget holds.
const ReorderView* viewOf(const QWidget& content)
{
    const QWidget* const viewport = content.parentWidget();
    const auto* const view = qobject_cast<const ReorderView*>(viewport ? viewport->parentWidget() : nullptr);
    return view && view->widget() == &content ? view : nullptr;
}

QAccessibleInterface* interfaceFor(const QString&, QObject* object)
{
    auto* const widget = qobject_cast<QWidget*>(object);
    if (!widget)
        return nullptr;
    if (qobject_cast<OrderedFileRow*>(widget) || qobject_cast<PageCard*>(widget))
        return new ItemInterface(widget);
    if (qobject_cast<ToolWindow*>(widget))
        return new QAccessibleWidget(widget, QAccessible::Dialog);
    if (const auto* const label = qobject_cast<QLabel*>(widget);
        label && label->objectName() == ToolChrome::titleName())
        return new QAccessibleWidget(widget, QAccessible::Heading, label->text());
    if (const ReorderView* const view = viewOf(*widget))
        return new ListInterface(widget, view);
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

void setSpokenName(QWidget& widget, const QString& name)
{
    if (widget.accessibleName() != name)
        widget.setAccessibleName(name);
}

void setSpokenDescription(QWidget& widget, const QString& description)
{
    if (widget.accessibleDescription() != description)
        widget.setAccessibleDescription(description);
}

} // namespace Pelgra
