#pragma once

#include "ToolWindows/Files/FileOrderView.h"

namespace Pelgra {

/// Joins PDFs into one.
class MergePDFView : public FileOrderView {
    Q_OBJECT

public:
    MergePDFView(ToolContext* context, const Files& files, QWidget* parent = nullptr);

private:
    void merge();
};

} // namespace Pelgra
