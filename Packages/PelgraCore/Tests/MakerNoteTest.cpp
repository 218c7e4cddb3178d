#include "metadata/MakerNote.h"

#include "metadata/ByteWriter.h"
#include "metadata/ExifStructure.h"
#include "PelgraCore/ImageLoading.h"
#include "Support/RoundTrip.h"

#include <QTest>

using namespace Pelgra;

namespace {

constexpr std::uint32_t noteStart = 8 + 18 + 18 + 6;

struct NoteOptions {
    std::int32_t base = 0; ///< what its offsets count from, in the data
    std::uint32_t gap = 0; ///< bytes between its two values that belong to none
    std::string_view maker = "Canon"; ///< five letters
};

/// EXIF data with a note of two texts behind one another, which tell the picture's kind and the camera's program.
Bytes exifWithNote(const NoteOptions& options)
{
    constexpr std::uint32_t directorySize = 2 + 2 * 12 + 4;
    constexpr std::string_view kind = "IMG:picture.", program = "Version 1.0.";
    ByteWriter bytes(std::endian::big);
    bytes.put("MM").put16(42).put32(8);
    bytes.put16(1).put16(0x8769).put16(4).put32(1).put32(8 + 18).put32(0);
    bytes.put16(1).put16(0x927C).put16(7);
    bytes.put32(directorySize + static_cast<std::uint32_t>(kind.size() + program.size()) + options.gap);
    bytes.put32(noteStart).put32(0).putZeros(6);
    const auto value = static_cast<std::uint32_t>(static_cast<std::int32_t>(noteStart + directorySize) - options.base);
    bytes.put16(2);
    bytes.put16(6).put16(2).put32(static_cast<std::uint32_t>(kind.size())).put32(value);
    bytes.put16(7).put16(2).put32(static_cast<std::uint32_t>(program.size()));
    bytes.put32(value + static_cast<std::uint32_t>(kind.size()) + options.gap);
    bytes.put32(0).put(kind).putZeros(options.gap).put(program);
    // The maker's name, in the first directory, moved to the end to leave the places above alone.
    const std::uint32_t directory = static_cast<std::uint32_t>(bytes.size());
    bytes.put16(2).put16(0x10F).put16(2).put32(6).put32(directory + 30);
    bytes.put16(0x8769).put16(4).put32(1).put32(8 + 18).put32(0).put(options.maker).put8(0);
    const Bytes start = ByteWriter(std::endian::big).put32(directory).bytes();
    std::copy(start.begin(), start.end(), bytes.bytes().begin() + 4);
    return bytes.bytes();
}

/// What the second field of the note tells; empty where the note is gone.
QByteArray programIn(const Bytes& exif)
{
    const std::array<std::uint16_t, 1> toPhotoDirectory{0x8769};
    const auto field = ExifStructure::fieldBehind(toPhotoDirectory, 0x927C, exif);
    if (!field)
        return {};
    const std::endian order = ExifStructure::mainDirectory(exif)->order;
    const std::size_t note = read32(field->value, 0, order);
    const std::size_t place = read32(exif, note + 2 + 12 + 8, order);
    return QByteArray(reinterpret_cast<const char*>(exif.data()) + place, 12);
}

} // namespace

class MakerNoteTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void travelsWithItsValuesOrNotAtAll_data()
    {
        QTest::addColumn<int>("base");
        QTest::addColumn<int>("gap");
        QTest::addColumn<QByteArray>("maker");
        QTest::addColumn<int>("kind");
        QTest::addColumn<QByteArray>("copied");
        using MakerNote::Kind;
        const auto row = [](const char* name, int base, int gap, const char* maker, Kind kind, const char* copied) {
            QTest::newRow(name) << base << gap << QByteArray(maker) << static_cast<int>(kind) << QByteArray(copied);
        };
        row("in its place", 0, 0, "Canon", Kind::open, "Version 1.0.");
        row("in its place, with a gap", 0, 40, "Canon", Kind::open, "Version 1.0.");
        row("moved down", -128, 0, "Canon", Kind::broken, "Version 1.0.");
        row("moved up", 20, 0, "Canon", Kind::broken, "Version 1.0.");
        row("counted from itself", noteStart, 0, "Other", Kind::closed, nullptr);
        row("of a maker nobody knows", 0, 0, "Other", Kind::open, "");
    }
    void travelsWithItsValuesOrNotAtAll()
    {
        QFETCH(int, base);
        QFETCH(int, gap);
        QFETCH(QByteArray, maker);
        QFETCH(int, kind);
        QFETCH(QByteArray, copied);
        const Bytes exif = exifWithNote({base, static_cast<std::uint32_t>(gap), maker.constData()});
        QCOMPARE(static_cast<int>(MakerNote::kindIn(exif)), kind);
        const TemporaryFolder folder;
        const auto file = write(folder, "a.jpg", jpegSample(testPicture(16, 16), {.exif = exif}));
        const Bytes filtered = ImageLoader::load(file).metadata.exif;
        if (copied.isNull())
            QVERIFY(contains(filtered, "IMG:picture.Version 1.0."));
        else
            QCOMPARE(programIn(filtered), copied);
    }

    void isLeftOutWhereItsValuesCannotBeFound()
    {
        // The first value lies outside and the second where it may: no one shift explains both.
        Bytes exif = exifWithNote({});
        exif[noteStart + 2 + 8] = std::byte{1};
        QVERIFY(MakerNote::kindIn(exif) == MakerNote::Kind::broken);
        QCOMPARE(MakerNote::withOffsetsRestored(exif), exif);
        const TemporaryFolder folder;
        const auto file = write(folder, "a.jpg", jpegSample(testPicture(16, 16), {.exif = exif}));
        QCOMPARE(programIn(ImageLoader::load(file).metadata.exif), QByteArray());
    }

    void survivesWhatFileSizesForce()
    {
        for (const std::uint32_t gap : {0U, 30U}) {
            const Bytes exif = exifWithNote({.gap = gap});
            QCOMPARE(programIn(ExifStructure::reducedTo(exif, 1000)), QByteArray("Version 1.0."));
        }
        // Bytes at its end that belong to no value leave open how far it was moved.
        Bytes exif = exifWithNote({.gap = 30});
        exif[noteStart + 2 + 12 + 11] = exif[noteStart + 2 + 11];
        QCOMPARE(programIn(ExifStructure::reducedTo(exif, 1000)), QByteArray());
    }
};

QTEST_GUILESS_MAIN(MakerNoteTest)
#include "MakerNoteTest.moc"
