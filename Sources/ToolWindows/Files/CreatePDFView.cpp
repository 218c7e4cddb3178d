#include "ToolWindows/Files/CreatePDFView.h"

#include "PelgraCore/Engine.h"
#include "ToolWindows/Frame/ToolChrome.h"
#include "ToolWindows/Frame/ToolContext.h"

namespace Pelgra {

CreatePDFView::CreatePDFView(ToolContext* context, const Files& files, QWidget* parent)
    : FileOrderView({QStringLiteral("Create a PDF"), QStringLiteral("Create PDF"), QStringLiteral("Creating PDF…"),
                     QStringLiteral("Image order"), QStringLiteral("One page per image, sized to each image."),
                     RowLeading::thumbnail},
                    context, files, parent)
{
    connect(&chrome(), &ToolChrome::actionTriggered, this, &CreatePDFView::create);
}

void CreatePDFView::create()
{
    const Files ordered = files();
    if (!ordered.empty())
        context().run([ordered](const JobControl& control) { return Engine::createPDF(ordered, control); },
                      ordered.front());
}

} // namespace Pelgra
