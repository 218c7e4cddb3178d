#include "CommandLine/Arguments.h"
#include "CommandLine/Json.h"
#include "CommandLine/PageList.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QTest>

using namespace Pelgra;

namespace {

Invocation parse(std::vector<const char*> words)
{
    return parseArguments(words);
}

std::vector<std::pair<std::int64_t, std::int64_t>> pairs(const std::vector<PageEdit>& edits)
{
    std::vector<std::pair<std::int64_t, std::int64_t>> result;
    for (const PageEdit& edit : edits)
        result.emplace_back(edit.sourceIndex, edit.rotation);
    return result;
}

} // namespace

class ArgumentsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void optionsStandAnywhereAndTheLastCounts()
    {
        const Invocation invocation =
            parse({"--json", "convert", "a.jpg", "--to", "heic", "--jpeg-quality=0.5", "b.jpg", "--jpeg-quality",
                   "0.25", "--to=JPEG", "--dpi", "150", "-", "--", "--to"});
        QCOMPARE(invocation.command, Command::convert);
        QVERIFY(invocation.json);
        QVERIFY(invocation.target == FileFormat(FileFormat::jpg));
        QCOMPARE(invocation.options.jpegQuality, 0.25);
        QCOMPARE(invocation.options.heicQuality, ConversionOptions::defaultQuality);
        QCOMPARE(invocation.options.pdfRasterDPI, 150.0);
        const std::vector<std::filesystem::path> files{"a.jpg", "b.jpg", "-", "--to"};
        QCOMPARE(invocation.files, files);
    }

    void theWheelGetsItsOwnWords()
    {
        QCOMPARE(parse({}).command, Command::wheel);
        const Invocation invocation = parse({"wheel", "-PelgraDebugWheel", "--", "x"});
        QCOMPARE(invocation.command, Command::wheel);
        QCOMPARE(invocation.passedOn, (std::vector<std::string>{"-PelgraDebugWheel", "--", "x"}));
        QCOMPARE(parse({"-convertKey", "control"}).passedOn, (std::vector<std::string>{"-convertKey", "control"}));
        QCOMPARE(parse({"doctor"}).command, Command::wheel);
        QCOMPARE(parse({"doctor"}).passedOn, (std::vector<std::string>{"--doctor"}));
        QVERIFY_EXCEPTION_THROWN(parse({"doctor", "a.png"}), UsageError);
        QCOMPARE(parse({"tap", "tools"}).wheel, std::string("tools"));
        QVERIFY_EXCEPTION_THROWN(parse({"tap"}), UsageError);
        QVERIFY_EXCEPTION_THROWN(parse({"tap", "shift"}), UsageError);
        QVERIFY_EXCEPTION_THROWN(parse({"tap", "tools", "a.png"}), UsageError);
        QCOMPARE(parse({"convert", "--help", "--nonsense"}).command, Command::help);
    }

    void refusesWhatMakesNoSense_data()
    {
        QTest::addColumn<QStringList>("words");
        QTest::newRow("no command") << QStringList{"--json"};
        QTest::newRow("unknown command") << QStringList{"convart", "a.jpg"};
        QTest::newRow("unknown option") << QStringList{"convert", "--to", "png", "--quality", "1", "a.jpg"};
        QTest::newRow("single dash") << QStringList{"convert", "--to", "png", "-q", "a.jpg"};
        QTest::newRow("option of another command") << QStringList{"create", "--to", "png", "a.jpg"};
        QTest::newRow("option of another command before") << QStringList{"--to", "png", "create", "a.jpg"};
        QTest::newRow("no target") << QStringList{"convert", "a.jpg"};
        QTest::newRow("unknown target") << QStringList{"convert", "--to", "exe", "a.jpg"};
        QTest::newRow("target with a dot") << QStringList{"convert", "--to", "x.png", "a.jpg"};
        QTest::newRow("value missing") << QStringList{"convert", "a.jpg", "--to"};
        QTest::newRow("flag with value") << QStringList{"convert", "--json=1", "--to", "png", "a.jpg"};
        QTest::newRow("no number") << QStringList{"convert", "--to", "jpg", "--jpeg-quality", "0,9", "a.png"};
        QTest::newRow("not finite") << QStringList{"convert", "--to", "jpg", "--jpeg-quality", "nan", "a.png"};
        QTest::newRow("number with tail") << QStringList{"convert", "--to", "jpg", "--dpi=300dpi", "a.pdf"};
        QTest::newRow("no files") << QStringList{"convert", "--to", "jpg"};
        QTest::newRow("two documents") << QStringList{"split", "a.pdf", "b.pdf"};
        QTest::newRow("no pages") << QStringList{"organize", "a.pdf"};
        for (const char* list : {"", ",", "1,", "0", "-1", "1-", "a", "1-2-3", "1:45", "1:", "1:x", " 1",
                                 "1-99999999999", "99999999999999999999"})
            QTest::addRow("pages “%s”", list) << QStringList{"organize", "a.pdf", "--pages", list};
    }
    void refusesWhatMakesNoSense()
    {
        QFETCH(QStringList, words);
        std::vector<QByteArray> bytes;
        std::vector<const char*> pointers;
        for (const QString& word : words)
            bytes.push_back(word.toUtf8());
        for (const QByteArray& word : bytes)
            pointers.push_back(word.constData());
        QVERIFY_EXCEPTION_THROWN(parseArguments(pointers), UsageError);
    }

    void pageListsNameTurnsAndRangesBothWays()
    {
        using Pairs = std::vector<std::pair<std::int64_t, std::int64_t>>;
        QCOMPARE(pairs(parsePageList("3,1-2,1:90")), (Pairs{{2, 0}, {0, 0}, {1, 0}, {0, 90}}));
        QCOMPARE(pairs(parsePageList("3-1:-90,7:450")), (Pairs{{2, -90}, {1, -90}, {0, -90}, {6, 450}}));
    }

    void jsonStringsAreValidForAnyBytes_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QByteArray>("literal");
        const auto row = [](const char* name, const QByteArray& bytes, const QByteArray& literal) {
            QTest::newRow(name) << bytes << literal;
        };
        row("plain", "photo.png", "\"photo.png\"");
        row("quotes and backslash", "a\"b\\c", "\"a\\\"b\\\\c\"");
        row("control characters", QByteArray("a\n\x01\x7F", 4), "\"a\\u000a\\u0001\\u007f\"");
        row("two to four bytes", "é€😀", "\"é€😀\"");
        row("lone bytes", "a\xFF\x80", "\"a\\udcff\\udc80\"");
        row("cut short", "\xE2\x82", "\"\\udce2\\udc82\"");
        row("overlong", "\xC0\xAF\xE0\x80\xAF", "\"\\udcc0\\udcaf\\udce0\\udc80\\udcaf\"");
        row("encoded surrogate", "\xED\xA0\x80", "\"\\udced\\udca0\\udc80\"");
        row("beyond Unicode", "\xF4\x90\x80\x80", "\"\\udcf4\\udc90\\udc80\\udc80\"");
    }
    void jsonStringsAreValidForAnyBytes()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QByteArray, literal);
        QCOMPARE(QByteArray::fromStdString(jsonString(bytes.toStdString())), literal);
        QVERIFY(!QJsonDocument::fromJson("[" + literal + "]").isNull());
    }
};

QTEST_GUILESS_MAIN(ArgumentsTest)
#include "ArgumentsTest.moc"
