#include "metadata/ExifStructure.h"
#include "metadata/ByteWriter.h"

#include <QTest>

#include <algorithm>

using namespace Pelgra;

namespace {

/// A structure with a camera maker in the first directory, followed by an EXIF directory with a large maker note.
Bytes sample(std::endian order, std::size_t noteSize)
{
    ByteWriter bytes(order);
    bytes.put(order == std::endian::little ? "II" : "MM").put16(42).put32(8);
    constexpr std::uint32_t exifOffset = 8 + 2 + 2 * 12 + 4;
    bytes.put16(2);
    bytes.put16(0x010F).put16(2).put32(4).put("Ace").put8(0);
    bytes.put16(0x8769).put16(4).put32(1).put32(exifOffset);
    bytes.put32(0);
    bytes.put16(2);
    bytes.put16(0x8827).put16(3).put32(1).put16(400).put16(0);
    bytes.put16(0x927C).put16(7).put32(static_cast<std::uint32_t>(noteSize)).put32(exifOffset + 2 + 2 * 12 + 4);
    bytes.put32(0).putZeros(noteSize);
    return std::move(bytes.bytes());
}

const ExifStructure::Field* fieldOf(const ExifStructure::MainDirectory& directory, std::uint16_t tag)
{
    const auto found = std::find_if(directory.fields.begin(), directory.fields.end(),
                                    [&](const auto& field) { return field.tag == tag; });
    return found == directory.fields.end() ? nullptr : &*found;
}

double resolutionOf(const Bytes& exif, std::uint16_t tag)
{
    const auto directory = ExifStructure::mainDirectory(exif);
    const ExifStructure::Field* const field = directory ? fieldOf(*directory, tag) : nullptr;
    if (!field || field->type != 5)
        return 0;
    const std::size_t offset = read32(field->value, 0, directory->order);
    return static_cast<double>(read32(exif, offset, directory->order))
        / static_cast<double>(read32(exif, offset + 4, directory->order));
}

} // namespace

class ExifStructureTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void setsTheResolutionAndMovesNothingElse_data()
    {
        QTest::addColumn<bool>("big");
        QTest::newRow("little-endian") << false;
        QTest::newRow("big-endian") << true;
    }
    void setsTheResolutionAndMovesNothingElse()
    {
        QFETCH(bool, big);
        const Bytes before = sample(big ? std::endian::big : std::endian::little, 100);
        const Bytes after = ExifStructure::withResolution(before, 300, 118 * 2.54);
        QCOMPARE(resolutionOf(after, 0x011A), 300.0);
        QVERIFY(std::abs(resolutionOf(after, 0x011B) - 299.72) < 0.0001);
        QVERIFY(std::equal(before.begin() + 8, before.end(), after.begin() + 8));
        QVERIFY(fieldOf(*ExifStructure::mainDirectory(after), 0x010F));
        QVERIFY(fieldOf(*ExifStructure::mainDirectory(after), 0x8769));
        QCOMPARE(ExifStructure::withResolution(after, 300, 118 * 2.54), after);
    }

    void makesAStructureWhereThereIsNone()
    {
        const Bytes made = ExifStructure::withResolution({}, 150, 200);
        QCOMPARE(resolutionOf(made, 0x011A), 150.0);
        QCOMPARE(resolutionOf(made, 0x011B), 200.0);
    }

    void dropsTheLargestValueToFit()
    {
        const Bytes reduced = ExifStructure::reducedTo(sample(std::endian::big, 70000), 65000);
        QVERIFY(!reduced.empty() && reduced.size() < 200);
        const auto directory = ExifStructure::mainDirectory(reduced);
        QVERIFY(directory && fieldOf(*directory, 0x010F));
        const ExifStructure::Field* const pointer = fieldOf(*directory, 0x8769);
        QVERIFY(pointer);
        const std::size_t exif = read32(pointer->value, 0, directory->order);
        QCOMPARE(read16(reduced, exif, directory->order), 1);
        QCOMPARE(read16(reduced, exif + 2, directory->order), 0x8827);
        QCOMPARE(read16(reduced, exif + 10, directory->order), 400);
    }

    void survivesEveryTruncationAndDamage()
    {
        const Bytes whole = sample(std::endian::little, 40);
        for (std::size_t size = 0; size < whole.size(); ++size) {
            const Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
            ExifStructure::withResolution(cut, 72, 72);
            QVERIFY(ExifStructure::reducedTo(cut, 1000).size() <= 1000);
        }
        for (std::size_t place = 0; place < whole.size(); ++place) {
            Bytes damaged = whole;
            damaged[place] = std::byte{0xFF};
            const auto directory = ExifStructure::mainDirectory(damaged);
            QVERIFY(ExifStructure::reducedTo(damaged, 500).size() <= 500);
            ExifStructure::withResolution(damaged, 72, 72);
        }
    }
};

QTEST_GUILESS_MAIN(ExifStructureTest)
#include "ExifStructureTest.moc"
