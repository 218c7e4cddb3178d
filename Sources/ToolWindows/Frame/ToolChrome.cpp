#include "ToolWindows/Frame/ToolChrome.h"

#include "Controls/SecondaryLabel.h"
#include "Controls/Spinner.h"
#include "Controls/ToolButtons.h"
#include "Desktop/Motion.h"
#include "ToolWindows/Frame/ToolContext.h"
#include "ToolWindows/Frame/ToolWindow.h"

#include <QAccessible>
#include <QEvent>
#include <QGraphicsOpacityEffect>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QMouseEvent>
#include <QPainter>
#include <QPropertyAnimation>
#include <QPushButton>
#include <QShortcut>
#include <QVBoxLayout>

namespace Pelgra {

namespace {

// Logical pixels.
constexpr int barHeight = 80;
constexpr int sidePadding = 24;
constexpr int titlePadding = 92; // room for the close button on both sides, so that the title is centred
constexpr int closeDiameter = 44;
constexpr int overlaySpacing = 14;
constexpr int overlaySpinner = 32;
constexpr int overlayMilliseconds = 150;

QFont fontOf(const QWidget& widget, int pixels, QFont::Weight weight)
{
    QFont font = widget.font();
    font.setPixelSize(pixels);
    font.setWeight(weight);
    return font;
}

/// A line across the frame.
class Divider : public QWidget {
public:
    explicit Divider(QWidget* parent)
        : QWidget(parent)
    {
        setFixedHeight(1);
    }

protected:
    void paintEvent(QPaintEvent*) override { QPainter(this).fillRect(rect(), primaryColor(*this, 0.1)); }
};

} // namespace

ToolChrome::ToolChrome(const Texts& texts, ToolContext* context, QWidget* content, QWidget* parent)
    : QWidget(parent)
    , m_context(context)
{
    auto* const stack = new QVBoxLayout(this);
    stack->setContentsMargins(0, 0, 0, 0);
    stack->setSpacing(0);
    stack->addWidget(makeTopBar(texts.title));
    stack->addWidget(new Divider(this));
    stack->addWidget(content, 1);
    stack->addWidget(new Divider(this));
    stack->addWidget(makeFooter(texts.actionTitle));

    m_overlay = new ProgressOverlay(texts.progressMessage, this);
    m_overlay->hide();
    connect(m_context, &ToolContext::isRunningChanged, this, [this](bool running) {
        updateControls();
        m_overlay->setGeometry(rect());
        m_overlay->setShown(running);
    });
    addActionKeys();
    updateControls();
}

void ToolChrome::addActionKeys()
{
    for (const Qt::Key key : {Qt::Key_Return, Qt::Key_Enter, Qt::Key_S}) {
        auto* const shortcut = new QShortcut(QKeySequence(Qt::ControlModifier | key), this);
        shortcut->setAutoRepeat(false);
        connect(shortcut, &QShortcut::activated, m_action, &QPushButton::click);
    }
}

void ToolChrome::keyPressEvent(QKeyEvent* event)
{
    const bool isReturn = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    if (!isReturn || event->modifiers() & ~(Qt::KeypadModifier | Qt::GroupSwitchModifier)) {
        QWidget::keyPressEvent(event);
        return;
    }
    auto* const button = qobject_cast<QAbstractButton*>(window()->focusWidget());
    if (!event->isAutoRepeat())
        (button && !button->isCheckable() ? button : m_action)->click();
}

QString ToolChrome::titleName()
{
    return QStringLiteral("title");
}

QWidget* ToolChrome::makeTopBar(const QString& title)
{
    auto* const bar = new QWidget(this);
    bar->setFixedHeight(barHeight);
    m_title = new QLabel(bar);
    m_title->setObjectName(titleName()); // before the text, a change of which is reported to assistive programs
    m_title->setText(title);
    m_title->setAlignment(Qt::AlignCenter);
    m_title->setFont(fontOf(*this, 22, QFont::Bold));
    auto* const row = new QHBoxLayout(bar);
    row->setContentsMargins(titlePadding, 0, titlePadding, 0);
    row->addWidget(m_title);

    m_close = new CircleIconButton(QStringLiteral("xmark"), 18, closeDiameter, 0.06, 0.72, bar);
    m_close->setObjectName(QStringLiteral("close"));
    m_close->setToolTip(QStringLiteral("Close"));
    m_close->setAccessibleName(QStringLiteral("Close"));
    m_close->move(sidePadding, (barHeight - closeDiameter) / 2);
    connect(m_close, &QAbstractButton::clicked, m_context, &ToolContext::finishWithoutResult);
    return bar;
}

QWidget* ToolChrome::makeFooter(const QString& actionTitle)
{
    auto* const footer = new QWidget(this);
    footer->setFixedHeight(barHeight);
    m_action = new QPushButton(actionTitle, footer);
    m_action->setObjectName(QStringLiteral("primaryAction"));
    m_action->setFont(fontOf(*this, 15, QFont::Normal));
    m_action->setMinimumSize(m_action->sizeHint() + QSize(16, 10));
    m_action->setDefault(true);
    connect(m_action, &QPushButton::clicked, this, &ToolChrome::actionTriggered);
    auto* const row = new QHBoxLayout(footer);
    row->setContentsMargins(sidePadding, 0, sidePadding, 0);
    row->addStretch();
    row->addWidget(m_action);
    return footer;
}

void ToolChrome::setActionEnabled(bool enabled)
{
    m_actionEnabled = enabled;
    updateControls();
}

void ToolChrome::updateControls()
{
    m_close->setEnabled(!m_context->isRunning());
    m_action->setEnabled(m_actionEnabled && !m_context->isRunning());
    takeFocusToAction();
}

void ToolChrome::takeFocusToAction()
{
    // The keyboard focus begins there, and comes back from the overlay and from whatever only held it meanwhile.
    const QWidget* const focused = window()->focusWidget();
    if (m_action->isEnabled() && (!focused || focused == m_close || focused->focusPolicy() == Qt::NoFocus))
        m_action->setFocus();
}

void ToolChrome::showEvent(QShowEvent* event)
{
    QWidget::showEvent(event);
    takeFocusToAction();
}

void ToolChrome::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    if (m_overlay)
        m_overlay->setGeometry(rect());
}

void ToolChrome::changeEvent(QEvent* event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange)
        update();
}

ProgressOverlay::ProgressOverlay(const QString& message, QWidget* parent)
    : QWidget(parent)
    , m_label(new SecondaryLabel(message, this))
{
    setAccessibleName(message);
    m_label->setFont(fontOf(*this, 15, QFont::Normal));
    auto* const stack = new QVBoxLayout(this);
    stack->setSpacing(overlaySpacing);
    stack->addStretch();
    stack->addWidget(new Spinner(overlaySpinner, this), 0, Qt::AlignHCenter);
    stack->addWidget(m_label, 0, Qt::AlignHCenter);
    stack->addStretch();
    setGraphicsEffect(new QGraphicsOpacityEffect(this));
}

void ProgressOverlay::setShown(bool shown)
{
    auto* const effect = static_cast<QGraphicsOpacityEffect*>(graphicsEffect());
    if (shown) {
        raise();
        show();
        setFocus(); // keys must not reach what is behind
        QAccessibleEvent event(this, QAccessible::Alert);
        QAccessible::updateAccessibility(&event);
    }
    auto* const fade = new QPropertyAnimation(effect, "opacity", this);
    fade->setStartValue(shown ? 0.0 : 1.0);
    fade->setEndValue(shown ? 1.0 : 0.0);
    fade->setDuration(Motion::isReduced() ? 0 : overlayMilliseconds);
    fade->setEasingCurve(QEasingCurve::OutQuad);
    connect(fade, &QPropertyAnimation::finished, this, [this, shown] { setVisible(shown); });
    fade->start(QAbstractAnimation::DeleteWhenStopped);
}

void ProgressOverlay::paintEvent(QPaintEvent*)
{
    QColor color = palette().color(QPalette::Window);
    color.setAlphaF(0.78F);
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.fillPath(ToolWindow::shapeOf(*window()).translated(mapFrom(window(), QPoint())), color);
}

bool ProgressOverlay::focusNextPrevChild(bool)
{
    return true; // nothing behind can be reached
}

void ProgressOverlay::mousePressEvent(QMouseEvent* event)
{
    event->accept();
}

} // namespace Pelgra
