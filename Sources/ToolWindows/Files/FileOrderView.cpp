#include "ToolWindows/Files/FileOrderView.h"

#include "Controls/SecondaryLabel.h"
#include "ToolWindows/Files/OrderedFileList.h"
#include "ToolWindows/Frame/ToolChrome.h"

#include <QLabel>
#include <QVBoxLayout>

namespace Pelgra {

namespace {

constexpr int contentPadding = 24;
constexpr int headerGap = 20;
constexpr int lineGap = 4;

QLabel* makeLine(const QString& text, int pixels, QWidget* parent)
{
    auto* const label = new SecondaryLabel(text, parent);
    QFont font = label->font();
    font.setPixelSize(pixels);
    label->setFont(font);
    return label;
}

} // namespace

FileOrderView::FileOrderView(const Form& form, ToolContext* context, const Files& files, QWidget* parent)
    : QWidget(parent)
    , m_context(context)
    , m_list(new OrderedFileList(orderedFilesFrom(files), form.leading))
{
    auto* const content = new QWidget;
    auto* const stack = new QVBoxLayout(content);
    stack->setContentsMargins(contentPadding, headerGap, contentPadding - ReorderView::trailingRoom, 0);
    stack->setSpacing(0);
    stack->addWidget(makeLine(form.header, 15, content));
    if (!form.explanation.isEmpty()) {
        stack->addSpacing(lineGap);
        stack->addWidget(makeLine(form.explanation, 13, content));
    }
    stack->addSpacing(headerGap);
    m_list->widget()->setAccessibleName(form.header);
    stack->addWidget(m_list, 1);

    m_chrome = new ToolChrome({form.title, form.actionTitle, form.progressMessage}, context, content, this);
    m_chrome->setActionEnabled(!files.empty());
    auto* const whole = new QVBoxLayout(this);
    whole->setContentsMargins(0, 0, 0, 0);
    whole->addWidget(m_chrome);
}

FileOrderView::Files FileOrderView::files() const
{
    Files files;
    for (const OrderedFile& file : m_list->files())
        files.push_back(file.url);
    return files;
}

} // namespace Pelgra
