#include "PelgraCore/Catalog.h"

#include <QTest>

#include <string>

using namespace Pelgra;

namespace {

QString joined(const std::vector<FileFormat>& formats)
{
    QStringList names;
    for (FileFormat format : formats)
        names += QString::fromUtf8(format.rawValue().data(), static_cast<qsizetype>(format.rawValue().size()));
    return names.join(QLatin1Char(' '));
}

QString joined(const std::vector<FileTool>& tools)
{
    QStringList names;
    for (FileTool tool : tools)
        names += QString::fromUtf8(tool.rawValue().data(), static_cast<qsizetype>(tool.rawValue().size()));
    return names.join(QLatin1Char(' '));
}

} // namespace

class CatalogTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void detectsFormatsByExtensionAlone_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<QString>("format");
        QTest::newRow("upper case") << "photo.JPEG"
                                    << "jpg";
        QTest::newRow("jfif") << "photo.jfif"
                              << "jpg";
        QTest::newRow("tif") << "scan.TIF"
                             << "tiff";
        QTest::newRow("heif") << "image.heif"
                              << "heic";
        QTest::newRow("markdown") << "notes.markdown"
                                  << "md";
        QTest::newRow("text") << "readme.text"
                              << "txt";
        QTest::newRow("last extension counts") << "archive.tar.gz"
                                               << "";
        QTest::newRow("none") << "noextension"
                              << "";
        QTest::newRow("partial download") << "photo.jpg.part"
                                          << "";
        QTest::newRow("hidden file without extension") << ".png"
                                                       << "";
        QTest::newRow("trailing dot") << "photo."
                                      << "";
        QTest::newRow("folder name does not count") << "folder.png/file"
                                                    << "";
    }
    void detectsFormatsByExtensionAlone()
    {
        QFETCH(QString, file);
        QFETCH(QString, format);
        const auto found = FileFormat::detect(file.toStdString());
        QCOMPARE(found ? QString::fromStdString(std::string(found->rawValue())) : QString(), format);
    }

    void rawValuesGoBothWaysAndAreCaseSensitive()
    {
        for (FileFormat format : FileFormat::allCases())
            QCOMPARE(FileFormat::fromRawValue(format.rawValue()), std::optional(format));
        for (FileTool tool : FileTool::allCases())
            QCOMPARE(FileTool::fromRawValue(tool.rawValue()), std::optional(tool));
        QVERIFY(!FileFormat::fromRawValue("JPG"));
        QVERIFY(!FileFormat::fromRawValue("jpeg"));
    }

    void everyRasterEncoderBelongsToAnImageThatCanBeWritten()
    {
        for (FileFormat format : FileFormat::allCases())
            QCOMPARE(format.imageIOType().has_value(), format.isImage() && format.canEncode());
    }

    void offersConversions_data()
    {
        QTest::addColumn<QStringList>("files");
        QTest::addColumn<QString>("targets");
        QTest::newRow("nothing") << QStringList{} << "";
        QTest::newRow("one jpeg") << QStringList{"a.jpg"} << "png heic tiff bmp pdf";
        QTest::newRow("two jpegs") << QStringList{"a.jpg", "b.jpeg"} << "png heic tiff bmp pdf";
        QTest::newRow("jpeg and png") << QStringList{"a.jpg", "b.png"} << "heic tiff bmp pdf";
        QTest::newRow("order of files") << QStringList{"b.png", "a.jpg"} << "heic tiff bmp pdf";
        QTest::newRow("webp and gif") << QStringList{"a.webp", "b.gif"} << "jpg png heic tiff bmp pdf";
        QTest::newRow("pdf") << QStringList{"a.pdf", "b.pdf"} << "jpg png txt md";
        QTest::newRow("text") << QStringList{"a.txt"} << "";
        QTest::newRow("pdf and jpeg") << QStringList{"a.pdf", "b.jpg"} << "";
        QTest::newRow("one unknown file") << QStringList{"a.jpg", "b"} << "";
        QTest::newRow("all written images") << QStringList{"a.jpg", "a.png", "a.heic", "a.tiff", "a.bmp"} << "pdf";
    }
    void offersConversions()
    {
        QFETCH(QStringList, files);
        QFETCH(QString, targets);
        QCOMPARE(joined(Catalog::conversionTargetsFor(paths(files))), targets);
    }

    void offersTools_data()
    {
        QTest::addColumn<QStringList>("files");
        QTest::addColumn<QString>("tools");
        QTest::newRow("nothing") << QStringList{} << "";
        QTest::newRow("one image") << QStringList{"a.jpg"} << "";
        QTest::newRow("two images") << QStringList{"a.jpg", "b.svg"} << "createPDF";
        QTest::newRow("one pdf") << QStringList{"a.pdf"} << "splitPDF organizePDF";
        QTest::newRow("two pdfs") << QStringList{"a.pdf", "b.pdf"} << "splitPDF mergePDF";
        QTest::newRow("mix") << QStringList{"a.pdf", "b.jpg"} << "";
        QTest::newRow("text") << QStringList{"a.md"} << "";
    }
    void offersTools()
    {
        QFETCH(QStringList, files);
        QFETCH(QString, tools);
        QCOMPARE(joined(Catalog::toolsFor(paths(files))), tools);
    }

private:
    static std::vector<std::filesystem::path> paths(const QStringList& files)
    {
        std::vector<std::filesystem::path> paths;
        for (const QString& file : files)
            paths.emplace_back(file.toStdString());
        return paths;
    }
};

QTEST_GUILESS_MAIN(CatalogTest)
#include "CatalogTest.moc"
