#include "ToolWindows/Files/MergePDFView.h"

#include "PelgraCore/Engine.h"
#include "ToolWindows/Frame/ToolChrome.h"
#include "ToolWindows/Frame/ToolContext.h"

namespace Pelgra {

MergePDFView::MergePDFView(ToolContext* context, const Files& files, QWidget* parent)
    : FileOrderView({QStringLiteral("Merge PDFs"), QStringLiteral("Merge PDFs"), QStringLiteral("Merging PDFs…"),
                     QStringLiteral("Document order"), QString(), RowLeading::documentIcon},
                    context, files, parent)
{
    connect(&chrome(), &ToolChrome::actionTriggered, this, &MergePDFView::merge);
}

void MergePDFView::merge()
{
    const Files ordered = files();
    if (!ordered.empty())
        context().run([ordered](const JobControl& control) { return Engine::mergePDFs(ordered, control); },
                      ordered.front());
}

} // namespace Pelgra
