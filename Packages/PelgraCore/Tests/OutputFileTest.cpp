#include "files/OutputFile.h"
#include "files/OutputFolder.h"
#include "PelgraCore/EngineError.h"
#include "PelgraCore/OutputNaming.h"
#include "Support/TemporaryFolder.h"

#include <QTest>

#include <chrono>
#include <fstream>

using namespace Pelgra;

namespace {

void writeText(OutputFile& file, std::string_view text)
{
    file.write(std::as_bytes(std::span(text)));
}

} // namespace

class OutputFileTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void numbersFollowEveryTakenName()
    {
        TemporaryFolder folder;
        folder.write("photo.png", "");
        std::filesystem::create_directory(folder / "photo 2.png");
        std::filesystem::create_symlink("nowhere", folder / "photo 3.png");
        QCOMPARE(OutputNaming::siblingURL(folder / "photo.jpg", {}, "png"), folder / "photo 4.png");
        QCOMPARE(OutputNaming::siblingURL(folder / "scan", "Pages"), folder / "scan Pages");
        QCOMPARE(OutputNaming::siblingURL(folder / "archive.tar.gz", {}, "pdf"), folder / "archive.tar.pdf");
        QCOMPARE(OutputNaming::siblingURL(folder / "b\xFF\n.jpg", {}, "png"), folder / "b\xFF\n.png");
    }

    void nothingIsSeenBeforePublishing()
    {
        TemporaryFolder folder;
        {
            OutputFile file(folder.path());
            writeText(file, "half");
            file.flush();
            QVERIFY(folder.names().empty());
        }
        QVERIFY(folder.names().empty());
    }

    void publishesUnderTheFirstFreeNameAndReplacesNothing()
    {
        TemporaryFolder folder;
        folder.write("a.txt", "mine");
        OutputFile file(folder.path());
        writeText(file, "0123456789");
        file.writeAt(2, std::as_bytes(std::span("XY", 2)));
        writeText(file, std::string(300000, 'z'));
        file.flush();
        QCOMPARE(file.publish("a", "txt"), folder / "a 2.txt");
        QCOMPARE(contentOf(folder / "a.txt"), std::string("mine"));
        QCOMPARE(contentOf(folder / "a 2.txt"), "01XY456789" + std::string(300000, 'z'));
        QCOMPARE(folder.names().size(), std::size_t{2});
    }

    void aFolderThatDoesNotExistIsReported()
    {
        TemporaryFolder folder;
        QVERIFY_EXCEPTION_THROWN(OutputFile(folder / "missing"), StorageError);
        QVERIFY_EXCEPTION_THROWN(OutputFolder(folder / "missing" / "a.pdf", "Pages"), EngineError);
    }

    void aFolderAppearsWholeOrNotAtAll()
    {
        TemporaryFolder folder;
        std::filesystem::create_directory(folder / "Report Pages");
        const auto writeOne = [](ByteSink& sink) {
            sink.write(std::as_bytes(std::span("one", 3)));
        };
        {
            OutputFolder abandoned(folder / "Report.pdf", "Pages");
            abandoned.writeFile(1, "txt", {}, writeOne);
        }
        QCOMPARE(folder.names(), std::vector<std::string>{"Report Pages"});

        OutputFolder kept(folder / "Report.pdf", "Pages");
        kept.writeFile(1, "txt", {}, writeOne);
        QCOMPARE(kept.publish(), folder / "Report Pages 2");
        QCOMPARE(contentOf(folder / "Report Pages 2" / "Report 1.txt"), std::string("one"));
        QCOMPARE(folder.names().size(), std::size_t{2});
    }

    void whatAKilledProcessLeftGoesWithTheNextFolder()
    {
        TemporaryFolder folder;
        const auto age = [](const std::filesystem::path& path) {
            std::filesystem::last_write_time(path,
                                             std::filesystem::file_time_type::clock::now() - std::chrono::hours(1));
        };
        const OutputFolder underWay(folder / "a.pdf", "Pages");
        const std::filesystem::path building = folder / folder.names().front();
        const auto leftBehind = [&](char digit) {
            std::string name = building.filename().string();
            name.back() = name.back() == digit ? '-' : digit;
            std::filesystem::create_directory(folder / name);
            std::ofstream(folder / name / "1.txt") << "one";
            return folder / name;
        };
        const std::filesystem::path old = leftBehind('0');
        const std::filesystem::path young = leftBehind('1');
        const std::filesystem::path other = folder / ".pelgra-settings";
        std::filesystem::create_directory(other);
        for (const std::filesystem::path& path : {old, other, building})
            age(path);
        const OutputFolder next(folder / "a.pdf", "Pages");
        QVERIFY(!std::filesystem::exists(old));
        QVERIFY2(std::filesystem::exists(building), "another job's folder must stay");
        QVERIFY2(std::filesystem::exists(young), "may be a folder whose job is about to claim it");
        QVERIFY2(std::filesystem::exists(other), "not a name of ours");
    }
};

QTEST_GUILESS_MAIN(OutputFileTest)
#include "OutputFileTest.moc"
