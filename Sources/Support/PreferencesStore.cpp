#include "Support/PreferencesStore.h"

#include "Support/Logging.h"

#include <QStandardPaths>

namespace Pelgra {

FilePreferencesStore::FilePreferencesStore(const QString& file)
    : m_settings(file, QSettings::IniFormat)
{
}

QString FilePreferencesStore::standardFile()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation)
        + QStringLiteral("/pelgra/pelgra.ini");
}

bool FilePreferencesStore::setValue(const QString& key, const QVariant& value)
{
    // By a new object, which shares its values with all others for the file: an object keeps its first error for good,
    // whatever becomes of later changes.
    QSettings writer(m_settings.fileName(), QSettings::IniFormat);
    writer.setValue(key, value);
    writer.sync();
    if (writer.status() == QSettings::NoError)
        return true;
    qCWarning(settingsLog, "%s could not be saved in %s", qUtf8Printable(key), qUtf8Printable(writer.fileName()));
    return false;
}

ArgumentPreferencesStore::ArgumentPreferencesStore(const QStringList& arguments,
                                                   std::unique_ptr<PreferencesStore> store)
    : m_store(std::move(store))
{
    for (qsizetype i = 0; i + 1 < arguments.size(); ++i) {
        // Two dashes begin an option, which has no value after it.
        if (arguments[i].size() > 1 && arguments[i].startsWith(u'-') && arguments[i][1] != u'-') {
            m_arguments.insert(arguments[i].mid(1), arguments[i + 1]);
            ++i;
        }
    }
}

QVariant ArgumentPreferencesStore::value(const QString& key) const
{
    const auto found = m_arguments.constFind(key);
    return found != m_arguments.cend() ? QVariant(*found) : m_store->value(key);
}

} // namespace Pelgra
