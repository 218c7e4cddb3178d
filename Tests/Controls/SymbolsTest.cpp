#include "Controls/Symbols.h"
#include "PelgraCore/FileTool.h"

#include <QImage>
#include <QTest>

using namespace Pelgra;

class SymbolsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void drawsEverySymbolTheApplicationNames()
    {
        QStringList names{"xmark",
                          "arrow.left.arrow.right",
                          "chevron.up",
                          "chevron.down",
                          "doc.richtext",
                          "photo",
                          "rotate.right",
                          "plus.square.on.square",
                          "trash",
                          "checkmark.circle.fill",
                          "exclamationmark.triangle.fill"};
        for (FileTool tool : FileTool::allCases())
            names += QString::fromStdString(std::string(tool.symbolName()));
        for (const QString& name : names) {
            const QImage symbol = Symbols::pixmap(name, 20, Qt::black, 2).toImage();
            QCOMPARE(symbol.size(), QSize(40, 40));
            int ink = 0;
            for (int y = 0; y < 40; ++y) {
                for (int x = 0; x < 40; ++x)
                    ink += symbol.pixelColor(x, y).alpha();
            }
            // Something between nothing and a filled square.
            QVERIFY2(ink > 1600 * 255 / 20 && ink < 1600 * 255 * 4 / 5, qPrintable(name));
        }
    }

    void takesTheColourWithItsAlpha()
    {
        const QImage full = Symbols::pixmap("checkmark.circle.fill", 20, QColor(255, 0, 0, 128), 1).toImage();
        const QColor inside = full.pixelColor(10, 4);
        QCOMPARE(inside.alpha(), 128);
        QVERIFY(inside.red() > 250 && inside.green() < 5);
    }

    void unknownNamesGiveNothing()
    {
        QVERIFY(Symbols::pixmap("no.such.symbol", 20, Qt::black, 1).isNull());
        QVERIFY(Symbols::pixmap("../symbols/photo", 20, Qt::black, 1).isNull());
        QVERIFY(Symbols::pixmap("", 20, Qt::black, 1).isNull());
    }
};

QTEST_MAIN(SymbolsTest)
#include "SymbolsTest.moc"
