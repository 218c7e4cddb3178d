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
    chrome().action = [this] {
        merge();
    };
}

void MergePDFView::merge()
{
    const Files ordered = files();
    if (!ordered.empty())
        context().run([ordered] { return Engine::mergePDFs(ordered); }, ordered.front());
}

} // namespace Pelgra
