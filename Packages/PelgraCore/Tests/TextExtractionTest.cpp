#include "PelgraCore/TextExtraction.h"

#include <QTest>

#include <algorithm>

using namespace Pelgra;
using namespace Pelgra::TextExtraction;

Q_DECLARE_METATYPE(std::vector<Line>)
Q_DECLARE_METATYPE(std::vector<Block>)
Q_DECLARE_METATYPE(std::vector<FontRun>)
Q_DECLARE_METATYPE(std::vector<RecognizedLine>)

namespace {

using Texts = std::vector<std::string>;

/// As many visible characters as the text has; without a size of its own it is body text.
Line line(std::string text, double size = 10)
{
    const auto visible = std::ranges::count_if(text, [](char character) { return character != ' '; });
    const FontRun run{size, visible};
    return lineFrom(std::move(text), std::span(&run, size > 0 ? 1 : 0));
}

/// A line of body text too long to be the end of a paragraph.
std::string longText(const std::string& start = "")
{
    return start + std::string(50 - std::min<std::size_t>(start.size(), 49), 'x');
}

std::vector<Block> blocksOf(const std::vector<Line>& lines)
{
    return blocksFrom(lines);
}

QByteArray shown(const std::vector<Block>& blocks)
{
    QByteArray text;
    for (const Block& block : blocks) {
        if (const auto* heading = std::get_if<Heading>(&block))
            text += "[H" + QByteArray::number(heading->level) + "] " + heading->text.c_str();
        else if (const auto* bullet = std::get_if<Bullet>(&block))
            text += QByteArray("[B] ") + bullet->text.c_str();
        else
            text += QByteArray("[P] ") + std::get<Paragraph>(block).text.c_str();
        text += '\n';
    }
    return text;
}

/// A line of a scan, 0.02 high, whose top is at the given height.
RecognizedLine scanLine(const char* text, double top)
{
    return {text, 0.1, top - 0.02, 0.9, top};
}

} // namespace

class TextExtractionTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void takesTheDominantSizeOfALine_data()
    {
        QTest::addColumn<std::vector<FontRun>>("runs");
        QTest::addColumn<double>("size");
        using Runs = std::vector<FontRun>;
        QTest::newRow("none") << Runs{} << 0.0;
        QTest::newRow("most characters") << Runs{{10, 3}, {12, 5}, {10, 3}} << 10.0;
        QTest::newRow("larger of equals") << Runs{{12, 4}, {10, 4}} << 12.0;
        QTest::newRow("half points") << Runs{{9.96, 2}, {10.2, 2}, {12, 3}} << 10.0;
        QTest::newRow("up to the half") << Runs{{10.25, 1}} << 10.5;
        QTest::newRow("white runs do not count") << Runs{{30, 0}, {9, 1}} << 9.0;
        QTest::newRow("no number") << Runs{{std::numeric_limits<double>::quiet_NaN(), 9}} << 0.0;
    }
    void takesTheDominantSizeOfALine()
    {
        QFETCH(std::vector<FontRun>, runs);
        QFETCH(double, size);
        QCOMPARE(lineFrom("text", runs).fontSize.value_or(0), size);
    }

    void countsVisibleCharactersNotBytes()
    {
        const FontRun run{10, 9};
        QCOMPARE(lineFrom(" \u00E4\u00A0\u65E5\t\u3000\u00DF\u2003b ", {}).charCount, std::int64_t(4));
        QCOMPARE(lineFrom("short", std::span(&run, 1)).charCount, std::int64_t(9));
    }

    void classifiesHeadings_data()
    {
        QTest::addColumn<std::vector<Line>>("lines");
        QTest::addColumn<QByteArray>("expected");
        const Line body = line(longText());
        const QByteArray bodyShown = QByteArray("[P] ") + longText().c_str() + '\n';
        using Lines = std::vector<Line>;
        QTest::newRow("levels") << Lines{line("Title", 18), line("Section", 13), body}
                                << "[H1] Title\n[H2] Section\n" + bodyShown;
        QTest::newRow("just too small") << Lines{line("Almost", 12.5), body}
                                        << QByteArray("[P] Almost ") + longText().c_str() + '\n';
        QTest::newRow("broken over lines")
            << Lines{line(" A long ", 20), line("title", 18), body} << "[H1] A long title\n" + bodyShown;
        QTest::newRow("apart by text") << Lines{line("One", 20), body, line("Two", 20)}
                                       << "[H1] One\n" + bodyShown + "[H1] Two\n";
        QTest::newRow("no letters") << Lines{line("2024", 30), body}
                                    << QByteArray("[P] 2024 ") + longText().c_str() + '\n';
        QTest::newRow("foreign letters") << Lines{lineFrom("日本", std::vector<FontRun>{{30, 2}}), body}
                                         << "[H1] 日本\n" + bodyShown;
        const std::string longest(200, 'z');
        QTest::newRow("as long as can be")
            << Lines{line(longest, 20), line(longest + longest)}
            << QByteArray("[H1] ") + longest.c_str() + "\n[P] " + (longest + longest).c_str() + '\n';
        const std::string tooLong(201, 'y');
        QTest::newRow("too long") << Lines{line(tooLong, 20), line(longText() + longText() + longText()),
                                           line(longText() + longText())}
                                  << QByteArray("[P] ") + tooLong.c_str() + ' '
                + (longText() + longText() + longText()).c_str() + ' ' + (longText() + longText()).c_str() + '\n';
        std::string umlauts;
        for (int i = 0; i < 150; ++i)
            umlauts += "ä";
        QTest::newRow("long in bytes only")
            << Lines{lineFrom(umlauts, std::vector<FontRun>{{20, 1}}), line(std::string(400, 'x'))}
            << "[H1] " + QByteArray(umlauts.c_str()) + "\n[P] " + QByteArray(400, 'x') + '\n';
        QTest::newRow("no sizes known") << Lines{line("Title", 0), line(longText(), 0)}
                                        << QByteArray("[P] Title ") + longText().c_str() + '\n';
    }
    void classifiesHeadings()
    {
        QFETCH(std::vector<Line>, lines);
        QFETCH(QByteArray, expected);
        QCOMPARE(shown(blocksOf(lines)), expected);
    }

    void judgesSizesByTheWeightedMedian()
    {
        // Twenty short labels in 6 points do not make the 10-point text a heading.
        std::vector<Line> lines(20, line("ab", 6));
        lines.push_back(line(longText(), 10));
        const std::vector<Block> blocks = blocksOf(lines);
        QVERIFY(
            std::ranges::none_of(blocks, [](const Block& block) { return std::holds_alternative<Heading>(block); }));
    }

    void endsParagraphsAndItems_data()
    {
        QTest::addColumn<std::vector<Line>>("lines");
        QTest::addColumn<QByteArray>("expected");
        using Lines = std::vector<Line>;
        const auto text = [](const std::string& start) {
            return line(longText(start));
        };
        const auto full = [](const std::string& start) {
            return QByteArray(longText(start).c_str());
        };
        QTest::newRow("short line with a full stop")
            << Lines{text("a"), line("end."), text("b")} << "[P] " + full("a") + " end.\n[P] " + full("b") + '\n';
        QTest::newRow("short line within a sentence")
            << Lines{text("a"), line("goes on"), text("b")} << "[P] " + full("a") + " goes on " + full("b") + '\n';
        for (const char* const end : {".", "!", "?", ":", "\"", "”", "’", ")"})
            QTest::newRow(end) << Lines{line(std::string("said") + end), text("b")}
                               << QByteArray("[P] said") + end + "\n[P] " + full("b") + '\n';
        // Of fifty characters to a line, forty are not short.
        QTest::newRow("nearly short") << Lines{line(std::string(39, 'x') + "."), text("b")}
                                      << "[P] " + QByteArray(39, 'x') + ". " + full("b") + '\n';
        QTest::newRow("barely short") << Lines{line(std::string(38, 'x') + "."), text("b")}
                                      << "[P] " + QByteArray(38, 'x') + ".\n[P] " + full("b") + '\n';
        QTest::newRow("long line with a full stop")
            << Lines{line(longText() + "."), text("b")} << "[P] " + full("") + ". " + full("b") + '\n';
        QTest::newRow("empty line") << Lines{text("a"), line(" \t"), text("b")}
                                    << "[P] " + full("a") + "\n[P] " + full("b") + '\n';
        QTest::newRow("short item ends at once")
            << Lines{line("• one"), text("b")} << "[B] one\n[P] " + full("b") + '\n';
        QTest::newRow("long item goes on")
            << Lines{line(longText("• one ")), text("two "), line("three"), text("b")}
            << "[B] " + full("• one ").mid(4) + ' ' + full("two ") + " three\n[P] " + full("b") + '\n';
        QTest::newRow("item after item") << Lines{line(longText("- a ")), line(longText("- b "))}
                                         << "[B] " + full("- a ").mid(2) + "\n[B] " + full("- b ").mid(2) + '\n';
        QTest::newRow("item after text") << Lines{text("a"), line("- b"), text("c")}
                                         << "[P] " + full("a") + "\n[B] b\n[P] " + full("c") + '\n';
        QTest::newRow("nothing") << Lines{line(""), line("  ")} << QByteArray();
    }
    void endsParagraphsAndItems()
    {
        QFETCH(std::vector<Line>, lines);
        QFETCH(QByteArray, expected);
        QCOMPARE(shown(blocksOf(lines)), expected);
    }

    void measuresLinesAgainstTheLongOnesOfThePage()
    {
        // The nine-tenths percentile: with ten lines the single long one counts, with eleven equal lengths decide.
        std::vector<Line> lines(9, line("0123456789."));
        lines.push_back(line(longText()));
        QCOMPARE(blocksOf(lines).size(), std::size_t(10));
        lines.push_back(line("0123456789."));
        QCOMPARE(blocksOf(lines).size(), std::size_t(1));
    }

    void findsBullets_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QByteArray>("body");
        QTest::newRow("glyph") << QByteArray("• one") << QByteArray("one");
        QTest::newRow("glyph without blank") << QByteArray("▪one") << QByteArray("one");
        for (const char* const glyph : {"•", "◦", "▪", "●", "‣", "·", "■", "□", "○"})
            QTest::newRow(glyph) << QByteArray(glyph) + "x" << QByteArray("x");
        QTest::newRow("glyph alone") << QByteArray("• \t ") << QByteArray();
        QTest::newRow("hyphen") << QByteArray("- one ") << QByteArray("one");
        QTest::newRow("tab") << QByteArray("*\tone") << QByteArray("one");
        QTest::newRow("en dash") << QByteArray("– one") << QByteArray("one");
        QTest::newRow("minus") << QByteArray("-5 degrees") << QByteArray();
        QTest::newRow("em dash") << QByteArray("— one") << QByteArray("one");
        QTest::newRow("em dash before a word") << QByteArray("—and") << QByteArray();
        QTest::newRow("dash alone") << QByteArray("-") << QByteArray();
        QTest::newRow("dash and blanks") << QByteArray("-  ") << QByteArray();
        QTest::newRow("number") << QByteArray("1. one") << QByteArray();
        QTest::newRow("letter") << QByteArray("a) one") << QByteArray();
        QTest::newRow("empty") << QByteArray() << QByteArray();
    }
    void findsBullets()
    {
        QFETCH(QByteArray, text);
        QFETCH(QByteArray, body);
        const std::optional<std::string> found = bulletBody(text.toStdString());
        QCOMPARE(found.has_value(), !body.isEmpty());
        QCOMPARE(QByteArray::fromStdString(found.value_or("")), body);
    }

    void joinsLines_data()
    {
        QTest::addColumn<Texts>("lines");
        QTest::addColumn<QByteArray>("expected");
        QTest::newRow("none") << Texts{} << QByteArray();
        QTest::newRow("space") << Texts{"one", "two"} << QByteArray("one two");
        QTest::newRow("broken word") << Texts{"exam-", "ple"} << QByteArray("example");
        QTest::newRow("real hyphen lost") << Texts{"X-", "ray"} << QByteArray("Xray");
        QTest::newRow("name") << Texts{"Jean-", "Paul"} << QByteArray("Jean- Paul");
        QTest::newRow("number") << Texts{"1999-", "today"} << QByteArray("1999- today");
        QTest::newRow("hyphen alone") << Texts{"-", "a"} << QByteArray("- a");
        QTest::newRow("accents") << Texts{"\u00E9-", "\u00E9t\u00E9"} << QByteArray("\u00E9\u00E9t\u00E9");
        QTest::newRow("empty next line") << Texts{"a-", "", "b"} << QByteArray("a-  b");
        QTest::newRow("empty first lines") << Texts{"", "", "b"} << QByteArray("b");
    }
    void joinsLines()
    {
        QFETCH(Texts, lines);
        QFETCH(QByteArray, expected);
        QCOMPARE(QByteArray::fromStdString(TextExtraction::joinLines(lines)), expected);
    }

    void rendersMarkdown_data()
    {
        QTest::addColumn<std::vector<Block>>("blocks");
        QTest::addColumn<QByteArray>("markdown");
        using Blocks = std::vector<Block>;
        QTest::newRow("nothing") << Blocks{} << QByteArray();
        QTest::newRow("headings") << Blocks{Heading{1, "A"}, Heading{2, "B"}} << QByteArray("# A\n\n## B\n");
        QTest::newRow("tight list") << Blocks{Paragraph{"p"}, Bullet{"a"}, Bullet{"b"}, Paragraph{"q"}}
                                    << QByteArray("p\n\n- a\n- b\n\nq\n");
        QTest::newRow("no accidental markup") << Blocks{Paragraph{"#1 is"}, Paragraph{">5"}, Paragraph{"a # b"}}
                                              << QByteArray("\\#1 is\n\n\\>5\n\na # b\n");
    }
    void rendersMarkdown()
    {
        QFETCH(std::vector<Block>, blocks);
        QFETCH(QByteArray, markdown);
        QCOMPARE(QByteArray::fromStdString(TextExtraction::render(blocks)), markdown);
    }

    void cleansPageText_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QByteArray>("clean");
        QTest::newRow("ends of lines") << QByteArray("a \t\n  b\u00A0\n\nc") << QByteArray("a\n  b\n\nc");
        QTest::newRow("ends of the page") << QByteArray("\n \n\na\n\n\n") << QByteArray("a");
        QTest::newRow("Windows line ends") << QByteArray("a\r\nb\r\n") << QByteArray("a\nb");
        QTest::newRow("old line ends") << QByteArray("a\rb\r\r") << QByteArray("a\nb");
        QTest::newRow("white space only") << QByteArray(" \n\t\r\n") << QByteArray();
    }
    void cleansPageText()
    {
        QFETCH(QByteArray, text);
        QFETCH(QByteArray, clean);
        const std::string normalized = normalizedLineEnds(text.toStdString());
        QCOMPARE(normalized.size(), static_cast<std::size_t>(text.size()));
        QCOMPARE(QByteArray::fromStdString(trimTrailingWhitespace(normalized)), clean);
        const std::vector<Line> oneLine{lineFrom(text.toStdString(), {})};
        QCOMPARE(QByteArray::fromStdString(pageTextFrom(oneLine)), clean);
    }

    void findsParagraphsOfScans_data()
    {
        QTest::addColumn<std::vector<RecognizedLine>>("lines");
        QTest::addColumn<QByteArray>("expected");
        using Lines = std::vector<RecognizedLine>;
        QTest::newRow("none") << Lines{} << QByteArray();
        QTest::newRow("blank") << Lines{scanLine(" \t", 0.9)} << QByteArray();
        QTest::newRow("one paragraph") << Lines{scanLine("a", 0.9), scanLine("b", 0.87)} << QByteArray("a\nb");
        QTest::newRow("gap") << Lines{scanLine("a", 0.9), scanLine("b", 0.863), scanLine("c", 0.84)}
                             << QByteArray("a\n\nb\nc");
        // A tall line does not change what is a gap between the others.
        RecognizedLine tall = scanLine("A", 0.95);
        tall.minY = 0.88;
        QTest::newRow("gap below a tall line")
            << Lines{tall, scanLine("a", 0.88), scanLine("b", 0.84), scanLine("c", 0.82)} << QByteArray("A\na\n\nb\nc");
        QTest::newRow("overlapping boxes") << Lines{scanLine("a", 0.9), scanLine("b", 0.89)} << QByteArray("a\nb");
        QTest::newRow("new column") << Lines{scanLine("a", 0.9), scanLine("b", 0.88), scanLine("c", 0.95)}
                                    << QByteArray("a\nb\n\nc");
        QTest::newRow("blank lines leave no gap")
            << Lines{scanLine("a", 0.9), scanLine(" ", 0.3), scanLine("b", 0.88)} << QByteArray("a\nb");
    }
    void findsParagraphsOfScans()
    {
        QFETCH(std::vector<RecognizedLine>, lines);
        QFETCH(QByteArray, expected);
        const std::vector<RecognizedParagraph> paragraphs = paragraphsFrom(lines);
        QCOMPARE(QByteArray::fromStdString(pageTextFrom(paragraphs)), expected);
    }

    void putsBulletsOfScansBack_data()
    {
        QTest::addColumn<QByteArray>("line");
        QTest::addColumn<double>("confidence");
        QTest::addColumn<QByteArray>("expected");
        QTest::newRow("cent sign") << QByteArray("¢ One") << 70.0 << QByteArray("• One");
        QTest::newRow("sure cent sign") << QByteArray("¢ is the sign") << 86.0 << QByteArray("¢ is the sign");
        QTest::newRow("price") << QByteArray("¢50 each") << 30.0 << QByteArray("¢50 each");
        // Below a bullet, too, what was read as a word stands.
        for (const char* const line :
             {"O Captain! my Captain!", "e lei rispose", "0 pears", "o tu", "@ home", "© 2024 Somebody", "« Bonjour »"})
            QTest::newRow(line) << QByteArray(line) << 45.0 << QByteArray(line);
    }
    void putsBulletsOfScansBack()
    {
        QFETCH(QByteArray, line);
        QFETCH(double, confidence);
        QFETCH(QByteArray, expected);
        std::vector<RecognizedLine> recognized{scanLine("• First", 0.9), scanLine(line.constData(), 0.9)};
        recognized.back().firstWordConfidence = confidence;
        QCOMPARE(QByteArray::fromStdString(withBulletsRestored(recognized).back().text), expected);
    }

    void makesBlocksOfScans()
    {
        const std::vector<RecognizedParagraph> paragraphs = {
            {"Intro", " con-", "tinued "}, {"", "  "}, {"Before", "• one", "more", "- two"}, {"After"}};
        QCOMPARE(shown(blocksFromOCR(paragraphs)),
                 QByteArray("[P] Intro continued\n[P] Before\n[B] one more\n[B] two\n[P] After\n"));
    }
};

QTEST_GUILESS_MAIN(TextExtractionTest)
#include "TextExtractionTest.moc"
