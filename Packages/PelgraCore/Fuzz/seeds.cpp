// Writes small sound inputs to begin with: seeds FOLDER makes a folder in it for each target.
#include "images/Encoding.h"
#include "isolation/Messages.h"
#include "isolation/PictureFile.h"
#include "Support/ImageSamples.h"
#include "Support/MemorySink.h"
#include "Support/PDFSamples.h"

#include <filesystem>
#include <fstream>
#include <string>

namespace {

using namespace Pelgra;
using Path = std::filesystem::path;

void save(const Path& file, std::string_view content)
{
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << content;
}

void save(const Path& file, const Bytes& bytes)
{
    save(file, {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
}

void savePictures(const Path& folder)
{
    int number = 0;
    const auto next = [&] {
        return folder / std::to_string(++number);
    };
    const Bytes exif = exifSample({.orientation = 6, .withThumbnail = true});
    for (const ColorModel model : {ColorModel::gray, ColorModel::rgb}) {
        for (const bool hasAlpha : {false, true}) {
            for (const int bits : {8, 16}) {
                const RasterImage picture = testPicture(24, 16, model, hasAlpha, bits);
                save(next(), pngSample(picture, {.interlaced = hasAlpha, .exif = exif, .xmp = xmpSample()}));
                for (const FileFormat::Case format : {FileFormat::tiff, FileFormat::bmp, FileFormat::heic}) {
                    MemorySink sink;
                    ImageRows rows(picture);
                    EncodeProperties properties;
                    properties.metadata.exif = exif;
                    encodeImage(format, rows, properties, sink);
                    save(next(), sink.bytes());
                }
            }
        }
        for (const bool progressive : {false, true})
            save(next(),
                 jpegSample(testPicture(24, 16, model),
                            {.progressive = progressive, .exif = exif, .iptc = iptcSample(), .xmp = xmpSample()}));
    }
    save(next(), jpegSample(testPicture(24, 16, ColorModel::cmyk)));
    save(next(), webpSample(testPicture(24, 16, ColorModel::rgb, true), exif));
    save(next(), webpAnimationSample({webpSample(testPicture(8, 8)), webpSample(testPicture(8, 8))}));
    save(next(), heicWithReducedPrimary(testPicture(64, 48), 16));
    save(next(), indexedPngSample(4, 2, {0, 1, 2, 3, 3, 2, 1, 0}, {.bits = 2, .palette = {{9, 9, 9, 9}, {}, {}, {}}}));
    save(next(),
         "GIF89a\x04\x00\x04\x00\x80\x00\x00\xFF\xFF\xFF\x00\x00\x00,"
         "\x00\x00\x00\x00\x04\x00\x04\x00\x00\x02\x03\x84\x8F\x05\x00;");
}

std::string richDocument()
{
    PDFBuilder builder;
    const int layer = builder.add("<< /Type /OCG /Name (Layer) >>");
    const int field = builder.reserve();
    builder.addPage(
        {textAt(9, 30, 12, "One") + filledRectangle(1, 2, 30, 40, 1, 0, 0), "[0 0 90 60]",
         "/Annots [" + reference(field) + " << /Type /Annot /Subtype /Link /Rect [0 0 9 9] /Dest (here) >>]",
         "/Properties << /L " + reference(layer) + " >>"});
    builder.addPage({textAt(9, 30, 12, "Two"), "[0 0 60 90]", "/Rotate 90", ""});
    builder.set(field,
                "<< /Type /Annot /Subtype /Widget /FT /Tx /T (name) /V (value) /Rect [10 10 40 20] /P "
                    + reference(builder.pageObject(0)) + " >>");
    const std::string second = "[" + reference(builder.pageObject(1)) + " /Fit]";
    const int entry = builder.reserve();
    builder.set(entry, "<< /Title (Entry) /Dest " + second + " >>");
    const int file = builder.add("<< /Type /Filespec /UF (a.txt) >>");
    const int metadata = builder.addStream("<x pdfaid:part=\"1\"/>", "/Type /Metadata /Subtype /XML");
    builder.addToCatalog("/Outlines << /First " + reference(entry) + " >> /AcroForm << /Fields [" + reference(field)
                         + "] >> /PageLabels << /Nums [0 << /S /r >>] >> /OCProperties << /OCGs [" + reference(layer)
                         + "] /D << /Order [" + reference(layer) + "] >> >> /Names << /Dests << /Names [(here) "
                         + second + "] >> /EmbeddedFiles << /Names [(a) " + reference(file) + "] >> >> /Metadata "
                         + reference(metadata) + " /StructTreeRoot << /K [<< /S /P /Pg "
                         + reference(builder.pageObject(0)) + " /K [0] >>] /ParentTree << /Nums [] >> >>");
    return builder.build();
}

/// The first byte says what the others are, see messages.cpp.
void saveMessage(const Path& file, char kind, const Bytes& bytes)
{
    save(file, kind + std::string(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
}

void saveMessages(const Path& folder)
{
    Task task;
    task.kind = Task::Kind::organize;
    task.inputs = {"a.pdf", "b.pdf"};
    task.places = {{"/home/a.pdf", "/mnt/a.pdf"}, {"/home/b.pdf", ""}};
    task.edits = {PageEdit(4, -90), PageEdit(0, 180)};
    saveMessage(folder / "task", 0, task.encoded());
    for (std::uint32_t kind = 0; kind < reportKinds; ++kind) {
        ReportPacket packet;
        packet.kind = static_cast<Report>(kind);
        packet.sentence = "“a.pdf” is damaged.";
        packet.failure = {Failure::Case::unsupportedConversion, 4, FileFormat::gif, -2};
        saveMessage(folder / ("report" + std::to_string(kind)), 1, packet.encoded());
    }
    MemorySink sink;
    writePicture(testPicture(6, 4, ColorModel::rgb, true, 16), sink);
    saveMessage(folder / "picture", 2, sink.bytes());
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2)
        return 2;
    const Path folder = argv[1];
    savePictures(folder / "images");
    for (const char* const target : {"pages", "documents"}) {
        save(folder / target / "plain", documentWith({{}, {}}));
        save(folder / target / "rich", richDocument());
    }
    save(folder / "svg" / "shapes",
         "<svg xmlns='http://www.w3.org/2000/svg' width='20' height='10'><defs><filter id='f'>"
         "<feGaussianBlur stdDeviation='1'/></filter></defs><path d='M0 0L9 9Z' filter='url(#f)'/>"
         "<text x='1' y='9'>a</text></svg>");
    saveMessages(folder / "messages");
    save(folder / "texts" / "pages", "3,1-2,1:90");
    save(folder / "texts" / "feed",
         "<rss version='2.0' xmlns:p='urn:pelgra:appcast'><channel><p:expires>2030-01-01T00:00:00Z</p:expires><item>"
         "<title>2</title><link>https://d/</link><enclosure p:version='2.0'/></item></channel></rss>");
    save(folder / "texts" / "files", "# comment\r\nfile:///a%20b.png\r\nfile://localhost/c\r\nhttp://d/\r\n");
    return 0;
}
