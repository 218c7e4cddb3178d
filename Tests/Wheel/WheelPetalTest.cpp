#include "Wheel/WheelPetal.h"
#include "Support/Formatters.h"

#include <QTemporaryDir>
#include <QTest>

#include <fstream>
#include <set>

using namespace Pelgra;
using Files = std::vector<std::filesystem::path>;

namespace {

QStringList labels(WheelKind kind, const Files& files)
{
    QStringList result;
    for (const WheelPetal& petal : WheelPetal::petalsFor(kind, files))
        result += petal.label();
    return result;
}

} // namespace

class WheelPetalTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void offersWhatTheCatalogueOffersInItsOrder()
    {
        QCOMPARE(labels(WheelKind::convert, {"a.jpg", "b.png"}), QStringList({"HEIC", "TIFF", "BMP", "PDF"}));
        QCOMPARE(labels(WheelKind::convert, {"a.pdf"}), QStringList({"JPG", "PNG", "TXT", "MD"}));
        QCOMPARE(labels(WheelKind::tools, {"a.pdf", "b.pdf"}), QStringList({"SPLIT", "MERGE PDF"}));
        QCOMPARE(labels(WheelKind::tools, {"a.jpg", "b.jpg"}), QStringList({"CREATE PDF"}));
        QCOMPARE(labels(WheelKind::tools, {"a.jpg"}), QStringList());
        QCOMPARE(WheelPetal::emptyMessage(WheelKind::convert), QString("No conversions for this format."));
        QCOMPARE(WheelPetal::emptyMessage(WheelKind::tools), QString("No editing tools for this format."));
    }

    void toolsAloneHaveSymbolsAndAllPetalsDiffer()
    {
        std::vector<WheelPetal> petals;
        for (FileFormat format : FileFormat::allCases())
            petals.push_back(WheelPetal::format(format));
        for (FileTool tool : FileTool::allCases())
            petals.push_back(WheelPetal::tool(tool));
        std::set<std::size_t> hashes;
        for (std::size_t i = 0; i < petals.size(); ++i) {
            QCOMPARE(petals[i].symbolName().has_value(), petals[i].asTool() != nullptr);
            QCOMPARE(petals[i].centerTitle(), petals[i].label());
            hashes.insert(std::hash<WheelPetal>()(petals[i]));
            for (std::size_t j = 0; j < petals.size(); ++j)
                QCOMPARE(petals[i] == petals[j], i == j);
        }
        QCOMPARE(hashes.size(), petals.size());
    }

    void sumsUpTheDraggedFiles()
    {
        QTemporaryDir folder;
        const std::filesystem::path base = folder.path().toStdString();
        // A name that is not UTF-8 at all.
        const std::filesystem::path odd = base / "caf\xe9.png";
        std::ofstream(odd) << std::string(1050, 'x');
        std::filesystem::create_symlink(odd, base / "link.png");
        const Files one{odd};
        QCOMPARE(FileInfo::centerSummary(one), QString("1.1 KB"));
        QCOMPARE(FileInfo::centerSummary(Files{}), QString("0 files"));
        QCOMPARE(FileInfo::centerSummary(Files{odd, odd}), QString("2 files"));
        QCOMPARE(FileInfo::totalBytes(Files{odd, base, base / "absent", base / "link.png"}), std::int64_t(2100));
    }
};

QTEST_GUILESS_MAIN(WheelPetalTest)
#include "WheelPetalTest.moc"
