#include "Support/PlacedText.h"
#include "text/BlockBounds.h"
#include "text/ListMarker.h"

#include <QTest>

#include <algorithm>
#include <iterator>

using namespace Pelgra;

namespace {

struct Look {
    float size = 10;
    bool isBold = false;
    std::uint16_t font = 0;
};

/// Characters half as wide as high.
TextPiece piece(std::u32string_view text, float start, float baseline, Look look = {})
{
    TextPiece result;
    result.baseline = baseline;
    for (const char32_t code : text) {
        result.characters.push_back({code, start, start + look.size / 2, look.size, look.font, look.isBold});
        start += look.size / 2;
    }
    return result;
}

/// The lines of a page, a bar between them and two where a block begins.
QByteArray linesOf(const std::vector<TextPiece>& pieces, std::optional<float> usualStep = std::nullopt)
{
    return joinedLines(pieces, "|", usualStep);
}

} // namespace

class PageBlocksTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void endsABlockWhereTheLooksChange()
    {
        const Look bold{.isBold = true};
        QCOMPARE(linesOf({piece(U"Heading", 0, 100, bold), piece(U"text", 0, 112)}), "Heading||text");
        QCOMPARE(linesOf({piece(U"Heading", 0, 100, {.size = 11}), piece(U"text", 0, 112)}), "Heading||text");
        QCOMPARE(linesOf({piece(U"about", 0, 100, {.size = 10.4F}), piece(U"as large", 0, 112)}), "about|as large");
        // A bold phrase of running text goes on over the end of its line.
        QCOMPARE(linesOf({piece(U"some ", 0, 100), piece(U"bold", 25, 100, bold), piece(U"words", 0, 112, bold),
                          piece(U"not", 0, 124)}),
                 "some bold|words||not");
    }

    void takesTheUsualStepFromLinesOfInk()
    {
        std::vector<TextPiece> pieces;
        for (int line = 0; line < 4; ++line)
            pieces.push_back(piece(U"text", 0, 100 + 12.0F * static_cast<float>(line)));
        pieces.push_back(piece(U"next", 0, 156));
        for (int line = 0; line < 9; ++line) // the empty paragraphs of a word processor
            pieces.push_back(piece(U"  ", 0, 180 + 24.0F * static_cast<float>(line)));
        QCOMPARE(linesOf(pieces), "text|text|text|text||next");
        // A page of few lines goes by the one before it.
        const std::vector<TextPiece> last = {piece(U"of", 0, 100), piece(U"few", 0, 124), piece(U"lines", 0, 148)};
        QCOMPARE(linesOf(last), "of||few||lines");
        QCOMPARE(linesOf(last, 2.4F), "of|few|lines");
    }

    void joinsMarkersWithTheirItems()
    {
        const TextPiece text = piece(U"item", 36, 100);
        QCOMPARE(linesOf({piece(U"\u2022", 0, 100), text}), utf8(U"\u2022 item"));
        QCOMPARE(linesOf({piece(U"1.", 0, 100), text}), "1. item");
        QCOMPARE(linesOf({piece(U"ab", 0, 100), text}), "ab|item"); // no marker
        // Drawn after the page's text, as characters or as shapes.
        QCOMPARE(linesOf({text, piece(U"more", 36, 112), piece(U"\u2022", 0, 100)}), utf8(U"\u2022 item|more"));
        TextPiece shape = piece(U"\u2022", 24, 98, {.size = 4});
        shape.characters.front().end = 28;
        shape.isShape = true;
        QCOMPARE(linesOf({text, shape}), utf8(U"\u2022 item"));
        const TextPiece reversed = piece(U"\u05D1 1952 \u05D0", -20, 100); // ends where the shape is
        QCOMPARE(linesOf({reversed, shape}), utf8(U"\u2022 \u05D0 1952 \u05D1"));
        shape.baseline = 130;
        QCOMPARE(linesOf({text, shape}), "item");
    }

    void knowsTheMarkersOfItems_data()
    {
        QTest::addColumn<QString>("line");
        QTest::addColumn<QString>("marker");
        const std::pair<const char*, const char*> rows[] = {
            {"• a", "bullet 0"},       {"➢ a", "bullet 0"},      {"•a", "none"},       {"7. a", "decimal 7"},
            {"123) a", "decimal 123"}, {"(3) a", "decimal 3"},   {"1984. a", "none"},  {"1.5 a", "none"},
            {"iv. a", "roman 4"},      {"XXXIX) a", "roman 39"}, {"b) a", "letter 2"}, {"(C) a", "letter 3"},
            {"ab. a", "none"},
        };
        for (const auto& [line, marker] : rows)
            QTest::newRow(line) << QString::fromUtf8(line) << marker;
    }
    void knowsTheMarkersOfItems()
    {
        QFETCH(QString, line);
        QFETCH(QString, marker);
        constexpr const char* kinds[] = {"bullet", "decimal", "letter", "roman"};
        const std::optional<ListMarker> found = markerAt(piece(line.toStdU32String(), 0, 100).characters);
        QCOMPARE(found ? QString("%1 %2").arg(kinds[static_cast<int>(found->kind)]).arg(found->value) : "none", marker);
    }

    void beginsABlockWithANumberedItem()
    {
        QCOMPARE(linesOf({piece(U"Steps:", 0, 100), piece(U"1. One that is long", 20, 112), piece(U"enough", 35, 124),
                          piece(U"2. Two", 20, 136), piece(U"After", 0, 148)}),
                 "Steps:||1. One that is long|enough||2. Two||After");
        QCOMPARE(linesOf({piece(U"It was built in the year", 0, 100), piece(U"12. There it", 0, 112)}),
                 "It was built in the year|12. There it");
        // From the right, the number drawn with its blank.
        QCOMPARE(linesOf({piece(U" .1", 85, 100), piece(U"\u05D1\u05D0", 75, 100), piece(U"\u05D3\u05D2", 75, 112),
                          piece(U" .2", 85, 124), piece(U"\u05D5\u05D4", 75, 124)}),
                 utf8(U"1. \u05D0\u05D1|\u05D2\u05D3||2. \u05D4\u05D5"));
    }

    void restoresBulletsThatFontsDoNotName()
    {
        const Look symbols{.font = 1};
        for (const char32_t sign : {Unicode::replacement, char32_t{0x84}, char32_t{0xF06C}, U'o'}) {
            const std::u32string_view bullet(&sign, 1);
            QCOMPARE(linesOf({piece(bullet, 0, 100, symbols), piece(U"one", 20, 100), piece(bullet, 0, 130, symbols),
                              piece(U"two", 20, 130)}),
                     utf8(U"\u2022 one||\u2022 two"));
        }
        // Once, or in the font of the text, it may be anything.
        QCOMPARE(linesOf({piece(U"o", 0, 100, symbols), piece(U"one", 20, 100)}), "o one");
        QCOMPARE(linesOf({piece(U"o one", 0, 100), piece(U"o two", 0, 112)}), "o one|o two");
    }

    void composesAccentsWithTheirLetters()
    {
        const auto accented = [](char32_t accent, float start, std::u32string_view text) {
            TextPiece result = piece(text, 0, 100);
            result.characters.insert(result.characters.begin() + 1, {accent, start, start + 4, 10});
            return result;
        };
        QCOMPARE(linesOf({accented(0xA8, 5.5F, U"Zurich")}), utf8(U"Z\u00FCrich")); // before its letter
        QCOMPARE(linesOf({accented(0xB8, 0.5F, U"ca")}), utf8(U"\u00E7a")); // behind it
        QCOMPARE(linesOf({accented(0xB4, 5.5F, U"p\u0131")}), utf8(U"p\u00ED"));
        QCOMPARE(linesOf({accented(0x338, 5.5F, U"a=b")}), utf8(U"a\u2260b"));
        QCOMPARE(linesOf({piece(U"a^b 'c` d", 0, 100)}), "a^b 'c` d"); // signs of their own
    }

    void keepsTheBracketsThatBalance()
    {
        const auto drawn = [](std::u32string_view text) {
            return linesOf({piece(text, 0, 100)});
        };
        QCOMPARE(drawn(U"\u05D2 (\u05D1) \u05D0"), utf8(U"\u05D0 (\u05D1) \u05D2")); // by their shape
        QCOMPARE(drawn(U"\u05D2 )\u05D1( \u05D0"), utf8(U"\u05D0 (\u05D1) \u05D2")); // by their meaning
    }

    void putsSignsDrawnBeforeTheirWordsIntoThem()
    {
        const std::u32string first(20, U'\u05D0'), second(20, U'\u05D1');
        const QByteArray wanted = utf8(first + U". " + second + U".");
        QCOMPARE(linesOf({piece(U".", 195, 100), piece(U" ", 190, 100), piece(U".", 85, 100), piece(first, 200, 100),
                          piece(second, 90, 100)}),
                 wanted);
        // A blank that the library put between the words.
        TextPiece words = piece(first, 200, 100);
        words.characters.push_back({U' ', 190, 200, 10});
        std::ranges::copy(piece(second, 90, 100).characters, std::back_inserter(words.characters));
        QCOMPARE(linesOf({piece(U".", 195, 100), piece(U" ", 190, 100), piece(U".", 85, 100), words}), wanted);
        // Drawn twice to look bold.
        QCOMPARE(linesOf({piece(first, 200, 100), piece(first, 200.5F, 100)}), utf8(first));
        // Columns stay apart.
        QCOMPARE(linesOf({piece(first, 200, 100), piece(second, 0, 100), piece(first, 200, 112)}).count('|'), 2);
    }

    void readsForeignNamesAndStretchedWordsFromTheRight()
    {
        QCOMPARE(linesOf({piece(U"\u05D1 TX-40 \u05D0", 0, 100)}), utf8(U"\u05D0 TX-40 \u05D1"));
        TextPiece stretched = piece(U"\u0646\uFFFD\uFFFD\u0645", 0, 100);
        stretched.characters[1].end = stretched.characters[2].start = 7.5F;
        stretched.characters[2].end = stretched.characters[3].start = 10;
        stretched.characters[3].end = 15;
        QCOMPARE(linesOf({stretched}), utf8(U"\u0645\u0646"));
        TextPiece ligature = piece(U"\u0628\u0644\u0627", 0, 100);
        ligature.characters.insert(ligature.characters.begin() + 1, {0x627, 5, 5, 10});
        QCOMPARE(linesOf({ligature}), utf8(U"\u0627\u0644\u0627\u0628"));
    }

    void readsRowsAcrossAndColumnsDown()
    {
        QCOMPARE(linesOf({piece(U"a", 0, 100), piece(U"1", 80, 100), piece(U"b", 0, 112), piece(U"2", 80, 112)}),
                 "a 1|b 2");
        QCOMPARE(linesOf({piece(U"a", 0, 100), piece(U"1", 80, 100), piece(U"b", 0, 112)}), "a|1|b");
        QCOMPARE(linesOf({piece(U"\u05D0", 75, 100), piece(U"3456 \u05D1 12", 0, 100), piece(U"\u05D2", 75, 112),
                          piece(U"3456 \u05D3 12", 0, 112)}),
                 utf8(U"\u05D0 12 \u05D1 3456|\u05D2 12 \u05D3 3456"));
        const std::u32string prose(60, U'x');
        QCOMPARE(linesOf({piece(prose, 0, 100), piece(prose, 400, 100), piece(prose, 0, 112), piece(prose, 400, 112)})
                     .count('|'),
                 3);
    }

    void putsAFirstLetterBeforeItsWord()
    {
        const TextPiece letter = piece(U"O", 0, 126, {.size = 36});
        const std::vector<TextPiece> text = {piece(U"the end.", 20, 88), piece(U"nce upon", 20, 106),
                                             piece(U"a time there", 20, 118), piece(U"was a well", 0, 140)};
        for (const std::ptrdiff_t place : {0, 1, 2, 4}) { // in the page's contents
            std::vector<TextPiece> pieces = text;
            pieces.insert(pieces.begin() + place, letter);
            QCOMPARE(linesOf(pieces), "the end.||Once upon|a time there||was a well");
        }
    }

    void beginsAParagraphWithAnIndent()
    {
        const std::vector<TextPiece> paragraphs = {piece(U"one two three", 0, 100), piece(U"four five six", 0, 112),
                                                   piece(U"seven eight", 15, 124), piece(U"nine ten eleven", 0, 136)};
        QCOMPARE(linesOf(paragraphs), "one two three|four five six||seven eight|nine ten eleven");
        std::vector<TextPiece> item = paragraphs;
        item.front() = piece(U"- two three", 0, 100);
        item[1] = piece(U"four five six", 10, 112);
        item[2] = piece(U"seven eight", 10, 124);
        QCOMPARE(linesOf(item), "- two three|four five six|seven eight||nine ten eleven");
    }

    void joinsKoreanWordsBrokenBetweenSyllables()
    {
        // Syllables as wide as two letters, so that a line has room for seven.
        const auto page = [](std::initializer_list<std::u32string_view> lines, float blank) {
            std::vector<TextPiece> pieces;
            for (const std::u32string_view text : lines) {
                TextPiece line = piece(text, 0, 100 + 12.0F * static_cast<float>(pieces.size()));
                float start = 0;
                for (PlacedCharacter& character : line.characters) {
                    character.start = start;
                    start = character.end = start + (character.code == U' ' ? blank : 10);
                }
                pieces.push_back(std::move(line));
            }
            return pieces;
        };
        QCOMPARE(linesOf(page({U"가각 갂갃간 갅", U"갆 갇갈갉갊 갋", U"갌갍갎 갏감 갑", U"값 갓"}, 5)),
                 utf8(U"가각 갂갃간 갅갆|갇갈갉갊 갋갌갍갎|"
                      U"갏감 갑값|갓"));
        // Words stay whole where lines have room left, at their end or, set to one width, between the words.
        const auto whole = {std::u32string_view(U"가각 갂갃"), std::u32string_view(U"간갅갆"),
                            std::u32string_view(U"갇갈 갉갊"), std::u32string_view(U"갋 갌")};
        const QByteArray kept = utf8(U"가각 갂갃|간갅갆|갇갈 갉갊|갋 갌");
        QCOMPARE(linesOf(page(whole, 5)), kept);
    }

    void joinsIdeographsWithoutBlanks()
    {
        const std::vector<std::string> lines = {"東京の", "町", "is far"};
        QCOMPARE(TextExtraction::joinLines(lines), std::string("東京の町 is far"));
        std::vector<TextPiece> wide;
        for (int index = 0; index < 4; ++index)
            wide.push_back(piece(U"\u3042", 14.0F * static_cast<float>(index), 100));
        QCOMPARE(linesOf(wide), utf8(U"\u3042\u3042\u3042\u3042"));
        QCOMPARE(linesOf({piece(U"\u2F00\u2ED4", 0, 100)}), utf8(U"\u4E00\u95E8")); // radicals meant as characters
    }
};

QTEST_GUILESS_MAIN(PageBlocksTest)
#include "PageBlocksTest.moc"
