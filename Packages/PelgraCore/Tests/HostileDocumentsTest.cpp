#include "PelgraCore/Engine.h"
#include "PelgraCore/PDFRendering.h"

#include "Support/PDFInspection.h"
#include "Support/PDFSamples.h"
#include "Support/TemporaryFolder.h"

#include <QTest>

#include <functional>

using namespace Pelgra;

namespace {

using Path = std::filesystem::path;

std::string repeated(int count, const std::function<std::string(int)>& part)
{
    std::string text;
    for (int index = 0; index < count; ++index)
        text += part(index);
    return text;
}

std::string repeated(int count, const std::string& part)
{
    return repeated(count, [&](int) { return part; });
}

Path merged(const Path& file)
{
    return Engine::mergePDFs(std::vector{file}).outputs.front();
}

/// Leaves of a name tree, each with the next of `count` equal keys and an object of its own.
std::string alikeNames(PDFBuilder& builder, int count, const std::string& object)
{
    return "<< /Names [" + repeated(count, [&](int) { return "(same) " + reference(builder.add(object)) + " "; })
        + "] >>";
}

} // namespace

/// Small files that once took minutes or all memory, because something was done again for each of its parts. Every one
/// is so large that it would run into the time limit of the test if it were so again.
class HostileDocumentsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void claimsAreLookedForOnce_data()
    {
        QTest::addColumn<QByteArray>("packet");
        QTest::addColumn<QByteArray>("kept");
        const QByteArray claim = "<x pdfaid:part=\"1\">a<pdfaid:part>1</pdfaid:part>b</x>";
        const QByteArray rest = "<x >ab</x>";
        for (const char* const standard : {"pdfaid", "pdfuaid", "pdfxid", "pdfvtid"})
            QTest::newRow(standard) << QByteArray(claim).replace("pdfaid", standard) << rest;
        const int count = 1 << 17;
        for (const char* const noise :
             {"<pdfaid:", " pdfaid:", "</pdfaid:", "<pdfaid:a ", " pdfaid:a=", "<pdfaid:a>"}) {
            const QByteArray many = QByteArray(noise).repeated(count);
            QTest::newRow(noise) << claim + many << rest + many;
        }
        QTest::newRow("many claims") << claim.repeated(count / 8) << rest.repeated(count / 8);
    }
    void claimsAreLookedForOnce()
    {
        QFETCH(QByteArray, packet);
        QFETCH(QByteArray, kept);
        TemporaryFolder folder;
        PDFBuilder builder;
        builder.addPage({});
        builder.addToCatalog("/Metadata "
                             + reference(builder.addStream(packet.toStdString(), "/Type /Metadata /Subtype /XML")));
        const Path file = merged(folder.write("claims.pdf", builder.build()));
        const InspectedPDF document(file);
        const QString metadata = document.catalog().toObject().value(QStringLiteral("/Metadata")).toString();
        QProcess process;
        process.start(QStringLiteral("qpdf"),
                      {QStringLiteral("--show-object=") + metadata.section(u' ', 0, 0),
                       QStringLiteral("--filtered-stream-data"), QFile::decodeName(file.c_str())});
        QVERIFY(process.waitForFinished(-1));
        QVERIFY(process.readAllStandardOutput() == kept);
    }

    void theCatalogueIsFoundAmongItsLikes()
    {
        TemporaryFolder folder;
        PDFBuilder builder;
        builder.addPage({});
        std::string content = builder.build();
        content.resize(content.rfind("xref\n0")); // only the catalogue object leads to the pages now
        content += "(no number) obj " + repeated(200'000, "/Catalog ");
        const InspectedPDF document(merged(folder.write("catalogues.pdf", content)));
        QCOMPARE(document.pageCount(), 1);
    }

    void manyNamesAlikeGetNumbers()
    {
        TemporaryFolder folder;
        constexpr int count = 40'000;
        PDFBuilder builder;
        builder.addPage({});
        const std::string files = alikeNames(builder, count, "<< /Type /Filespec /UF (a.txt) >>");
        const std::string scripts = alikeNames(builder, count, "<< /S /JavaScript /JS (1) >>");
        builder.addToCatalog("/Names << /EmbeddedFiles " + files + " /JavaScript " + scripts + " >>");
        const InspectedPDF document(merged(folder.write("names.pdf", builder.build())));
        const QJsonValue names = document.at(document.catalog(), "/Names");
        const QJsonArray attached = document.at(names, "/EmbeddedFiles", "/Names").toArray();
        QCOMPARE(attached.size(), 2 * count);
        QStringList shown;
        for (int index = 1; index < 2 * count; index += 2)
            shown.append(document.at(attached.at(index), "/UF").toString());
        QVERIFY(shown.contains(QStringLiteral("u:a.txt")));
        QVERIFY(shown.contains(QStringLiteral("u:a %1.txt").arg(count)));
        QCOMPARE(shown.removeDuplicates(), 0);
        QCOMPARE(document.at(names, "/JavaScript", "/Names").toArray().size(), 2 * count);
    }

    void listsThatManyNodesShareAreReadOnce()
    {
        TemporaryFolder folder;
        constexpr int count = 15'000;
        PDFBuilder builder;
        const int page = builder.addPage({});
        const int kids = builder.reserve();
        const int leaves = builder.add("[" + repeated(count, "(a) " + reference(page) + " ") + "]");
        const int numbers =
            builder.add("[" + repeated(count, [](int key) { return std::to_string(key) + " << >> "; }) + "]");
        const std::string node = "<< /Type /Pages /Kids " + reference(kids) + " /K " + reference(kids) + " /Names "
            + reference(leaves) + " /Nums " + reference(numbers) + " >>";
        const std::string nodes = repeated(count, [&](int) { return reference(builder.add(node)) + " "; });
        builder.set(kids, "[" + reference(page) + " " + nodes + "]");
        builder.set(2, node);
        builder.addToCatalog("/Names << /Dests 2 0 R /EmbeddedFiles 2 0 R /JavaScript 2 0 R >> /PageLabels 2 0 R "
                             "/StructTreeRoot << /K [2 0 R] /ParentTree 2 0 R /IDTree 2 0 R >> "
                             "/AcroForm << /Fields [2 0 R] >>");
        const Path file = folder.write("shared.pdf", builder.build());
        QCOMPARE(InspectedPDF(merged(file)).pageCount(), 1);
        QCOMPARE(PDFRender::open(file)->pageCount(), 1);
    }

    void layersInCirclesEnd()
    {
        TemporaryFolder folder;
        PDFBuilder builder;
        const int layer = builder.add("<< /Type /OCG /Name (Layer) >>");
        const int round = builder.reserve();
        const std::string twice = reference(round) + " " + reference(round);
        builder.set(round, "[" + twice + " " + reference(layer) + "]");
        builder.addPage({"", "[0 0 90 60]", "", "/Properties << /L " + reference(layer) + " >>"});
        builder.addToCatalog("/OCProperties << /OCGs [" + reference(layer) + "] /D << /Order [" + twice
                             + "] /RBGroups [" + twice + "] /Locked [" + twice + "] >> >>");
        const InspectedPDF document(merged(folder.write("layers.pdf", builder.build())));
        QCOMPARE(document.at(document.catalog(), "/OCProperties", "/OCGs").toArray().size(), 1);
    }

    /// What belongs to the document as a whole is not gone through for each page.
    void splittingIsLinearInWhatPagesShare()
    {
        TemporaryFolder folder;
        constexpr int pageCount = 1'000;
        constexpr int entryCount = 100'000;
        PDFBuilder builder;
        const int layer = builder.add("<< /Type /OCG /Name (Used) >>");
        const std::string resources = "/Properties << /L " + reference(layer) + " >>";
        for (int index = 0; index < pageCount; ++index)
            builder.addPage({"", "[0 0 90 60]", "", resources});
        const int first = builder.reserve();
        int last = first;
        for (int index = 1; index < entryCount; ++index) {
            const int next = index + 1 < entryCount ? builder.reserve() : 0;
            builder.set(last,
                        "<< /Title (" + std::to_string(index) + ") /Dest ["
                            + reference(builder.pageObject(index % pageCount)) + " /Fit] "
                            + (next ? "/Next " + reference(next) : std::string()) + " >>");
            last = next;
        }
        const std::string layers =
            repeated(entryCount, [&](int) { return reference(builder.add("<< /Type /OCG /Name (Unused) >>")) + " "; });
        const std::string labels = repeated(entryCount, [](int key) {
            return std::to_string(key) + " << /S /D /P (" + std::to_string(key) + "-) >> ";
        });
        builder.addToCatalog("/Outlines << /First " + reference(first) + " >> /OCProperties << /OCGs [" + layers
                             + reference(layer) + "] >> /PageLabels << /Nums [" + labels + "] >>");
        const Path pages = Engine::splitPDF(folder.write("a.pdf", builder.build())).outputs.front();
        const InspectedPDF page(pages / "a 12.pdf");
        QVERIFY(page.outline().startsWith(QStringLiteral("11>0 1011>0 ")));
        QCOMPARE(page.outline().count(u'>'), entryCount / pageCount);
        QCOMPARE(page.at(page.catalog(), "/OCProperties", "/OCGs").toArray().size(), 1);
        QCOMPARE(page.at(page.catalog(), "/PageLabels", "/Nums", 1, "/P").toString(), QStringLiteral("u:11-"));
    }

    /// Each page would place all of them.
    void pagesCannotShareAnyNumberOfAnnotations()
    {
        TemporaryFolder folder;
        PDFBuilder builder;
        const std::string notes = repeated(5'000, [&](int) {
            return reference(builder.add("<< /Type /Annot /Subtype /Text /Rect [0 0 9 9] >>")) + " ";
        });
        const std::string entry = "/Annots " + reference(builder.add("[" + notes + "]"));
        for (int index = 0; index < 5'000; ++index)
            builder.addPage({"", "[0 0 90 60]", entry, ""});
        const Path file = folder.write("notes.pdf", builder.build());
        QVERIFY_EXCEPTION_THROWN(merged(file), EngineError);
        QCOMPARE(folder.names(), std::vector<std::string>{"notes.pdf"});
    }

    /// Only names are compared: to follow what stands at a path that a document names could mount a network drive.
    void pathsInLinksAreNotLookedUp()
    {
        TemporaryFolder folder;
        const auto linked = [](const std::string& target) {
            PDFBuilder builder;
            builder.addPage({"", "[0 0 90 60]",
                             "/Annots [<< /Type /Annot /Subtype /Link /Rect [0 0 9 9] /A << /S /GoToR /F (" + target
                                 + ") /D [0 /Fit] >> >>]",
                             ""});
            return builder.build();
        };
        const Path other = folder.write("b.pdf", documentWith({{}}));
        std::filesystem::create_symlink(".", folder / "here");
        const auto kindIn = [&](const std::string& target) {
            const std::vector files{folder.write("a.pdf", linked(target)), other};
            const InspectedPDF document(Engine::mergePDFs(files).outputs.front());
            return document.at(document.page(0), "/Annots", 0, "/A", "/S").toString();
        };
        QCOMPARE(kindIn("./x/../b.pdf"), QStringLiteral("/GoTo"));
        QCOMPARE(kindIn("here/b.pdf"), QStringLiteral("/GoToR"));
    }

    void aDocumentCutShortMeanwhileIsNoSuccess()
    {
        TemporaryFolder folder;
        PDFBuilder builder;
        const std::string large(80 << 20, ' '); // not read into memory at once
        builder.addPage({textAt(9, 30, 12, "One"), "[0 0 90 60]", "", ""});
        builder.addPage({large + textAt(9, 30, 12, "Two"), "[0 0 90 60]", "", ""});
        for (int index = 0; index < 38; ++index)
            builder.addPage({textAt(9, 30, 12, "More"), "[0 0 90 60]", "", ""});
        const std::string content = builder.build();
        JobControl control;
        Path file;
        control.progress = [&](int, int) {
            std::filesystem::resize_file(file, 4000);
        };
        file = folder.write("a.pdf", content);
        QVERIFY_EXCEPTION_THROWN(Engine::mergePDFs(std::vector{file}, control), EngineError);
        file = folder.write("a.pdf", content);
        QVERIFY_EXCEPTION_THROWN(Engine::splitPDF(file, control), EngineError);
        file = folder.write("a.pdf", content);
        QVERIFY_EXCEPTION_THROWN(Engine::convert(file, FileFormat::png, {}, control), EngineError);
        QCOMPARE(folder.names(), std::vector<std::string>{"a.pdf"});
    }

    void aSparseFileIsRefusedAtOnce()
    {
        TemporaryFolder folder;
        const Path file = folder.write("sparse.pdf", documentWith({{}}));
        std::filesystem::resize_file(file, std::uintmax_t{20} << 30);
        QVERIFY_EXCEPTION_THROWN(merged(file), EngineError);
        QVERIFY_EXCEPTION_THROWN(PDFRender::open(file), EngineError);
    }
};

QTEST_GUILESS_MAIN(HostileDocumentsTest)
#include "HostileDocumentsTest.moc"
