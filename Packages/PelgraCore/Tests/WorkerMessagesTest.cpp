#include "isolation/Channel.h"
#include "isolation/Messages.h"
#include "isolation/PictureFile.h"
#include "Support/ImageSamples.h"
#include "Support/MemorySink.h"

#include <QRandomGenerator>
#include <QTest>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>

using namespace Pelgra;

namespace {

Task fullTask()
{
    Task task;
    task.kind = Task::Kind::organize;
    task.format = FileFormat::heic;
    task.options = {0.25, 0.5, 150};
    task.threads = 3;
    task.markdown = true;
    task.staysOpen = true;
    task.page = 7;
    task.maxPixels = 96.5;
    task.memory = std::uint64_t{3} << 32;
    task.inputs = {"a.pdf", std::string("odd \xFF name\n.pdf")};
    task.places = {{"/home/a.pdf", "/mnt/a.pdf"}, {"/home/b.pdf", ""}};
    task.edits = {PageEdit(4, -90), PageEdit(std::int64_t{1} << 40, 180)};
    task.claims = {"file:///a%20b.png", std::int64_t{5} << 33};
    return task;
}

std::vector<ReportPacket> everyReport()
{
    std::vector<ReportPacket> packets;
    for (std::uint32_t kind = 0; kind < reportKinds; ++kind) {
        ReportPacket packet;
        packet.kind = static_cast<Report>(kind);
        packet.number = 3;
        packet.total = 5;
        packet.sentence = "“a.pdf” is damaged.";
        packet.failure = {Failure::Case::unsupportedConversion, 4, FileFormat::gif, -2};
        packets.push_back(packet);
    }
    return packets;
}

/// Whether bytes are refused as they should be: by ProtocolError, or read as something.
template <typename Decode>
bool isRefused(const Bytes& bytes, const Decode& decode)
{
    try {
        decode(bytes);
        return false;
    } catch (const ProtocolError&) {
        return true;
    }
}

template <typename Decode>
void damageInEveryWay(const Bytes& whole, const Decode& decode)
{
    for (std::size_t size = 0; size < whole.size(); ++size)
        QVERIFY(isRefused(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)), decode));
    Bytes longer = whole;
    longer.push_back({});
    QVERIFY(isRefused(longer, decode));
    // Whatever else may come of it, nothing but ProtocolError and no memory beyond what was sent.
    QRandomGenerator random(7);
    for (int round = 0; round < 2000; ++round) {
        Bytes damaged = whole;
        for (int change = 0; change < 3; ++change)
            damaged[random.bounded(static_cast<quint32>(damaged.size()))] = static_cast<std::byte>(random.bounded(256));
        isRefused(damaged, decode);
    }
}

/// A sealed file in memory with these bytes at its start.
int memoryWith(const Bytes& bytes, std::size_t size)
{
    const int memory = memfd_create("test", MFD_CLOEXEC | MFD_ALLOW_SEALING);
    const bool isReady = ftruncate(memory, static_cast<off_t>(size)) == 0
        && pwrite(memory, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size());
    return isReady ? memory : -1;
}

} // namespace

class WorkerMessagesTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void aTaskArrivesAsItWasSent()
    {
        const Task sent = fullTask();
        const Task arrived = Task::decoded(sent.encoded());
        QVERIFY(arrived.encoded() == sent.encoded());
        QCOMPARE(arrived.inputs, sent.inputs);
        QCOMPARE(arrived.edits[1].sourceIndex, std::int64_t{1} << 40);
        QVERIFY(arrived.staysOpen && !arrived.uniformWidth);
        QCOMPARE(inputNumberOf(workerPathOf(12, "../../etc/passwd")), 12U);
        QVERIFY_EXCEPTION_THROWN(inputNumberOf("/etc/passwd"), ProtocolError);
    }

    void reportsArriveAsTheyWereSent()
    {
        for (const ReportPacket& sent : everyReport()) {
            const ReportPacket arrived = ReportPacket::decoded(sent.encoded());
            QVERIFY(arrived.kind == sent.kind && arrived.encoded() == sent.encoded());
        }
    }

    void whatIsDamagedIsRefused()
    {
        damageInEveryWay(fullTask().encoded(), [](const Bytes& bytes) { Task::decoded(bytes); });
        for (const ReportPacket& packet : everyReport())
            damageInEveryWay(packet.encoded(), [](const Bytes& bytes) { ReportPacket::decoded(bytes); });
    }

    void packetsStayWholeAndBringADescriptor()
    {
        auto ends = Channel::pair();
        QVERIFY(ends);
        const Bytes sent(1000, std::byte{7});
        QVERIFY(ends->first.send(sent, STDIN_FILENO) == Channel::Sent::whole);
        QVERIFY(ends->first.send(Bytes(3)) == Channel::Sent::whole);
        const auto first = ends->second.receive();
        const auto second = ends->second.receive();
        QVERIFY(first && first->bytes == sent && first->descriptor);
        QVERIFY(second && second->bytes.size() == 3 && !second->descriptor);
        // One that is too long is no packet at all.
        QCOMPARE(send(ends->first.descriptor(), Bytes(packetLimit + 1).data(), packetLimit + 1, 0),
                 static_cast<ssize_t>(packetLimit + 1));
        QVERIFY(!ends->second.receive());
        const Channel second2 = std::move(ends->second);
        {
            const Channel gone = std::move(ends->first);
        }
        QVERIFY(!second2.receive());
    }

    void picturesArriveAsTheyWere()
    {
        RasterImage image = rampPicture(13, 9);
        image.iccProfile = Bytes(100, std::byte{5});
        MemorySink sink;
        writePicture(image, sink);
        const Bytes file = sink.bytes();
        const UniqueDescriptor memory(memoryWith(file, pictureFileLimit(13 * 9)));
        const auto arrived = readPicture(memory.get(), 13 * 9);
        QVERIFY(arrived && arrived->pixels == image.pixels);
        QVERIFY2(arrived->iccProfile.empty(), "a profile is read behind the walls alone");
        QVERIFY2(!readPicture(memory.get(), 13 * 9 - 1), "larger than was asked for");
        QRandomGenerator random(11);
        for (int round = 0; round < 300; ++round) {
            Bytes damaged = file;
            damaged[random.bounded(24U)] = static_cast<std::byte>(random.bounded(256));
            const UniqueDescriptor other(memoryWith(damaged, pictureFileLimit(13 * 9)));
            const auto read = readPicture(other.get(), 13 * 9);
            QVERIFY(!read || read->pixels.size() <= std::size_t{13 * 9 * 10});
        }
    }
};

QTEST_GUILESS_MAIN(WorkerMessagesTest)
#include "WorkerMessagesTest.moc"
