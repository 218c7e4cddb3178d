#pragma once

#include "images/Encoding.h"
#include "Support/ImageSamples.h"
#include "Support/MemorySink.h"

#include <QTest>

#include <string_view>

/// For tests that encode a picture and read it back.
namespace Pelgra {

/// The whole file that an encoder makes of a picture.
inline Bytes encoded(FileFormat format, const RasterImage& image, const EncodeProperties& properties = {})
{
    ImageRows rows(image);
    MemorySink sink;
    encodeImage(format, rows, properties, sink);
    return sink.bytes();
}

/// Rows "model", "alpha" and "bits" for every form that keeps all pixels as they are.
inline void addFormRows()
{
    QTest::addColumn<int>("model");
    QTest::addColumn<bool>("alpha");
    QTest::addColumn<int>("bits");
    for (const ColorModel model : {ColorModel::gray, ColorModel::rgb}) {
        for (const bool alpha : {false, true}) {
            for (const int bits : {8, 16})
                QTest::addRow("%s%s %d", model == ColorModel::gray ? "grey" : "rgb", alpha ? " alpha" : "", bits)
                    << static_cast<int>(model) << alpha << bits;
        }
    }
}

inline bool contains(const Bytes& bytes, std::string_view text)
{
    return std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()).find(text) != text.npos;
}

} // namespace Pelgra
