#include "ToolWindows/Files/OrderedFileRow.h"

#include "Controls/SecondaryLabel.h"
#include "Controls/Symbols.h"
#include "Controls/ToolButtons.h"
#include "Support/Paths.h"
#include "ToolWindows/Files/FileThumbnail.h"
#include "ToolWindows/ItemAccessibility.h"

#include <QGraphicsOpacityEffect>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QPainter>
#include <QVBoxLayout>

namespace Pelgra {

namespace {

constexpr int leadingPadding = 20;
constexpr int trailingPadding = 16;
constexpr int numberWidth = 24;
constexpr int spacing = 12;
constexpr int chevronSpacing = 8;
constexpr int textPixels = 17;
constexpr double cornerRadius = 14;
constexpr double dimmedOpacity = 0.35;

/// A document's symbol in a 36-pixel frame.
class DocumentIcon : public QWidget {
public:
    explicit DocumentIcon(QWidget* parent)
        : QWidget(parent)
    {
        setFixedSize(36, 36);
        setAttribute(Qt::WA_TransparentForMouseEvents);
    }

protected:
    void paintEvent(QPaintEvent*) override
    {
        QPainter painter(this);
        const QPixmap symbol =
            Symbols::pixmap(QStringLiteral("doc.richtext"), 20, primaryColor(*this, 0.85), devicePixelRatioF());
        const QSizeF size = QSizeF(symbol.size()) / symbol.devicePixelRatio();
        painter.drawPixmap(QRectF(rect()).center() - QPointF(size.width(), size.height()) / 2, symbol);
    }
};

QLabel* prepared(QLabel* label)
{
    QFont font = label->font();
    font.setPixelSize(textPixels);
    label->setFont(font);
    label->setTextFormat(Qt::PlainText);
    label->setAttribute(Qt::WA_TransparentForMouseEvents);
    return label;
}

QWidget* makeLeading(RowLeading leading, const std::filesystem::path& file, QWidget* parent)
{
    if (leading == RowLeading::thumbnail)
        return new FileThumbnail(file, parent);
    return new DocumentIcon(parent);
}

} // namespace

OrderedFileRow::OrderedFileRow(const OrderedFile& file, RowLeading leading, QWidget* parent)
    : QWidget(parent)
    , m_file(file)
    , m_fileName(textFromPath(file.url.filename()))
    , m_number(prepared(new SecondaryLabel(QString(), this)))
    , m_name(prepared(new QLabel(this)))
    , m_up(new ChevronButton(QStringLiteral("chevron.up"), this))
    , m_down(new ChevronButton(QStringLiteral("chevron.down"), this))
{
    setFocusPolicy(Qt::StrongFocus);
    setToolTip(textFromPath(file.url)); // distinguishes files of the same name
    m_number->setFixedWidth(numberWidth);
    m_name->setMinimumWidth(0);
    // Next to the picture, whatever script it is written in.
    m_name->setAlignment((isRightToLeft() ? Qt::AlignRight : Qt::AlignLeft) | Qt::AlignAbsolute | Qt::AlignVCenter);
    m_up->setAccessibleName(QStringLiteral("Move %1 up").arg(m_fileName));
    m_down->setAccessibleName(QStringLiteral("Move %1 down").arg(m_fileName));
    connect(m_up, &QAbstractButton::clicked, this, [this] { Q_EMIT moveRequested(m_file.id, -1); });
    connect(m_down, &QAbstractButton::clicked, this, [this] { Q_EMIT moveRequested(m_file.id, +1); });

    auto* const chevrons = new QVBoxLayout;
    chevrons->setSpacing(chevronSpacing);
    chevrons->addStretch();
    chevrons->addWidget(m_up);
    chevrons->addWidget(m_down);
    chevrons->addStretch();
    auto* const row = new QHBoxLayout(this);
    row->setContentsMargins(leadingPadding, 0, trailingPadding, 0);
    row->setSpacing(spacing);
    row->addWidget(m_number);
    row->addWidget(makeLeading(leading, file.url, this));
    row->addWidget(m_name, 1);
    row->addLayout(chevrons);
}

void OrderedFileRow::setPosition(std::size_t index, std::size_t count)
{
    m_number->setText(QString::number(index + 1));
    makeRoomForNumbers(count);
    const bool canMoveUp = index > 0;
    const bool canMoveDown = index + 1 < count;
    // At the end of the list the focus stays in the row; otherwise it would move on to whatever comes next, and the key
    // that moved the row would press that.
    if ((m_up->hasFocus() && !canMoveUp) || (m_down->hasFocus() && !canMoveDown))
        setFocus();
    m_up->setEnabled(canMoveUp);
    m_down->setEnabled(canMoveDown);
    m_up->setObjectName(QStringLiteral("moveUp-%1").arg(index));
    m_down->setObjectName(QStringLiteral("moveDown-%1").arg(index));
    setObjectName(QStringLiteral("row-%1").arg(index));
    // Read aloud after a move, on the row or on the button that moved it.
    const QString place = QStringLiteral("%1 of %2").arg(index + 1).arg(count);
    setSpokenName(*this, QStringLiteral("%1, %2").arg(m_fileName, place));
    setSpokenDescription(*m_up, place);
    setSpokenDescription(*m_down, place);
}

void OrderedFileRow::makeRoomForNumbers(std::size_t count)
{
    const int widest = m_number->fontMetrics().horizontalAdvance(QString(QString::number(count).size(), u'0'));
    const int width = qMax(numberWidth, widest);
    if (m_number->minimumWidth() == width)
        return;
    m_number->setFixedWidth(width);
    elideName();
}

void OrderedFileRow::setDimmed(bool dimmed)
{
    if (dimmed && !graphicsEffect()) {
        auto* const effect = new QGraphicsOpacityEffect(this);
        effect->setOpacity(dimmedOpacity);
        setGraphicsEffect(effect);
    } else if (!dimmed && graphicsEffect()) {
        setGraphicsEffect(nullptr);
    }
}

void OrderedFileRow::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(primaryColor(*this, 0.055));
    painter.drawRoundedRect(QRectF(rect()), cornerRadius, cornerRadius);
    if (showsFocus(*this))
        drawFocusRing(painter, QRectF(rect()), cornerRadius, *this);
}

void OrderedFileRow::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    elideName();
}

void OrderedFileRow::elideName()
{
    const int used =
        leadingPadding + m_number->minimumWidth() + spacing + 36 + spacing + spacing + m_up->width() + trailingPadding;
    QString name = m_fileName;
    name.replace(u'\n', u' '); // there is only one line
    m_name->setText(m_name->fontMetrics().elidedText(name, Qt::ElideMiddle, qMax(0, width() - used)));
}

void OrderedFileRow::keyPressEvent(QKeyEvent* event)
{
    window()->setAttribute(Qt::WA_KeyboardFocusChange); // a click may have brought the focus here, without a ring
    update();
    const int step = event->key() == Qt::Key_Up ? -1 : event->key() == Qt::Key_Down ? +1 : 0;
    if (step == 0)
        QWidget::keyPressEvent(event);
    else if (event->modifiers().testFlag(Qt::AltModifier) || event->modifiers().testFlag(Qt::ControlModifier))
        Q_EMIT moveRequested(m_file.id, step);
    else
        Q_EMIT focusMoveRequested(m_file.id, step);
}

void OrderedFileRow::focusInEvent(QFocusEvent* event)
{
    QWidget::focusInEvent(event);
    update();
}

void OrderedFileRow::focusOutEvent(QFocusEvent* event)
{
    QWidget::focusOutEvent(event);
    update();
}

} // namespace Pelgra
