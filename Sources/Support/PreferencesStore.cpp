#include "Support/PreferencesStore.h"

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

void FilePreferencesStore::setValue(const QString& key, const QVariant& value)
{
    m_settings.setValue(key, value);
    m_settings.sync();
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
