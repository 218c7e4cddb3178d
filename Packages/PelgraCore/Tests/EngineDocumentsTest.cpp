#include "PelgraCore/Engine.h"

#include "DocumentsModule.h"
#include "ModuleLoader.h"
#include "Support/MemorySink.h"
#include "Support/PDFInspection.h"
#include "Support/PDFSamples.h"
#include "Support/TemporaryFolder.h"

#include <QTest>

#include <functional>

using namespace Pelgra;

namespace {

using Path = std::filesystem::path;

/// Three pages with links 1→3 (explicit), 3→1 (by name) and 2→2 (an action), and an outline of a chapter for each.
std::string linkedDocument(const std::string& title = "Linked")
{
    PDFBuilder builder;
    const int links[] = {builder.reserve(), builder.reserve(), builder.reserve()};
    for (int index = 0; index < 3; ++index)
        builder.addPage({textAt(72, 700, 24, "Page " + std::to_string(index + 1)), "[0 0 612 792]",
                         "/Annots [" + reference(links[index]) + "]", ""});
    const std::string link = "<< /Type /Annot /Subtype /Link /Rect [72 600 172 620] ";
    builder.set(links[0], link + "/Dest [" + reference(builder.pageObject(2)) + " /XYZ 72 700 null] >>");
    builder.set(links[1], link + "/A << /S /GoTo /D [" + reference(builder.pageObject(1)) + " /Fit] >> >>");
    builder.set(links[2], link + "/A << /S /GoTo /D (first) >> >>");
    const int first = builder.reserve();
    const int child = builder.reserve();
    const int second = builder.reserve();
    const int outline =
        builder.add("<< /Type /Outlines /First " + reference(first) + " /Last " + reference(second) + " /Count 3 >>");
    builder.set(first,
                "<< /Title (One) /Parent " + reference(outline) + " /Next " + reference(second) + " /First "
                    + reference(child) + " /Last " + reference(child) + " /Count 1 /Dest (first) >>");
    builder.set(child,
                "<< /Title (Three) /Parent " + reference(first) + " /Dest [" + reference(builder.pageObject(2))
                    + " /Fit] >>");
    builder.set(second,
                "<< /Title (Two) /Parent " + reference(outline) + " /Prev " + reference(first) + " /A << /S /GoTo /D ["
                    + reference(builder.pageObject(1)) + " /Fit] >> >>");
    builder.addToCatalog("/Outlines " + reference(outline) + " /Names << /Dests << /Names [(first) << /D ["
                         + reference(builder.pageObject(0)) + " /Fit] >>] >> >> /Lang (en-GB)");
    builder.addToTrailer("/Info " + reference(builder.add("<< /Title (" + title + ") >>")));
    return builder.build();
}

/// Pages that only say their number, each with further entries.
std::string plainDocument(int pageCount, const std::string& entries = {})
{
    PDFBuilder builder;
    for (int index = 0; index < pageCount; ++index)
        builder.addPage({textAt(72, 700, 24, "Plain " + std::to_string(index + 1)), "[0 0 612 792]", entries, ""});
    return builder.build();
}

/// Two pages; one text field with a widget on each, and a field of one widget on the first.
std::string formDocument()
{
    PDFBuilder builder;
    const int field = builder.reserve();
    const int widgets[] = {builder.reserve(), builder.reserve()};
    const int single = builder.reserve();
    builder.addPage({"", "[0 0 612 792]", "/Annots [" + reference(widgets[0]) + " " + reference(single) + "]", ""});
    builder.addPage({"", "[0 0 612 792]", "/Annots [" + reference(widgets[1]) + "]", ""});
    builder.set(field,
                "<< /FT /Tx /T (Name) /V (Ada) /Kids [" + reference(widgets[0]) + " " + reference(widgets[1]) + "] >>");
    for (int index = 0; index < 2; ++index)
        builder.set(widgets[index],
                    "<< /Type /Annot /Subtype /Widget /Rect [72 500 272 520] /Parent " + reference(field) + " /P "
                        + reference(builder.pageObject(index)) + " >>");
    builder.set(single, "<< /Type /Annot /Subtype /Widget /FT /Tx /T (Town) /V (London) /Rect [72 400 272 420] >>");
    builder.addToCatalog("/AcroForm << /Fields [" + reference(field) + " " + reference(single)
                         + "] /DA (/Helv 12 Tf 0 g) /DR << /Font << /Helv 3 0 R >> >> >>");
    return builder.build();
}

std::vector<PageEdit> edits(std::initializer_list<int> indexes)
{
    std::vector<PageEdit> result;
    for (const int index : indexes)
        result.emplace_back(index, 0);
    return result;
}

Path merged(std::initializer_list<Path> files)
{
    return Engine::mergePDFs(std::vector<Path>(files)).outputs.front();
}

Path organised(const Path& file, const std::vector<PageEdit>& pages, bool uniformWidth = false)
{
    return Engine::organizePDF(file, pages, uniformWidth).outputs.front();
}

/// The cause of the engine's failure; none when it does not fail.
std::optional<EngineError::Cause> failureOf(const std::function<void()>& work)
{
    try {
        work();
    } catch (const EngineError& error) {
        return error.cause();
    }
    return std::nullopt;
}

} // namespace

class EngineDocumentsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void mergingKeepsLinksInsideEachCopy()
    {
        TemporaryFolder folder;
        const Path file = folder.write("a.pdf", linkedDocument());
        const Path output = merged({file, file});
        QCOMPARE(output, folder / "a Merged.pdf");
        const InspectedPDF document(output);
        QCOMPARE(document.pageCount(), 6);
        QCOMPARE(document.linkTargets(0), QList<int>{2});
        QCOMPARE(document.linkTargets(2), QList<int>{0});
        QCOMPARE(document.linkTargets(3), QList<int>{5});
        QCOMPARE(document.linkTargets(4), QList<int>{4});
        QCOMPARE(document.linkTargets(5), QList<int>{3});
        QCOMPARE(document.outline(), QStringLiteral("One>0(Three>2) Two>1 One>3(Three>5) Two>4"));
        QCOMPARE(document.at(document.catalog(), "/Lang").toString(), QStringLiteral("u:en-GB"));
        QCOMPARE(document.at(document.trailer(), "/Info", "/Title").toString(), QStringLiteral("u:Linked"));
    }

    void organisingDropsWhatLeadsToDroppedPages()
    {
        TemporaryFolder folder;
        const Path file = folder.write("a.pdf", linkedDocument());
        const InspectedPDF reversed(organised(file, edits({2, 1, 0})));
        QCOMPARE(reversed.linkTargets(0), QList<int>{2});
        QCOMPARE(reversed.linkTargets(2), QList<int>{0});
        QCOMPARE(reversed.outline(), QStringLiteral("One>2(Three>0) Two>1"));

        const InspectedPDF duplicated(organised(file, edits({2, 0, 0})));
        QCOMPARE(duplicated.linkTargets(0), QList<int>{1});
        QCOMPARE(duplicated.linkTargets(1), QList<int>{0});
        QCOMPARE(duplicated.linkTargets(2), QList<int>{0});
        QCOMPARE(duplicated.outline(), QStringLiteral("One>1(Three>0)"));

        const InspectedPDF last(organised(file, edits({2})));
        QVERIFY2(last.linkTargets(0).isEmpty(), "a link to a dropped page must go");
        QCOMPARE(last.outline(), QStringLiteral("One>0(Three>0)"));
        const InspectedPDF middle(organised(file, edits({1})));
        QCOMPARE(middle.outline(), QStringLiteral("Two>0"));
    }

    void linksBetweenMergedFilesBecomeInternal()
    {
        TemporaryFolder folder;
        PDFBuilder builder;
        builder.addPage({"", "[0 0 612 792]",
                         "/Annots [<< /Subtype /Link /Rect [0 0 9 9] /A << /S /GoToR /F (b.pdf) /D [1 /Fit] >> >>"
                         " << /Subtype /Link /Rect [0 0 9 9] /A << /S /GoToR /F (c.pdf) /D [1 /Fit] >> >>]",
                         ""});
        const Path file = folder.write("a.pdf", builder.build());
        const InspectedPDF document(merged({file, folder.write("b.pdf", linkedDocument())}));
        QCOMPARE(document.linkTargets(0).first(), 2);
        QCOMPARE(document.at(document.page(0), "/Annots", 1, "/A", "/S").toString(), QStringLiteral("/GoToR"));
    }

    void fieldsKeepTheirValuesUnderUniqueNames()
    {
        TemporaryFolder folder;
        const Path file = folder.write("form.pdf", formDocument());
        const InspectedPDF document(merged({file, file}));
        QCOMPARE(document.fieldNames(), QStringList({"Name", "Town", "Name 2", "Town 2"}));
        for (const int field : {0, 2}) {
            const QJsonValue name = document.at(document.catalog(), "/AcroForm", "/Fields", field);
            QCOMPARE(document.at(name, "/V").toString(), QStringLiteral("u:Ada"));
            QCOMPARE(document.at(name, "/Kids").toArray().size(), 2);
        }
        // A second copy of one page has the part of the field that is there.
        const InspectedPDF duplicated(organised(file, edits({1, 0, 1})));
        QCOMPARE(duplicated.fieldNames(), QStringList({"Name", "Town", "Name 2"}));
        const QJsonValue copy = duplicated.at(duplicated.catalog(), "/AcroForm", "/Fields", 2);
        QCOMPARE(duplicated.at(copy, "/Kids").toArray().size(), 1);
        QCOMPARE(duplicated.at(copy, "/Kids", 0, "/P"), duplicated.page(2));
    }

    void errorsNameTheirCause()
    {
        TemporaryFolder folder;
        const Path file = folder.write("a.pdf", plainDocument(5));
        const Path broken = folder.write("broken.pdf", "not a document");
        const Path missing = folder / "missing.pdf";
        const EngineError::Cause noPages = EngineError::NoPages{};
        PDFBuilder empty;
        const Path zero = folder.write("zero.pdf", empty.build());
        QVERIFY(failureOf([] { Engine::mergePDFs({}); }) == EngineError::Cause(EngineError::NoInputs{}));
        QVERIFY(failureOf([&] { merged({file, broken}); }) == EngineError::Cause(EngineError::Unreadable{broken}));
        QVERIFY(failureOf([&] { merged({missing}); }) == EngineError::Cause(EngineError::Unreadable{missing}));
        QVERIFY(failureOf([&] { merged({zero}); }) == noPages);
        QVERIFY(failureOf([&] { Engine::splitPDF(zero); }) == noPages);
        QVERIFY(failureOf([&] { organised(file, {}); }) == noPages);
        for (const int index : {5, -1})
            QVERIFY(failureOf([&] {
                        organised(file, edits({0, index}));
                    })
                    == EngineError::Cause(EngineError::PageOutOfRange{index}));
        QCOMPARE(folder.names(), (std::vector<std::string>{"a.pdf", "broken.pdf", "zero.pdf"}));
    }

    void splittingNamesEveryPage()
    {
        TemporaryFolder folder;
        const Path file = folder.write("a.b.pdf", linkedDocument());
        const JobResult result = Engine::splitPDF(file);
        QCOMPARE(result.outputs, std::vector<Path>{folder / "a.b Pages"});
        for (int number = 1; number <= 3; ++number) {
            const InspectedPDF page(folder / "a.b Pages" / ("a.b " + std::to_string(number) + ".pdf"));
            QCOMPARE(page.pageCount(), 1);
            QCOMPARE(page.linkTargets(0), number == 2 ? QList<int>{0} : QList<int>{});
        }
        QCOMPARE(Engine::splitPDF(file).displayName, std::string("a.b Pages 2"));
    }
};

QTEST_GUILESS_MAIN(EngineDocumentsTest)
#include "EngineDocumentsTest.moc"
