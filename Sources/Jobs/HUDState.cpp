#include "Jobs/HUDState.h"

namespace Pelgra::HUDCopy {

QString batchName(std::size_t count, const QString& single)
{
    return count == 1 ? single : QStringLiteral("%1 files").arg(count);
}

QString working(const QString& jobName)
{
    return QStringLiteral("Making ") + jobName + QStringLiteral("…");
}

QString done(const QString& displayName)
{
    return displayName + QStringLiteral(" — just like that.");
}

QString failed(const QString& jobName)
{
    return QStringLiteral("Couldn't make ") + jobName;
}

} // namespace Pelgra::HUDCopy
