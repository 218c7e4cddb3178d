#include "codecs/Deflate.h"
#include "codecs/jpeg/JpegDecoder.h"
#include "codecs/png/PngDecoder.h"
#include "images/Encoding.h"
#include "parallel/ReadAhead.h"
#include "PelgraCore/Engine.h"
#include "PelgraCore/EngineError.h"
#include "PelgraCore/ImageLoading.h"
#include "Support/ImageSamples.h"
#include "Support/MemorySink.h"
#include "Support/RoundTrip.h"
#include "Support/TemporaryFolder.h"

#include <QTest>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>

using namespace Pelgra;

namespace {

/// Whether rows read one by one are those of the whole picture.
bool areRowsOf(const RasterImage& whole, RowSource& rows)
{
    const RasterForm& form = rows.form();
    if (form.width != whole.width || form.height != whole.height || form.model != whole.model
        || form.bitsPerComponent != whole.bitsPerComponent)
        return false;
    for (int y = 0; y < whole.height; ++y)
        if (!std::ranges::equal(rows.row(y), whole.row(y)))
            return false;
    return true;
}

/// Rows that come one by one, but for the first ones.
class RowsWithBeginning final : public RowSource {
public:
    RowsWithBeginning(const RasterImage& image, int count)
        : m_image(image)
        , m_form(formOf(image))
        , m_beginning(*RasterImage::make(image.width, count, image.model, image.hasAlpha, image.bitsPerComponent))
    {
        for (int y = 0; y < count; ++y)
            std::ranges::copy(image.row(y), m_beginning.row(y).begin());
    }
    const RasterForm& form() const override { return m_form; }
    const RasterImage* beginning() const override { return &m_beginning; }
    std::span<const std::byte> row(int y) override
    {
        m_row.assign(m_image.row(y).begin(), m_image.row(y).end());
        return m_row;
    }

private:
    const RasterImage& m_image;
    RasterForm m_form;
    RasterImage m_beginning;
    Bytes m_row;
};

template <typename Call>
bool isRefused(Call&& call)
{
    try {
        call();
    } catch (const DecodeError&) {
        return true;
    }
    return false;
}

/// A PNG whose compressed pixels were changed at a place, with right checksums, so that only inflating them tells.
Bytes withDamagedPixels(Bytes png, double place)
{
    constexpr std::string_view type = "IDAT";
    const auto found = std::search(png.begin(), png.end(), type.begin(), type.end(),
                                   [](std::byte byte, char c) { return byte == static_cast<std::byte>(c); });
    std::size_t size = 0;
    for (auto digit = found - 4; digit != found; ++digit)
        size = size << 8 | std::to_integer<std::size_t>(*digit);
    const auto content = found + static_cast<std::ptrdiff_t>(type.size());
    const auto changed = content + static_cast<std::ptrdiff_t>(place * static_cast<double>(size));
    std::fill_n(changed, 16, std::byte{0xFF});
    const auto end = content + static_cast<std::ptrdiff_t>(size);
    const std::uint32_t sum = Deflate::crc32(0, std::span(found, end));
    for (int index = 0; index < 4; ++index)
        end[index] = static_cast<std::byte>(sum >> (24 - 8 * index));
    return png;
}

} // namespace

class PictureRowsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void rowsOfJpegAreThoseOfThePicture_data()
    {
        QTest::addColumn<Bytes>("file");
        JpegSampleOptions progressive;
        progressive.progressive = true;
        progressive.chromaSubsampling = true;
        QTest::newRow("colour") << jpegSample(rampPicture(301, 203));
        QTest::newRow("progressive, halved colour") << jpegSample(rampPicture(301, 203), progressive);
        QTest::newRow("grey") << jpegSample(rampPicture(64, 129, ColorModel::gray));
    }
    void rowsOfJpegAreThoseOfThePicture()
    {
        QFETCH(Bytes, file);
        QVERIFY(areRowsOf(decodeJpeg(file).image, *jpegRows(file, {})));
        for (std::size_t size = 20; size < file.size(); size += file.size() / 23) {
            const Bytes cut(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(size));
            RasterImage whole;
            if (isRefused([&] { whole = decodeJpeg(cut).image; }))
                QVERIFY(isRefused([&] { jpegRows(cut, {}); }));
            else
                QVERIFY(areRowsOf(whole, *jpegRows(cut, {})));
        }
    }

    void rowsOfPngAreThoseOfThePicture_data()
    {
        QTest::addColumn<ColorModel>("model");
        QTest::addColumn<bool>("alpha");
        QTest::addColumn<int>("bits");
        QTest::newRow("colour") << ColorModel::rgb << false << 8;
        QTest::newRow("colour 16") << ColorModel::rgb << false << 16;
        QTest::newRow("colour, alpha") << ColorModel::rgb << true << 8;
        QTest::newRow("grey") << ColorModel::gray << false << 8;
        QTest::newRow("grey, alpha, 16") << ColorModel::gray << true << 16;
    }
    /// Large enough for several batches. What turns out to be damaged on the way goes on as the library reads it.
    void rowsOfPngAreThoseOfThePicture()
    {
        QFETCH(ColorModel, model);
        QFETCH(bool, alpha);
        QFETCH(int, bits);
        const Bytes sound = pngSample(rampPicture(1201, 700, model, alpha, bits));
        for (const bool withThread : {false, true}) {
            const std::unique_ptr<RowSource> rows = pngRows(Bytes(sound), {}, withThread, alpha);
            QVERIFY(rows && areRowsOf(decodePng(sound).image, *rows));
            for (const double place : {0.3, 0.6, 0.95}) {
                const Bytes damaged = withDamagedPixels(sound, place);
                RasterImage whole;
                const bool wholeIsRefused = isRefused([&] { whole = decodePng(damaged).image; });
                const std::unique_ptr<RowSource> others = pngRows(Bytes(damaged), {}, withThread, alpha);
                QVERIFY(others);
                if (wholeIsRefused)
                    QVERIFY(isRefused([&] { others->row(others->form().height - 1); }));
                else
                    QVERIFY(areRowsOf(whole, *others));
            }
        }
    }

    void whatHasToBeDecodedAsAWholeStays()
    {
        for (const Bytes& file : {pngSample(rampPicture(30, 20, ColorModel::rgb, true)),
                                  pngSample(rampPicture(30, 20), {true, {}, {}, {}, {}})}) {
            Bytes content = file;
            QVERIFY(!pngRows(std::move(content), {}, false));
            QCOMPARE(content, file); // NOLINT(bugprone-use-after-move): not taken
        }
    }

    /// Nothing of an output is left, and the sentence is about the input.
    void aPictureThatFailsOnTheWayIsUnreadable()
    {
        const TemporaryFolder folder;
        const auto file = write(folder, "a.png", withDamagedPixels(pngSample(rampPicture(300, 4000)), 0.0));
        std::string sentence;
        try {
            Engine::convert(file, FileFormat::jpg, {});
        } catch (const EngineError& error) {
            sentence = error.what();
        }
        QCOMPARE(sentence, std::string("“a.png” couldn’t be read."));
        QCOMPARE(folder.names(), (std::vector<std::string>{"a.png"}));
    }

    void encodersNeedNoMoreThanTheBeginning_data() { addFormRows(); }
    void encodersNeedNoMoreThanTheBeginning()
    {
        QFETCH(int, model);
        QFETCH(bool, alpha);
        QFETCH(int, bits);
        const RasterImage image = rampPicture(400, 300, static_cast<ColorModel>(model), alpha, bits);
        const TemporaryFolder folder;
        for (const FileFormat target : {FileFormat::png, FileFormat::tiff}) {
            RowsWithBeginning rows(image, 37);
            MemorySink sink;
            EncodeProperties properties;
            properties.threads = 2;
            encodeImage(target, rows, properties, sink);
            const LoadedImage copy = ImageLoader::load(write(folder, "a", sink.bytes()));
            QCOMPARE(largestDifference(*copy.image, image), 0);
        }
    }

    void largePhotosKeepTheirPixels()
    {
        const TemporaryFolder folder;
        RasterImage picture = *RasterImage::make(4800, 4700, ColorModel::gray, false, 8);
        for (int y = 0; y < picture.height; ++y)
            std::ranges::fill(picture.row(y), static_cast<std::byte>(y / 32));
        const auto file = write(folder, "a.jpg", jpegSample(picture));
        const SharedImage image = ImageLoader::load(file).image;
        const JobResult result = Engine::convert(file, FileFormat::tiff, {});
        QVERIFY(ImageLoader::load(result.outputs.at(0)).image->pixels == image->pixels);
    }

    void itemsMadeAheadComeInOrder()
    {
        for (const std::size_t ahead : {0, 1, 3}) {
            int made = 0;
            ReadAhead<int> items(ahead, [&]() -> std::optional<int> {
                if (made == 20)
                    throw std::runtime_error("no more");
                return made++;
            });
            for (int expected = 0; expected < 20; ++expected)
                QCOMPARE(items.next(), std::optional(expected));
            QVERIFY_EXCEPTION_THROWN(items.next(), std::runtime_error);
        }
    }

    void whoeverStopsTakingWaitsForOneItemAlone()
    {
        const auto endless = std::make_shared<int>();
        {
            ReadAhead<std::shared_ptr<int>> items(2, [endless] { return std::optional(endless); });
            QVERIFY(items.next());
        }
        QCOMPARE(endless.use_count(), 1L);
    }
};

QTEST_GUILESS_MAIN(PictureRowsTest)
#include "PictureRowsTest.moc"
