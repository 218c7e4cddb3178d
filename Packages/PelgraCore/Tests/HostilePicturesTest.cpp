#include "PelgraCore/EngineError.h"
#include "PelgraCore/ImageLoading.h"

#include "Support/HeifBoxes.h"
#include "Support/ImageSamples.h"

#include <QScopeGuard>
#include <QTest>

#include <fstream>
#include <functional>

#include <sys/resource.h>
#include <unistd.h>
#include <zlib.h>

using namespace Pelgra;

namespace {

using Path = std::filesystem::path;

QByteArray pngChunk(const QByteArray& typeAndContent)
{
    const auto* const bytes = reinterpret_cast<const Bytef*>(typeAndContent.constData());
    return heifNumber(static_cast<quint64>(typeAndContent.size() - 4), 4) + typeAndContent
        + heifNumber(crc32(0, bytes, static_cast<uInt>(typeAndContent.size())), 4);
}

/// A small PNG with these chunks behind its header.
Path pngWith(const TemporaryFolder& folder, const QByteArray& chunks)
{
    const Bytes plain = pngSample(testPicture(8, 8));
    QByteArray file(reinterpret_cast<const char*>(plain.data()), static_cast<qsizetype>(plain.size()));
    file.insert(33, chunks);
    return folder.write("a.png", file.toStdString());
}

QByteArray compressed(const QByteArray& content)
{
    return qCompress(content).mid(4); // without Qt's own header
}

bool holds(const Bytes& bytes, std::string_view text)
{
    return std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()).find(text)
        != std::string_view::npos;
}

QByteArray repeated(int count, const std::function<QByteArray(int)>& part)
{
    QByteArray bytes;
    for (int index = 0; index < count; ++index)
        bytes += part(index);
    return bytes;
}

struct HeifPart {
    int id = 0;
    const char* type = "iden";
    QList<int> parts = {};
    const char* kind = "dimg"; ///< of the reference to the parts
};

/// A file of derived pictures, the first of which is its primary one.
Path heifOf(const TemporaryFolder& folder, const QList<HeifPart>& parts)
{
    QByteArray entries, references, associations, locations;
    for (const HeifPart& part : parts) {
        entries += heifBox("infe",
                           heifNumber(2 << 24, 4) + heifNumber(static_cast<quint64>(part.id), 2) + heifNumber(0, 2)
                               + part.type + '\0');
        associations +=
            heifNumber(static_cast<quint64>(part.id), 2) + heifNumber(2, 1) + heifNumber(0x8102, 2); // both properties
        locations += heifNumber(static_cast<quint64>(part.id), 2) + heifNumber(0, 2) + heifNumber(1, 2)
            + heifNumber(0, 4) + heifNumber(24, 4);
        if (part.parts.isEmpty())
            continue;
        QByteArray reference =
            heifNumber(static_cast<quint64>(part.id), 2) + heifNumber(static_cast<quint64>(part.parts.size()), 2);
        for (const int id : part.parts)
            reference += heifNumber(static_cast<quint64>(id), 2);
        references += heifBox(part.kind, reference);
    }
    const auto count = static_cast<quint64>(parts.size());
    const QByteArray coding = heifBox("hvcC", QByteArray::fromHex("0103700000000000000000001ef000fcfdf8f800000f00"));
    const QByteArray size = heifBox("ispe", heifNumber(0, 4) + heifNumber(64, 4) + heifNumber(64, 4));
    const QByteArray meta = heifNumber(0, 4) + heifBox("hdlr", heifNumber(0, 8) + "pict" + QByteArray(13, '\0'))
        + heifBox("pitm", heifNumber(0, 4) + heifNumber(static_cast<quint64>(parts.front().id), 2))
        + heifBox("iloc", heifNumber(0, 4) + heifNumber(0x4400, 2) + heifNumber(count, 2) + locations)
        + heifBox("iinf", heifNumber(0, 4) + heifNumber(count, 2) + entries)
        + heifBox("iref", heifNumber(0, 4) + references)
        + heifBox("iprp",
                  heifBox("ipco", coding + size)
                      + heifBox("ipma", heifNumber(0, 4) + heifNumber(count, 4) + associations));
    const QByteArray file =
        heifBox("ftyp", QByteArray("heic\0\0\0\0mif1heic", 16)) + heifBox("meta", meta) + heifBox("mdat", {});
    return folder.write("a.heic", file.toStdString());
}

} // namespace

/// Small pictures that once took minutes or all memory, or ended the process.
class HostilePicturesTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void oneBlockOfAKindIsInflated_data()
    {
        QTest::addColumn<QByteArray>("keyword");
        QTest::addColumn<QByteArray>("start");
        QTest::newRow("of a kind that is held")
            << QByteArray("Raw profile type iptc") << QByteArray("\niptc\n 4\n1c021900");
        QTest::newRow("damaged") << QByteArray("Raw profile type iptc") << QByteArray("\niptc\n 4\n?");
        QTest::newRow("not of its kind") << QByteArray("Raw profile type exif") << QByteArray("\nexif\n 4\n00000000");
    }
    void oneBlockOfAKindIsInflated()
    {
        QFETCH(QByteArray, keyword);
        QFETCH(QByteArray, start);
        TemporaryFolder folder;
        const QByteArray text =
            pngChunk("zTXt" + keyword + QByteArray(2, '\0') + compressed(start + QByteArray(15 << 20, '0')));
        const LoadedImage loaded = ImageLoader::load(pngWith(folder, text.repeated(5000)));
        QCOMPARE(loaded.image->width, 8);
    }

    void manyPropertiesAreNotParsed()
    {
        TemporaryFolder folder;
        const auto packet = [](int count) {
            return QByteArray("<x:xmpmeta xmlns:x=\"adobe:ns:meta/\"><rdf:RDF "
                              "xmlns:rdf=\"http://www.w3.org/1999/02/22-rdf-syntax-ns#\"><rdf:Description "
                              "xmlns:n=\"http://example.org/\" xmlns:aux=\"http://ns.adobe.com/exif/1.0/aux/\" "
                              "aux:Lens=\"Lens 50\" ")
                + repeated(count, [](int index) { return "n:a" + QByteArray::number(index) + "=\"1\" "; }) + ">"
                + repeated(count,
                           [](int index) {
                               return "<n:e" + QByteArray::number(index) + ">1</n:e" + QByteArray::number(index) + ">";
                           })
                + "</rdf:Description></rdf:RDF></x:xmpmeta>";
        };
        const auto loaded = [&](int count) {
            return ImageLoader::load(
                pngWith(folder, pngChunk(QByteArray("iTXtXML:com.adobe.xmp\0\0\0\0\0", 26) + packet(count))));
        };
        QVERIFY(holds(loaded(500).metadata.auxiliaryXmp, "Lens 50"));
        QCOMPARE(loaded(100'000).image->width, 8);
    }

    void manyTextsAreNotParsed()
    {
        TemporaryFolder folder;
        const QByteArray text = "\niptc\n 9\n" + QByteArray("1c0219000161").repeated(1 << 20);
        const Path file =
            pngWith(folder, pngChunk("zTXtRaw profile type iptc" + QByteArray(2, '\0') + compressed(text)));
        QVERIFY(ImageLoader::load(file).metadata.iptc.empty());
    }

    /// Colours of CIE L*a*b* are converted in rows, not in copies of the page.
    void aLargePageIsHeldOnce()
    {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
        QSKIP("sanitizers need address space of their own");
#else
        constexpr int side = 9000; // 232 MiB of pixels
        TemporaryFolder folder;
        const QByteArray data =
            compressed(QByteArray("\xFF\0\0\x88\x50\x40", 6) + QByteArray(3 * side * side - 6, '\0'));
        QByteArray directory = QByteArray::fromHex("000a");
        const auto add = [&](int tag, int type, int count, quint64 value) {
            directory += heifNumber(static_cast<quint64>(tag), 2) + heifNumber(static_cast<quint64>(type), 2)
                + heifNumber(static_cast<quint64>(count), 4)
                + (type == 3 && count == 1 ? heifNumber(value << 16, 4) : heifNumber(value, 4));
        };
        const QByteArray bits = QByteArray::fromHex("0008000800080000");
        add(256, 4, 1, side);
        add(257, 4, 1, side);
        add(258, 3, 3, 8);
        add(259, 3, 1, 8); // deflate
        add(262, 3, 1, 8); // CIE L*a*b*
        add(273, 4, 1, 16);
        add(277, 3, 1, 3);
        add(278, 4, 1, side);
        add(279, 4, 1, static_cast<quint64>(data.size()));
        add(284, 3, 1, 1);
        const QByteArray file = QByteArray::fromHex("4d4d002a") + heifNumber(16 + static_cast<quint64>(data.size()), 4)
            + bits + data + directory + heifNumber(0, 4);
        const Path path = folder.write("lab.tiff", file.toStdString());
        rlimit usual{};
        getrlimit(RLIMIT_AS, &usual);
        std::ifstream status("/proc/self/statm");
        rlim_t pages = 0;
        status >> pages;
        const rlimit tight{pages * static_cast<rlim_t>(sysconf(_SC_PAGESIZE)) + (rlim_t{450} << 20), usual.rlim_max};
        setrlimit(RLIMIT_AS, &tight);
        const auto restored = qScopeGuard([&] { setrlimit(RLIMIT_AS, &usual); });
        const SharedImage image = ImageLoader::load(path).image;
        const std::vector<int> white = componentsAt(*image, 0, 0); // that of print, a little yellow
        QVERIFY(white[0] == 255 && white[1] > 240 && white[2] > 190);
        const std::vector<int> color = componentsAt(*image, 1, 0);
        QVERIFY(color[0] > 180 && color[1] < 100 && color[2] < 100); // a strong red
        QVERIFY(largestDifference(componentsAt(*image, side - 1, side - 1), {0, 0, 0}) <= 3);
#endif
    }

    void picturesInCirclesAreRefused_data()
    {
        QTest::addColumn<QList<HeifPart>>("parts");
        QTest::newRow("itself") << QList<HeifPart>{{1, "iden", {1}}};
        QTest::newRow("each other") << QList<HeifPart>{{1, "iden", {2}}, {2, "iden", {1}}};
        QTest::newRow("its own alpha") << QList<HeifPart>{{1, "iden", {2}}, {2, "iden", {1}, "auxl"}, {3, "iden", {2}}};
        QTest::newRow("missing") << QList<HeifPart>{{1, "iden", {9}}};
        QList<HeifPart> chain;
        for (int id = 1; id < 20'000; ++id)
            chain.append({id, "iden", {id + 1}});
        chain.append({20'000, "iden"});
        QTest::newRow("deep") << chain;
        QList<HeifPart> many;
        for (int id = 1; id < 8; ++id)
            many.append({id, "iovl", QList<int>(50, id + 1)});
        many.append({8, "hvc1"});
        QTest::newRow("many times") << many;
    }
    void picturesInCirclesAreRefused()
    {
        QFETCH(QList<HeifPart>, parts);
        TemporaryFolder folder;
        QVERIFY_EXCEPTION_THROWN(ImageLoader::load(heifOf(folder, parts)), EngineError);
    }
};

QTEST_GUILESS_MAIN(HostilePicturesTest)
#include "HostilePicturesTest.moc"
