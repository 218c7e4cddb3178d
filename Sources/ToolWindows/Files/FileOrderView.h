#pragma once

#include "ToolWindows/Files/OrderedFileRow.h"

#include <QWidget>

#include <filesystem>
#include <vector>

namespace Pelgra {

class OrderedFileList;
class ToolChrome;
class ToolContext;

/// The common form of the tools that make one document of several files in an order: a header and the ordered list.
class FileOrderView : public QWidget {
    Q_OBJECT

public:
    using Files = std::vector<std::filesystem::path>;

    struct Form {
        QString title;
        QString actionTitle;
        QString progressMessage;
        QString header;
        QString explanation; ///< a second, smaller line; may be empty
        RowLeading leading = RowLeading::documentIcon;
    };

    OrderedFileList& list() { return *m_list; }

    /// The files in the order on the screen.
    Files files() const;

protected:
    FileOrderView(const Form& form, ToolContext* context, const Files& files, QWidget* parent);

    ToolContext& context() { return *m_context; }
    ToolChrome& chrome() { return *m_chrome; }

private:
    ToolContext* m_context;
    OrderedFileList* m_list;
    ToolChrome* m_chrome;
};

} // namespace Pelgra
