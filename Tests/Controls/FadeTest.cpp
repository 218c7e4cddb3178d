#include "Controls/Fade.h"

#include <QImage>
#include <QPainter>
#include <QTest>
#include <QWidget>

using namespace Pelgra;

namespace {

class Red : public QWidget {
public:
    using QWidget::QWidget;

protected:
    void paintEvent(QPaintEvent*) override { QPainter(this).fillRect(rect(), Qt::red); }
};

} // namespace

class FadeTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void aPartOfAWindowIsFadedByPainting()
    {
        QWidget window;
        window.resize(40, 20);
        Red part(&window);
        part.setGeometry(20, 0, 20, 20);
        Red neighbour(&window);
        neighbour.setGeometry(0, 0, 20, 20);
        auto* const fade = new Fade(&part);
        const auto alphas = [&window] {
            QImage image(window.size(), QImage::Format_ARGB32_Premultiplied);
            image.fill(Qt::transparent);
            window.render(&image, QPoint(), QRegion(), QWidget::DrawChildren);
            return std::pair(image.pixelColor(10, 10).alpha(), image.pixelColor(30, 10).alpha());
        };
        QCOMPARE(alphas(), std::pair(255, 255));
        fade->setOpacity(0.5);
        QCOMPARE(alphas(), std::pair(255, 128));
        part.resize(16, 16); // and what is opened meanwhile
        fade->setOpacity(0);
        QCOMPARE(alphas(), std::pair(255, 0));
        fade->setOpacity(1);
        QCOMPARE(alphas(), std::pair(255, 255));
    }

    void aWindowIsFadedByTheWindowSystem()
    {
        QWidget window;
        auto* const fade = new Fade(&window);
        fade->setOpacity(0.25);
        QVERIFY(qAbs(window.windowOpacity() - 0.25) < 0.01);
        QVERIFY(window.findChildren<QWidget*>().isEmpty());
    }
};

QTEST_MAIN(FadeTest)

#include "FadeTest.moc"
