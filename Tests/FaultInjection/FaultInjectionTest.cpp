#include "Support/ImageSamples.h"
#include "Support/TemporaryFolder.h"

#include <QProcess>
#include <QRandomGenerator>
#include <QTest>
#include <QThread>

#include <algorithm>
#include <cerrno>

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

void prepare(QProcess& process, const QStringList& faults)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("LD_PRELOAD", PELGRA_FAULT_LAYER);
    environment.insert("ASAN_OPTIONS", "detect_leaks=0:verify_asan_link_order=0");
    for (const QString& fault : faults)
        environment.insert("PELGRA_FAULT_" + fault.section('=', 0, 0), fault.section('=', 1));
    process.setProcessEnvironment(environment);
    process.setProgram(PELGRA_PROGRAM);
}

Outcome run(const QStringList& arguments, const QStringList& faults)
{
    QProcess process;
    prepare(process, faults);
    process.setArguments(arguments);
    process.start();
    if (!process.waitForFinished(60000) || process.exitStatus() != QProcess::NormalExit)
        return {};
    return {process.exitCode(), process.readAllStandardOutput(), process.readAllStandardError()};
}

/// Files whose outputs take several writes: noise does not compress.
void writeInputs(const TemporaryFolder& folder)
{
    const RasterImage picture = rampPicture(480, 360);
    write(folder, "a.jpg", jpegSample(picture));
    write(folder, "b.png", pngSample(picture));
}

QStringList commandFor(const QString& target, const TemporaryFolder& folder)
{
    if (target == "create")
        return {"create", native(folder / "a.jpg"), native(folder / "b.png")};
    return {"convert", "--to", target, native(folder / (target == "png" ? "a.jpg" : "b.png"))};
}

std::vector<std::string> newNames(const TemporaryFolder& folder)
{
    std::vector<std::string> names = folder.names();
    std::erase(names, "a.jpg");
    std::erase(names, "b.png");
    return names;
}

} // namespace

class FaultInjectionTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void aFailingCallIsReportedAndLeavesNothing_data()
    {
        QTest::addColumn<QString>("target");
        QTest::addColumn<QString>("call");
        QTest::addColumn<int>("error");
        for (const char* target : {"png", "heic", "tiff", "bmp", "jpg", "pdf", "create"}) {
            QTest::addRow("%s, disk full", target) << target << "write" << ENOSPC;
            QTest::addRow("%s, flush", target) << target << "fsync" << EIO;
            QTest::addRow("%s, name", target) << target << "linkat" << EDQUOT;
            QTest::addRow("%s, close", target) << target << "close" << EIO;
        }
    }
    /// Fails the first call, then the second and so on, until the program makes no more of them.
    void aFailingCallIsReportedAndLeavesNothing()
    {
        QFETCH(QString, target);
        QFETCH(QString, call);
        QFETCH(int, error);
        constexpr int callLimit = 200;
        int at = 1;
        for (; at < callLimit; ++at) {
            TemporaryFolder folder;
            writeInputs(folder);
            const Outcome outcome = run(commandFor(target, folder),
                                        {"CALL=" + call, QString("AT=%1").arg(at), QString("ERROR=%1").arg(error)});
            if (outcome.status == 0) {
                QCOMPARE(newNames(folder).size(), std::size_t{1});
                break;
            }
            QCOMPARE(outcome.status, 1);
            // Not at the very start: an encoder may warn first, of a machine without /sys for one.
            QVERIFY2(outcome.errors.contains("pelgra: Couldn’t save “"), outcome.errors.constData());
            QCOMPARE(outcome.output, QByteArray());
            QCOMPARE(newNames(folder), std::vector<std::string>());
        }
        QVERIFY2(at > 1 && at < callLimit, qPrintable(QString::number(at)));
    }

    void shortWritesAreContinued()
    {
        TemporaryFolder folder;
        writeInputs(folder);
        QCOMPARE(run(commandFor("bmp", folder), {}).status, 0);
        QCOMPARE(run(commandFor("bmp", folder), {"SHORT=1"}).status, 0);
        QCOMPARE(contentOf(folder / "b 2.bmp"), contentOf(folder / "b.bmp"));
    }

    void aPoorFileSystemIsServedToo()
    {
        TemporaryFolder folder;
        writeInputs(folder);
        for (const char* name : {"b.bmp", "b 2.bmp"}) {
            const Outcome outcome = run(commandFor("bmp", folder), {"POOR=1"});
            QCOMPARE(outcome.errors, QByteArray());
            QCOMPARE(outcome.output, QByteArray((folder / name).c_str()) + "\n");
        }
        QCOMPARE(newNames(folder), (std::vector<std::string>{"b 2.bmp", "b.bmp"}));
        QCOMPARE(run(commandFor("bmp", folder), {"POOR=1", "CALL=write", "AT=2", "ERROR=28"}).status, 1);
        QCOMPARE(newNames(folder).size(), std::size_t{2});
    }

    void aKilledProgramLeavesWholeFilesOrNone()
    {
        TemporaryFolder folder;
        writeInputs(folder);
        QElapsedTimer timer;
        timer.start();
        QCOMPARE(run(commandFor("png", folder), {}).status, 0);
        const auto microseconds = static_cast<quint32>(timer.nsecsElapsed() / 1000);
        const std::string whole = contentOf(folder / "a.png");
        int killed = 0;
        for (int round = 0; round < 40; ++round) {
            QProcess process;
            prepare(process, {});
            process.setArguments(commandFor("png", folder));
            process.start();
            QVERIFY(process.waitForStarted());
            QThread::usleep(QRandomGenerator::global()->bounded(microseconds));
            process.kill();
            process.waitForFinished();
            killed += process.exitStatus() == QProcess::CrashExit ? 1 : 0;
            for (const std::string& name : newNames(folder)) {
                QVERIFY2(name.starts_with("a") && name.ends_with(".png"), name.c_str());
                QVERIFY2(contentOf(folder / name) == whole, name.c_str());
            }
        }
        QVERIFY2(killed > 0, "no run was killed before its end");
    }
};

QTEST_GUILESS_MAIN(FaultInjectionTest)
#include "FaultInjectionTest.moc"
