#pragma once

#include "ToolWindows/Pages/OrganizeModel.h"

#include <QWidget>

#include <filesystem>

class QCheckBox;
class QLabel;
class QPushButton;
class QStackedWidget;

namespace Pelgra {

class PageGrid;
class ToolChrome;
class ToolContext;

/// Edits the pages of one PDF and writes a new one.
class OrganizePDFView : public QWidget {
    Q_OBJECT

public:
    OrganizePDFView(ToolContext* context, const std::filesystem::path& url, QWidget* parent = nullptr);

    OrganizeModel& model() { return m_model; }

protected:
    void showEvent(QShowEvent* event) override;

private:
    QWidget* makeHeader();
    QWidget* makePages();
    void addUndoKeys();
    void updateControls();
    void save();

    ToolContext* m_context;
    OrganizeModel m_model;
    QLabel* m_count = nullptr;
    QPushButton* m_reset = nullptr;
    QCheckBox* m_uniformWidth = nullptr;
    QStackedWidget* m_pages = nullptr;
    ToolChrome* m_chrome = nullptr;
};

} // namespace Pelgra
