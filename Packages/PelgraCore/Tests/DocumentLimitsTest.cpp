#include "PelgraCore/Engine.h"

#include "modules/documents/DocumentsModule.h"
#include "modules/ModuleLoader.h"
#include "Support/MemorySink.h"
#include "Support/PDFInspection.h"
#include "Support/PDFSamples.h"
#include "Support/TemporaryFolder.h"

#include <QTest>

#include <csignal>
#include <optional>

#include <sys/resource.h>

using namespace Pelgra;

namespace {

using Path = std::filesystem::path;

std::string documentOf(int pageCount)
{
    std::vector<SamplePage> pages(static_cast<std::size_t>(pageCount));
    for (std::size_t index = 0; index < pages.size(); ++index)
        pages[index].contents = textAt(72, 700, 24, "Page " + std::to_string(index + 1));
    return documentWith(pages);
}

std::string titled(const std::string& title)
{
    PDFBuilder builder;
    builder.addPage({});
    builder.addToTrailer("/Info " + reference(builder.add("<< /Title (" + title + ") >>")));
    return builder.build();
}

Path merged(std::initializer_list<Path> files)
{
    return Engine::mergePDFs(std::vector<Path>(files)).outputs.front();
}

} // namespace

/// Documents that are damaged, hostile, locked or large, and outputs that cannot be stored.
class DocumentLimitsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void nothingSharedIsCopiedTwice()
    {
        TemporaryFolder folder;
        constexpr int pageCount = 30;
        PDFBuilder builder;
        std::string images;
        for (int index = 0; index < pageCount; ++index) {
            std::string noise(20000, '\0');
            unsigned state = static_cast<unsigned>(index) * 7919 + 1;
            for (char& byte : noise)
                byte = static_cast<char>((state = state * 1664525 + 1013904223) >> 24);
            images += "/I" + std::to_string(index) + " "
                + reference(builder.addStream(noise,
                                              "/Type /XObject /Subtype /Image /Width 200 /Height 100 "
                                              "/BitsPerComponent 8 /ColorSpace /DeviceGray"))
                + " ";
        }
        const int shared = builder.add("<< " + images + ">>");
        for (int index = 0; index < pageCount; ++index)
            builder.addPage({"q 200 0 0 100 72 500 cm /I" + std::to_string(index) + " Do Q", "[0 0 612 792]", "",
                             "/XObject " + reference(shared)});
        const Path file = folder.write("images.pdf", builder.build());
        const auto size = static_cast<double>(std::filesystem::file_size(file));
        QVERIFY(static_cast<double>(std::filesystem::file_size(merged({file, file}))) < 1.1 * size);

        double total = 0;
        const Path pages = Engine::splitPDF(file).outputs.front();
        for (const auto& page : std::filesystem::directory_iterator(pages))
            total += static_cast<double>(page.file_size());
        QVERIFY2(total < 1.3 * size, qPrintable(QString::number(total / size)));
        const InspectedPDF last(pages / "images 30.pdf");
        QCOMPARE(last.at(last.page(0), "/Resources", "/XObject").toObject().keys(), QStringList{"/I29"});
    }

    void hostileTreesEnd()
    {
        TemporaryFolder folder;
        PDFBuilder builder;
        const int page = builder.addPage({});
        const int odd = builder.add("<< /Type /Page /MediaBox [0 0 9 9] /Contents 42 >>");
        const int entry = builder.reserve();
        builder.set(entry,
                    "<< /Title (Round) /Next " + reference(entry) + " /First " + reference(entry) + " /Dest ["
                        + reference(page) + " /Fit] >>");
        const int names = builder.reserve();
        builder.set(names, "<< /Kids [" + reference(names) + " " + reference(names) + "] >>");
        const int field = builder.reserve();
        builder.set(field, "<< /T (f) /FT /Tx /Parent " + reference(field) + " /Kids [" + reference(field) + "] >>");
        builder.addToCatalog("/Outlines << /First " + reference(entry) + " >> /Names << /Dests " + reference(names)
                             + " /EmbeddedFiles " + reference(names) + " >> /PageLabels " + reference(names)
                             + " /AcroForm << /Fields [" + reference(field) + "] >>");
        builder.set(2,
                    "<< /Type /Pages /Count 1410065407 /Kids [2 0 R " + reference(page) + " 2 0 R " + reference(odd)
                        + "] >>");
        const Path file = folder.write("round.pdf", builder.build());
        QCOMPARE(module<DocumentsModule>(DocumentsModule::name).split(file)->pageCount(), 2);
        const InspectedPDF document(merged({file}));
        QCOMPARE(document.pageCount(), 2);
        QCOMPARE(document.outline(), QStringLiteral("Round>0"));
    }

    void deepPageTreesEnd()
    {
        TemporaryFolder folder;
        PDFBuilder builder;
        const int page = builder.addPage({});
        int node = page;
        for (int depth = 0; depth < 20000; ++depth)
            node = builder.add("<< /Type /Pages /Count 1 /Kids [" + reference(node) + "] >>");
        builder.set(2, "<< /Type /Pages /Count 1 /Kids [" + reference(node) + "] >>");
        QCOMPARE(InspectedPDF(merged({folder.write("deep.pdf", builder.build())})).pageCount(), 1);
    }

    void onlyTheEmptyPasswordOpens()
    {
        TemporaryFolder folder;
        const Path plain = folder.write("plain.pdf", titled("Secret"));
        const auto encrypted = [&](const char* name, const char* password) {
            const Path file = folder / name;
            const QStringList arguments{"--encrypt", password, "owner", "256", "--", plain.c_str(), file.c_str()};
            if (QProcess::execute("qpdf", arguments) != 0)
                throw std::runtime_error("qpdf cannot encrypt");
            return file;
        };
        const InspectedPDF document(merged({encrypted("open.pdf", "")}));
        QVERIFY(!document.trailer().contains("/Encrypt"));
        QCOMPARE(document.at(document.trailer(), "/Info", "/Title").toString(), QStringLiteral("u:Secret"));
        const Path locked = encrypted("locked.pdf", "user");
        try {
            Engine::splitPDF(locked);
            QFAIL("a locked document was opened");
        } catch (const EngineError& error) {
            QVERIFY(error == EngineError::unreadable(locked));
        }
    }

    void pagesThatHaveGoneSinceAreUnreadable()
    {
        TemporaryFolder folder;
        const Path file = folder.write("a.pdf", documentOf(2));
        MemorySink sink;
        for (const int page : {-1, 2})
            QVERIFY_EXCEPTION_THROWN(module<DocumentsModule>(DocumentsModule::name).split(file)->writePage(page, sink),
                                     EngineError);
    }

    void aFileWithoutTrailerIsRepaired()
    {
        TemporaryFolder folder;
        std::string content = documentOf(2);
        content.resize(content.rfind("xref\n0"));
        QCOMPARE(InspectedPDF(merged({folder.write("cut.pdf", content)})).pageCount(), 2);
    }

    void aFullDiskIsNoticed()
    {
        TemporaryFolder folder;
        const std::vector<Path> files{folder.write("a.pdf", documentOf(20))};
        const DocumentsModule& documents = module<DocumentsModule>(DocumentsModule::name);
        for (const std::size_t capacity : {std::size_t{0}, std::size_t{500}, std::size_t{1500}}) {
            MemorySink sink(capacity);
            QVERIFY_EXCEPTION_THROWN(documents.merge(files, {})->write(sink), StorageError);
            MemorySink pageSink(std::min(capacity, std::size_t{100}));
            QVERIFY_EXCEPTION_THROWN(documents.split(files.front())->writePage(0, pageSink), StorageError);
        }
        MemorySink sink;
        documents.merge(files, {})->write(sink);
        QVERIFY(sink.bytes().size() > 1500);

        std::signal(SIGXFSZ, SIG_IGN);
        rlimit usual{};
        getrlimit(RLIMIT_FSIZE, &usual);
        const rlimit small{100, usual.rlim_max};
        setrlimit(RLIMIT_FSIZE, &small);
        std::optional<EngineError> failure;
        try {
            Engine::splitPDF(files.front());
        } catch (const EngineError& error) {
            failure = error;
        }
        setrlimit(RLIMIT_FSIZE, &usual);
        QVERIFY(failure == EngineError::writeFailed(folder / "a Pages" / "a 1.pdf"));
        QCOMPARE(folder.names(), std::vector<std::string>{"a.pdf"});
    }

    void aStopLeavesNothingBehind()
    {
        TemporaryFolder folder;
        const Path file = folder.write("a.pdf", documentOf(40));
        std::stop_source stop;
        std::vector<int> totals;
        JobControl control;
        control.stop = stop.get_token();
        control.progress = [&](int, int total) {
            totals.push_back(total);
            stop.request_stop();
        };
        QVERIFY_EXCEPTION_THROWN(Engine::mergePDFs(std::vector<Path>{file, file}, control), JobCancelled);
        QCOMPARE(totals, std::vector<int>{80});
        QVERIFY_EXCEPTION_THROWN(Engine::splitPDF(file, control), JobCancelled);
        QCOMPARE(folder.names(), std::vector<std::string>{"a.pdf"});
    }
};

QTEST_GUILESS_MAIN(DocumentLimitsTest)
#include "DocumentLimitsTest.moc"
