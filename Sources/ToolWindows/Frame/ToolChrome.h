#pragma once

#include <QString>
#include <QWidget>

class QLabel;
class QPushButton;

namespace Pelgra {

class CircleIconButton;
class ProgressOverlay;
class ToolContext;

/// The frame of every tool window: a title with a close button, the tool's own content, a footer with one action, and
/// over all of it a progress overlay while the tool's job runs. Return presses the button that has the focus, and
/// anywhere else the action; Control with Return or S is the action everywhere.
class ToolChrome : public QWidget {
    Q_OBJECT

public:
    struct Texts {
        QString title;
        QString actionTitle;
        QString progressMessage;
    };

    /// The object name of the label that holds the title.
    static QString titleName();

    /// Takes the content as its child. The context outlives the chrome.
    ToolChrome(const Texts& texts, ToolContext* context, QWidget* content, QWidget* parent = nullptr);

    /// The action is also disabled while a job runs.
    void setActionEnabled(bool enabled);

Q_SIGNALS:
    /// The action button was pressed.
    void actionTriggered();

protected:
    void resizeEvent(QResizeEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void changeEvent(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    void addActionKeys();
    QWidget* makeTopBar(const QString& title);
    QWidget* makeFooter(const QString& actionTitle);
    void updateControls();
    void takeFocusToAction();

    ToolContext* m_context;
    CircleIconButton* m_close = nullptr;
    QLabel* m_title = nullptr;
    QPushButton* m_action = nullptr;
    ProgressOverlay* m_overlay = nullptr;
    bool m_actionEnabled = true;
};

/// Covers a frame while a job runs and takes every click.
class ProgressOverlay : public QWidget {
    Q_OBJECT

public:
    ProgressOverlay(const QString& message, QWidget* parent);

    /// Appears or disappears over 0.15 s.
    void setShown(bool shown);

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    bool focusNextPrevChild(bool next) override;

private:
    QLabel* m_label;
};

} // namespace Pelgra
