#include "ToolWindows/ToolWindowController.h"

#include "Desktop/AppActivation.h"
#include "Support/Paths.h"
#include "Support/Text.h"
#include "ToolWindows/Files/CreatePDFView.h"
#include "ToolWindows/Files/MergePDFView.h"
#include "ToolWindows/Frame/ToolWindow.h"
#include "ToolWindows/ItemAccessibility.h"
#include "ToolWindows/Pages/OrganizePDFView.h"

#include <QVBoxLayout>

#include <algorithm>
#include <utility>

namespace Pelgra {

namespace {

struct WindowForm {
    QSize initial;
    QSize minimum;
    QSize maximum;
};

// Logical pixels.
constexpr QSize fixedSize(640, 596);
constexpr QSize organizeSize(760, 820);
constexpr QSize organizeMinimum(520, 560);

WindowForm formOf(FileTool tool)
{
    if (tool == FileTool::organizePDF)
        return {organizeSize, organizeMinimum, QSize(QWIDGETSIZE_MAX, QWIDGETSIZE_MAX)};
    return {fixedSize, fixedSize, fixedSize};
}

std::vector<std::unique_ptr<ToolWindowController>>& open()
{
    static std::vector<std::unique_ptr<ToolWindowController>> controllers;
    return controllers;
}

QWidget* makeView(FileTool tool, const ToolWindowController::Files& files, ToolContext* context)
{
    switch (tool) {
    case FileTool::createPDF:
        return new CreatePDFView(context, files);
    case FileTool::organizePDF:
        return new OrganizePDFView(context, files.at(0));
    case FileTool::mergePDF:
    case FileTool::splitPDF: // has no window of its own
        break;
    }
    return new MergePDFView(context, files);
}

ToolWindowController::ViewFactory& viewFactory()
{
    static ToolWindowController::ViewFactory factory = makeView;
    return factory;
}

/// The same paths in a form by which two requests for the same files can be recognised.
ToolWindowController::Files normalized(const ToolWindowController::Files& files)
{
    ToolWindowController::Files result;
    for (const auto& file : files)
        result.push_back(absolutePath(file).lexically_normal());
    return result;
}

} // namespace

void ToolWindowController::present(FileTool tool, const Files& files, Completion completion)
{
    Key key{tool, normalized(files)};
    const auto found = std::find_if(open().begin(), open().end(), [&](const auto& c) { return c->m_key == key; });
    if (found != open().end()) {
        ToolWindowController* const controller = found->get();
        const Completion superseded = std::exchange(controller->m_completion, std::move(completion));
        // Forward first: the superseded caller may do anything, closing this very window included.
        controller->bringForward();
        if (superseded)
            superseded(std::nullopt);
        return;
    }
    open().push_back(
        std::unique_ptr<ToolWindowController>(new ToolWindowController(std::move(key), std::move(completion))));
    open().back()->bringForward();
}

std::vector<ToolWindowController*> ToolWindowController::openControllers()
{
    std::vector<ToolWindowController*> controllers;
    for (const auto& controller : open())
        controllers.push_back(controller.get());
    return controllers;
}

void ToolWindowController::setViewFactory(ViewFactory factory)
{
    viewFactory() = factory ? std::move(factory) : makeView;
}

ToolWindowController::ToolWindowController(Key key, Completion completion)
    : m_key(std::move(key))
    , m_context(new ToolContext(textOf(m_key.tool.title()), this))
    , m_completion(std::move(completion))
    , m_window(std::make_unique<ToolWindow>())
{
    installItemAccessibility();
    const WindowForm form = formOf(m_key.tool);
    m_window->setWindowTitle(textOf(m_key.tool.windowTitle()));
    m_window->setObjectName(textOf(m_key.tool.rawValue()));
    auto* const layout = new QVBoxLayout(m_window.get());
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(viewFactory()(m_key.tool, m_key.files, m_context));
    m_window->setSizeLimits(form.minimum, form.maximum);
    m_window->resize(form.initial);

    connect(m_window.get(), &ToolWindow::closeRequested, m_context, &ToolContext::finishWithoutResult);
    connect(m_context, &ToolContext::finished, this, [this] { finish(m_context->outcome()); });
}

ToolWindowController::~ToolWindowController() = default;

void ToolWindowController::bringForward()
{
    if (!m_window->isVisible())
        m_window->centerOnPointerScreen();
    m_window->show();
    AppActivation::activate(*m_window);
}

void ToolWindowController::finish(const std::optional<JobOutcome>& outcome)
{
    if (m_finished)
        return;
    m_finished = true;
    const Completion completion = std::exchange(m_completion, nullptr);
    const auto self = std::find_if(open().begin(), open().end(), [this](const auto& c) { return c.get() == this; });
    if (self != open().end()) {
        self->release()->deleteLater(); // the call may come from one of the window's own controls
        open().erase(self);
    }
    m_window->closeForGood();
    if (completion)
        completion(outcome);
}

} // namespace Pelgra
