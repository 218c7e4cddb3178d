#include "Platform/X11/ModifierMap.h"
#include "Platform/UriList.h"

#include <QTest>

using namespace Pelgra;

namespace {

constexpr std::uint32_t shiftLeft = 0xffe1;
constexpr std::uint32_t controlLeft = 0xffe3;
constexpr std::uint32_t altLeft = 0xffe9;
constexpr std::uint32_t superLeft = 0xffeb;
constexpr std::uint32_t levelThreeShift = 0xfe03;
constexpr std::uint32_t numLock = 0xff7f;

/// Keycode 8 + i types symbols[i], in its second column so that all columns count; rows lists keycodes per modifier.
KeyboardMap keyboardWith(const std::vector<std::uint32_t>& symbols, const std::vector<std::vector<std::uint8_t>>& rows)
{
    KeyboardMap map;
    map.symbolsPerKeycode = 2;
    for (const std::uint32_t symbol : symbols) {
        map.symbols.push_back(0);
        map.symbols.push_back(symbol);
    }
    map.keycodesPerModifier = 2;
    map.modifierKeycodes.resize(16);
    for (std::size_t row = 0; row < rows.size(); ++row)
        std::ranges::copy(rows[row], map.modifierKeycodes.begin() + static_cast<std::ptrdiff_t>(row * 2));
    return map;
}

// Keycodes: 8 shift, 9 control, 10 alt, 11 super, 12 level 3, 13 num lock.
const std::vector<std::uint32_t> symbols{shiftLeft, controlLeft, altLeft, superLeft, levelThreeShift, numLock};

} // namespace

class ModifierMapTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void findsTheBitsOfTheKeysInTheMap_data()
    {
        QTest::addColumn<std::vector<std::vector<std::uint8_t>>>("rows");
        QTest::addColumn<unsigned>("mask");
        QTest::addColumn<ModifierFlags>("expected");
        using Rows = std::vector<std::vector<std::uint8_t>>;
        const Rows usual{{8}, {}, {9}, {10}, {13}, {}, {11}, {12}};
        const Rows swapped{{8}, {}, {9}, {13}, {}, {11}, {10}, {}};
        QTest::newRow("shift") << usual << 0x01U << ModifierFlags{0x20000};
        QTest::newRow("control") << usual << 0x04U << ModifierFlags{0x40000};
        QTest::newRow("alt") << usual << 0x08U << ModifierFlags{0x80000};
        QTest::newRow("super") << usual << 0x40U << ModifierFlags{0x100000};
        QTest::newRow("level three") << usual << 0x80U << ModifierFlags{0x800000};
        QTest::newRow("locks and buttons") << usual << 0x0112U << ModifierFlags{0};
        QTest::newRow("several") << usual << 0x49U << ModifierFlags{0x20000 | 0x80000 | 0x100000};
        QTest::newRow("moved super") << swapped << 0x20U << ModifierFlags{0x100000};
        QTest::newRow("moved alt") << swapped << 0x40U << ModifierFlags{0x80000};
        QTest::newRow("unbound level three") << swapped << 0x80U << ModifierFlags{0};
        QTest::newRow("super and alt share a bit")
            << Rows{{8}, {}, {9}, {10, 11}} << 0x08U << ModifierFlags{0x80000 | 0x100000};
        QTest::newRow("super among the shift keys") << Rows{{8, 11}, {11}, {9}} << 0x03U << ModifierFlags{0x20000};
        QTest::newRow("keycode outside the map") << Rows{{7, 200}} << 0x01U << ModifierFlags{0};
        QTest::newRow("no map") << Rows{} << 0xffU << ModifierFlags{0};
    }

    void findsTheBitsOfTheKeysInTheMap()
    {
        QFETCH(std::vector<std::vector<std::uint8_t>>, rows);
        QFETCH(unsigned, mask);
        QTEST(ModifierMap(keyboardWith(symbols, rows)).flagsOf(mask), "expected");
    }

    void knowsTheKeysThemselves()
    {
        // By what they type; a key that is bound to no bit counts as well.
        const ModifierMap map(keyboardWith(symbols, {{8}}));
        QCOMPARE(map.flagsOfKey(8), shiftFlag);
        QCOMPARE(map.flagsOfKey(11), commandFlag);
        QCOMPARE(map.flagsOfKey(12), functionFlag);
        QCOMPARE(map.flagsOfKey(13), ModifierFlags(0));
        QCOMPARE(map.flagsOfKey(7), ModifierFlags(0));
    }

    void readsTheFilesOfAList()
    {
        const std::vector<std::filesystem::path> expected{"/b c", "/a\xFF", "/b c", "/last"};
        const std::string list = "# comment\r\nfile:///b%20c\r\n\r\nhttps://example.org/x.png\r\n"
                                 "file:///a%FF\nfile:///b%20c\r\nnonsense\r\nfile:///last";
        // Some sources end the list with a zero byte.
        QCOMPARE(filesOfUriList(list + std::string(1, '\0')), expected);
        QVERIFY(filesOfUriList("").empty());
        QVERIFY(filesOfUriList("http://example.org/a\r\n").empty());
    }
};

QTEST_GUILESS_MAIN(ModifierMapTest)
#include "ModifierMapTest.moc"
