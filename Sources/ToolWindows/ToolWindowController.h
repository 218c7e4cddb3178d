#pragma once

#include "PelgraCore/FileTool.h"
#include "ToolWindows/Frame/ToolContext.h"

#include <QObject>

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace Pelgra {

class ToolWindow;

/// One request for a tool: its window, its context and the completion that is called exactly once. Main thread.
class ToolWindowController : public QObject {
    Q_OBJECT

public:
    using Files = std::vector<std::filesystem::path>;
    using Completion = std::function<void(std::optional<JobOutcome>)>;

    /// What identifies an open window: the tool and its files in their order.
    struct Key {
        FileTool tool;
        Files files; ///< absolute, without "." and ".."
        bool operator==(const Key&) const = default;
    };

    /// Opens the window for the tool and files, or brings the one that is open to the front; the completion that waited
    /// for that one is then told that nothing ran.
    static void present(FileTool tool, const Files& files, Completion completion);

    /// The open requests, in no particular order.
    static std::vector<ToolWindowController*> openControllers();

    /// Makes the content of a tool's window; replaced by tests.
    using ViewFactory = std::function<QWidget*(FileTool tool, const Files& files, ToolContext* context)>;
    static void setViewFactory(ViewFactory factory);

    ~ToolWindowController() override;

    const Key& key() const { return m_key; }
    ToolContext& context() { return *m_context; }
    ToolWindow& window() { return *m_window; }

    /// Ends the request: the window closes and the completion gets the outcome. Has no effect a second time.
    void finish(const std::optional<JobOutcome>& outcome);

private:
    ToolWindowController(Key key, Completion completion);

    void bringForward();

    Key m_key;
    ToolContext* m_context;
    Completion m_completion;
    bool m_finished = false;
    std::unique_ptr<ToolWindow> m_window;
};

} // namespace Pelgra
