#include "PelgraCore/Engine.h"
#include "PelgraCore/TextExtraction.h"

#include "Support/PDFSamples.h"
#include "Support/TemporaryFolder.h"

#include <QTest>

#include <algorithm>
#include <stop_token>

using namespace Pelgra;

namespace {

QByteArray plainTextOf(const std::filesystem::path& file)
{
    return QByteArray::fromStdString(TextExtraction::plainTextOf(file, {}));
}

QByteArray markdownOf(const std::filesystem::path& file)
{
    return QByteArray::fromStdString(TextExtraction::markdownOf(file, {}));
}

SamplePage pageWith(const std::string& contents, const std::string& entries = {})
{
    SamplePage page;
    page.contents = contents;
    page.entries = entries;
    return page;
}

} // namespace

class DocumentTextTest : public QObject {
    Q_OBJECT

private:
    TemporaryFolder m_folder;

    std::filesystem::path document(const std::vector<SamplePage>& pages)
    {
        return m_folder.write("document.pdf", documentWith(pages));
    }
    std::filesystem::path onePage(const std::string& contents) { return document({pageWith(contents)}); }

private Q_SLOTS:
    void readsColumnsOneAfterTheOther()
    {
        const auto file = onePage(textAt(72, 700, 10, "left one") + textAt(72, 688, 10, "left two")
                                  + textAt(320, 700, 10, "right one") + textAt(320, 688, 10, "right two"));
        QCOMPARE(plainTextOf(file), QByteArray("left one\nleft two\nright one\nright two\n"));
    }

    void keepsALineWithWideGapsTogether()
    {
        const auto file = onePage(textAt(72, 700, 10, "1.") + textAt(95, 700, 10, "Introduction"));
        QCOMPARE(plainTextOf(file), QByteArray("1. Introduction\n"));
    }

    void findsHeadingsByTheSizeOnThePage_data()
    {
        QTest::addColumn<QByteArray>("title");
        QTest::newRow("font size") << QByteArray("BT /F1 24 Tf 72 740 Td (Title) Tj ET\n");
        QTest::newRow("scaled text") << QByteArray("BT /F1 1 Tf 24 0 0 24 72 740 Tm (Title) Tj ET\n");
        QTest::newRow("scaled page") << QByteArray("q 8 0 0 8 0 0 cm BT /F1 3 Tf 9 92 Td (Title) Tj ET Q\n");
        QTest::newRow("condensed") << QByteArray("BT /F1 20 Tf 50 Tz 72 740 Td (Title) Tj 100 Tz ET\n");
        QTest::newRow("on its side") << QByteArray("BT /F1 1 Tf 0 24 -24 0 60 600 Tm (Title) Tj ET\n");
    }
    void findsHeadingsByTheSizeOnThePage()
    {
        QFETCH(QByteArray, title);
        const auto file =
            onePage(title.toStdString() + textAt(72, 700, 10, "Body text of the page goes on for a while."));
        QCOMPARE(markdownOf(file), QByteArray("# Title\n\nBody text of the page goes on for a while.\n"));
    }

    void mendsWordsBrokenOverLines()
    {
        const auto file = onePage(textAt(72, 700, 10, "A line that ends with a bro-")
                                  + textAt(72, 688, 10, "ken word and goes on a bit"));
        QCOMPARE(markdownOf(file), QByteArray("A line that ends with a broken word and goes on a bit\n"));
        QCOMPARE(plainTextOf(file), QByteArray("A line that ends with a bro-\nken word and goes on a bit\n"));
    }

    void spellsLigaturesOut()
    {
        const auto file = m_folder.write("ligature.pdf", [] {
            PDFBuilder builder;
            const int font = builder.add("<< /Type /Font /Subtype /Type1 /BaseFont /Times-Roman /Encoding "
                                         "<< /Type /Encoding /Differences [65 /fi /f_f_i.alt /s_t] >> >>");
            const int page = builder.addPage({});
            const int contents = builder.addStream("BT /F2 12 Tf 72 700 Td (eAcient eBcient faCet) Tj ET");
            builder.set(page,
                        "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] /Contents " + reference(contents)
                            + " /Resources << /Font << /F2 " + reference(font) + " >> >> >>");
            return builder.build();
        }());
        QCOMPARE(plainTextOf(file), QByteArray("eficient efficient fastet\n"));
    }

    void leavesOutWhatTheCropBoxCutsOff()
    {
        const auto file = document(
            {pageWith(textAt(72, 700, 10, "inside") + textAt(72, 40, 10, "outside"), "/CropBox [0 200 612 792]")});
        QCOMPARE(plainTextOf(file), QByteArray("inside\n"));
    }

    void marksPageBreaksInPlainTextOnly()
    {
        const auto file = document({pageWith(textAt(72, 700, 10, "one.")), pageWith("0 0 m"),
                                    pageWith(textAt(72, 700, 10, "- two")), pageWith(textAt(72, 700, 10, "- three"))});
        QCOMPARE(plainTextOf(file), QByteArray("one.\n\f\n\n\f\n- two\n\f\n- three\n"));
        QCOMPARE(markdownOf(file), QByteArray("one.\n\n- two\n- three\n"));
    }

    void isEmptyWhereNothingCanBeRead()
    {
        const auto file = document({{}, {}});
        QCOMPARE(plainTextOf(file), QByteArray("\n\f\n\n"));
        QCOMPARE(markdownOf(file), QByteArray());
    }

    void keepsPagesInOrder()
    {
        std::vector<SamplePage> pages;
        QByteArray expected;
        for (int i = 0; i < 60; ++i) {
            // Every third page takes longer.
            const std::string filler = i % 3 == 0 ? filledRectangle(0, 0, 1, 1, 1, 1, 1) : "";
            std::string contents = textAt(72, 700, 10, "page " + std::to_string(i));
            for (int k = 0; k < 2000 && !filler.empty(); ++k)
                contents += filler;
            pages.push_back(pageWith(contents));
            expected += (i == 0 ? "page " : "\n\f\npage ") + QByteArray::number(i);
        }
        const auto file = document(pages);
        std::vector<int> progress;
        JobControl control;
        control.progress = [&progress](int done, int total) {
            QCOMPARE(total, 60);
            progress.push_back(done);
        };
        QCOMPARE(QByteArray::fromStdString(TextExtraction::plainTextOf(file, control)), expected + '\n');
        QCOMPARE(progress.size(), std::size_t(60));
        QVERIFY(std::ranges::is_sorted(progress));
    }

    void writesBesideTheDocumentOverNothing()
    {
        const TemporaryFolder folder;
        const auto file = folder.write("Report 1.pdf", documentWith({pageWith(textAt(72, 700, 10, "text"))}));
        folder.write("Report 1.txt", "mine");
        const JobResult text = Engine::pdfToText(file, false);
        QCOMPARE(text.displayName, std::string("Report 1 2.txt"));
        QCOMPARE(contentOf(text.outputs.front()), std::string("text\n"));
        const JobResult markdown = Engine::pdfToText(file, true);
        QCOMPARE(markdown.outputs, std::vector{folder / "Report 1.md"});
        QCOMPARE(contentOf(folder / "Report 1.txt"), std::string("mine"));
    }

    void failsForWhatIsNoDocument()
    {
        const TemporaryFolder folder;
        const auto noDocument = folder.write("no.pdf", "nothing of the kind");
        const auto noPages = folder.write("empty.pdf", documentWith({}));
        QVERIFY_EXCEPTION_THROWN(Engine::pdfToText(noDocument, false), EngineError);
        try {
            Engine::pdfToText(noPages, false);
            QFAIL("a document without pages was read");
        } catch (const EngineError& error) {
            QVERIFY(error == EngineError::noPages());
        }
        QCOMPARE(folder.names().size(), std::size_t(2));
    }

    void leavesNothingWhenStopped()
    {
        const TemporaryFolder folder;
        const auto file =
            folder.write("a.pdf", documentWith(std::vector<SamplePage>(40, pageWith(textAt(72, 700, 10, "x")))));
        std::stop_source source;
        JobControl control;
        control.stop = source.get_token();
        control.progress = [&source](int done, int) {
            if (done == 3)
                source.request_stop();
        };
        QVERIFY_EXCEPTION_THROWN(Engine::pdfToText(file, false, control), JobCancelled);
        QCOMPARE(folder.names(), std::vector<std::string>{"a.pdf"});
    }
};

QTEST_GUILESS_MAIN(DocumentTextTest)
#include "DocumentTextTest.moc"
