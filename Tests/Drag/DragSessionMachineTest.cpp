#include "Drag/DragSessionMachine.h"

#include <QTest>

#include <random>

using namespace Pelgra;

namespace {

constexpr ModifierFlags shift = 0x20000;
constexpr ModifierFlags command = 0x100000;
constexpr ModifierFlags capsLockAndOthers = 0x10000 | 0x200000 | 0x400000 | 0x1;
const std::vector<std::filesystem::path> photos{"/photos/b.png", "/photos/a.png"};

struct Sample {
    std::int64_t changeCount;
    bool buttonDown;
    ModifierFlags flags = 0;
    std::vector<std::filesystem::path> files = {};
};

DragSessionMachine machineWith(ModifierFlags convert = shift, ModifierFlags tools = command)
{
    DragSessionMachine machine;
    machine.convertFlag = convert;
    machine.toolsFlag = tools;
    return machine;
}

std::vector<DragEvent> step(DragSessionMachine& machine, const Sample& sample)
{
    return machine.step(sample.changeCount, sample.buttonDown, sample.flags, [&] { return sample.files; });
}

/// All events of a stream in one line: "+2" a session of two files, "C" and "T" taps, "-" the end, "." each sample.
std::string told(DragSessionMachine& machine, const std::vector<Sample>& samples)
{
    std::string story;
    for (const Sample& sample : samples) {
        for (const DragEvent& event : step(machine, sample)) {
            if (const auto* started = std::get_if<SessionStarted>(&event))
                story += "+" + std::to_string(started->files.size());
            else if (const auto* tapped = std::get_if<KeyTapped>(&event))
                story += tapped->kind == WheelKind::convert ? "C" : "T";
            else
                story += "-";
        }
        story += ".";
    }
    return story;
}

} // namespace

class DragSessionMachineTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void tellsTheStoryOfAStream_data()
    {
        QTest::addColumn<std::vector<Sample>>("samples");
        QTest::addColumn<std::string>("expected");
        using Samples = std::vector<Sample>;
        const Sample idle{1, false};
        const Sample begin{2, true, 0, photos};

        QTest::newRow("the first sample only sets the baseline")
            << Samples{{7, true, 0, photos}, {7, true, shift, photos}, {7, false}} << std::string("...");
        QTest::newRow("files of an earlier drag start nothing")
            << Samples{idle, {1, true, 0, photos}, {1, true, shift, photos}} << std::string("...");
        QTest::newRow("a change with the button up is no drag")
            << Samples{idle, {2, false, 0, photos}, {2, true, 0, photos}} << std::string("...");
        QTest::newRow("files may become known later")
            << Samples{idle, {2, true}, {2, true}, begin, {2, false}} << std::string("...+2.-.");
        QTest::newRow("a drag without files ends quietly")
            << Samples{idle, {2, true}, {2, false}, {2, true, 0, photos}} << std::string("....");
        QTest::newRow("a tap may name its wheel") << Samples{idle,
                                                             begin,
                                                             {2, true, tapFlagOf(WheelKind::tools)},
                                                             {2, true, tapFlagOf(WheelKind::convert)},
                                                             {2, true, shift | tapFlagOf(WheelKind::convert)}}
                                                  << std::string(".+2.T.C.C.");
        QTest::newRow("a key held before the drag taps only when pressed again")
            << Samples{{1, false, shift}, {2, true, shift, photos}, {2, true, shift}, {2, true}, {2, true, shift}}
            << std::string(".+2...C.");
        QTest::newRow("a key pressed in the sample of the start does not tap")
            << Samples{idle, {2, true, shift, photos}, {2, true, shift}} << std::string(".+2..");
        QTest::newRow("a second key taps while the first is held")
            << Samples{idle, begin, {2, true, shift}, {2, true, shift | command}} << std::string(".+2.C.T.");
        QTest::newRow("two keys between two samples: conversion first")
            << Samples{idle, begin, {2, true, shift | command}} << std::string(".+2.CT.");
        QTest::newRow("bits outside the five keys mean nothing")
            << Samples{idle, begin, {2, true, capsLockAndOthers}, {2, true, capsLockAndOthers | shift}}
            << std::string(".+2..C.");
        QTest::newRow("changes during a session are absorbed")
            << Samples{idle, begin, {3, true, 0, photos}, {3, false}, {3, true, 0, photos}} << std::string(".+2..-..");
        QTest::newRow("a release and a new drag in one gap need a new change")
            << Samples{idle, begin, {2, false}, {3, true, 0, photos}} << std::string(".+2.-.+2.");
        QTest::newRow("a tap with the button up ends, nothing else")
            << Samples{idle, begin, {2, false, shift}} << std::string(".+2.-.");
    }

    void tellsTheStoryOfAStream()
    {
        QFETCH(std::vector<Sample>, samples);
        QFETCH(std::string, expected);
        DragSessionMachine machine = machineWith();
        QCOMPARE(told(machine, samples), expected);
    }

    void startsWithTheFilesInTheirOrderAndForgetsThemAtTheEnd()
    {
        DragSessionMachine machine = machineWith();
        step(machine, {1, false});
        QCOMPARE(step(machine, {2, true, 0, photos}), (std::vector<DragEvent>{SessionStarted{photos}}));
        QCOMPARE(machine.urls, photos);
        QCOMPARE(step(machine, {2, false}), (std::vector<DragEvent>{SessionEnded{}}));
        QVERIFY(machine.urls.empty());
    }

    void neverTapsToolsWhenBothWheelsShareAKey()
    {
        DragSessionMachine machine = machineWith(shift, shift);
        QCOMPARE(
            told(machine, {{1, false}, {2, true, 0, photos}, {2, true, shift}, {2, true}, {2, true, shift | command}}),
            std::string(".+2.C..C."));
    }

    void followsABindingThatChangesDuringTheSession()
    {
        DragSessionMachine machine = machineWith();
        told(machine, {{1, false}, {2, true, 0, photos}});
        machine.convertFlag = 0x40000;
        QCOMPARE(told(machine, {{2, true, shift}, {2, true, shift | 0x40000}}), std::string(".C."));
    }

    void staysSilentAfterACancelUntilTheNextDrag()
    {
        DragSessionMachine machine = machineWith();
        told(machine, {{1, false}, {2, true, 0, photos}});
        machine.cancel();
        QCOMPARE(told(machine, {{2, true, shift, photos}, {2, false}, {2, true, 0, photos}, {3, true, 0, photos}}),
                 std::string("...+2."));
    }

    void readsTheFilesOnlyWhenADragMayHaveBegun()
    {
        DragSessionMachine machine = machineWith();
        int reads = 0;
        const auto reader = [&] {
            ++reads;
            return photos;
        };
        machine.step(1, true, 0, reader);
        machine.step(1, true, 0, reader);
        machine.step(2, false, 0, reader);
        QCOMPARE(reads, 0);
        machine.step(3, true, 0, reader);
        QCOMPARE(reads, 1);
        machine.step(4, true, shift, reader);
        machine.step(4, false, 0, reader);
        QCOMPARE(reads, 1);
    }

    void keepsItsPromisesOverRandomStreams()
    {
        for (unsigned seed = 1; seed <= 40; ++seed) {
            std::mt19937 random(seed);
            const auto oneIn = [&](unsigned n) {
                return random() % n == 0;
            };
            DragSessionMachine machine = machineWith(shift, oneIn(5) ? shift : command);
            Sample sample{0, false};
            ModifierFlags before = 0;
            std::int64_t countOfSession = -1;
            bool inSession = false;
            bool cancelled = false;
            for (int i = 0; i < 4000; ++i) {
                sample.changeCount += oneIn(9) ? 1 : 0;
                sample.buttonDown = oneIn(6) ? !sample.buttonDown : sample.buttonDown;
                sample.flags ^= oneIn(4) ? shift : 0;
                sample.flags ^= oneIn(4) ? command : 0;
                sample.files = oneIn(2) ? photos : std::vector<std::filesystem::path>{};
                if (inSession && oneIn(50)) {
                    machine.cancel();
                    inSession = false;
                    cancelled = true;
                }
                for (const DragEvent& event : step(machine, sample)) {
                    if (const auto* started = std::get_if<SessionStarted>(&event)) {
                        QVERIFY2(!inSession, "a session began inside a session");
                        QVERIFY2(sample.buttonDown && !started->files.empty(), "a session without button or files");
                        QVERIFY2(!cancelled || sample.changeCount != countOfSession, "a cancelled drag began again");
                        inSession = true;
                        cancelled = false;
                    } else if (const auto* tapped = std::get_if<KeyTapped>(&event)) {
                        const ModifierFlags key =
                            tapped->kind == WheelKind::convert ? machine.convertFlag : machine.toolsFlag;
                        QVERIFY2(inSession && sample.buttonDown, "a tap outside a session");
                        QVERIFY2((sample.flags & ~before & key) == key, "a tap without a press edge");
                    } else {
                        QVERIFY2(inSession && !sample.buttonDown, "an end without a session");
                        inSession = false;
                    }
                }
                if (inSession)
                    countOfSession = sample.changeCount;
                QVERIFY2(inSession == machine.isActive, "events and state disagree");
                QVERIFY2(!inSession || sample.buttonDown, "a session outlived the button");
                QCOMPARE(machine.urls.empty(), !inSession);
                before = sample.flags;
            }
        }
    }
};

QTEST_GUILESS_MAIN(DragSessionMachineTest)
#include "DragSessionMachineTest.moc"
