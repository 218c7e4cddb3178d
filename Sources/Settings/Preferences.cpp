#include "Settings/Preferences.h"

#include "PelgraCore/Models.h"

#include <QCoreApplication>

#include <utility>

namespace Pelgra {

namespace {

const QString convertKeyName = QStringLiteral("convertKey");
const QString toolsKeyName = QStringLiteral("toolsKey");
const QString jpegQualityName = QStringLiteral("jpegQuality");
const QString checkForUpdatesAutomaticallyName = QStringLiteral("checkForUpdatesAutomatically");
const QString usesShortcutsName = QStringLiteral("desktopShortcuts");
const QString showsTargetsName = QStringLiteral("dragTargets");

ModifierKey keyFrom(const QVariant& stored, ModifierKey otherwise)
{
    return modifierKeyFromRawValue(stored.toString()).value_or(otherwise);
}

double qualityFrom(const QVariant& stored)
{
    bool isNumber = false;
    double quality = stored.toDouble(&isNumber);
    if (!isNumber)
        quality = ConversionOptions::defaultQuality;
    if (!(quality > 0.5)) // true of NaN as well
        return 0.5;
    return quality > 1.0 ? 1.0 : quality;
}

/// Texts count too, since files and arguments hold nothing else.
bool booleanFrom(const QVariant& stored, bool otherwise)
{
    if (stored.typeId() == QMetaType::Bool)
        return stored.toBool();
    const QString text = stored.toString().toLower();
    if (text == u"true" || text == u"yes" || text == u"1")
        return true;
    if (text == u"false" || text == u"no" || text == u"0")
        return false;
    return otherwise;
}

} // namespace

Preferences::Preferences(std::unique_ptr<PreferencesStore> store, QObject* parent)
    : QObject(parent)
    , m_store(std::move(store))
    , m_convertKey(keyFrom(m_store->value(convertKeyName), ModifierKey::shift))
    , m_toolsKey(keyFrom(m_store->value(toolsKeyName), ModifierKey::command))
    , m_jpegQuality(qualityFrom(m_store->value(jpegQualityName)))
    , m_checkForUpdatesAutomatically(booleanFrom(m_store->value(checkForUpdatesAutomaticallyName), true))
    , m_usesShortcuts(booleanFrom(m_store->value(usesShortcutsName), false))
    , m_showsTargets(booleanFrom(m_store->value(showsTargetsName), false))
{
}

Preferences& Preferences::shared()
{
    static Preferences preferences(std::make_unique<ArgumentPreferencesStore>(
        QCoreApplication::arguments().mid(1),
        std::make_unique<FilePreferencesStore>(FilePreferencesStore::standardFile())));
    return preferences;
}

void Preferences::setConvertKey(ModifierKey key)
{
    m_convertKey = key;
    Q_EMIT convertKeyChanged();
    store(convertKeyName, rawValueOf(key));
}

void Preferences::setToolsKey(ModifierKey key)
{
    m_toolsKey = key;
    Q_EMIT toolsKeyChanged();
    store(toolsKeyName, rawValueOf(key));
}

void Preferences::setJPEGQuality(double quality)
{
    m_jpegQuality = quality;
    Q_EMIT jpegQualityChanged();
    store(jpegQualityName, quality);
}

void Preferences::setCheckForUpdatesAutomatically(bool checks)
{
    m_checkForUpdatesAutomatically = checks;
    Q_EMIT checkForUpdatesAutomaticallyChanged();
    store(checkForUpdatesAutomaticallyName, checks);
}

void Preferences::setUsesShortcuts(bool uses)
{
    if (std::exchange(m_usesShortcuts, uses) != uses)
        store(usesShortcutsName, uses);
}

void Preferences::setShowsTargets(bool shows)
{
    m_showsTargets = shows;
    Q_EMIT showsTargetsChanged();
    store(showsTargetsName, shows);
}

void Preferences::store(const QString& key, const QVariant& value)
{
    Q_EMIT stored(m_store->setValue(key, value));
}

QString Preferences::menuHint() const
{
    return QStringLiteral("Drag a file, then tap %1 to convert or %2 for tools")
        .arg(symbolOf(m_convertKey), symbolOf(m_toolsKey));
}

QString Preferences::sameKeyWarning() const
{
    if (m_convertKey != m_toolsKey)
        return {};
    return QStringLiteral("Both wheels use the same key, so only the conversion wheel can open.");
}

} // namespace Pelgra
