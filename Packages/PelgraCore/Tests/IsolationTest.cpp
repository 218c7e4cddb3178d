#include "PelgraCore/Isolation.h"
#include "PelgraCore/Engine.h"
#include "PelgraCore/Thumbnails.h"
#include "Support/ImageSamples.h"
#include "Support/PDFSamples.h"
#include "Support/TemporaryFolder.h"

#include <QDir>
#include <QTest>

#include <atomic>
#include <functional>
#include <mutex>
#include <set>
#include <thread>

#include <signal.h>
#include <unistd.h>

using namespace Pelgra;

namespace {

/// The workers of this process.
std::set<pid_t> workers()
{
    std::set<pid_t> found;
    const QString tasks = "/proc/self/task";
    for (const QString& task : QDir(tasks).entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        QFile children(tasks + '/' + task + "/children");
        if (children.open(QIODevice::ReadOnly))
            for (const QByteArray& child : children.readAll().split(' '))
                if (child.toInt() > 0)
                    found.insert(child.toInt());
    }
    return found;
}

/// The error of a job as its sentence, or what it made.
std::string answerOf(const TemporaryFolder& folder, const std::function<void()>& job)
{
    try {
        job();
        std::string names;
        for (const std::string& name : folder.names())
            names += name + ";";
        return names;
    } catch (const EngineError& error) {
        return error.what();
    }
}

} // namespace

/// What a program sees that uses workers: the same as one that does not.
class IsolationTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        Isolation::setLog([this](std::string_view line) {
            const std::lock_guard lock(m_mutex);
            m_log.emplace_back(line);
        });
        // Once with this process doing all of it, for comparison.
        for (auto& [name, job] : jobs())
            m_expected[name] = inFolder(job);
        Isolation::useWorkers(1);
    }

    void resultsAndErrorsAreTheSame()
    {
        for (auto& [name, job] : jobs())
            QVERIFY2(inFolder(job) == m_expected[name],
                     (name + ": " + inFolder(job) + " instead of " + m_expected[name]).c_str());
        QVERIFY(hasLogged("Walls around workers: "));
        QVERIFY2(!hasLogged("refused"), "a call that libraries need is missing");
    }

    void progressAndWarningsArrive()
    {
        const TemporaryFolder folder;
        std::vector<std::pair<int, int>> steps;
        std::vector<std::string> warnings;
        JobControl control;
        control.progress = [&](int done, int total) {
            steps.emplace_back(done, total);
        };
        control.warning = [&](std::string_view sentence) {
            warnings.emplace_back(sentence);
        };
        const SamplePage page{textAt(10, 50, 24, "Page"), "[0 0 100 100]", "", ""};
        const auto file = folder.write("many.pdf", documentWith({page, page, page}));
        Engine::splitPDF(file, control);
        QCOMPARE(steps, (std::vector<std::pair<int, int>>{{1, 3}, {2, 3}, {3, 3}}));
        QVERIFY(warnings.empty());
    }

    void thumbnailsAreTheSamePictures()
    {
        const TemporaryFolder folder;
        const auto picture = write(folder, "a.png", pngSample(rampPicture(300, 200)));
        const auto small = Thumbnails::image(picture, 0, 64);
        QVERIFY(small && small->width == 64 && small->height == 43);
        const SamplePage page{textAt(10, 50, 24, "Page"), "[0 0 100 50]", "", ""};
        const auto document = folder.write("a.pdf", documentWith({page, page}));
        QCOMPARE(Thumbnails::pdfPageCount(document), 2);
        QCOMPARE(Thumbnails::pdfPageCount(picture), 0);
        Thumbnails::Pages pages(document);
        for (int round = 0; round < 3; ++round) {
            const auto drawn = pages.image(1, 80);
            QVERIFY(drawn && drawn->width == 80 && drawn->height == 40);
        }
        QVERIFY(!pages.image(2, 80));
    }

    void aStopEndsTheWorker()
    {
        const TemporaryFolder folder;
        // Layers of the whole canvas take minutes, without a look at anything else.
        std::string drawing = "<svg xmlns='http://www.w3.org/2000/svg' width='3000' height='3000'>";
        for (int depth = 0; depth < 60; ++depth)
            drawing += "<g opacity='0.5'>";
        drawing += "<rect width='3000' height='3000'/>";
        for (int depth = 0; depth < 60; ++depth)
            drawing += "</g>";
        const auto file = folder.write("a.svg", drawing + "</svg>");
        std::stop_source stop;
        JobControl control;
        control.stop = stop.get_token();
        std::atomic_bool isCancelled = false;
        std::jthread job([&] {
            try {
                Engine::convert(file, FileFormat::png, {}, control);
            } catch (const JobCancelled&) {
                isCancelled = true;
            } catch (const EngineError&) {
            }
        });
        QTRY_VERIFY(!workers().empty());
        stop.request_stop();
        job.join();
        QVERIFY(isCancelled);
        QCOMPARE(folder.names(), std::vector<std::string>{"a.svg"});
    }

    /// Files of one batch share workers; nothing else meets them.
    void aWorkerServesOneJob()
    {
        QTRY_VERIFY(workers().empty()); // those of the pictures above, after a second
        const TemporaryFolder folder;
        std::vector<std::filesystem::path> files;
        for (int number = 0; number < 6; ++number)
            files.push_back(write(folder, std::to_string(number) + ".png", pngSample(rampPicture(40, 30))));
        std::set<pid_t> seen;
        JobControl control;
        control.published = [&](const JobResult&) {
            seen.merge(workers());
        };
        QCOMPARE(Engine::convertAll(files, FileFormat::bmp, {}, control).size(), files.size());
        QVERIFY(!seen.empty() && seen.size() <= std::thread::hardware_concurrency());
        QVERIFY(workers().empty());
    }

    void aWorkerKnowsLittleOfItsSurroundings()
    {
        // With these, whatever is started tells what it loaded.
        const TemporaryFolder folder;
        qputenv("LD_DEBUG", "files");
        qputenv("LD_DEBUG_OUTPUT", (folder / "loaded").c_str());
        Engine::convert(write(folder, "a.png", pngSample(rampPicture(8, 6))), FileFormat::bmp, {});
        qunsetenv("LD_DEBUG");
        qunsetenv("LD_DEBUG_OUTPUT");
        QCOMPARE(folder.names(), (std::vector<std::string>{"a.bmp", "a.png"}));
    }

    void aWarmWorkerIsTakenAndAnIdleOneGoes()
    {
        Isolation::warmUp(1);
        const std::set<pid_t> warm = workers();
        QCOMPARE(warm.size(), std::size_t{1});
        Isolation::warmUp(1);
        QCOMPARE(workers(), warm);
        QTRY_VERIFY(workers().empty());
        Isolation::warmUp(1);
        const std::set<pid_t> next = workers();
        QCOMPARE(next.size(), std::size_t{1});
        const TemporaryFolder folder;
        Engine::convert(write(folder, "a.png", pngSample(rampPicture(8, 6))), FileFormat::bmp, {});
        QVERIFY2(workers().empty(), "another one was started, or it serves on");
    }

    void theReportNamesEachWall()
    {
        const std::vector<std::string> lines = Isolation::report();
        QCOMPARE(lines.size(), std::size_t{6});
        for (const std::string& line : lines)
            QVERIFY2(line.ends_with(": on") || line.ends_with(": off"), line.c_str());
    }

private:
    using Job = std::function<void(const TemporaryFolder&)>;

    static std::vector<std::pair<std::string, Job>> jobs()
    {
        return {
            {"an image",
             [](const TemporaryFolder& f) {
                 Engine::convert(f / "a.png", FileFormat::jpg, {});
             }},
            {"a drawing",
             [](const TemporaryFolder& f) {
                 Engine::convert(f / "s.svg", FileFormat::heic, {});
             }},
            {"into a document",
             [](const TemporaryFolder& f) {
                 Engine::convert(f / "a.png", FileFormat::pdf, {});
             }},
            {"pages",
             [](const TemporaryFolder& f) {
                 Engine::convert(f / "many.pdf", FileFormat::png, {});
             }},
            {"one page",
             [](const TemporaryFolder& f) {
                 Engine::convert(f / "one.pdf", FileFormat::jpg, {});
             }},
            {"text",
             [](const TemporaryFolder& f) {
                 Engine::convert(f / "many.pdf", FileFormat::md, {});
             }},
            {"merge",
             [](const TemporaryFolder& f) {
                 merge(f, {"many.pdf", "one.pdf", "many.pdf"});
             }},
            {"merge, damaged",
             [](const TemporaryFolder& f) {
                 merge(f, {"one.pdf", "damaged.pdf", "many.pdf"});
             }},
            {"merge, missing",
             [](const TemporaryFolder& f) {
                 merge(f, {"one.pdf", "missing.pdf"});
             }},
            {"organize",
             [](const TemporaryFolder& f) {
                 organize(f, 2);
             }},
            {"organize, no such page",
             [](const TemporaryFolder& f) {
                 organize(f, 3);
             }},
            {"split",
             [](const TemporaryFolder& f) {
                 Engine::splitPDF(f / "many.pdf");
             }},
            {"create",
             [](const TemporaryFolder& f) {
                 create(f, {"a.png", "s.svg", "a.png"});
             }},
            {"create, damaged",
             [](const TemporaryFolder& f) {
                 create(f, {"a.png", "damaged.png"});
             }},
            {"not an image",
             [](const TemporaryFolder& f) {
                 Engine::convert(f / "damaged.png", FileFormat::bmp, {});
             }},
            {"no such file",
             [](const TemporaryFolder& f) {
                 Engine::convert(f / "no.png", FileFormat::bmp, {});
             }},
            {"no such target",
             [](const TemporaryFolder& f) {
                 Engine::convert(f / "a.png", FileFormat::txt, {});
             }},
            {"no pages",
             [](const TemporaryFolder& f) {
                 Engine::convert(f / "empty.pdf", FileFormat::png, {});
             }},
        };
    }

    static void merge(const TemporaryFolder& folder, const std::vector<std::string>& names)
    {
        Engine::mergePDFs(in(folder, names));
    }
    static void create(const TemporaryFolder& folder, const std::vector<std::string>& names)
    {
        Engine::createPDF(in(folder, names));
    }
    static void organize(const TemporaryFolder& folder, std::int64_t page)
    {
        const std::vector<PageEdit> edits{PageEdit(page, 90), PageEdit(0, 0)};
        Engine::organizePDF(folder / "many.pdf", edits, true);
    }
    static std::vector<std::filesystem::path> in(const TemporaryFolder& folder, const std::vector<std::string>& names)
    {
        std::vector<std::filesystem::path> files;
        for (const std::string& name : names)
            files.push_back(folder / name);
        return files;
    }

    static std::string inFolder(const Job& job)
    {
        const TemporaryFolder folder;
        write(folder, "a.png", pngSample(rampPicture(48, 36)));
        folder.write("s.svg", "<svg xmlns='http://www.w3.org/2000/svg' width='20' height='10'><text>a</text></svg>");
        folder.write("damaged.png", "\x89PNG\r\n\x1A\nnothing");
        folder.write("damaged.pdf", "%PDF-1.4 nothing");
        const SamplePage page{textAt(10, 50, 24, "Page"), "[0 0 100 100]", "", ""};
        folder.write("one.pdf", documentWith({page}));
        folder.write("many.pdf", documentWith({page, page, page}));
        folder.write("empty.pdf", documentWith({}));
        return answerOf(folder, [&] { job(folder); });
    }

    bool hasLogged(const std::string& part)
    {
        const std::lock_guard lock(m_mutex);
        return std::ranges::any_of(m_log, [&](const std::string& line) { return line.find(part) != line.npos; });
    }

    std::map<std::string, std::string> m_expected;
    std::mutex m_mutex;
    std::vector<std::string> m_log;
};

QTEST_GUILESS_MAIN(IsolationTest)
#include "IsolationTest.moc"
