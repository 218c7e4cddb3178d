#include "PelgraCore/Engine.h"
#include "PelgraCore/Thumbnails.h"

#include "Support/PDFInspection.h"
#include "Support/PDFSamples.h"
#include "Support/TemporaryFolder.h"

#include <QTest>

#include <functional>
#include <map>

using namespace Pelgra;

namespace {

using Path = std::filesystem::path;

/// Pages that say their number, behind a tree at the start of the file.
PDFBuilder pages(int count)
{
    PDFBuilder builder;
    for (int number = 1; number <= count; ++number)
        builder.addPage({textAt(9, 30, 12, "Page " + std::to_string(number)), "[0 0 90 60]", "", ""});
    return builder;
}

std::string withTree(const std::string& entries)
{
    PDFBuilder builder = pages(2); // objects 5 and 7
    builder.set(2, "<< /Type /Pages " + entries + " >>");
    return builder.build();
}

std::string replaced(std::string content, const std::string& part, const std::string& replacement)
{
    return content.replace(content.find(part), part.size(), replacement);
}

/// A page with a picture that stands behind it in the file, in a document that ends so far behind a part of the
/// picture.
std::string cutInAPicture(const std::string& part, std::size_t distance)
{
    PDFBuilder builder;
    const int picture = builder.reserve();
    builder.addPage({textAt(9, 30, 12, "Page 1"), "[0 0 90 60]", "", ""});
    builder.addPage({textAt(9, 30, 12, "Page 2") + "/Scan Do", "[0 0 90 60]", "", "/XObject << /Scan 9 0 R >>"});
    builder.set(picture, "null");
    builder.addStream(
        std::string(3000, 'x'),
        "/Type /XObject /Subtype /Image /Width 100 /Height 30 /BitsPerComponent 8 /ColorSpace /DeviceGray");
    const std::string content = builder.build();
    return content.substr(0, content.find(part) + distance);
}

/// Encrypted in a way whose name is given, by a handler whose name is given.
std::string locked(const std::string& handler, const std::string& method)
{
    PDFBuilder builder = pages(2);
    const std::string hash(32, '0');
    builder.addToTrailer("/ID [<00> <00>] /Encrypt << /Filter /" + handler + " /V 4 /R 4 /Length 128 /P -4 /O <" + hash
                         + hash + "> /U <" + hash + hash + "> /StmF /Lock /StrF /Lock /CF << /Lock << /CFM /" + method
                         + " /Length 16 >> >> >>");
    return builder.build();
}

/// Encrypted by the qpdf command, with 256 bits.
std::string encrypted(const char* userPassword, const char* ownerPassword)
{
    const TemporaryFolder folder;
    const auto text = [](const Path& path) {
        return QFile::decodeName(path.c_str());
    };
    const int status = QProcess::execute(
        QStringLiteral("qpdf"),
        {QStringLiteral("--encrypt"), QString::fromUtf8(userPassword), QString::fromUtf8(ownerPassword),
         QStringLiteral("256"), QStringLiteral("--allow-insecure"), QStringLiteral("--"),
         text(folder.write("plain.pdf", pages(2).build())), text(folder / "locked.pdf")});
    return status == 0 ? contentOf(folder / "locked.pdf") : std::string();
}

/// The number of pages of what an operation makes of a document, with the warnings it gives, or why it fails.
QString outcomeOf(const std::function<int(const JobControl&)>& operation)
{
    QString warnings;
    JobControl control;
    control.warning = [&](std::string_view sentence) {
        warnings += QStringLiteral(" ") + QString::fromUtf8(sentence.data(), static_cast<int>(sentence.size()));
    };
    try {
        const int pageCount = operation(control);
        return QString::number(pageCount) + warnings;
    } catch (const EngineError& error) {
        return QString::fromUtf8(error.caseName());
    }
}

/// The files of an output: those in a folder, else itself.
int fileCount(const Path& output)
{
    return is_directory(output) ? static_cast<int>(std::distance(std::filesystem::directory_iterator(output), {})) : 1;
}

} // namespace

/// One document, one answer: whatever is done with it finds the same pages and says the same about those that are gone.
class DamagedDocumentsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void meanTheSameToEveryOperation_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QString>("outcome");
        const auto row = [](const char* name, const std::string& content, const char* outcome) {
            QTest::newRow(name) << QByteArray::fromStdString(content) << QString::fromUtf8(outcome);
        };
        const std::string eight = pages(8).build();
        const std::string noTree = replaced(withTree("/Count 2 /Kids [5 0 R 7 0 R]"), "/Pages 2 0 R", "/Pages 99 0 R");
        row("all pages gone", withTree("/Count 2 /Kids [98 0 R 99 0 R]"), "unreadable");
        row("all pages gone, no count", withTree("/Kids [98 0 R 99 0 R]"), "unreadable");
        row("a count and no entry", withTree("/Count 2 /Kids []"), "unreadable");
        row("no pages", withTree("/Count 0 /Kids []"), "noPages");
        row("cut off", eight.substr(0, eight.find("(Page 7)")), "6 “a.pdf” is damaged: 2 of its 8 pages are missing.");
        const std::string whole = eight.substr(0, eight.find("18 0 obj"));
        const std::string gone = "7 “a.pdf” is damaged: 1 of its 8 pages is missing.";
        row("cut off behind a number", whole + "18 0 obj", gone.c_str());
        row("cut off in a dictionary", whole + "18 0 obj\n<< /Length 40 /Fil", gone.c_str());
        row("cut off in a string", whole + "18 0 obj\n<< /Title (A (nested", gone.c_str());
        row("cut off in an array", whole + "18 0 obj\n<< /MediaBox [0 [0", gone.c_str());
        row("cut off in a hexadecimal string", whole + "18 0 obj\n<< /Title <0041", gone.c_str());
        for (const auto& [part, distance] : {std::pair("xxx", 1000), {"9 0 obj", 8}, {"9 0 obj", 40}}) {
            row(qPrintable(QStringLiteral("cut off %1 behind %2").arg(distance).arg(QLatin1String(part))),
                cutInAPicture(part, static_cast<std::size_t>(distance)),
                "2 “a.pdf” is damaged: something is gone from page 2.");
        }
        row("no tree", noTree, "2 “a.pdf” is damaged: its list of pages is lost, and 2 pages were found.");
        row("no tree and no page",
            replaced(replaced(noTree, "/Type /Page ", "/Type /None "), "/Type /Page ", "/Type /None "), "unreadable");
        row("entries that lead nowhere", withTree("/Count 4 /Kids [5 0 R null 99 0 R 7 0 R]"),
            "2 “a.pdf” is damaged: 2 of its 4 pages are missing.");
        row("an empty branch", withTree("/Count 3 /Kids [5 0 R << /Type /Pages /Count 1 >> 7 0 R]"),
            "2 “a.pdf” is damaged: 1 of its 3 pages is missing.");
        row("more claimed than any document has", withTree("/Count 1410065407 /Kids [5 0 R 7 0 R]"), "2");
        row("fewer claimed than there are", withTree("/Count 1 /Kids [5 0 R 7 0 R]"), "2");
        row("a table that hides pages", replaced(pages(2).build(), "xref\n0 8", "xref\n0 4"), "2");
        row("a table in the wrong place", replaced(pages(2).build(), "startxref\n", "startxref\n9"), "2");

        row("encrypted for a certificate", locked("Adobe.PubSec", "AESV2"), "unreadable");
        row("encrypted for a certificate, table in the wrong place",
            replaced(locked("Adobe.PubSec", "AESV2"), "startxref\n", "startxref\n9"), "unreadable");
        row("encrypted by an unknown method", locked("Standard", "AESV9"), "unreadable");
        row("encrypted with a password", encrypted("secret", "secret too"), "unreadable");
        row("encrypted with an empty password", encrypted("", "secret"), "2");
        row("encrypted with an empty password for owners", encrypted("secret", ""), "2");
    }

    void meanTheSameToEveryOperation()
    {
        QFETCH(QByteArray, content);
        QFETCH(QString, outcome);
        const TemporaryFolder folder;
        const Path file = folder.write("a.pdf", content.toStdString());
        const auto text = [&](bool markdown) {
            return [&file, markdown](const JobControl& control) {
                const std::string written = contentOf(Engine::pdfToText(file, markdown, control).outputs.front());
                return static_cast<int>(QByteArray::fromStdString(written).count("Page "));
            };
        };
        ConversionOptions coarse;
        coarse.pdfRasterDPI = 30;
        const int found = Thumbnails::pdfPageCount(file);
        std::vector<PageEdit> allPages;
        for (int index = 0; index < std::max(found, 1); ++index)
            allPages.emplace_back(index, 0);
        const std::map<QString, std::function<int(const JobControl&)>> operations{
            {QStringLiteral("png"),
             [&](const JobControl& control) {
                 return fileCount(Engine::pdfToImages(file, FileFormat::png, coarse, control).outputs.front());
             }},
            {QStringLiteral("txt"), text(false)},
            {QStringLiteral("md"), text(true)},
            {QStringLiteral("merge"),
             [&](const JobControl& control) {
                 return InspectedPDF(Engine::mergePDFs(std::vector{file}, control).outputs.front()).pageCount();
             }},
            {QStringLiteral("split"),
             [&](const JobControl& control) {
                 return fileCount(Engine::splitPDF(file, control).outputs.front());
             }},
            {QStringLiteral("organize"), [&](const JobControl& control) {
                 return InspectedPDF(Engine::organizePDF(file, allPages, false, control).outputs.front()).pageCount();
             }}};
        for (const auto& [name, operation] : operations) {
            const bool hasNothingToOrganize =
                name == QStringLiteral("organize") && outcome == QStringLiteral("noPages");
            const QString expected = hasNothingToOrganize ? QStringLiteral("pageOutOfRange") : outcome;
            QCOMPARE(name + u' ' + outcomeOf(operation), name + u' ' + expected);
        }
        QCOMPARE(found, outcome.section(u' ', 0, 0).toInt());
        QCOMPARE(Thumbnails::image(file, found - 1, 50).has_value(), found > 0);
    }
};

QTEST_GUILESS_MAIN(DamagedDocumentsTest)
#include "DamagedDocumentsTest.moc"
