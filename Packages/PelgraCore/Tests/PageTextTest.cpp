#include "Support/PlacedText.h"

#include <QTest>

using namespace Pelgra;

Q_DECLARE_METATYPE(std::vector<float>)

namespace {

/// Characters of 10 points, each 5 wide, from a place on a baseline; drawn to the left they stand ever further left.
TextPiece piece(std::u32string_view text, float start = 0, float baseline = 100, bool toTheLeft = false)
{
    TextPiece result;
    result.baseline = baseline;
    for (const char32_t code : text) {
        result.characters.push_back({code, start, start + 5, 10});
        start += toTheLeft ? -5.0F : 5.0F;
    }
    return result;
}

QByteArray textOf(const std::vector<TextPiece>& pieces)
{
    return joinedLines(pieces, "\n");
}

} // namespace

class PageTextTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void joinsThePiecesOfALine_data()
    {
        QTest::addColumn<float>("gap");
        QTest::addColumn<float>("step");
        QTest::addColumn<QByteArray>("text");
        QTest::newRow("touching") << 0.0F << 0.0F << QByteArray("onetwo");
        QTest::newRow("kerned") << -3.0F << 0.0F << QByteArray("onetwo");
        QTest::newRow("letter spacing") << 1.0F << 0.0F << QByteArray("onetwo");
        QTest::newRow("word space") << 2.0F << 0.0F << QByteArray("one two");
        QTest::newRow("wide") << 24.0F << 0.0F << QByteArray("one two");
        QTest::newRow("next column") << 26.0F << 0.0F << QByteArray("one\ntwo");
        QTest::newRow("back to the left") << -40.0F << 0.0F << QByteArray("one\ntwo");
        QTest::newRow("raised a little") << 0.0F << -3.0F << QByteArray("onetwo");
        QTest::newRow("half a line lower") << 0.0F << 5.0F << QByteArray("one\ntwo");
        QTest::newRow("next line") << 0.0F << 12.0F << QByteArray("one\ntwo");
    }
    void joinsThePiecesOfALine()
    {
        QFETCH(float, gap);
        QFETCH(float, step);
        QFETCH(QByteArray, text);
        QCOMPARE(textOf({piece(U"one"), piece(U"two", 15 + gap, 100 + step)}), text);
    }

    void addsNoSecondSpace()
    {
        QCOMPARE(textOf({piece(U"one "), piece(U"two", 25)}), QByteArray("one two"));
        QCOMPARE(textOf({piece(U"one"), piece(U" two", 20)}), QByteArray("one two"));
    }

    void keepsOneBlankBetweenWords() { QCOMPARE(textOf({piece(U"  one   two  ")}), QByteArray("  one two")); }

    void joinsSpacedLetters_data()
    {
        QTest::addColumn<QString>("drawn");
        QTest::addColumn<float>("spacing");
        QTest::addColumn<QByteArray>("text");
        QTest::newRow("words") << "SPACED letters here" << 3.0F << QByteArray("SPACED letters here");
        QTest::newRow("wide") << "SPACED letters" << 6.0F << QByteArray("SPACED letters");
        QTest::newRow("one word, narrowly") << "HEADING" << 1.8F << QByteArray("HEADING");
        QTest::newRow("single letters") << "ABCDEFG" << 2.5F << QByteArray("A B C D E F G");
        QTest::newRow("digits of a form") << "1234 5678 9012" << 4.0F << QByteArray("1 2 3 4 5 6 7 8 9 0 1 2");
        QTest::newRow("pairs of letters") << "ab cd ef gh" << 3.0F << QByteArray("a b c d e f g h");
        QTest::newRow("too few to tell") << "no go" << 3.0F << QByteArray("n o g o");
    }
    void joinsSpacedLetters()
    {
        QFETCH(QString, drawn);
        QFETCH(float, spacing);
        QFETCH(QByteArray, text);
        std::vector<TextPiece> letters;
        float start = 0;
        for (const char32_t code : drawn.toStdU32String()) {
            letters.push_back(piece(std::u32string_view(&code, 1), start));
            start += 5 + spacing;
        }
        QCOMPARE(textOf(letters), text);
    }

    void readsTextDrawnTwiceOnce()
    {
        const TextPiece again = piece(U"bold", 0.4F, 100.3F);
        QCOMPARE(textOf({piece(U"bold"), again}), QByteArray("bold"));
        QCOMPARE(textOf({piece(U"bold"), piece(U"next", 0, 112), again}), QByteArray("bold\nnext"));
        QCOMPARE(textOf({piece(U"bold"), piece(U"bald", 0.4F)}), QByteArray("bold\nbald"));
        QCOMPARE(textOf({piece(U"ha"), piece(U"ha", 10)}), QByteArray("haha"));
    }

    void leavesALineEmptyBetweenParagraphs_data()
    {
        QTest::addColumn<std::vector<float>>("baselines");
        QTest::addColumn<QByteArray>("text");
        using Baselines = std::vector<float>;
        QTest::newRow("few lines") << Baselines{100, 112, 130} << QByteArray("x\nx\n\nx");
        QTest::newRow("room after a paragraph") << Baselines{100, 112, 124, 141, 153} << QByteArray("x\nx\nx\n\nx\nx");
        QTest::newRow("double spacing") << Baselines{100, 124, 148, 172, 196, 220} << QByteArray("x\nx\nx\nx\nx\nx");
        QTest::newRow("new column") << Baselines{300, 312, 324, 336, 100, 112} << QByteArray("x\nx\nx\nx\nx\nx");
    }
    void leavesALineEmptyBetweenParagraphs()
    {
        QFETCH(std::vector<float>, baselines);
        QFETCH(QByteArray, text);
        std::vector<TextPiece> pieces;
        for (const float baseline : baselines)
            pieces.push_back(piece(U"x", baseline < 200 ? 300 : 0, baseline));
        QCOMPARE(textOf(pieces), text);
    }

    void keepsDirectionsApart()
    {
        TextPiece turned = piece(U"two", 15);
        turned.directionX = 0;
        turned.directionY = 1;
        QCOMPARE(textOf({piece(U"one"), turned}), QByteArray("one\ntwo"));
        TextPiece vertical = turned;
        vertical.isVertical = true;
        QCOMPARE(textOf({turned, vertical}), QByteArray("two\ntwo"));
    }

    void keepsTheOrderOfTheContents()
    {
        // A left column, then a right one that begins higher.
        QCOMPARE(textOf({piece(U"left", 0, 100), piece(U"below", 0, 112), piece(U"right", 300, 50)}),
                 QByteArray("left\nbelow\nright"));
    }

    void tellsTheDominantSize()
    {
        TextPiece small = piece(U"12", 40);
        for (PlacedCharacter& character : small.characters)
            character.size = 6.1F;
        const std::vector<TextPiece> pieces{piece(U"Section"), small};
        const std::vector<TextExtraction::Line> lines = linesFrom(visualLinesFrom(pieces));
        QCOMPARE(lines.size(), std::size_t(1));
        QCOMPARE(lines.front().fontSize.value_or(0), 10.0);
        QCOMPARE(lines.front().charCount, std::int64_t(9));
    }

    void resolvesHyphensAndOddCharacters_data()
    {
        QTest::addColumn<QString>("characters");
        QTest::addColumn<QByteArray>("text");
        QTest::newRow("soft hyphen at the end") << QStringLiteral("co\u00AD") << QByteArray("co-");
        QTest::newRow("and a space") << QStringLiteral("co\u00AD ") << QByteArray("co-");
        QTest::newRow("drawn soft hyphen") << QStringLiteral("co\u00ADop") << QByteArray("co-op");
        QTest::newRow("typographic hyphen at the end") << QStringLiteral("co\u2010") << QByteArray("co-");
        QTest::newRow("typographic hyphen within") << QStringLiteral("co\u2010op") << QByteArray("co\u2010op");
        QTest::newRow("control characters") << QStringLiteral("a\u0007b\u0090c\u200E") << QByteArray("abc");
        QTest::newRow("bullet of a symbol font") << QStringLiteral("\uF0B7 a") << QByteArray("\u2022 a");
        QTest::newRow("only invisible") << QStringLiteral("\u0002\uFEFF") << QByteArray();
        QTest::newRow("unknown stays visible") << QStringLiteral("a\uFFFDb") << QByteArray("a\uFFFDb");
    }
    void resolvesHyphensAndOddCharacters()
    {
        QFETCH(QString, characters);
        QFETCH(QByteArray, text);
        QCOMPARE(textOf({piece(characters.toStdU32String())}), text);
    }

    void dropsWhatTakesNoRoom()
    {
        TextPiece text = piece(U"co\u00ADop");
        text.characters[2].end = text.characters[2].start;
        QCOMPARE(textOf({text}), QByteArray("coop"));
        text.characters[2].code = Unicode::replacement; // such as a tab, which fonts do not know
        QCOMPARE(textOf({text}), QByteArray("coop"));
    }

    void readsRightToLeft_data()
    {
        QTest::addColumn<QString>("drawn");
        QTest::addColumn<QString>("read");
        // Hebrew letters; drawn from left to right as they stand on the page.
        QTest::newRow("a word") << "גבא"
                                << "אבג";
        QTest::newRow("words") << "דג בא"
                               << "אב גד";
        QTest::newRow("number inside") << "דג 12.5 בא"
                                       << "אב 12.5 גד";
        QTest::newRow("date of numbers") << "1434 גבא 14"
                                         << "14 אבג 1434";
        QTest::newRow("brackets") << "(גבא)"
                                  << "(אבג)";
        QTest::newRow("quotation marks") << "«גבא»"
                                         << "«אבג»";
        QTest::newRow("full stop") << ".גבא"
                                   << "אבג.";
        QTest::newRow("foreign word inside") << "דג ABC בא"
                                             << "אב ABC גד";
        QTest::newRow("within foreign text") << "see דג בא here"
                                             << "see אב גד here";
        QTest::newRow("presentation forms") << QString::fromUtf8("\uFEE1\uFEFC\uFEB3") << QString::fromUtf8("سلام");
    }
    void readsRightToLeft()
    {
        QFETCH(QString, drawn);
        QFETCH(QString, read);
        QCOMPARE(QString::fromUtf8(textOf({piece(drawn.toStdU32String())})), read);
    }

    void readsLinesOfBothDirectionsAsThePageReads()
    {
        const auto mixed = piece(U"test דגבא", 0, 112);
        QCOMPARE(textOf({piece(U"A page of English text"), mixed}),
                 QByteArray("A page of English text\n") + utf8(U"test אבגד"));
        QCOMPARE(textOf({piece(U"דגבא דגבא"), mixed}), utf8(U"אבגד אבגד\nאבגד test"));
    }

    void readsTextDrawnInReadingOrder()
    {
        // Every character, or every word, is left of the one before.
        QCOMPARE(textOf({piece(U"אבג דה", 200, 100, true)}), utf8(U"אבג דה"));
        QCOMPARE(textOf({piece(U"גבא", 200), piece(U"הד", 187)}), utf8(U"אבג דה"));
    }

    void keepsMarksAndLigaturesTogether()
    {
        // A vowel without width over the second letter; a glyph that stands for three characters.
        TextPiece vowels = piece(U"גבא");
        vowels.characters.insert(vowels.characters.begin() + 2, {U'\u05B8', 7.5F, 7.5F, 10});
        QCOMPARE(textOf({vowels}), utf8(U"אב\u05B8ג"));
        TextPiece ligature = piece(U"הדא");
        ligature.characters.push_back({U'ב', 15, 15, 10});
        ligature.characters.push_back({U'ג', 15, 15, 10});
        QCOMPARE(textOf({ligature}), utf8(U"אבגדה"));
    }

    void trustsTextGivenToOneGlyphAsAWhole()
    {
        TextPiece whole = piece(U"א", 0);
        for (const char32_t code : std::u32string_view(U"בג d"))
            whole.characters.push_back({code, 5, 5, 10});
        whole.characters.push_back({U'e', 5, 10, 10});
        QCOMPARE(textOf({whole}), utf8(U"אבג de"));
    }

    void knowsWhenATextLayerIsWorthless()
    {
        using Lines = std::vector<TextExtraction::Line>;
        const auto line = [](const char* text) {
            return TextExtraction::lineFrom(text, {});
        };
        QVERIFY(isReadable(Lines{line("x")}));
        QVERIFY(isReadable(Lines{line("one \uFFFD unknown in a sentence")}));
        QVERIFY(!isReadable(Lines{}));
        QVERIFY(!isReadable(Lines{line(" \t"), line("\u00A0")}));
        QVERIFY(!isReadable(Lines{line("\uFFFD\uFFFD\uFFFDThe\uFFFDTheory\uFFFD")}));
    }
};

QTEST_GUILESS_MAIN(PageTextTest)
#include "PageTextTest.moc"
