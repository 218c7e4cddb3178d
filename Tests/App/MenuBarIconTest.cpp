#include "App/MenuBarIcon.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QImage>
#include <QPalette>
#include <QSystemTrayIcon>
#include <QTemporaryDir>
#include <QTest>

using namespace Pelgra;

namespace {

/// Opacity at a point of the 18 × 18 drawing, y pointing up.
int opacityAt(const QImage& picture, double x, double y)
{
    const double scale = picture.width() / 18.0;
    return picture.pixelColor(static_cast<int>(x * scale), static_cast<int>((18 - y) * scale)).alpha();
}

} // namespace

class MenuBarIconTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void drawsAFruitAndALeafApartFromIt()
    {
        const QImage picture = MenuBarIcon::pixmap(180, Qt::black).toImage();
        QCOMPARE(opacityAt(picture, 9, 8), 255); // the fruit
        QCOMPARE(opacityAt(picture, 3, 8), 255);
        QCOMPARE(opacityAt(picture, 12.4, 15.3), 255); // the leaf
        QCOMPARE(opacityAt(picture, 11.5, 13), 0); // the margin, within the fruit's circle
        QCOMPARE(opacityAt(picture, 9, 14.2), 0);
        for (QPointF corner : {QPointF(0.5, 0.5), QPointF(17.5, 0.5), QPointF(0.5, 17.5), QPointF(17.5, 17.5)})
            QCOMPARE(opacityAt(picture, corner.x(), corner.y()), 0);
    }

    void offersATintedTemplateForEveryTray()
    {
        const QIcon icon = MenuBarIcon::image(Qt::white);
        QVERIFY(icon.isMask());
        QCOMPARE(icon.actualSize(QSize(18, 18)), QSize(18, 18));
        QCOMPARE(icon.actualSize(QSize(44, 44)), QSize(44, 44));
        const QImage picture = icon.pixmap(QSize(36, 36)).toImage();
        QCOMPARE(picture.pixelColor(18, 20), QColor(Qt::white));
        const QPixmap sharp = MenuBarIcon::pixmap(18, Qt::black, 2);
        QCOMPARE(sharp.size(), QSize(36, 36));
        QCOMPARE(sharp.deviceIndependentSize(), QSizeF(18, 18));
    }

    void bearsTheNameOfTheSymbolicIconWhereTheThemeHasIt()
    {
        QVERIFY(MenuBarIcon::image(Qt::white).name().isEmpty());
        const QTemporaryDir themes;
        QVERIFY(QDir(themes.path()).mkpath("test/symbolic/apps"));
        QFile index(themes.filePath("test/index.theme"));
        QVERIFY(index.open(QIODevice::WriteOnly));
        index.write("[Icon Theme]\nName=Test\nDirectories=symbolic/apps\n[symbolic/apps]\nSize=16\nType=Scalable\n");
        index.close();
        QFile icon(themes.filePath("test/symbolic/apps/org.pelgra.Pelgra-symbolic.svg"));
        QVERIFY(icon.open(QIODevice::WriteOnly));
        icon.write(
            "<svg xmlns='http://www.w3.org/2000/svg' width='16' height='16'><rect width='16' height='16'/></svg>");
        icon.close();
        QIcon::setThemeSearchPaths({themes.path()});
        QIcon::setThemeName("test");
        QCOMPARE(MenuBarIcon::image(Qt::white).name(), "org.pelgra.Pelgra-symbolic");
    }

    void takesTheTintOfANewPalette()
    {
        qunsetenv("XDG_CURRENT_DESKTOP");
        const auto tint = [](const QSystemTrayIcon& item) {
            return item.icon().pixmap(QSize(36, 36)).toImage().pixelColor(18, 20);
        };
        QPalette palette(QColor(30, 30, 30));
        palette.setColor(QPalette::WindowText, Qt::white);
        QApplication::setPalette(palette);
        QSystemTrayIcon item;
        MenuBarIcon::showIn(item);
        QCOMPARE(tint(item), QColor(Qt::white));
        palette.setColor(QPalette::WindowText, Qt::black);
        QApplication::setPalette(palette);
        QCOMPARE(tint(item), QColor(Qt::black));
    }
};

QTEST_MAIN(MenuBarIconTest)
#include "MenuBarIconTest.moc"
