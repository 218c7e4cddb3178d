#include "Pictures/ThumbnailLoader.h"
#include "PelgraCore/Isolation.h"
#include "Pictures/FileIcons.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QPainter>
#include <QPdfWriter>
#include <QTemporaryDir>
#include <QTest>

#include <fstream>

#include <sys/stat.h>

using namespace Pelgra;

namespace {

QImage filled(QSize size, QColor color)
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(color);
    return image;
}

} // namespace

class ThumbnailLoaderTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        Isolation::setLog([this](std::string_view line) { m_log += QByteArray::fromStdString(std::string(line)); });
        Isolation::useWorkers(1);
    }

    void init()
    {
        m_folder = std::make_unique<QTemporaryDir>();
        qputenv("XDG_CACHE_HOME", m_folder->filePath("cache").toLocal8Bit());
        // Not UTF-8, and characters that must be escaped.
        m_file = std::filesystem::path(m_folder->path().toStdString()) / "caf\xe9 %?.png";
        QImage picture = filled({40, 20}, Qt::green);
        QFile file(m_folder->filePath("made"));
        QVERIFY(file.open(QIODevice::WriteOnly) && picture.save(&file, "png"));
        file.close();
        std::filesystem::rename(m_folder->filePath("made").toStdString(), m_file);
    }

    void cleanup()
    {
        // Qt does not remove a file whose name is not text.
        std::filesystem::remove(m_file);
    }

    void escapesAddressesAsOtherApplicationsDo()
    {
        QCOMPARE(ThumbnailLoader::canonicalAddress("/a b/caf\xe9;[1]~!$&'()*+,=:@_-.png"),
                 QByteArray("file:///a%20b/caf%E9%3B%5B1%5D~!$&'()*+,=:@_-.png"));
        QCOMPARE(ThumbnailLoader::canonicalAddress("/a/./b/../c.png"), QByteArray("file:///a/c.png"));
    }

    void readsTheSharedThumbnailOfTheFileAsItIsNow()
    {
        writeShared("normal", filled({128, 64}, Qt::blue), modified(), address());
        QCOMPARE(ThumbnailLoader::load(m_file, 256).pixelColor(5, 5), QColor(Qt::blue));
        writeShared("large", filled({256, 128}, Qt::red), modified(), address());
        QCOMPARE(ThumbnailLoader::load(m_file, 256).pixelColor(5, 5), QColor(Qt::red));
        QCOMPARE(ThumbnailLoader::load(m_file, 100).size(), QSize(100, 50));
        QVERIFY2(m_log.contains("Walls around workers"), "anybody may have written it: a worker reads it");
    }

    void ignoresThumbnailsThatAreNotOfThisFile_data()
    {
        QTest::addColumn<int>("age");
        QTest::addColumn<QString>("stated");
        QTest::addColumn<QSize>("size");
        QTest::newRow("older") << 1 << "" << QSize(256, 128);
        QTest::newRow("of another file") << 0 << "file:///tmp/other.png" << QSize(256, 128);
        QTest::newRow("too large") << 0 << "" << QSize(1100, 16);
    }
    void ignoresThumbnailsThatAreNotOfThisFile()
    {
        QFETCH(int, age);
        QFETCH(QString, stated);
        QFETCH(QSize, size);
        writeShared("large", filled(size, Qt::red), modified() - age, stated.isEmpty() ? address() : stated);
        QVERIFY(ThumbnailLoader::sharedThumbnail(m_file, 256).isNull());
    }

    void asksTheCoreWhereNothingIsShared()
    {
        const QString file = m_folder->filePath("page.pdf");
        QPdfWriter writer(file);
        writer.setPageMargins({});
        QPainter(&writer).fillRect(QRect(0, 0, writer.width(), writer.height()), Qt::green);
        const QImage picture = ThumbnailLoader::load(file.toStdString(), 200);
        QCOMPARE(std::max(picture.width(), picture.height()), 200);
        QCOMPARE(picture.pixelColor(50, 50), QColor(0, 255, 0));
    }

    void leavesHugeBrokenAndOddFilesAlone()
    {
        const std::filesystem::path folder = m_file.parent_path();
        const std::filesystem::path broken = folder / "broken.png";
        std::ofstream(broken) << "not a picture";
        QVERIFY(ThumbnailLoader::load(broken, 256).isNull());
        const std::filesystem::path huge = folder / "huge.png";
        std::filesystem::copy_file(m_file, huge);
        std::filesystem::resize_file(huge, std::uintmax_t{200} << 20);
        QVERIFY(ThumbnailLoader::load(huge, 256).isNull());
        QVERIFY(ThumbnailLoader::load(folder, 256).isNull());
        QVERIFY(ThumbnailLoader::load(folder / "absent.png", 256).isNull());
        const std::filesystem::path pipe = folder / "pipe.png";
        QCOMPARE(::mkfifo(pipe.c_str(), 0600), 0);
        QVERIFY(ThumbnailLoader::load(pipe, 256).isNull());
    }

    void everyFileHasAnIcon()
    {
        for (const char* name : {"a.pdf", "b.unheard-of", "noextension", "caf\xe9.png"}) {
            const QImage icon = FileIcons::iconFor(m_file.parent_path() / name, 96);
            QCOMPARE(icon.size(), QSize(96, 96));
            bool hasInk = false;
            for (int x = 0; x < 96; ++x)
                hasInk = hasInk || icon.pixelColor(x, 48).alpha() > 128;
            QVERIFY2(hasInk, name);
        }
    }

private:
    QString address() const { return QString::fromLatin1(ThumbnailLoader::canonicalAddress(m_file)); }

    qint64 modified() const
    {
        struct stat status{};
        ::stat(m_file.c_str(), &status);
        return status.st_mtim.tv_sec;
    }

    void writeShared(const QString& size, QImage picture, qint64 time, const QString& stated) const
    {
        const QDir folder(m_folder->filePath("cache/thumbnails/" + size));
        folder.mkpath(".");
        picture.setText("Thumb::MTime", QString::number(time));
        picture.setText("Thumb::URI", stated);
        const QByteArray hash = QCryptographicHash::hash(address().toLatin1(), QCryptographicHash::Md5).toHex();
        QVERIFY(picture.save(folder.filePath(QString::fromLatin1(hash) + ".png"), "png"));
    }

    QByteArray m_log;
    std::unique_ptr<QTemporaryDir> m_folder;
    std::filesystem::path m_file;
};

QTEST_MAIN(ThumbnailLoaderTest)
#include "ThumbnailLoaderTest.moc"
