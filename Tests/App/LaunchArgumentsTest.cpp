#include "App/LaunchArguments.h"
#include "App/SingleInstance.h"
#include "Support/Paths.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTest>

#include <stdexcept>

using namespace Pelgra;

class LaunchArgumentsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void tellsFilesFromKindAndSettings_data()
    {
        QTest::addColumn<std::vector<std::string>>("words");
        QTest::addColumn<WheelKind>("kind");
        QTest::addColumn<std::vector<std::string>>("files");
        using Words = std::vector<std::string>;
        QTest::newRow("nothing") << Words{} << WheelKind::convert << Words{};
        QTest::newRow("settings only") << Words{"-convertKey", "control"} << WheelKind::convert << Words{};
        QTest::newRow("wheel") << Words{"wheel", "--kind", "tools", "/a.pdf", "/b"} << WheelKind::tools
                               << Words{"/a.pdf", "/b"};
        QTest::newRow("without the word") << Words{"--kind=tools", "/a"} << WheelKind::tools << Words{"/a"};
        QTest::newRow("a file of that name") << Words{"wheel", "/wheel"} << WheelKind::convert << Words{"/wheel"};
        QTest::newRow("dashes after two dashes") << Words{"--", "/-a", "--kind"} << WheelKind::convert
                                                 << Words{"/-a", (std::filesystem::current_path() / "--kind").string()};
        QTest::newRow("a debugged tool's files are its own")
            << Words{"-ToolWindowsDebug", "mergePDF", "/a.pdf", "/b.pdf", "--verbose"} << WheelKind::convert << Words{};
        QTest::newRow("bytes") << Words{"/odd\xFF"} << WheelKind::convert << Words{"/odd\xFF"};
    }

    void tellsFilesFromKindAndSettings()
    {
        QFETCH(std::vector<std::string>, words);
        const LaunchArguments arguments = LaunchArguments::parse(words);
        QTEST(arguments.kind, "kind");
        QTEST(std::vector<std::string>(arguments.files.begin(), arguments.files.end()), "files");
    }

    void refusesWhatMakesNoSense()
    {
        using Words = std::vector<std::string>;
        for (const Words& words : {Words{"--kind", "other", "/a"}, Words{"--kind"}, Words{"--unknown", "/a"}})
            QVERIFY_EXCEPTION_THROWN(LaunchArguments::parse(words), std::invalid_argument);
    }

    void ofAnotherStartOnlyWholePathsAreTaken()
    {
        SingleInstance instance;
        std::vector<std::filesystem::path> taken;
        connect(&instance, &SingleInstance::openRequested, this,
                [&](WheelKind, const std::vector<std::filesystem::path>& files) { taken = files; });
        instance.Open("tools", {"/a.pdf", "b.pdf", "", QByteArray("/c\0.pdf", 7), "/odd\xFF"});
        QCOMPARE(taken, (std::vector<std::filesystem::path>{"/a.pdf", "/odd\xFF"}));
    }

    void aDeletedFolderIsNoReasonToCrash()
    {
        const QString before = QDir::currentPath();
        {
            const QTemporaryDir folder;
            QVERIFY(QDir::setCurrent(folder.path()));
        }
        QVERIFY_EXCEPTION_THROWN(LaunchArguments::parse(std::vector<std::string>{"a.pdf"}), std::invalid_argument);
        QCOMPARE(LaunchArguments::parse(std::vector<std::string>{"/a.pdf"}).files.front(),
                 std::filesystem::path("/a.pdf"));
        QCOMPARE(absolutePath("a.pdf"), std::filesystem::path("a.pdf"));
        QVERIFY(QDir::setCurrent(before));
    }
};

QTEST_GUILESS_MAIN(LaunchArgumentsTest)
#include "LaunchArgumentsTest.moc"
