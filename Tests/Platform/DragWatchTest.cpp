#include "Platform/Gnome/DragWatch.h"

#include <QRandomGenerator>
#include <QTest>

using namespace Pelgra;
using Files = std::vector<std::filesystem::path>;

namespace {

/// An extension that watches.
DragWatch watching()
{
    DragWatch watch;
    watch.take("Watching", {true});
    return watch;
}

QVariantList started(uint serial)
{
    return {serial, 1280, 800};
}

QVariantList sample(uint serial, uint mask, int x = 10, int y = 20)
{
    return {serial, x, y, mask};
}

/// One of anything that may stand in a message.
QVariant anything(QRandomGenerator& random)
{
    switch (random.bounded(9)) {
    case 0:
        return random.generate();
    case 1:
        return uint(random.bounded(3));
    case 2:
        return static_cast<int>(random.generate());
    case 3:
        return random.bounded(2) == 1;
    case 4:
        return QByteArray(static_cast<qsizetype>(random.bounded(64)), static_cast<char>(random.generate()));
    case 5:
        return QByteArray("file:///a\r\nfile:///b\r\n");
    case 6:
        return QString("text");
    case 7:
        return QVariantList{1, "nested"};
    default:
        return {};
    }
}

} // namespace

class DragWatchTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void aDragGoesFromStartToEnd()
    {
        DragWatch watch = watching();
        const std::int64_t before = watch.nextSample().changeCount;
        QVERIFY(watch.take("Started", started(7)));
        QVERIFY(watch.take("Files", {7U, QByteArray("file:///a%20b\r\nfile:///c\r\n")}));
        QVERIFY(!watch.take("Sample", sample(7, 0x100, 640, 200)));
        QCOMPARE(watch.nextSample(), (DragWatch::Sample{before + 1, true, 0}));
        QCOMPARE(watch.files(), (Files{"/a b", "/c"}));
        QCOMPARE(watch.place(), std::optional(DragWatch::Place{0.5, 0.25}));
        QVERIFY(watch.take("Ended", {7U}));
        QCOMPARE(watch.nextSample(), (DragWatch::Sample{before + 1, false, 0}));
        QCOMPARE(watch.files().size(), 2U); // the drop may come a little later
    }

    void eachTapShowsInOneSample()
    {
        static constexpr std::pair<uint, ModifierFlags> keys[] = {
            {0x1, shiftFlag},    {0x4, controlFlag},       {0x8, optionFlag},
            {0x40, commandFlag}, {0x4000000, commandFlag}, {0x80, functionFlag},
        };
        for (const auto& [mask, flag] : keys) {
            DragWatch watch = watching();
            watch.take("Started", started(1));
            QVERIFY(watch.take("Sample", sample(1, 0x100 | mask)));
            QVERIFY(!watch.take("Sample", sample(1, 0x100 | mask, 30))); // still down
            QVERIFY(!watch.take("Sample", sample(1, 0x100)));
            QCOMPARE(watch.nextSample().flags, flag); // between two samples
            QCOMPARE(watch.nextSample().flags, ModifierFlags{0});
        }
    }

    void aDragWhoseEndWasNotToldEnds()
    {
        DragWatch watch = watching();
        watch.take("Started", started(1));
        const std::int64_t first = watch.nextSample().changeCount;
        watch.take("Files", {1U, QByteArray("file:///old\r\n")});
        watch.take("Started", started(2));
        QCOMPARE(watch.files(), Files());
        QCOMPARE(watch.nextSample(), (DragWatch::Sample{first, false, 0}));
        QCOMPARE(watch.nextSample(), (DragWatch::Sample{first + 1, true, 0}));

        watch.take("Watching", {false}); // switched off
        QVERIFY(!watch.nextSample().isButtonDown);
        QVERIFY(!watch.isWatching());
        watch = watching();
        watch.take("Started", started(3));
        watch.reset(); // the shell crashed
        QVERIFY(!watch.nextSample().isButtonDown);
        QVERIFY(!watch.isWatching());
    }

    void messagesThatDoNotFitAreLeftOut_data()
    {
        QTest::addColumn<QString>("signal");
        QTest::addColumn<QVariantList>("arguments");
        const auto row = [](const char* name, const char* signal, const QVariantList& arguments) {
            QTest::newRow(name) << QString(signal) << arguments;
        };
        row("files of another drag", "Files", {6U, QByteArray("file:///b\r\n")});
        row("files as text", "Files", {7U, QString("file:///b\r\n")});
        row("files beyond the limit", "Files", {7U, QByteArray(qsizetype{DragWatch::mostBytes} + 1, 'x')});
        row("sample of another drag", "Sample", sample(8, 1));
        row("sample of wrong types", "Sample", {7U, 1.5, 2.5, 1U});
        row("sample too short", "Sample", {7U, 1});
        row("sample too long", "Sample", sample(7, 1) + QVariantList{1});
        row("nothing", "Sample", {});
        row("end of another drag", "Ended", {6U});
        row("end with more", "Ended", {7U, 1});
        row("start without a stage", "Started", {8U, 0, 800});
        row("start of wrong types", "Started", {8, 1280, 800});
        row("unknown", "Exploded", {7U});
        row("watching of a wrong type", "Watching", {1});
    }

    void messagesThatDoNotFitAreLeftOut()
    {
        QFETCH(QString, signal);
        QFETCH(QVariantList, arguments);
        DragWatch watch = watching();
        watch.take("Started", started(7));
        watch.take("Files", {7U, QByteArray("file:///a\r\n")});
        watch.take("Sample", sample(7, 0x100));
        const DragWatch::Sample before = watch.nextSample();
        QVERIFY(!watch.take(signal.toStdString(), arguments));
        QCOMPARE(watch.nextSample(), before);
        QCOMPARE(watch.files(), Files{"/a"});
        QCOMPARE(watch.place(), std::optional(DragWatch::Place{10.0 / 1280, 20.0 / 800}));
    }

    void nothingIsTakenBeforeTheExtensionWatches()
    {
        DragWatch watch;
        QVERIFY(!watch.take("Started", started(1)));
        QVERIFY(!watch.take("Sample", sample(1, 1)));
        QCOMPARE(watch.nextSample(), DragWatch::Sample{});
    }

    void aListThatWasCutOffLosesItsLastLine()
    {
        QByteArray list;
        while (list.size() < qsizetype{DragWatch::mostBytes})
            list += "file:///" + QByteArray(1000, 'n') + "\r\n";
        list.truncate(qsizetype{DragWatch::mostBytes});
        DragWatch watch = watching();
        watch.take("Started", started(1));
        QVERIFY(watch.take("Files", {1U, list}));
        QVERIFY(watch.files().size() > 8000);
        for (const std::filesystem::path& file : watch.files())
            QCOMPARE(file.native().size(), 1001U);
    }

    void noFloodOfMessagesBreaksTheRules()
    {
        static constexpr const char* names[] = {"Watching", "Started", "Files", "Sample", "Ended", "", "Other"};
        QRandomGenerator random(14);
        DragWatch watch = watching();
        DragWatch::Sample before = watch.nextSample();
        for (int i = 0; i < 200000; ++i) {
            const char* const name = names[random.bounded(7)];
            QVariantList arguments;
            if (random.bounded(3) == 0) {
                for (int count = static_cast<int>(random.bounded(6)); count > 0; --count)
                    arguments += anything(random);
            } else {
                const uint serial = random.bounded(3U);
                arguments = qstrcmp(name, "Sample") == 0 ? sample(serial, random.generate())
                    : qstrcmp(name, "Started") == 0      ? started(serial)
                    : qstrcmp(name, "Watching") == 0     ? QVariantList{true}
                                                         : QVariantList{serial};
            }
            watch.take(name, arguments);
            if (random.bounded(4) != 0)
                continue;
            // A drag is new only after the button was seen up, and nothing is down between drags.
            const DragWatch::Sample now = watch.nextSample();
            QVERIFY(now.changeCount >= before.changeCount);
            QVERIFY(!(before.isButtonDown && now.isButtonDown) || now.changeCount == before.changeCount);
            QVERIFY(now.isButtonDown || now.flags == 0);
            QVERIFY(!now.isButtonDown || watch.isWatching());
            QVERIFY(watch.files().size() <= 2);
            before = now;
        }
        QVERIFY(before.changeCount > 100);
    }
};

QTEST_GUILESS_MAIN(DragWatchTest)

#include "DragWatchTest.moc"
