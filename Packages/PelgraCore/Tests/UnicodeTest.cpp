#include "unicode/Unicode.h"

#include <QTest>

using namespace Pelgra;

class UnicodeTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void countsMalformedBytesOneByOne_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<int>("count");
        QTest::newRow("ASCII") << QByteArray("abc") << 3;
        QTest::newRow("two to four bytes") << QByteArray("\xC3\xA9\xE2\x80\xA2\xF0\x9F\x98\x80") << 3;
        QTest::newRow("lone continuation") << QByteArray("a\x80z") << 3;
        QTest::newRow("cut sequence") << QByteArray("\xE2\x80") << 2;
        QTest::newRow("overlong slash") << QByteArray("\xC0\xAF") << 2;
        QTest::newRow("overlong in three bytes") << QByteArray("\xE0\x80\xAF") << 3;
        QTest::newRow("surrogate") << QByteArray("\xED\xA0\x80") << 3;
        QTest::newRow("beyond the last plane") << QByteArray("\xF4\x90\x80\x80") << 4;
    }
    void countsMalformedBytesOneByOne()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(int, count);
        const std::string_view text(bytes.data(), static_cast<std::size_t>(bytes.size()));
        QCOMPARE(static_cast<int>(Unicode::countOf(text)), count);
        int fromTheEnd = 0;
        for (std::string_view rest = text; !rest.empty(); ++fromTheEnd)
            rest = Unicode::withoutLast(rest);
        QCOMPARE(fromTheEnd, count);
    }

    void writesWhatItReads()
    {
        for (const char32_t character : {U'a', U'\u00E9', U'\u2022', U'\U0001F600', U'\U0010FFFF'}) {
            std::string text = "x";
            Unicode::append(text, character);
            QVERIFY(Unicode::lastOf(text) == character);
            QCOMPARE(Unicode::decoded(text).size(), std::size_t(2));
        }
    }

    void knowsCharactersOfEveryScript()
    {
        for (const char32_t letter : {U'a', U'Z', U'ß', U'é', U'я', U'ש', U'م', U'日', U'ﬁ'})
            QVERIFY2(Unicode::isLetter(letter), qPrintable(QString::number(uint(letter), 16)));
        for (const char32_t other : {U'1', U'-', U' ', U'٣', U'•', U'\u0301', U'€', U'\0'})
            QVERIFY2(!Unicode::isLetter(other), qPrintable(QString::number(uint(other), 16)));
        QVERIFY(Unicode::isLowercase(U'é') && Unicode::isLowercase(U'я') && Unicode::isLowercase(U'ﬁ'));
        QVERIFY(!Unicode::isLowercase(U'É') && !Unicode::isLowercase(U'日') && !Unicode::isLowercase(U'1'));
        QVERIFY(Unicode::isRightToLeft(U'ש') && Unicode::isRightToLeft(U'م'));
        QVERIFY(!Unicode::isRightToLeft(U'a') && !Unicode::isRightToLeft(U'٣') && !Unicode::isRightToLeft(U'('));
    }

    void cutsKeepingEmptyPieces()
    {
        QCOMPARE(Unicode::cutAtLineFeeds("").size(), std::size_t(1));
        QCOMPARE(Unicode::cutAtLineFeeds("a\n\nb\n").size(), std::size_t(4));
    }
};

QTEST_GUILESS_MAIN(UnicodeTest)
#include "UnicodeTest.moc"
