#include "Support/ImageSamples.h"
#include "Support/PDFSamples.h"
#include "Support/TemporaryFolder.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QTest>
#include <QThread>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <utility>
#include <vector>

#include <signal.h>

using namespace Pelgra;

namespace {

struct Outcome {
    int status = -1;
    QByteArray output;
    QByteArray errors;
};

QString native(const std::filesystem::path& path)
{
    return QFile::decodeName(path.c_str());
}

/// Everything that makes an output, as words of a command in the folder of the inputs.
struct Operation {
    const char* name;
    QStringList words;
    const char* output; ///< the first free name, since the one before is taken
    const char* page = nullptr; ///< how the files in it begin, where the output is a folder
};

const std::vector<Operation>& operations()
{
    static const std::vector<Operation> all{
        {"jpg", {"convert", "--to", "jpg", "b.png"}, "b 2.jpg"},
        {"png", {"convert", "--to", "png", "a.jpg"}, "a 2.png"},
        {"heic", {"convert", "--to", "heic", "b.png"}, "b 2.heic"},
        {"tiff", {"convert", "--to", "tiff", "b.png"}, "b 2.tiff"},
        {"bmp", {"convert", "--to", "bmp", "b.png"}, "b 2.bmp"},
        {"pdf", {"convert", "--to", "pdf", "b.png"}, "b 2.pdf"},
        {"page", {"convert", "--to", "png", "one.pdf"}, "one 2.png"},
        {"pages as jpg", {"convert", "--to", "jpg", "many.pdf"}, "many Pages 2", "many "},
        {"pages as png", {"convert", "--to", "png", "many.pdf"}, "many Pages 2", "many "},
        {"pages as heic", {"convert", "--to", "heic", "many.pdf"}, "many Pages 2", "many "},
        {"pages as tiff", {"convert", "--to", "tiff", "many.pdf"}, "many Pages 2", "many "},
        {"pages as bmp", {"convert", "--to", "bmp", "many.pdf"}, "many Pages 2", "many "},
        {"txt", {"convert", "--to", "txt", "many.pdf"}, "many 2.txt"},
        {"md", {"convert", "--to", "md", "many.pdf"}, "many 2.md"},
        {"create", {"create", "a.jpg", "b.png"}, "a 2.pdf"},
        {"merge", {"merge", "many.pdf", "one.pdf"}, "many Merged 2.pdf"},
        {"organize", {"organize", "--pages", "2,1", "many.pdf"}, "many Organized 2.pdf"},
        {"split", {"split", "many.pdf"}, "many Pages 2", "many "},
    };
    return all;
}

const Operation& operation(const char* name)
{
    return *std::ranges::find_if(operations(),
                                 [&](const Operation& each) { return std::strcmp(each.name, name) == 0; });
}

/// A folder with the inputs and a file under the first name of every output. Pictures are noise, which does not
/// compress, so that their outputs take several writes.
class Workplace {
public:
    enum class Pictures { usual, small };

    explicit Workplace(Pictures pictures = Pictures::usual)
    {
        static const std::array<RasterImage, 2> picture{rampPicture(480, 360), rampPicture(160, 120)};
        static const std::array<Bytes, 2> jpeg{jpegSample(picture[0]), jpegSample(picture[1])};
        static const std::array<Bytes, 2> png{pngSample(picture[0]), pngSample(picture[1])};
        const auto index = static_cast<std::size_t>(pictures);
        write(m_folder, "a.jpg", jpeg.at(index));
        write(m_folder, "b.png", png.at(index));
        const SamplePage page{textAt(10, 50, 24, "Page"), "[0 0 100 100]", "", ""};
        m_folder.write("one.pdf", documentWith({page}));
        m_folder.write("many.pdf", documentWith({page, page, page}));
        for (const Operation& each : operations()) {
            std::string first = each.output;
            first.erase(first.find(" 2"), 2);
            m_folder.write(first, "taken");
        }
        m_before = m_folder.names();
    }

    std::filesystem::path operator/(const char* name) const { return m_folder / name; }

    /// Whether the output is being written: writes are the second kind that the layer counts.
    bool isBeingWritten() const
    {
        const std::string counts = contentOf(m_counts / "shared");
        int writes = 0;
        if (counts.size() >= 2 * sizeof writes)
            std::memcpy(&writes, counts.data() + sizeof writes, sizeof writes);
        return writes > 0;
    }

    QStringList newNames() const
    {
        QStringList names;
        for (const std::string& name : m_folder.names())
            if (std::ranges::count(m_before, name) == 0)
                names << QString::fromStdString(name);
        return names;
    }

    Outcome run(const Operation& operation, const QStringList& faults) const
    {
        QProcess process;
        start(process, operation, faults);
        if (!process.waitForFinished(60000) || process.exitStatus() != QProcess::NormalExit)
            return {};
        return {process.exitCode(), process.readAllStandardOutput(), process.readAllStandardError()};
    }

    void start(QProcess& process, const Operation& operation, const QStringList& faults) const
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("LD_PRELOAD", PELGRA_FAULT_LAYER);
        environment.insert("ASAN_OPTIONS", "detect_leaks=0:verify_asan_link_order=0");
        for (const QString& fault : faults)
            environment.insert("PELGRA_FAULT_" + fault.section('=', 0, 0), fault.section('=', 1));
        std::filesystem::remove(m_counts / "shared");
        environment.insert("PELGRA_FAULT_SHARED", native(m_counts / "shared"));
        process.setProcessEnvironment(environment);
        process.setWorkingDirectory(native(m_folder.path()));
        process.start(PELGRA_PROGRAM, operation.words);
    }

private:
    TemporaryFolder m_folder;
    TemporaryFolder m_counts;
    std::vector<std::string> m_before;
};

/// The calls by which the program and its worker talk.
const QStringList& conversation()
{
    static const QStringList calls{"spawn", "send", "worker send", "receive", "worker receive"};
    return calls;
}

/// Before it has become that program, nobody knows it yet.
bool isWorker(pid_t process)
{
    QFile name(QString("/proc/%1/comm").arg(process));
    return process > 0 && name.open(QIODevice::ReadOnly) && name.readAll().trimmed() == "pelgra-worker";
}

/// The workers that a running program has at this moment.
std::vector<pid_t> workersOf(qint64 program)
{
    std::vector<pid_t> found;
    const QString tasks = QString("/proc/%1/task").arg(program);
    for (const QString& task : QDir(tasks).entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        QFile children(tasks + '/' + task + "/children");
        if (children.open(QIODevice::ReadOnly))
            for (const QByteArray& child : children.readAll().split(' '))
                if (isWorker(child.toInt()))
                    found.push_back(child.toInt());
    }
    return found;
}

/// Whether it has ended, though whoever inherited it may not have asked for its status yet.
bool isGone(pid_t process)
{
    if (kill(process, 0) != 0)
        return errno == ESRCH;
    QFile stat(QString("/proc/%1/stat").arg(process));
    if (!stat.open(QIODevice::ReadOnly))
        return true;
    const QByteArray line = stat.readAll();
    return line.mid(line.lastIndexOf(')') + 2).startsWith('Z');
}

/// How many calls of each kind the operation makes when none fails, and how many bytes it writes.
QMap<QString, int> callsOf(const Operation& operation, const QStringList& faults,
                           Workplace::Pictures pictures = Workplace::Pictures::usual)
{
    const Workplace place(pictures);
    const TemporaryFolder counts;
    const Outcome outcome = place.run(operation, faults + QStringList{"COUNTS=" + native(counts / "counts")});
    QMap<QString, int> calls;
    if (outcome.status != 0 || place.newNames() != QStringList{operation.output})
        return calls;
    const QString lines = QString::fromStdString(contentOf(counts / "counts"));
    for (const QString& line : lines.split('\n', Qt::SkipEmptyParts))
        calls[line.section('=', 0, 0)] = line.section('=', 1).toInt();
    return calls;
}

/// The sentence for the user that the operation could not save its output, or a page of it.
QRegularExpression sentenceOf(const Operation& operation)
{
    const QString page = operation.page ? QString("|%1[1-3]\\.\\w+").arg(operation.page) : QString();
    return QRegularExpression(
        QString("^pelgra: Couldn’t save “(%1%2)”\\.").arg(QRegularExpression::escape(QString(operation.output)), page),
        QRegularExpression::MultilineOption);
}

} // namespace

class FaultInjectionTest : public QObject {
    Q_OBJECT

    /// Starts a conversion whose worker computes for ever from its first write on; no workers where it did not get
    /// there.
    static void startSpinning(QProcess& process, const Workplace& place, std::vector<pid_t>& workers)
    {
        place.start(process, operation("png"), {"CALL=write", "AT=1", QString("ERROR=%1").arg(EIO), "SPIN=1"});
        QVERIFY(process.waitForStarted());
        std::vector<pid_t> found;
        QTRY_VERIFY(!(found = workersOf(process.processId())).empty());
        QTRY_VERIFY(place.isBeingWritten());
        workers = std::move(found);
    }

private Q_SLOTS:
    void aFailingCallIsReportedAndLeavesNothing_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("isPoor");
        for (const Operation& each : operations()) {
            QTest::addRow("%s", each.name) << QString(each.name) << false;
            QTest::addRow("%s, poor file system", each.name) << QString(each.name) << true;
        }
    }
    /// Each of the calls that bring the output to the disk fails once.
    void aFailingCallIsReportedAndLeavesNothing()
    {
        QFETCH(QString, name);
        QFETCH(bool, isPoor);
        const Operation& tried = operation(qPrintable(name));
        const QStringList poor = isPoor ? QStringList{"POOR=1"} : QStringList();
        const QMap<QString, int> calls = callsOf(tried, poor);
        QVERIFY(calls.value("open") > 0 && calls.value("write") > 0);
        QVERIFY(calls.value(isPoor ? "rename" : "linkat") > 0);
        QVERIFY(calls.value("flush folder") > 0 && calls.value(tried.page ? "syncfs" : "flush file") > 0);
        for (auto call = calls.begin(); call != calls.end(); ++call) {
            if (call.key() == "bytes")
                continue;
            // The other calls are made alike on every file system.
            if (isPoor && !QStringList{"open", "mkdir", "rename"}.contains(call.key()))
                continue;
            if (conversation().contains(call.key()))
                continue; // another sentence, below
            for (int at = 1; at <= call.value(); ++at) {
                const Workplace place;
                const int error = call.key() == "open" || call.key() == "write" ? ENOSPC : EIO;
                QStringList faults{"CALL=" + call.key(), QString("AT=%1").arg(at), QString("ERROR=%1").arg(error)};
                // A file that cannot be made without a name is made with one.
                if (call.key() == "open")
                    faults << "LASTING=1";
                const Outcome outcome = place.run(tried, faults + poor);
                const QByteArray which = QString("%1, %2: ").arg(call.key()).arg(at).toUtf8();
                QVERIFY2(outcome.status == 1, which.constData());
                // Not necessarily at the very start: an encoder may warn first, for example of a machine without /sys.
                QVERIFY2(sentenceOf(tried).match(QString::fromUtf8(outcome.errors)).hasMatch(),
                         (which + outcome.errors).constData());
                QVERIFY2(outcome.output.isEmpty(), (which + outcome.output).constData());
                QVERIFY2(place.newNames().isEmpty(), (which + place.newNames().join(", ").toUtf8()).constData());
            }
        }
    }

    void aFullDiskIsReportedAndLeavesNothing_data()
    {
        QTest::addColumn<QString>("name");
        for (const Operation& each : operations())
            QTest::newRow(each.name) << QString(each.name);
    }
    /// The disk is full after each of the blocks that the output takes.
    void aFullDiskIsReportedAndLeavesNothing()
    {
        QFETCH(QString, name);
        constexpr int block = 4096;
        const Operation& tried = operation(qPrintable(name));
        const int bytes = callsOf(tried, {}, Workplace::Pictures::small).value("bytes");
        QVERIFY(bytes > 0);
        // Twice the same is not always of exactly the same size.
        for (int disk = 0; disk == 0 || disk < bytes - block / 4; disk += block) {
            const Workplace place(Workplace::Pictures::small);
            const Outcome outcome = place.run(tried, {QString("DISK=%1").arg(disk)});
            const QByteArray which = QByteArray::number(disk) + " of " + QByteArray::number(bytes) + ": ";
            QVERIFY2(outcome.status == 1 && outcome.output.isEmpty(), (which + outcome.output).constData());
            QVERIFY2(sentenceOf(tried).match(QString::fromUtf8(outcome.errors)).hasMatch(),
                     (which + outcome.errors).constData());
            QVERIFY2(place.newNames().isEmpty(), (which + place.newNames().join(", ").toUtf8()).constData());
        }
        const Workplace place(Workplace::Pictures::small);
        QCOMPARE(place.run(tried, {QString("DISK=%1").arg(2 * bytes)}).status, 0);
    }

    void aBrokenConversationIsReportedAndLeavesNothing_data()
    {
        QTest::addColumn<QString>("name");
        for (const char* name : {"png", "pages as png", "txt", "create", "merge", "split"})
            QTest::newRow(name) << name;
    }
    /// Each of the calls by which program and worker talk fails once: the input counts as unreadable, or all was said.
    void aBrokenConversationIsReportedAndLeavesNothing()
    {
        QFETCH(QString, name);
        const Operation& tried = operation(qPrintable(name));
        const QMap<QString, int> calls = callsOf(tried, {});
        int failed = 0;
        for (const QString& call : conversation()) {
            QVERIFY2(calls.value(call) > 0, qPrintable(call));
            for (int at = 1; at <= calls.value(call); ++at) {
                const Workplace place;
                const Outcome outcome =
                    place.run(tried, {"CALL=" + call, QString("AT=%1").arg(at), QString("ERROR=%1").arg(EIO)});
                const QByteArray which = QString("%1, %2: ").arg(call).arg(at).toUtf8() + outcome.errors;
                if (outcome.status == 0) {
                    QVERIFY2(place.newNames() == QStringList{tried.output}, which.constData());
                    continue;
                }
                ++failed;
                QVERIFY2(outcome.status == 1 && outcome.output.isEmpty(), which.constData());
                QVERIFY2(outcome.errors.contains("couldn’t be read."), which.constData());
                QVERIFY2(place.newNames().isEmpty(), which.constData());
            }
        }
        QVERIFY(failed >= 4);
    }

    void aLostWorkerIsReportedAndLeavesNothing_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<int>("signal");
        for (const char* name : {"png", "pages as png", "merge"}) {
            QTest::addRow("%s, killed", name) << QString(name) << SIGKILL;
            QTest::addRow("%s, stopped", name) << QString(name) << SIGSTOP;
        }
    }
    /// The worker is killed or stopped at random moments.
    void aLostWorkerIsReportedAndLeavesNothing()
    {
        QFETCH(QString, name);
        QFETCH(int, signal);
        const int rounds = qEnvironmentVariableIntValue("PELGRA_FAULT_ROUNDS") > 0
            ? qEnvironmentVariableIntValue("PELGRA_FAULT_ROUNDS")
            : 12;
        const Operation& tried = operation(qPrintable(name));
        QElapsedTimer timer;
        timer.start();
        QCOMPARE(Workplace().run(tried, {}).status, 0);
        const auto microseconds = static_cast<quint32>(timer.nsecsElapsed() / 1000);
        int lost = 0;
        for (int round = 0; round < rounds || (lost == 0 && round < 20 * rounds); ++round) {
            const Workplace place;
            QProcess process;
            place.start(process, tried, {});
            QVERIFY(process.waitForStarted());
            QThread::usleep(QRandomGenerator::global()->bounded(microseconds));
            const std::vector<pid_t> workers = workersOf(process.processId());
            for (const pid_t worker : workers)
                kill(worker, signal);
            QVERIFY(process.waitForFinished(60000));
            QCOMPARE(process.exitStatus(), QProcess::NormalExit);
            const QByteArray errors = process.readAllStandardError();
            if (process.exitCode() == 0) {
                QCOMPARE(place.newNames(), QStringList{tried.output});
                continue;
            }
            ++lost;
            QCOMPARE(process.exitCode(), 1);
            QVERIFY2(errors.contains("couldn’t be read."), errors.constData());
            QVERIFY2(place.newNames().isEmpty(), qPrintable(place.newNames().join(", ")));
            for (const pid_t worker : workers)
                QTRY_VERIFY(isGone(worker));
        }
        QVERIFY2(lost > 0, "no worker was lost before its end");
    }

    void aWorkerThatComputesForEverIsEnded()
    {
        const Workplace place;
        const Outcome outcome =
            place.run(operation("png"), {"CALL=write", "AT=1", QString("ERROR=%1").arg(EIO), "SPIN=1", "HURRY=1"});
        QCOMPARE(outcome.status, 1);
        QVERIFY2(outcome.errors.contains("couldn’t be read."), outcome.errors.constData());
        QVERIFY(place.newNames().isEmpty());
    }

    void anInterruptEndsAWorkerWhateverItDoes()
    {
        const Workplace place;
        QProcess process;
        std::vector<pid_t> workers;
        startSpinning(process, place, workers);
        QVERIFY(!workers.empty());
        kill(static_cast<pid_t>(process.processId()), SIGINT);
        QVERIFY(process.waitForFinished(60000));
        QCOMPARE(process.exitCode(), 128 + SIGINT);
        QVERIFY(isGone(workers.front()));
        QVERIFY(place.newNames().isEmpty());
    }

    void noWorkerOutlivesAKilledProgram()
    {
        const Workplace place;
        QProcess process;
        std::vector<pid_t> workers;
        startSpinning(process, place, workers);
        QVERIFY(!workers.empty());
        process.kill();
        process.waitForFinished();
        for (const pid_t worker : workers)
            QTRY_VERIFY(isGone(worker));
        QVERIFY(place.newNames().isEmpty());
    }

    /// A batch keeps what it has told of, whatever fails afterwards.
    void aBatchKeepsWhatItHasPublished_data()
    {
        QTest::addColumn<QString>("call");
        for (const char* call : {"open", "write", "flush file", "linkat", "flush folder", "worker send", "receive"})
            QTest::newRow(call) << call;
    }
    void aBatchKeepsWhatItHasPublished()
    {
        QFETCH(QString, call);
        const Operation batch{"batch", {"convert", "--to", "bmp", "a.jpg", "b.png"}, "a.bmp"};
        for (int at = 1; at <= (call == "flush folder" ? 1 : 2); ++at) {
            const Workplace place;
            QStringList faults{"CALL=" + call, QString("AT=%1").arg(at), QString("ERROR=%1").arg(EIO), "LASTING=1"};
            const Outcome outcome = place.run(batch, faults);
            QCOMPARE(outcome.status, 1);
            QCOMPARE(place.newNames(), QString::fromUtf8(outcome.output).split('\n', Qt::SkipEmptyParts));
        }
    }

    void shortWritesAreContinued()
    {
        const Workplace place;
        QCOMPARE(place.run(operation("bmp"), {}).status, 0);
        QCOMPARE(place.run(operation("bmp"), {"SHORT=1"}).status, 0);
        QCOMPARE(contentOf(place / "b 3.bmp"), contentOf(place / "b 2.bmp"));
    }

    void aKilledProgramLeavesWholeFilesOrNone()
    {
        const Workplace place;
        QElapsedTimer timer;
        timer.start();
        QCOMPARE(place.run(operation("png"), {}).status, 0);
        const auto microseconds = static_cast<quint32>(timer.nsecsElapsed() / 1000);
        const std::string whole = contentOf(place / "a 2.png");
        int killed = 0;
        for (int round = 0; round < 40; ++round) {
            QProcess process;
            place.start(process, operation("png"), {});
            QVERIFY(process.waitForStarted());
            QThread::usleep(QRandomGenerator::global()->bounded(microseconds));
            process.kill();
            process.waitForFinished();
            killed += process.exitStatus() == QProcess::CrashExit ? 1 : 0;
            for (const QString& name : place.newNames()) {
                QVERIFY2(name.startsWith("a ") && name.endsWith(".png"), qPrintable(name));
                QVERIFY2(contentOf(place / qPrintable(name)) == whole, qPrintable(name));
            }
        }
        QVERIFY2(killed > 0, "no run was killed before its end");
    }
};

QTEST_GUILESS_MAIN(FaultInjectionTest)
#include "FaultInjectionTest.moc"
