/// A window from which to drag what a file says, for the end-to-end tests.
/// Usage: QtSource --type MIME-TYPE --data FILE [--actions copy,move,link] [--delay SECONDS] [--title TEXT]
#include <QApplication>
#include <QCommandLineParser>
#include <QDrag>
#include <QFile>
#include <QMimeData>
#include <QMouseEvent>
#include <QThread>
#include <QUrl>
#include <QVariant>
#include <QWidget>

#include <cstdio>
#include <utility>

namespace {

void tell(const char* line)
{
    std::puts(line);
    std::fflush(stdout);
}

class LazyData : public QMimeData {
public:
    LazyData(const QString& type, QByteArray data, unsigned long delay)
        : m_type(type)
        , m_data(std::move(data))
        , m_delay(delay)
    {
    }

    QStringList formats() const override { return {m_type}; }
    bool hasFormat(const QString& type) const override { return type == m_type; }

protected:
    QVariant retrieveData(const QString& type, QMetaType wanted) const override
    {
        if (m_delay > 0)
            QThread::msleep(m_delay);
        if (type != m_type)
            return {};
        return wanted.id() == QMetaType::QVariantList ? QVariant(urls()) : QVariant(m_data);
    }

private:
    /// What the toolkit asks for on Wayland.
    QVariantList urls() const
    {
        QVariantList list;
        for (const QByteArray& line : m_data.split('\n')) {
            if (!line.trimmed().isEmpty())
                list.append(QUrl::fromEncoded(line.trimmed()));
        }
        return list;
    }

    QString m_type;
    QByteArray m_data;
    unsigned long m_delay;
};

class SourceWindow : public QWidget {
public:
    QString type;
    QByteArray data;
    Qt::DropActions actions;
    unsigned long delay = 0;

protected:
    void paintEvent(QPaintEvent*) override
    {
        if (!std::exchange(m_isShown, true))
            tell("shown");
    }

    void mousePressEvent(QMouseEvent* event) override { m_press = event->pos(); }

    void mouseMoveEvent(QMouseEvent* event) override
    {
        if ((event->pos() - m_press).manhattanLength() < 10)
            return;
        auto* drag = new QDrag(this);
        drag->setMimeData(new LazyData(type, data, delay));
        tell("begin");
        const Qt::DropAction action = drag->exec(actions, Qt::CopyAction);
        tell(action == Qt::CopyAction       ? "end copy"
                 : action == Qt::MoveAction ? "end move"
                 : action == Qt::LinkAction ? "end link"
                                            : "end ");
    }

private:
    QPoint m_press;
    bool m_isShown = false;
};

} // namespace

int main(int argumentCount, char** arguments)
{
    QApplication application(argumentCount, arguments);
    QCommandLineParser parser;
    parser.addOptions({{"type", {}, "type"},
                       {"data", {}, "file"},
                       {"actions", {}, "list", "copy,move,link"},
                       {"delay", {}, "seconds", "0"},
                       {"title", {}, "text", "Pelgra test source"}});
    parser.process(application);
    SourceWindow window;
    QFile file(parser.value("data"));
    if (!file.open(QIODevice::ReadOnly))
        return 1;
    window.data = file.readAll();
    window.type = parser.value("type");
    const QStringList actions = parser.value("actions").split(',');
    window.actions.setFlag(Qt::CopyAction, actions.contains("copy"));
    window.actions.setFlag(Qt::MoveAction, actions.contains("move"));
    window.actions.setFlag(Qt::LinkAction, actions.contains("link"));
    window.delay = static_cast<unsigned long>(parser.value("delay").toDouble() * 1000);
    window.setWindowTitle(parser.value("title"));
    window.setGeometry(40, 60, 200, 150);
    window.show();
    return QApplication::exec();
}
