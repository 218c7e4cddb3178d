#include "engine/PageFolder.h"
#include "PelgraCore/Engine.h"
#include "Support/PDFInspection.h"
#include "Support/PDFSamples.h"
#include "Support/TemporaryFolder.h"

#include <QTest>

#include <functional>
#include <semaphore>

using namespace Pelgra;

namespace {

using Path = std::filesystem::path;

/// Three pages with links 1→3 (explicit), 3→1 (by name) and 2→2 (an action), and an outline of a chapter for each, the
/// third folded into the first. Opens at the third.
std::string linkedDocument()
{
    PDFBuilder builder;
    const int links[] = {builder.reserve(), builder.reserve(), builder.reserve()};
    for (int index = 0; index < 3; ++index)
        builder.addPage({textAt(72, 700, 24, "Page " + std::to_string(index + 1)), "[0 0 612 792]",
                         "/Annots [" + reference(links[index]) + "]", ""});
    const std::string link = "<< /Type /Annot /Subtype /Link /Border [0 0 0] /Rect [72 600 172 620] ";
    builder.set(links[0], link + "/Dest [" + reference(builder.pageObject(2)) + " /XYZ 72 700 null] >>");
    builder.set(links[1], link + "/A << /S /GoTo /D [" + reference(builder.pageObject(1)) + " /Fit] >> >>");
    builder.set(links[2], link + "/A << /S /GoTo /D (first) >> >>");
    const int first = builder.reserve();
    const int child = builder.reserve();
    const int second = builder.reserve();
    const int outline =
        builder.add("<< /Type /Outlines /First " + reference(first) + " /Last " + reference(second) + " /Count 2 >>");
    builder.set(first,
                "<< /Title (One) /Parent " + reference(outline) + " /Next " + reference(second) + " /First "
                    + reference(child) + " /Last " + reference(child) + " /Count -1 /Dest (first) >>");
    builder.set(child,
                "<< /Title (Three) /Parent " + reference(first) + " /Dest [" + reference(builder.pageObject(2))
                    + " /Fit] >>");
    builder.set(second,
                "<< /Title (Two) /Parent " + reference(outline) + " /Prev " + reference(first) + " /A << /S /GoTo /D ["
                    + reference(builder.pageObject(1)) + " /Fit] >> >>");
    builder.addToCatalog("/Outlines " + reference(outline) + " /Names << /Dests << /Names [(first) << /D ["
                         + reference(builder.pageObject(0)) + " /Fit] >>] >> >> /Lang (en-GB) /OpenAction ["
                         + reference(builder.pageObject(2)) + " /Fit]");
    builder.addToTrailer("/Info " + reference(builder.add("<< /Title (Linked) /Author (Ada) >>")));
    return builder.build();
}

/// Pages that show nothing but their number, each with further entries.
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
        QCOMPARE(document.at(document.catalog(), "/Outlines", "/First", "/Count").toInt(), -1);
        QCOMPARE(document.targetOf(document.at(document.catalog(), "/OpenAction")), 2);
        QCOMPARE(document.at(document.trailer(), "/Info", "/Title").toString(), QStringLiteral("u:Linked"));
        QVERIFY2(document.at(document.trailer(), "/Info", "/Author").isUndefined(), "it may be others' work as well");
    }

    void organisingDropsWhatLeadsToDroppedPages()
    {
        TemporaryFolder folder;
        const Path file = folder.write("a.pdf", linkedDocument());
        const InspectedPDF reversed(organised(file, edits({2, 1, 0})));
        QCOMPARE(reversed.linkTargets(0), QList<int>{2});
        QCOMPARE(reversed.linkTargets(2), QList<int>{0});
        QCOMPARE(reversed.outline(), QStringLiteral("One>2(Three>0) Two>1"));
        QCOMPARE(reversed.targetOf(reversed.at(reversed.catalog(), "/OpenAction")), 0);
        QCOMPARE(reversed.at(reversed.trailer(), "/Info", "/Author").toString(), QStringLiteral("u:Ada"));

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

    void fontsOfFormsDoNotCollide()
    {
        // The other form calls a different font by the same name.
        TemporaryFolder folder;
        std::string other = formDocument();
        other.replace(other.find("/BaseFont /Helvetica"), 20, "/BaseFont /Courier  ");
        const InspectedPDF document(merged({folder.write("a.pdf", formDocument()), folder.write("b.pdf", other)}));
        const QJsonValue form = document.at(document.catalog(), "/AcroForm");
        QCOMPARE(document.at(form, "/DR", "/Font", "/Helv", "/BaseFont").toString(), QStringLiteral("/Helvetica"));
        QCOMPARE(document.at(form, "/DR", "/Font", "/Helv_2", "/BaseFont").toString(), QStringLiteral("/Courier"));
        QCOMPARE(document.at(form, "/Fields", 2, "/DA").toString(), QStringLiteral("u:/Helv_2 12 Tf 0 g"));
    }

    void hiddenLayersStayHidden()
    {
        TemporaryFolder folder;
        const Path plain = folder.write("plain.pdf", plainDocument(1));
        for (const bool isBase : {false, true}) {
            PDFBuilder builder;
            const int hidden = builder.add("<< /Type /OCG /Name (Hidden) >>");
            const int shown = builder.add("<< /Type /OCG /Name (Shown) >>");
            const std::string both = reference(hidden) + " " + reference(shown);
            builder.addPage({"/OC /Layer BDC EMC", "[0 0 612 792]", "",
                             "/Properties << /Layer " + reference(hidden) + " /Other " + reference(shown) + " >>"});
            const std::string state =
                isBase ? "/BaseState /OFF /ON [" + reference(shown) + "]" : "/OFF [" + reference(hidden) + "]";
            builder.addToCatalog("/OCProperties << /OCGs [" + both + "] /D << /Order [" + both + "] " + state
                                 + " >> >>");
            const Path file = folder.write("layers.pdf", builder.build());
            const InspectedPDF document(merged({plain, file}));
            const QJsonValue properties = document.at(document.catalog(), "/OCProperties");
            QCOMPARE(document.at(properties, "/OCGs").toArray().size(), 2);
            const QJsonArray off = document.at(properties, "/D", "/OFF").toArray();
            QCOMPARE(off.size(), 1);
            QCOMPARE(document.at(off.at(0), "/Name").toString(), QStringLiteral("u:Hidden"));
            QCOMPARE(document.at(document.page(1), "/Resources", "/Properties").toObject().value("/Layer"), off.at(0));
            // A part that does not use a layer does not list it either.
            const InspectedPDF part(organised(merged({file, plain}), edits({1})));
            QVERIFY(!part.catalog().toObject().contains("/OCProperties"));
        }
    }

    void attachmentsKeepTheirContentUnderUniqueNames()
    {
        TemporaryFolder folder;
        const auto attached = [&](const char* name, const std::string& content) {
            PDFBuilder builder;
            builder.addPage({});
            builder.addPage({});
            const int file = builder.addStream(content, "/Type /EmbeddedFile");
            const int specification =
                builder.add("<< /Type /Filespec /F (data.txt) /UF (data.txt) /EF << /F " + reference(file) + " >> >>");
            builder.addToCatalog("/PageMode /UseAttachments /Names << /EmbeddedFiles << /Names [(data.txt) "
                                 + reference(specification) + "] >> >>");
            return folder.write(name, builder.build());
        };
        const Path first = attached("a.pdf", "first");
        const InspectedPDF document(merged({first, attached("b.pdf", "second"), first}));
        const QJsonArray names = document.at(document.catalog(), "/Names", "/EmbeddedFiles", "/Names").toArray();
        QCOMPARE(names.size(), 4); // the same file given twice brings its attachment once
        QSet<QString> shown;
        for (const int place : {1, 3})
            shown.insert(document.at(names.at(place), "/UF").toString());
        QCOMPARE(shown, QSet<QString>({"u:data.txt", "u:data 2.txt"}));
        // Of the pages of a split, the first brings them.
        const Path pages = Engine::splitPDF(first).outputs.front();
        for (const int number : {1, 2}) {
            const InspectedPDF page(pages / ("a " + std::to_string(number) + ".pdf"));
            for (const char* const entry : {"/Names", "/PageMode"})
                QCOMPARE(page.at(page.catalog(), entry).isUndefined(), number == 2);
        }
    }

    void pageLabelsFollowTheirPages()
    {
        TemporaryFolder folder;
        PDFBuilder builder;
        for (int index = 0; index < 4; ++index)
            builder.addPage({});
        builder.addToCatalog("/PageLabels << /Nums [0 << /S /r >> 2 << /S /D /P (A-) /St 5 >>] >>");
        const Path file = folder.write("labels.pdf", builder.build());
        const auto labels = [](const InspectedPDF& document) {
            const QJsonValue numbers = document.at(document.catalog(), "/PageLabels", "/Nums");
            return QString::fromUtf8(QJsonDocument(numbers.toArray()).toJson(QJsonDocument::Compact));
        };
        QCOMPARE(labels(InspectedPDF(organised(file, edits({3, 0, 1, 0})))),
                 QStringLiteral(R"([0,{"/P":"u:A-","/S":"/D","/St":6},1,{"/S":"/r"},3,{"/S":"/r"}])"));
        QCOMPARE(labels(InspectedPDF(merged({folder.write("plain.pdf", plainDocument(2)), file}))),
                 QStringLiteral(R"([0,{"/S":"/D"},2,{"/S":"/r"},4,{"/P":"u:A-","/S":"/D","/St":5}])"));
    }

    void rotationsSnapToQuarterTurns()
    {
        TemporaryFolder folder;
        const Path file = folder.write("a.pdf", plainDocument(1, "/Rotate 44"));
        const InspectedPDF document(organised(file, {PageEdit(0, 0), PageEdit(0, -90), PageEdit(0, 450)}));
        QCOMPARE(document.page(0).toObject().value("/Rotate").toInt(), 0);
        QCOMPARE(document.page(1).toObject().value("/Rotate").toInt(), 270); // 44 - 90 = -46
        QCOMPARE(document.page(2).toObject().value("/Rotate").toInt(), 90);
    }

    void scaledPagesKeepLinksAndFieldsInPlace()
    {
        // The wide page is turned by 90 degrees and cropped to 400 × 600 points: 600 wide as displayed, the other 300.
        TemporaryFolder folder;
        PDFBuilder builder;
        const int link = builder.reserve();
        const int appearance = builder.addStream("0 0 40 20 re f", "/Type /XObject /Subtype /Form /BBox [0 0 40 20]");
        const int upright = builder.add("<< /Subtype /Text /F 16 /Rect [300 300 340 320] /AP << /N "
                                        + reference(appearance) + " >> >>"); // does not turn with its page
        const int words = builder.add("<< /Subtype /FreeText /Rect [200 100 240 120] /DA (/Helv 12 Tf 0 g) /AP << /N "
                                      + reference(appearance) + " >> >>");
        builder.addPage({filledRectangle(100, 100, 50, 20, 1, 0, 0), "[0 0 1000 1000]",
                         "/CropBox [100 100 500 700] /Rotate 90 /Annots [" + reference(link) + " " + reference(upright)
                             + " " + reference(words) + "]",
                         ""});
        builder.addPage({"", "[0 0 300 500]", "", ""});
        builder.set(link,
                    "<< /Subtype /Link /Rect [100 100 150 120] /QuadPoints [100 120 150 120 100 100 150 100]"
                    " /Border [0 0 2] /Dest ["
                        + reference(builder.pageObject(0)) + " /XYZ 100 700 null] >>");
        const Path file = folder.write("wide.pdf", builder.build());
        const InspectedPDF document(organised(file, edits({0, 1}), true));
        const QJsonValue page = document.page(0);
        QCOMPARE(document.at(page, "/MediaBox").toArray(), QJsonArray({0, 0, 300, 200}));
        QVERIFY(!page.toObject().contains("/Rotate") && !page.toObject().contains("/CropBox"));
        // (x, y) lies at ((y - 100) / 2, (500 - x) / 2).
        QCOMPARE(document.at(page, "/Annots", 0, "/Rect").toArray(), QJsonArray({0, 175, 10, 200}));
        QCOMPARE(document.at(page, "/Annots", 1, "/Rect").toArray(), QJsonArray({110, 90, 130, 100}));
        QVERIFY(!document.at(page, "/Annots", 1, "/AP", "/N").toObject().contains("/Matrix"));
        QCOMPARE(document.at(page, "/Annots", 0, "/QuadPoints").toArray(),
                 QJsonArray({10, 200, 10, 175, 0, 200, 0, 175}));
        QCOMPARE(document.at(page, "/Annots", 0, "/Border").toArray(), QJsonArray({0, 0, 1}));
        QCOMPARE(document.at(page, "/Annots", 2, "/DA").toString(), QStringLiteral("u:/Helv 6 Tf 0 g"));
        QCOMPARE(document.at(page, "/Annots", 2, "/AP", "/N", "/Matrix").toArray(),
                 QJsonArray({0, -0.5, 0.5, 0, 0, 0}));
        QCOMPARE(document.at(page, "/Annots", 0, "/Dest").toArray().at(2).toDouble(), 300.0);
        QCOMPARE(document.at(page, "/Annots", 0, "/Dest").toArray().at(3).toDouble(), 200.0);
        QCOMPARE(document.at(page, "/Resources", "/XObject", "/Page", "/BBox").toArray(),
                 QJsonArray({100, 100, 500, 700}));
        QCOMPARE(document.at(document.page(1), "/MediaBox").toArray(), QJsonArray({0, 0, 300, 500}));
    }

    void uniformWidthLeavesAloneWhatIsNarrowEnough()
    {
        TemporaryFolder folder;
        PDFBuilder builder;
        for (const char* const box : {"[0 0 300 500]", "[0 0 300.009 500]", "[0 0 300.02 500]"})
            builder.addPage({"", box, "", ""});
        const InspectedPDF document(organised(folder.write("a.pdf", builder.build()), edits({0, 1, 2}), true));
        QCOMPARE(document.at(document.page(1), "/MediaBox").toArray().at(2).toDouble(), 300.009);
        QCOMPARE(document.at(document.page(2), "/MediaBox").toArray().at(2).toDouble(), 300.0);
    }

    void uniformWidthHoldsForReadersThatScalePages()
    {
        TemporaryFolder folder;
        const Path file = folder.write("a.pdf", plainDocument(2, "/UserUnit 2"));
        const InspectedPDF document(organised(file, edits({1, 0}), true));
        QVERIFY(!document.page(0).toObject().contains("/UserUnit"));
        QCOMPARE(InspectedPDF(organised(file, edits({0}))).page(0).toObject().value("/UserUnit").toInt(), 2);
    }

    void tagsFollowTheirPages()
    {
        // A section with a paragraph on each of two pages and an empty cell.
        TemporaryFolder folder;
        PDFBuilder builder;
        for (int index = 0; index < 2; ++index)
            builder.addPage({"/P << /MCID 0 >> BDC EMC", index == 0 ? "[0 0 306 396]" : "[0 0 612 792]",
                             "/StructParents " + std::to_string(index), ""});
        const int root = builder.reserve();
        const int section = builder.reserve();
        const int paragraphs[] = {builder.reserve(), builder.reserve()};
        const int vocabulary = builder.add("<< /Type /Namespace /NS (http://iso.org/pdf2/ssn) >>");
        const int cell = builder.add("<< /S /TD /P " + reference(section) + " /NS " + reference(vocabulary) + " >>");
        for (int index = 0; index < 2; ++index)
            builder.set(paragraphs[index],
                        "<< /Type /StructElem /S /P /P " + reference(section) + " /Pg "
                            + reference(builder.pageObject(index)) + " /K 0 >>");
        builder.set(section,
                    "<< /S /Sect /P " + reference(root) + " /K [" + reference(paragraphs[0]) + " "
                        + reference(paragraphs[1]) + " " + reference(cell) + "] >>");
        builder.set(root,
                    "<< /Type /StructTreeRoot /K " + reference(section) + " /ParentTree << /Nums [0 ["
                        + reference(paragraphs[0]) + "] 1 [" + reference(paragraphs[1]) + "]] >> /Namespaces ["
                        + reference(vocabulary) + "] >>");
        builder.addToCatalog("/MarkInfo << /Marked true >> /Version /2.0 /StructTreeRoot " + reference(root));
        const Path file = folder.write("tagged.pdf", builder.build());

        const InspectedPDF twice(merged({file, file}));
        const QJsonValue tree = twice.at(twice.catalog(), "/StructTreeRoot");
        QCOMPARE(twice.at(tree, "/K").toArray().size(), 2);
        const QJsonArray namespaces = twice.at(tree, "/Namespaces").toArray();
        QCOMPARE(namespaces.size(), 1);
        QCOMPARE(twice.at(tree, "/K", 1, "/K", 2).toObject().value("/NS"), namespaces.at(0));
        QCOMPARE(twice.at(twice.page(3), "/StructParents").toInt(), 3);
        const QJsonValue paragraph = twice.at(tree, "/K", 1, "/K", 1);
        QCOMPARE(twice.at(paragraph, "/Pg"), twice.page(3));
        QCOMPARE(twice.at(tree, "/ParentTree", "/Nums", 7, 0), paragraph);

        const Path organisedFile = organised(file, edits({1}));
        QVERIFY(contentOf(organisedFile).starts_with("%PDF-2.0"));
        const InspectedPDF part(organisedFile);
        const QJsonValue kept = part.at(part.catalog(), "/StructTreeRoot", "/K", 0);
        QCOMPARE(part.at(kept, "/K").toArray().size(), 2); // the paragraph of the page, and the cell
        QCOMPARE(part.at(kept, "/K", 0, "/Pg"), part.page(0));

        const InspectedPDF scaled(organised(file, edits({1, 0}), true));
        const QJsonValue form = scaled.at(scaled.page(0), "/Resources", "/XObject", "/Page");
        QCOMPARE(scaled.at(form, "/StructParents").toInt(), 1);
        const QJsonValue moved = scaled.at(scaled.catalog(), "/StructTreeRoot", "/K", 0, "/K", 1, "/K", 0);
        QCOMPARE(scaled.at(moved, "/Stm"), form);
        QCOMPARE(scaled.at(moved, "/MCID").toInt(-1), 0);
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
            QVERIFY(failureOf([&] { organised(file, edits({0, index})); })
                    == EngineError::Cause(EngineError::PageOutOfRange{index}));
        QCOMPARE(folder.names(), (std::vector<std::string>{"a.pdf", "broken.pdf", "zero.pdf"}));
    }

    void ofSeveralPagesThatFailTheFirstIsNamed()
    {
        TemporaryFolder folder;
        std::filesystem::create_directory(folder / "a Pages");
        std::binary_semaphore laterPage(0);
        const auto failing = [&](int page, ByteSink&) {
            if (page == 0)
                laterPage.acquire();
            else
                laterPage.release();
            throw StorageError();
        };
        QVERIFY(failureOf([&] { writePageFolder(folder / "a.pdf", "pdf", 2, 2, {}, failing); })
                == EngineError::Cause(EngineError::WriteFailed{folder / "a Pages 2" / "a 1.pdf"}));
        QCOMPARE(folder.names(), std::vector<std::string>{"a Pages"});
    }

    void foldersAreMadeUnderTheFirstFreeName()
    {
        TemporaryFolder folder;
        folder.write("scan 2", "a file blocks a name too");
        for (const char* name : {"scan", "scan 3"})
            QCOMPARE(Engine::makeFolder(folder / "scan.pdf", ""), folder / name);
        QCOMPARE(Engine::makeFolder(folder / "scan", "Pages"), folder / "scan Pages");
        QVERIFY(std::filesystem::is_empty(folder / "scan Pages"));
        QVERIFY(failureOf([&] { Engine::makeFolder(folder / "missing" / "a.pdf", "Pages"); })
                == EngineError::Cause(EngineError::WriteFailed{folder / "missing" / "a Pages"}));
    }

    void framesOfLinksOutliveTheirPages()
    {
        TemporaryFolder folder;
        PDFBuilder builder;
        const std::string link = "<< /Subtype /Link /Rect [72 600 172 620] /Dest [7 0 R /Fit] ";
        builder.addPage({"", "[0 0 612 792]",
                         "/Annots [" + link + ">> " + link + "/Border [0 0 0] >> " + link + "/BS << /W 0 >> >> " + link
                             + "/Border [0 0 0] /BS << /W 2 >> >> " + link + "/Border [0 0 0] /AP << /N 3 0 R >> >>]",
                         ""});
        builder.addPage({}); // object 7
        const Path file = folder.write("a.pdf", builder.build());
        const InspectedPDF page(organised(file, edits({0})));
        const QJsonArray annotations = page.at(page.page(0), "/Annots").toArray();
        QCOMPARE(annotations.size(), 3);
        for (const QJsonValue& annotation : annotations)
            QVERIFY(!page.at(annotation).toObject().contains("/Dest"));
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
        // One page gets a folder, too.
        const Path alone = Engine::splitPDF(folder.write("one.pdf", plainDocument(1))).outputs.front();
        QCOMPARE(InspectedPDF(alone / "one 1.pdf").pageCount(), 1);
    }

    void splitPagesBringOnlyWhatTheyUse_data()
    {
        QTest::addColumn<QByteArray>("ofTheTree");
        QTest::addColumn<QByteArray>("ofAPage");
        const QByteArray pictures = "<< /XObject << /A 4 0 R /B 5 0 R >> >>";
        QTest::newRow("inherited") << "/Resources " + pictures << QByteArray();
        QTest::newRow("shared") << QByteArray() << QByteArray("/Resources 6 0 R");
    }
    void splitPagesBringOnlyWhatTheyUse()
    {
        QFETCH(QByteArray, ofTheTree);
        QFETCH(QByteArray, ofAPage);
        PDFBuilder builder;
        for (int number = 4; number <= 5; ++number)
            builder.addStream("0 0 9 9 re f", "/Type /XObject /Subtype /Form /BBox [0 0 9 9]");
        builder.add("<< /XObject << /A 4 0 R /B 5 0 R >> >>");
        for (const std::string name : {"/A", "/B"}) {
            const std::string content = std::to_string(builder.addStream(name + " Do"));
            builder.add("<< /Type /Page /Parent 2 0 R /MediaBox [0 0 9 9] /Contents " + content + " 0 R "
                        + ofAPage.toStdString() + " >>");
        }
        builder.set(2, "<< /Type /Pages /Count 2 /Kids [8 0 R 10 0 R] " + ofTheTree.toStdString() + " >>");
        TemporaryFolder folder;
        const Path pages = Engine::splitPDF(folder.write("a.pdf", builder.build())).outputs.front();
        for (const auto& [file, picture] : {std::pair("a 1.pdf", "/A"), {"a 2.pdf", "/B"}}) {
            const InspectedPDF document(pages / file);
            QCOMPARE(document.at(document.page(0), "/Resources", "/XObject").toObject().keys(), QStringList{picture});
        }
    }

    void outputsNameTheirCreator()
    {
        TemporaryFolder folder;
        const Path file = folder.write("a.pdf", linkedDocument());
        for (const Path& output :
             {merged({file}), organised(file, edits({1})), Engine::splitPDF(file).outputs.front() / "a 1.pdf"}) {
            const InspectedPDF document(output);
            QCOMPARE(document.at(document.trailer(), "/Info", "/Creator").toString(), QStringLiteral("u:Pelgra"));
        }
    }
};

QTEST_GUILESS_MAIN(EngineDocumentsTest)
#include "EngineDocumentsTest.moc"
