#include "PelgraCore/PDFRendering.h"
#include "Support/ImageSamples.h"
#include "Support/PDFSamples.h"
#include "Support/TemporaryFolder.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTest>

#include <algorithm>
#include <cstdlib>

#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace Pelgra;

namespace {

struct Outcome {
    int status = -1;
    std::string output;
    std::string errors;
};

std::string quoted(const std::string& text)
{
    std::string result = "'";
    for (char c : text)
        result += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return result + "'";
}

/// Runs shell words in a folder; $PELGRA is the program. The shell, because names that are not text pass through it.
Outcome shell(const TemporaryFolder& folder, const std::string& words)
{
    const TemporaryFolder results;
    const std::string command = "cd " + quoted(folder.path()) + " && PELGRA=" + quoted(PELGRA_PROGRAM) + " && { "
        + words + "\n} >" + quoted(results / "out") + " 2>" + quoted(results / "err");
    const int status = std::system(command.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, contentOf(results / "out"), contentOf(results / "err")};
}

Outcome pelgra(const TemporaryFolder& folder, const std::vector<std::string>& words)
{
    std::string command = "\"$PELGRA\"";
    for (const std::string& word : words)
        command += " " + quoted(word);
    return shell(folder, command);
}

void writePicture(const TemporaryFolder& folder, const std::string& name, int width = 8, int height = 6)
{
    write(folder, name, pngSample(rampPicture(width, height)));
}

QJsonObject json(const std::string& line)
{
    return QJsonDocument::fromJson(QByteArray::fromStdString(line)).object();
}

} // namespace

class CommandLineTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void tellsHelpAndVersion()
    {
        const TemporaryFolder folder;
        const Outcome help = pelgra(folder, {"--help"});
        QCOMPARE(help.status, 0);
        QVERIFY(help.output.find("pelgra convert --to FORMAT") != std::string::npos);
        QVERIFY(pelgra(folder, {"--version"}).output.starts_with("pelgra "));
    }

    void usageErrorsExitWithTwoAndTouchNothing()
    {
        const TemporaryFolder folder;
        writePicture(folder, "a.png");
        const Outcome outcome = pelgra(folder, {"convert", "--to", "jpg", "--nonsense", "a.png"});
        QCOMPARE(outcome.status, 2);
        QCOMPARE(outcome.output, std::string());
        QVERIFY(outcome.errors.starts_with("pelgra: ") && outcome.errors.find("--nonsense") != std::string::npos);
        QCOMPARE(folder.names(), std::vector<std::string>{"a.png"});
    }

    void loadsNoLibraryFromTheCurrentFolder()
    {
        const TemporaryFolder folder;
        writePicture(folder, "a.png");
        for (const char* const library : {"libjpeg.so.62", "libpng16.so.16", "libz.so.1", "libstdc++.so.6"})
            folder.write(library, "no library");
        const Outcome outcome = pelgra(folder, {"convert", "--to", "bmp", "a.png"});
        QVERIFY2(outcome.status == 0, outcome.errors.c_str());
    }

    void listsWhatFilesAllow()
    {
        const TemporaryFolder folder;
        QCOMPARE(pelgra(folder, {"targets", "a.jpg", "b.webp"}).output,
                 std::string("convert: png heic tiff bmp pdf\ntools: create\n"));
        QCOMPARE(pelgra(folder, {"targets", "a.pdf"}).output,
                 std::string("convert: jpg png txt md\ntools: split organize\n"));
        const Outcome none = pelgra(folder, {"targets", "a.doc"});
        QCOMPARE(none.output,
                 std::string("convert: No conversions for this format.\ntools: No editing tools for this format.\n"));
        QCOMPARE(none.status, 0);
        const QJsonObject object = json(pelgra(folder, {"targets", "--json", "a.pdf", "b.pdf"}).output);
        QCOMPARE(object["convert"].toArray().size(), 4);
        QCOMPARE(object["tools"].toArray(), (QJsonArray{"split", "merge"}));
    }

    void namesDoNotControlTheTerminal()
    {
        const TemporaryFolder folder;
        const std::string name = "a\x1b[31mb\xC2\x9B"
                                 "c";
        writePicture(folder, name + ".png");
        folder.write(name + ".jpg", "no picture");
        const auto shown = [&](const std::string& words) {
            // A terminal of its own, whose output is what is looked at.
            return shell(folder, "script -qec " + quoted(quoted(PELGRA_PROGRAM) + words) + " /dev/null").output;
        };
        for (const char* const words : {" convert --to bmp *.png", " convert --to bmp *.jpg"}) {
            const std::string output = shown(words);
            QVERIFY2(output.find("a?[31mb?c") != std::string::npos, output.c_str());
            QVERIFY(output.find("\x1b[31m") == std::string::npos && output.find("\xC2\x9B") == std::string::npos);
        }
        // Whoever reads the path from a pipe needs it as it is.
        QVERIFY(pelgra(folder, {"convert", "--to", "tiff", name + ".png"}).output.ends_with(name + ".tiff\n"));
    }

    void namesAreAnyBytes_data()
    {
        QTest::addColumn<QByteArray>("base");
        QTest::newRow("spaces") << QByteArray("two  words ");
        QTest::newRow("newline") << QByteArray("two\nlines");
        QTest::newRow("not text") << QByteArray("b\xFF\xC3");
        QTest::newRow("quotes") << QByteArray("it's \"so\" \\ $HOME");
        QTest::newRow("dash") << QByteArray("-to");
        QTest::newRow("two dashes") << QByteArray("--");
        QTest::newRow("hidden") << QByteArray(".a");
    }
    void namesAreAnyBytes()
    {
        QFETCH(QByteArray, base);
        const TemporaryFolder folder;
        const std::string name = base.toStdString();
        writePicture(folder, name + ".png");
        const Outcome plain = pelgra(folder, {"convert", "--to", "bmp", "--", name + ".png"});
        QCOMPARE(plain.errors, std::string());
        QCOMPARE(plain.status, 0);
        QCOMPARE(plain.output, name + ".bmp\n");
        const Outcome object = pelgra(folder, {"convert", "--json", "--to", "bmp", "--", (folder / (name + ".png"))});
        const QJsonObject result = json(object.output);
        QCOMPARE(result["outputs"].toArray().size(), 1);
        QVERIFY(!result["displayName"].toString().isEmpty());
        QCOMPARE(std::count(object.output.begin(), object.output.end(), '\n'), 1);
        std::vector<std::string> expected{name + " 2.bmp", name + ".bmp", name + ".png"};
        QCOMPARE(folder.names(), expected);
    }

    void equalNamesAreNumberedInTheOrderGiven()
    {
        const TemporaryFolder folder;
        writePicture(folder, "a.png");
        write(folder, "a.jpg", jpegSample(rampPicture(500, 400)));
        folder.write("b.pdf", "in the way");
        writePicture(folder, "b.png");
        const Outcome outcome = pelgra(folder, {"convert", "--to", "pdf", "a.jpg", "a.png", "b.png"});
        QCOMPARE(outcome.output, std::string("a.pdf\na 2.pdf\nb 2.pdf\n"));
        QCOMPARE(outcome.errors, std::string()); // progress is for terminals
        QVERIFY(contentOf(folder / "a.pdf").find("/Width 500") != std::string::npos);
        QCOMPARE(contentOf(folder / "b.pdf"), std::string("in the way"));
    }

    void theFirstFailureInOrderEndsABatch()
    {
        const TemporaryFolder folder;
        writePicture(folder, "1.png", 2000, 1500); // done long after the broken one
        folder.write("2.png", "no picture");
        std::vector<std::string> words{"convert", "--json", "--to", "jpg", "1.png", "2.png"};
        for (const char* name : {"3.png", "4.png", "5.png"}) {
            writePicture(folder, name);
            words.emplace_back(name);
        }
        const Outcome outcome = pelgra(folder, words);
        QCOMPARE(outcome.status, 1);
        const QStringList lines = QString::fromStdString(outcome.output).split('\n', Qt::SkipEmptyParts);
        QCOMPARE(lines.size(), 2);
        QCOMPARE(json(lines[0].toStdString())["outputs"].toArray(), QJsonArray{"1.jpg"});
        const QJsonObject error = json(lines[1].toStdString())["error"].toObject();
        QCOMPARE(error["case"].toString(), QString("unreadable"));
        QCOMPARE(error["message"].toString(), QString("“2.png” couldn’t be read."));
        QCOMPARE(error["file"].toString(), QString("2.png"));
        QCOMPARE(outcome.errors, std::string("pelgra: “2.png” couldn’t be read.\n"));
        QCOMPARE(folder.names(), (std::vector<std::string>{"1.jpg", "1.png", "2.png", "3.png", "4.png", "5.png"}));
    }

    void warningsAreToldBesideTheResult()
    {
        const TemporaryFolder folder;
        PDFBuilder builder;
        builder.addPage({});
        builder.set(2, "<< /Type /Pages /Count 2 /Kids [5 0 R 99 0 R] >>");
        folder.write("a.pdf", builder.build());
        const std::string sentence = "“a.pdf” is damaged: 1 of its 2 pages is missing.";
        const std::vector<std::vector<std::string>> jobs{
            {"convert", "--to", "txt", "a.pdf"}, {"split", "a.pdf"}, {"organize", "--pages", "1", "a.pdf"}};
        for (std::vector<std::string> words : jobs) {
            const Outcome plain = pelgra(folder, words);
            QCOMPARE(plain.errors, "pelgra: " + sentence + "\n");
            QCOMPARE(plain.status, 0);
            words.insert(words.begin() + 1, "--json");
            const Outcome outcome = pelgra(folder, words);
            const QStringList lines = QString::fromStdString(outcome.output).split('\n', Qt::SkipEmptyParts);
            QCOMPARE(lines.size(), 2);
            QCOMPARE(json(lines[0].toStdString())["warning"].toObject()["message"].toString().toStdString(), sentence);
            QCOMPARE(json(lines[1].toStdString())["outputs"].toArray().size(), 1);
            QCOMPARE(outcome.errors, plain.errors);
        }
    }

    void errorsSayWhichFileTheyAreAbout()
    {
        const TemporaryFolder folder;
        writePicture(folder, "a.png");
        folder.write("notes.txt", "text");
        QCOMPARE(pelgra(folder, {"convert", "--to", "bmp", "a.png", "notes.txt"}).errors,
                 std::string("pelgra: Can’t convert TXT to BMP. (notes.txt)\n"));
        QCOMPARE(pelgra(folder, {"convert", "--to", "webp", "a.png"}).errors,
                 std::string("pelgra: Can’t convert PNG to WEBP. (a.png)\n"));
        QCOMPARE(pelgra(folder, {"create", "a.png", "notes.txt", "more"}).errors,
                 std::string("pelgra: Can’t convert TXT to PDF. (notes.txt)\n"));
        QCOMPARE(pelgra(folder, {"convert", "--to", "bmp", "gone/a.png"}).errors,
                 std::string("pelgra: “a.png” couldn’t be read. (gone/a.png)\n"));
    }

    void whatIsNoFileIsUnreadable_data()
    {
        QTest::addColumn<QString>("setup");
        QTest::newRow("folder") << "mkdir x.png";
        QTest::newRow("pipe") << "mkfifo x.png";
        QTest::newRow("device") << "ln -s /dev/zero x.png";
        QTest::newRow("terminal") << "ln -s /dev/tty x.png";
        QTest::newRow("dangling link") << "ln -s nowhere x.png";
        QTest::newRow("link to itself") << "ln -s x.png x.png";
        QTest::newRow("empty") << ": >x.png";
        QTest::newRow("missing") << ":";
        QTest::newRow("below a file") << "cp \"$PELGRA\" y && ln -s y/x.png x.png";
    }
    void whatIsNoFileIsUnreadable()
    {
        QFETCH(QString, setup);
        const TemporaryFolder folder;
        shell(folder, setup.toStdString());
        const std::vector<std::string> before = folder.names();
        for (const char* target : {"jpg", "pdf"}) {
            const Outcome outcome = pelgra(folder, {"convert", "--to", target, "x.png"});
            QCOMPARE(outcome.errors, std::string("pelgra: “x.png” couldn’t be read.\n"));
            QCOMPARE(outcome.status, 1);
        }
        QCOMPARE(folder.names(), before);
    }

    void aSocketIsUnreadable()
    {
        const TemporaryFolder folder;
        const int descriptor = socket(AF_UNIX, SOCK_STREAM, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::snprintf(address.sun_path, sizeof address.sun_path, "%s", (folder / "x.png").c_str());
        QCOMPARE(bind(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        QCOMPARE(pelgra(folder, {"convert", "--to", "jpg", "x.png"}).errors,
                 std::string("pelgra: “x.png” couldn’t be read.\n"));
        close(descriptor);
    }

    void aResultThatCannotBePrintedIsAnError_data()
    {
        QTest::addColumn<QString>("output");
        QTest::newRow("full device") << ">/dev/full";
        QTest::newRow("closed") << ">&-";
        QTest::newRow("all closed") << "<&- >&-";
        QTest::newRow("reader gone") << "| exec";
    }
    void aResultThatCannotBePrintedIsAnError()
    {
        QFETCH(QString, output);
        const TemporaryFolder folder;
        writePicture(folder, "a.png");
        // The program starts when the reader says that it has closed its end of the pipe.
        const std::string words = output.startsWith('|')
            ? "mkfifo p; { read -r line <p; \"$PELGRA\" convert --to bmp a.png; echo $? >s; } | { exec <&-; echo >p; };"
              " status=$(cat s); rm s p; exit $status"
            : "\"$PELGRA\" convert --to bmp a.png " + output.toStdString();
        const Outcome outcome = shell(folder, words);
        QCOMPARE(outcome.status, 1);
        QVERIFY(outcome.errors.find("standard output") != std::string::npos);
        QCOMPARE(folder.names(), (std::vector<std::string>{"a.bmp", "a.png"}));
        QVERIFY(contentOf(folder / "a.bmp").starts_with("BM"));
    }

    void interruptingLeavesNothingUnfinished_data()
    {
        QTest::addColumn<int>("number");
        QTest::newRow("INT") << SIGINT;
        QTest::newRow("TERM") << SIGTERM;
        QTest::newRow("HUP") << SIGHUP;
    }
    void interruptingLeavesNothingUnfinished()
    {
        QFETCH(int, number);
        const TemporaryFolder folder;
        QStringList arguments{"convert", "--to", "png"};
        const Bytes picture = jpegSample(rampPicture(1500, 1000));
        const int count = 60;
        for (int i = 0; i < count; ++i)
            arguments << QString::fromStdString(write(folder, std::to_string(i) + ".jpg", picture));
        QProcess process;
        process.setProgram(PELGRA_PROGRAM);
        process.setArguments(arguments);
        process.start();
        QVERIFY(process.waitForReadyRead(30000));
        QCOMPARE(kill(static_cast<pid_t>(process.processId()), number), 0);
        QVERIFY(process.waitForFinished(30000));
        QCOMPARE(process.exitStatus(), QProcess::NormalExit);
        QCOMPARE(process.exitCode(), 128 + number);
        // Every output that exists was reported, and each is whole.
        const auto told = process.readAllStandardOutput().count('\n');
        QVERIFY(told < count);
        QCOMPARE(static_cast<int>(folder.names().size()), count + told);
        const std::string whole = contentOf(folder / "0.png");
        for (int i = 0; i < told; ++i)
            QVERIFY(contentOf(folder / (std::to_string(i) + ".png")) == whole);
    }

    void afterNohupAHangUpIsIgnored()
    {
        const TemporaryFolder folder;
        writePicture(folder, "a.png", 1500, 1500);
        const Outcome outcome =
            shell(folder, "trap '' HUP; \"$PELGRA\" convert --to png a.png & kill -HUP $!; wait $!");
        QCOMPARE(outcome.status, 0);
    }

    void storageThatRefusesIsReported_data()
    {
        QTest::addColumn<QString>("limit");
        QTest::addColumn<QString>("target");
        for (const char* target : {"jpg", "png", "heic", "tiff", "bmp", "pdf"}) {
            QTest::addRow("%s, full", target) << "size=300k" << target;
            QTest::addRow("%s, read-only", target) << "ro" << target;
        }
    }
    /// On a small file system of its own, where the machine allows one.
    void storageThatRefusesIsReported()
    {
        QFETCH(QString, limit);
        QFETCH(QString, target);
        const TemporaryFolder folder;
        std::filesystem::create_directory(folder / "disk");
        const bool isFull = limit != "ro";
        write(folder, "a.webp", webpSample(rampPicture(400, 300)));
        const std::string words = "unshare --map-root-user --mount sh -c '"
                                  "mount -t tmpfs -o size=1m none disk && cp a.webp disk && "
            + std::string(isFull ? "dd if=/dev/zero of=disk/filler bs=4k 2>/dev/null; :" : "mount -o remount,ro disk")
            + " && { \"$PELGRA\" convert --to " + target.toStdString()
            + " disk/a.webp; echo status=$?; ls -A disk; } || echo unavailable'";
        const Outcome outcome = shell(folder, "export PELGRA; " + words);
        if (outcome.output.find("status=") == std::string::npos)
            QSKIP("no file system can be mounted here");
        QCOMPARE(outcome.output, std::string(isFull ? "status=1\na.webp\nfiller\n" : "status=1\na.webp\n"));
        const std::string name = "a." + target.toStdString();
        QCOMPARE(outcome.errors, "pelgra: Couldn’t save “" + name + "”. (disk/" + name + ")\n");
    }

    void aFileBeyondTheAllowedSizeIsReported()
    {
        const TemporaryFolder folder;
        writePicture(folder, "a.png", 100, 100);
        const Outcome outcome =
            shell(folder, "(ulimit -f 2; \"$PELGRA\" convert --to bmp a.png 2>err); cat err >&2; rm err");
        QCOMPARE(outcome.errors, std::string("pelgra: Couldn’t save “a.bmp”.\n"));
        QCOMPARE(folder.names(), std::vector<std::string>{"a.png"});
    }

    void documentsAreMergedSplitAndOrganised()
    {
        const TemporaryFolder folder;
        writePicture(folder, "a.png", 30, 20);
        writePicture(folder, "b.png", 50, 20);
        QCOMPARE(pelgra(folder, {"create", "a.png", "b.png"}).output, std::string("a.pdf\n"));
        QCOMPARE(pelgra(folder, {"merge", "a.pdf", "a.pdf"}).output, std::string("a Merged.pdf\n"));
        QCOMPARE(pelgra(folder, {"split", "a Merged.pdf"}).output, std::string("a Merged Pages\n"));
        QVERIFY(std::filesystem::exists(folder / "a Merged Pages" / "a Merged 4.pdf"));
        QCOMPARE(pelgra(folder, {"organize", "--pages", "2,1:90,4-3", "a Merged.pdf"}).output,
                 std::string("a Merged Organized.pdf\n"));
        const auto document = PDFRender::open(folder / "a Merged Organized.pdf");
        QCOMPARE(document->pageCount(), 4);
        const std::vector<double> widths{50, 20, 50, 30};
        for (int page = 0; page < 4; ++page)
            QCOMPARE(document->displayedSize(page).width, widths[static_cast<std::size_t>(page)]);
        pelgra(folder, {"organize", "--pages", "1-2", "--uniform-width", "a Merged.pdf"});
        QCOMPARE(PDFRender::open(folder / "a Merged Organized 2.pdf")->displayedSize(1).width, 30.0);
        const Outcome outcome = pelgra(folder, {"organize", "--pages=5", "a Merged.pdf"});
        QCOMPARE(outcome.errors, std::string("pelgra: Page 5 doesn’t exist. (a Merged.pdf)\n"));
        QCOMPARE(outcome.status, 1);
    }

    void warningsAreToldInBothForms()
    {
        const TemporaryFolder folder;
        PDFBuilder builder;
        const std::string page = reference(builder.addPage({}));
        builder.set(2, "<< /Type /Pages /Count 2 /Kids [" + page + " 99 0 R] >>");
        folder.write("a.pdf", builder.build());
        const Outcome outcome = pelgra(folder, {"merge", "--json", "a.pdf"});
        const std::string sentence = "“a.pdf” is damaged: 1 of its 2 pages is missing.";
        QCOMPARE(outcome.errors, "pelgra: " + sentence + '\n');
        const QJsonObject object = json(outcome.output.substr(0, outcome.output.find('\n')));
        QCOMPARE(object["warning"].toObject()["message"].toString(), QString::fromStdString(sentence));
        QCOMPARE(outcome.status, 0);
    }

    void theImageThatIsNoneIsNamed()
    {
        const TemporaryFolder folder;
        writePicture(folder, "a.png");
        folder.write("b.txt", "no picture");
        const Outcome outcome = pelgra(folder, {"create", "--json", "a.png", "b.txt"});
        QCOMPARE(json(outcome.output)["error"].toObject()["file"].toString(), QString("b.txt"));
    }

    void theDesktopProgramIsLookedForBesideAndInThePath()
    {
        const TemporaryFolder folder;
        const std::string copy = "cp \"$PELGRA\" . ; export LD_LIBRARY_PATH=$(dirname \"$PELGRA\")/../lib/pelgra; ";
        const Outcome missing = shell(folder, copy + "PATH=/nowhere ./pelgra wheel");
        QCOMPARE(missing.status, 1);
        QCOMPARE(missing.errors, std::string("pelgra: The desktop program (pelgra-desktop) is not installed.\n"));
        folder.write("pelgra-desktop", "#!/bin/sh\nprintf '%s|' \"$@\"\n");
        const Outcome found = shell(folder, copy + "chmod +x pelgra-desktop; ./pelgra wheel -key 'a b'; ./pelgra");
        QCOMPARE(found.output, std::string("-key|a b||"));
    }
};

QTEST_GUILESS_MAIN(CommandLineTest)
#include "CommandLineTest.moc"
