// What users, other programs and a server hand over as text: lists of pages, lists of files, the feed of new versions.
#include "App/Updates/Ed25519.h"
#include "App/Updates/UpdateFeed.h"
#include "CommandLine/Arguments.h"
#include "CommandLine/PageList.h"
#include "Platform/UriList.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

/// Here every feed counts as signed: what comes after the signature is looked at.
bool Pelgra::Ed25519::verify(const QByteArray&, const QByteArray&, const QByteArray&)
{
    return true;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace Pelgra;
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    filesOfUriList(text);
    try {
        parsePageList(text);
    } catch (const UsageError&) {
    }
    const QByteArray feed(text.data(), static_cast<qsizetype>(text.size()));
    UpdateFeed::read(feed, QByteArrayLiteral("AAAA"), QByteArray(Ed25519::publicKeySize, 'k'), QVersionNumber(1, 2),
                     QDateTime::fromSecsSinceEpoch(1'700'000'000, Qt::UTC));
    return 0;
}
