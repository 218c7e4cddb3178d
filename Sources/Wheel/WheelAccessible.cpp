#include "Wheel/WheelAccessible.h"

#include "Wheel/WheelPanel.h"
#include "Wheel/WheelView.h"

#include <QAccessible>
#include <QAccessibleActionInterface>
#include <QAccessibleWidget>
#include <QPointer>

#include <vector>

namespace Pelgra::WheelAccessible {

namespace {

/// One petal, identified by its place in the ring. It asks the view each time, so it stays right when the petals
/// change.
class PetalButton final : public QAccessibleInterface, public QAccessibleActionInterface {
public:
    PetalButton(WheelView* view, int petal)
        : m_view(view)
        , m_petal(petal)
    {
    }

    bool isValid() const override { return m_view && m_petal < m_view->content().layout.petalCount; }
    QObject* object() const override { return nullptr; }
    QAccessibleInterface* parent() const override { return QAccessible::queryAccessibleInterface(m_view); }
    int childCount() const override { return 0; }
    QAccessibleInterface* child(int) const override { return nullptr; }
    int indexOfChild(const QAccessibleInterface*) const override { return -1; }
    QAccessibleInterface* childAt(int, int) const override { return nullptr; }
    QAccessible::Role role() const override { return QAccessible::Button; }

    QString text(QAccessible::Text kind) const override
    {
        if (!isValid() || kind != QAccessible::Name)
            return {};
        return m_view->content().petals[static_cast<std::size_t>(m_petal)].label();
    }
    void setText(QAccessible::Text, const QString&) override { }

    QRect rect() const override
    {
        if (!isValid())
            return {};
        const QRect box = m_view->petalPath(m_petal).boundingRect().toAlignedRect();
        return {m_view->mapToGlobal(box.topLeft()), box.size()};
    }

    QAccessible::State state() const override
    {
        QAccessible::State state;
        state.invalid = !isValid();
        if (state.invalid)
            return state;
        state.invisible = !m_view->isVisible();
        state.focusable = true;
        state.focused = m_view->hasFocus() && m_view->content().highlightedIndex == m_petal;
        state.disabled = m_view->fallbackURLs.empty();
        return state;
    }

    void* interface_cast(QAccessible::InterfaceType type) override
    {
        return type == QAccessible::ActionInterface ? static_cast<QAccessibleActionInterface*>(this) : nullptr;
    }

    QStringList actionNames() const override { return {pressAction(), setFocusAction()}; }

    void doAction(const QString& action) override
    {
        if (!isValid())
            return;
        if (action == pressAction())
            m_view->activate(m_petal);
        else if (action == setFocusAction())
            m_view->setHighlightedIndex(m_petal);
    }

    QStringList keyBindingsForAction(const QString&) const override { return {}; }

private:
    QPointer<WheelView> m_view;
    int m_petal;
};

class WheelGroup final : public QAccessibleWidget {
public:
    explicit WheelGroup(WheelView* view)
        : QAccessibleWidget(view, QAccessible::Grouping)
    {
    }

    ~WheelGroup() override
    {
        for (QAccessible::Id petal : m_petals)
            QAccessible::deleteAccessibleInterface(petal);
    }

    int childCount() const override { return view()->content().layout.petalCount; }

    QAccessibleInterface* child(int index) const override
    {
        if (index < 0 || index >= childCount())
            return nullptr;
        while (static_cast<int>(m_petals.size()) <= index) {
            auto* const petal = new PetalButton(view(), static_cast<int>(m_petals.size()));
            m_petals.push_back(QAccessible::registerAccessibleInterface(petal));
        }
        return QAccessible::accessibleInterface(m_petals[static_cast<std::size_t>(index)]);
    }

    int indexOfChild(const QAccessibleInterface* wanted) const override
    {
        for (int index = 0; index < childCount(); ++index) {
            if (child(index) == wanted)
                return index;
        }
        return -1;
    }

    QAccessibleInterface* childAt(int x, int y) const override
    {
        return child(view()->petalIndexAt(view()->mapFromGlobal(QPoint(x, y))).value_or(-1));
    }

    QAccessibleInterface* focusChild() const override { return child(view()->content().highlightedIndex.value_or(-1)); }

    QString text(QAccessible::Text kind) const override
    {
        const WheelContent& content = view()->content();
        if (kind == QAccessible::Name)
            return content.petals.empty() ? content.emptyMessage : view()->window()->windowTitle();
        if (kind == QAccessible::Description)
            return content.summary;
        return QAccessibleWidget::text(kind);
    }

private:
    WheelView* view() const { return static_cast<WheelView*>(object()); }

    mutable std::vector<QAccessible::Id> m_petals; ///< made when first asked for
};

QAccessibleInterface* make(const QString&, QObject* object)
{
    if (auto* const view = qobject_cast<WheelView*>(object))
        return new WheelGroup(view);
    if (auto* const panel = qobject_cast<WheelPanel*>(object))
        return new QAccessibleWidget(panel, QAccessible::Dialog);
    return nullptr;
}

} // namespace

void install()
{
    QAccessible::installFactory(make);
}

void petalsChanged(WheelView* view)
{
    if (!QAccessible::isActive())
        return;
    QAccessibleEvent event(view, QAccessible::ObjectReorder);
    QAccessible::updateAccessibility(&event);
}

void highlightMoved(WheelView* view, int petal)
{
    if (!QAccessible::isActive() || !view->hasFocus())
        return;
    QAccessibleEvent event(view, QAccessible::Focus);
    event.setChild(petal);
    QAccessible::updateAccessibility(&event);
}

} // namespace Pelgra::WheelAccessible
