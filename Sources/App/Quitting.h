#pragma once

#include <QMessageBox>
#include <QObject>
#include <QPointer>
#include <QTimer>

#include <chrono>
#include <cstdint>

namespace Pelgra {

/// How the application ends: asked to by the user, the session or the system, or by itself when a wheel that was
/// shown alone has nothing left to do. Idle windows never keep it from ending. Main thread.
class Quitting : public QObject {
    Q_OBJECT

public:
    /// Jobs that were told to stop are given this long to clear away what they began.
    static constexpr std::chrono::milliseconds longestFarewell{5000};

    explicit Quitting(std::chrono::milliseconds farewell = longestFarewell, QObject* parent = nullptr);

    /// The user wants to quit: at once when nothing runs, else after asking what to do with the running jobs.
    void requestQuit();

    /// The session or the system ends the process: jobs are stopped, nothing unfinished stays behind.
    void terminate();

    /// Ends once no job runs and no window of ours is left.
    void quitWhenNothingIsLeft();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    enum class Wait : std::uint8_t {
        none, ///< not ending
        stopped, ///< for the jobs
        finished, ///< for the jobs and for what the user should read about them
        nothingLeft, ///< for the jobs and for every window
    };

    void waitFor(Wait what);
    void proceed();
    QObject* lastToWaitFor() const;
    void leave();

    std::chrono::milliseconds m_farewell;
    Wait m_wait = Wait::none;
    QPointer<QMessageBox> m_question;
    QTimer m_lastMoment;
};

} // namespace Pelgra
