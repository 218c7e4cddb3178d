#include <QProcess>
#include <QProcessEnvironment>
#include <QTest>

/// The desktop program started where it cannot show anything.
class DisplayCheckTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void withoutADisplayOneSentenceSaysWhatToDo_data()
    {
        QTest::addColumn<QString>("variable");
        QTest::addColumn<QString>("value");
        QTest::newRow("none") << "DISPLAY" << QString();
        QTest::newRow("nobody serves it") << "DISPLAY"
                                          << ":65123";
        QTest::newRow("no compositor") << "WAYLAND_DISPLAY"
                                       << "wayland-nobody";
        QTest::newRow("asked for by name") << "QT_QPA_PLATFORM"
                                           << "xcb";
    }
    void withoutADisplayOneSentenceSaysWhatToDo()
    {
        QFETCH(QString, variable);
        QFETCH(QString, value);
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        for (const char* name : {"DISPLAY", "WAYLAND_DISPLAY", "WAYLAND_SOCKET", "QT_QPA_PLATFORM"})
            environment.remove(QString::fromLatin1(name));
        if (!value.isNull())
            environment.insert(variable, value);
        for (const QStringList& words : {QStringList(), QStringList{"wheel", "a.pdf"}, QStringList{"--settings"}}) {
            QProcess program;
            program.setProcessEnvironment(environment);
            program.start(QStringLiteral(PELGRA_DESKTOP_PROGRAM), words);
            QVERIFY(program.waitForFinished());
            QCOMPARE(program.exitStatus(), QProcess::NormalExit);
            QCOMPARE(program.exitCode(), 2);
            const QByteArray said = program.readAllStandardError();
            QCOMPARE(said.count('\n'), 1);
            QVERIFY2(said.startsWith("pelgra: ") && said.contains("graphical session")
                         && said.contains("./run convert"),
                     said.constData());
        }
    }
};

QTEST_GUILESS_MAIN(DisplayCheckTest)
#include "DisplayCheckTest.moc"
