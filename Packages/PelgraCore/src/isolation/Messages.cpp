#include "isolation/Messages.h"

namespace Pelgra {

namespace {

constexpr std::size_t longestSentence = 8192;

void put(FieldWriter& fields, const Failure& failure)
{
    fields.put(static_cast<std::uint32_t>(failure.which));
    fields.put(failure.number);
    const auto none = static_cast<std::uint32_t>(FileFormat::count);
    fields.put(failure.source ? static_cast<std::uint32_t>(static_cast<FileFormat::Case>(*failure.source)) : none);
    fields.put(failure.index);
}

Failure failureFrom(FieldReader& fields)
{
    Failure failure;
    failure.which = static_cast<Failure::Case>(fields.below(Failure::cases));
    const bool isFormat =
        failure.which == Failure::Case::unsupported || failure.which == Failure::Case::unsupportedConversion;
    failure.number = isFormat ? fields.below(FileFormat::count) : fields.number<std::uint32_t>();
    const std::uint32_t source = fields.below(FileFormat::count + 1);
    if (source < FileFormat::count)
        failure.source = FileFormat::allCases().at(source);
    failure.index = fields.number<std::int64_t>();
    return failure;
}

} // namespace

Bytes ReportPacket::encoded() const
{
    FieldWriter fields;
    fields.put(static_cast<std::uint32_t>(kind));
    switch (kind) {
    case Report::walls:
    case Report::refusedCall:
    case Report::wantsInput:
    case Report::wantsOutput:
    case Report::finishedOutput:
    case Report::pageCount:
        fields.put(number);
        break;
    case Report::progress:
        fields.put(number);
        fields.put(total);
        break;
    case Report::warning:
        fields.put(std::string_view(sentence).substr(0, longestSentence));
        break;
    case Report::failed:
        put(fields, failure);
        break;
    case Report::done:
        break;
    }
    return fields.bytes();
}

ReportPacket ReportPacket::decoded(std::span<const std::byte> bytes)
{
    FieldReader fields(bytes);
    ReportPacket packet;
    packet.kind = static_cast<Report>(fields.below(reportKinds));
    switch (packet.kind) {
    case Report::walls:
    case Report::refusedCall:
    case Report::wantsInput:
    case Report::wantsOutput:
    case Report::finishedOutput:
    case Report::pageCount:
        packet.number = fields.number<std::uint32_t>();
        break;
    case Report::progress:
        packet.number = fields.number<std::uint32_t>();
        packet.total = fields.number<std::uint32_t>();
        break;
    case Report::warning:
        packet.sentence = fields.text(longestSentence);
        break;
    case Report::failed:
        packet.failure = failureFrom(fields);
        break;
    case Report::done:
        break;
    }
    fields.finish();
    return packet;
}

} // namespace Pelgra
