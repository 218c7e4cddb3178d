#include "PelgraCore/Models.h"
#include "PelgraCore/EngineError.h"
#include "PelgraCore/FileSizeFormatter.h"

#include <QTest>

#include <limits>

using namespace Pelgra;

class ModelsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void errorsSpeakInExactSentences_data()
    {
        QTest::addColumn<QString>("sentence");
        QTest::addColumn<QString>("expected");
        const auto row = [](const char* name, const EngineError& error, const char* expected) {
            QTest::newRow(name) << QString::fromUtf8(error.what()) << QString::fromUtf8(expected);
        };
        row("unreadable", EngineError::unreadable("/home/a/scan.pdf"), "“scan.pdf” couldn’t be read.");
        row("folder", EngineError::unreadable("/home/a/photos.jpg/"), "“photos.jpg” couldn’t be read.");
        row("unsupported", EngineError::unsupported(FileFormat::svg), "SVG isn’t supported here.");
        row("pair", EngineError::unsupportedConversion(FileFormat::webp, FileFormat::gif),
            "Can’t convert WEBP to GIF.");
        row("no source", EngineError::unsupportedConversion(std::nullopt, FileFormat::png),
            "Can’t convert this file to PNG.");
        row("write", EngineError::writeFailed("photo.heic"), "Couldn’t save “photo.heic”.");
        row("page", EngineError::pageOutOfRange(3), "Page 4 doesn’t exist.");
        row("page before the first", EngineError::pageOutOfRange(-2), "Page -1 doesn’t exist.");
        row("last page there could be", EngineError::pageOutOfRange(std::numeric_limits<std::int64_t>::max()),
            "Page 9223372036854775808 doesn’t exist.");
        row("no pages", EngineError::noPages(), "The document has no pages.");
        row("no inputs", EngineError::noInputs(), "No files were given.");
    }
    void errorsSpeakInExactSentences()
    {
        QFETCH(QString, sentence);
        QFETCH(QString, expected);
        QCOMPARE(sentence, expected);
    }

    void errorsCompareByCause()
    {
        QVERIFY(EngineError::unreadable("a") == EngineError::unreadable("a"));
        QVERIFY(!(EngineError::unreadable("a") == EngineError::writeFailed("a")));
        QVERIFY(!(EngineError::unsupportedConversion(std::nullopt, FileFormat::png)
                  == EngineError::unsupportedConversion(FileFormat::png, FileFormat::png)));
    }

    void everyEditHasAnIdentityOfItsOwn()
    {
        const PageEdit edit(1, 90);
        QVERIFY(edit == PageEdit(edit));
        QVERIFY(!(edit == PageEdit(1, 90)));
        QCOMPARE(edit.id.text().size(), std::size_t{36});
        QCOMPARE(edit.id.text()[14], '4');
    }

    void aFolderIsShownByItsName()
    {
        QCOMPARE(JobResult("/home/a/Report Pages").displayName, std::string("Report Pages"));
    }

    void sizesAreShort_data()
    {
        QTest::addColumn<qint64>("bytes");
        QTest::addColumn<QString>("text");
        QTest::newRow("negative") << qint64{-5} << "0 bytes";
        QTest::newRow("one") << qint64{1} << "1 byte";
        QTest::newRow("999") << qint64{999} << "999 bytes";
        QTest::newRow("1000") << qint64{1000} << "1.0 KB";
        QTest::newRow("1050") << qint64{1050} << "1.1 KB";
        QTest::newRow("9949") << qint64{9949} << "9.9 KB";
        QTest::newRow("9950") << qint64{9950} << "10 KB";
        QTest::newRow("10500") << qint64{10500} << "11 KB";
        QTest::newRow("999499") << qint64{999499} << "999 KB";
        QTest::newRow("999500") << qint64{999500} << "1.0 MB";
        QTest::newRow("12345678") << qint64{12345678} << "12 MB";
        QTest::newRow("largest") << std::numeric_limits<qint64>::max() << "9.2 EB";
    }
    void sizesAreShort()
    {
        QFETCH(qint64, bytes);
        QFETCH(QString, text);
        QCOMPARE(QString::fromStdString(FileSizeFormatter::stringForBytes(bytes)), text);
    }
};

QTEST_GUILESS_MAIN(ModelsTest)
#include "ModelsTest.moc"
