#pragma once

#include "ToolWindows/Files/FileOrderView.h"

namespace Pelgra {

/// Makes one PDF of images, with a page for each.
class CreatePDFView : public FileOrderView {
    Q_OBJECT

public:
    CreatePDFView(ToolContext* context, const Files& files, QWidget* parent = nullptr);

private:
    void create();
};

} // namespace Pelgra
