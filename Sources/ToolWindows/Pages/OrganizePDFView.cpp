#include "ToolWindows/Pages/OrganizePDFView.h"

#include "Controls/SecondaryLabel.h"
#include "Controls/Spinner.h"
#include "PelgraCore/Engine.h"
#include "ToolWindows/Frame/ToolChrome.h"
#include "ToolWindows/Frame/ToolContext.h"
#include "ToolWindows/Pages/PageGrid.h"

#include <QCheckBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QShortcut>
#include <QStackedWidget>
#include <QVBoxLayout>

namespace Pelgra {

namespace {

constexpr int contentPadding = 24;
constexpr int gap = 12;
constexpr int captionPixels = 12;
constexpr int loadingSpinner = 32;

enum PageState { loadingPage, emptyPage, gridPage };

QLabel* makeText(const QString& text, int pixels, QWidget* parent)
{
    auto* const label = new SecondaryLabel(text, parent);
    QFont font = label->font();
    font.setPixelSize(pixels);
    label->setFont(font);
    label->setWordWrap(true);
    return label;
}

QWidget* centered(QWidget* widget)
{
    auto* const frame = new QWidget;
    auto* const layout = new QVBoxLayout(frame);
    layout->addWidget(widget, 0, Qt::AlignCenter);
    return frame;
}

} // namespace

OrganizePDFView::OrganizePDFView(ToolContext* context, const std::filesystem::path& url, QWidget* parent)
    : QWidget(parent)
    , m_context(context)
    , m_model(url)
{
    auto* const content = new QWidget;
    auto* const stack = new QVBoxLayout(content);
    stack->setContentsMargins(contentPadding, gap + 4, contentPadding - ReorderView::trailingRoom, 0);
    stack->setSpacing(gap);
    stack->addWidget(makeHeader());
    stack->addWidget(makePages(), 1);
    m_chrome = new ToolChrome(
        {QStringLiteral("Organize PDF"), QStringLiteral("Save Organized PDF"), QStringLiteral("Saving PDF…")}, context,
        content, this);
    connect(m_chrome, &ToolChrome::actionTriggered, this, &OrganizePDFView::save);
    auto* const whole = new QVBoxLayout(this);
    whole->setContentsMargins(0, 0, 0, 0);
    whole->addWidget(m_chrome);
    addUndoKeys();
    connect(&m_model, &OrganizeModel::pagesChanged, this, &OrganizePDFView::updateControls);
    updateControls();
}

QWidget* OrganizePDFView::makeHeader()
{
    auto* const header = new QWidget;
    m_count = makeText(m_model.countLabel(), 15, header);
    m_reset = new QPushButton(QStringLiteral("Reset Order"), header);
    m_reset->setObjectName(QStringLiteral("resetOrder"));
    m_reset->setAutoDefault(false);
    connect(m_reset, &QPushButton::clicked, &m_model, &OrganizeModel::reset);
    m_uniformWidth = new QCheckBox(QStringLiteral("Make all pages the same width"), header);
    m_uniformWidth->setObjectName(QStringLiteral("uniformWidth"));
    connect(m_uniformWidth, &QCheckBox::toggled, &m_model, &OrganizeModel::setUniformWidth);
    auto* const caption = makeText(QStringLiteral("Pages are scaled proportionally to match the narrowest page; "
                                                  "their heights may still differ."),
                                   captionPixels, header);
    m_uniformWidth->setAccessibleDescription(caption->text());

    auto* const row = new QHBoxLayout;
    row->addWidget(m_count);
    row->addStretch();
    row->addWidget(m_reset);
    auto* const stack = new QVBoxLayout(header);
    stack->setContentsMargins(0, 0, ReorderView::trailingRoom, 0);
    stack->setSpacing(4);
    stack->addLayout(row);
    stack->addWidget(m_uniformWidth);
    stack->addWidget(caption);
    return header;
}

QWidget* OrganizePDFView::makePages()
{
    m_pages = new QStackedWidget;
    m_pages->setAccessibleName(QStringLiteral("Pages"));
    m_pages->insertWidget(loadingPage, centered(new Spinner(loadingSpinner)));
    QLabel* const nothing = makeText(QStringLiteral("This PDF has no readable pages."), 15, nullptr);
    nothing->setWordWrap(false);
    m_pages->insertWidget(emptyPage, centered(nothing));
    auto* const grid = new PageGrid(&m_model);
    grid->widget()->setAccessibleName(QStringLiteral("Pages"));
    m_pages->insertWidget(gridPage, grid);
    return m_pages;
}

void OrganizePDFView::addUndoKeys()
{
    for (const QKeySequence& keys : QKeySequence::keyBindings(QKeySequence::Undo))
        connect(new QShortcut(keys, this), &QShortcut::activated, &m_model, &OrganizeModel::undo);
    QList<QKeySequence> redo = QKeySequence::keyBindings(QKeySequence::Redo);
    const QKeySequence common(Qt::ControlModifier | Qt::Key_Y);
    if (!redo.contains(common))
        redo.append(common);
    for (const QKeySequence& keys : redo)
        connect(new QShortcut(keys, this), &QShortcut::activated, &m_model, &OrganizeModel::redo);
}

void OrganizePDFView::updateControls()
{
    const bool isEmpty = m_model.pages().empty();
    m_count->setText(m_model.isLoading() ? QString() : m_model.countLabel());
    m_reset->setEnabled(m_model.isChanged());
    m_chrome->setActionEnabled(!isEmpty);
    m_pages->setCurrentIndex(m_model.isLoading() ? loadingPage : isEmpty ? emptyPage : gridPage);
}

void OrganizePDFView::showEvent(QShowEvent* event)
{
    QWidget::showEvent(event);
    if (m_model.isLoading())
        m_pages->setFocus(); // otherwise the keyboard focus would begin at the close button
    m_model.load();
}

void OrganizePDFView::save()
{
    const auto url = m_model.url();
    const auto pages = m_model.pages();
    const bool uniformWidth = m_model.uniformWidth();
    m_context->run([url, pages, uniformWidth](
                       const JobControl& control) { return Engine::organizePDF(url, pages, uniformWidth, control); },
                   url);
}

} // namespace Pelgra
