#include "metadata/IptcAsXmp.h"
#include "metadata/ByteWriter.h"
#include "Support/ImageSamples.h"

#include <QTest>

#include <string>

using namespace Pelgra;

namespace {

Bytes records(std::initializer_list<std::pair<unsigned, std::string_view>> values)
{
    ByteWriter result(std::endian::big);
    for (const auto& [dataSet, text] : values)
        result.put8(0x1C).put8(2).put8(dataSet).put16(static_cast<std::uint32_t>(text.size())).put(text);
    return result.bytes();
}

std::string textOf(const Bytes& bytes)
{
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

} // namespace

class IptcAsXmpTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void recordsBecomeProperties()
    {
        const std::string packet = textOf(xmpWithIptc(
            {},
            records(
                {{25, "sea"}, {25, "harbour & <ships>"}, {80, "J\xF6rg"}, {120, "caf\xC3\xA9"}, {55, "20240506"}})));
        QVERIFY(packet.find("<dc:subject><rdf:Bag><rdf:li>sea</rdf:li><rdf:li>harbour &amp; &lt;ships&gt;</rdf:li>")
                != std::string::npos);
        QVERIFY(packet.find("<rdf:li>J\xC3\xB6rg</rdf:li>") != std::string::npos);
        QVERIFY(packet.find("caf\xC3\xA9") != std::string::npos);
        QVERIFY(packet.find("<photoshop:DateCreated>2024-05-06<") != std::string::npos);
    }

    void joinsThePacketThatIsThere()
    {
        const std::string packet = textOf(xmpWithIptc(xmpSample(), iptcSample("harbour")));
        QVERIFY(packet.find("harbour") != std::string::npos);
        QVERIFY(packet.find("Lens 50") != std::string::npos);
        QVERIFY(packet.find("harbour") < packet.rfind("</rdf:RDF>"));
        QCOMPARE(xmpWithIptc(xmpSample(), {}), xmpSample());
        QVERIFY(xmpWithIptc({}, {}).empty());
    }

    void damagedRecordsEndTheReading()
    {
        Bytes damaged = records({{25, "sea"}, {120, "long text"}});
        damaged.resize(damaged.size() - 3);
        const std::string packet = textOf(xmpWithIptc({}, damaged));
        QVERIFY(packet.find("sea") != std::string::npos);
        QVERIFY(packet.find("long") == std::string::npos);
    }
};

QTEST_GUILESS_MAIN(IptcAsXmpTest)
#include "IptcAsXmpTest.moc"
