#include "Jobs/HUDView.h"

#include "Controls/Spinner.h"
#include "Controls/Symbols.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

namespace Pelgra {

namespace {

constexpr int horizontalPadding = 16;
constexpr int verticalPadding = 10;
constexpr int leadingSize = 18; // logical pixels
constexpr int leadingGap = 10;
constexpr int textWidthLimit = 320;
constexpr int mainPixels = 13;
constexpr int messagePixels = 11;

// The panel is light on every desktop, so its colours are its own.
const QColor primaryText(0, 0, 0, 222);
const QColor secondaryText(0, 0, 0, 148);
const QColor failureRed(0xD7, 0x1D, 0x1D);

QLabel* makeLabel(int pixels, QFont::Weight weight, const QColor& color, QWidget* parent)
{
    auto* const label = new QLabel(parent);
    QFont font = label->font();
    font.setPixelSize(pixels);
    font.setWeight(weight);
    label->setFont(font);
    label->setTextFormat(Qt::PlainText); // file names are not markup
    label->setWordWrap(false);
    QPalette colors = label->palette();
    colors.setColor(QPalette::WindowText, color);
    label->setPalette(colors);
    label->setMaximumWidth(textWidthLimit);
    return label;
}

/// A text that fits the column: what is wider and has no space to wrap at is cut in the middle, and the sentence runs
/// from left to right whatever the script of a file name in it.
QString fittedText(QString text, const QFontMetrics& metrics)
{
    text.replace(u'\n', u' ');
    QStringList words = text.split(u' ');
    for (QString& word : words)
        word = metrics.elidedText(word, Qt::ElideMiddle, textWidthLimit);
    const QString fitted = words.join(u' ');
    constexpr QChar leftToRightMark(0x200E);
    return fitted.isRightToLeft() ? leftToRightMark + fitted : fitted;
}

/// Sets a text that is wrapped where it is wider than the column and has its natural size otherwise.
void setText(QLabel* label, const QString& text)
{
    const QString fitted = fittedText(text, label->fontMetrics());
    const int width = label->fontMetrics().horizontalAdvance(fitted);
    label->setWordWrap(width > textWidthLimit);
    label->setText(fitted);
    label->setFixedWidth(qMin(width + 1, textWidthLimit));
}

} // namespace

HUDView::HUDView(QWidget* parent)
    : QWidget(parent)
{
    auto* const row = new QHBoxLayout(this);
    row->setContentsMargins(horizontalPadding, verticalPadding, horizontalPadding, verticalPadding);
    row->setSpacing(leadingGap);
    row->setSizeConstraint(QLayout::SetFixedSize);

    m_spinner = new Spinner(leadingSize, this);
    m_spinner->setColor(primaryText);
    m_symbol = new QLabel(this);
    m_symbol->setFixedSize(leadingSize, leadingSize);
    row->addWidget(m_spinner, 0, Qt::AlignVCenter);
    row->addWidget(m_symbol, 0, Qt::AlignVCenter);

    auto* const column = new QVBoxLayout;
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(1);
    m_main = makeLabel(mainPixels, QFont::DemiBold, primaryText, this);
    m_message = makeLabel(messagePixels, QFont::Normal, secondaryText, this);
    column->addWidget(m_main);
    column->addWidget(m_message);
    row->addLayout(column);
}

void HUDView::setState(const HUDState& state)
{
    if (const auto* working = std::get_if<HUDWorking>(&state)) {
        m_symbol->hide();
        m_spinner->show();
        showTexts(working->text, {});
    } else if (const auto* done = std::get_if<HUDDone>(&state)) {
        showSymbol(QStringLiteral("checkmark.circle.fill"), primaryText);
        showTexts(done->text, done->secondText.value_or(QString()));
    } else if (const auto* failed = std::get_if<HUDFailed>(&state)) {
        showSymbol(QStringLiteral("exclamationmark.triangle.fill"), failureRed);
        showTexts(failed->title, failed->message);
    }
    layout()->activate();
}

void HUDView::showSymbol(const QString& name, const QColor& color)
{
    m_spinner->hide();
    m_symbol->setPixmap(Symbols::pixmap(name, leadingSize, color, devicePixelRatioF()));
    m_symbol->show();
}

void HUDView::showTexts(const QString& main, const QString& message)
{
    setText(m_main, main);
    setText(m_message, message);
    m_message->setVisible(!message.isEmpty());
    setAccessibleName(message.isEmpty() ? main : main + QStringLiteral(". ") + message);
}

} // namespace Pelgra
