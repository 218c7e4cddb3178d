#pragma once

#include <QHash>
#include <QSettings>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <memory>

namespace Pelgra {

/// Where settings live between runs. Values are texts, numbers and booleans; a store that keeps only text may return a
/// number or boolean as its text. Main thread.
class PreferencesStore {
public:
    PreferencesStore() = default;
    PreferencesStore(const PreferencesStore&) = delete;
    PreferencesStore& operator=(const PreferencesStore&) = delete;
    virtual ~PreferencesStore() = default;

    /// An invalid variant when there is none.
    virtual QVariant value(const QString& key) const = 0;

    /// Stored at once. False where it could not be; it counts until the end of the process all the same.
    virtual bool setValue(const QString& key, const QVariant& value) = 0;
};

/// Forgets everything at the end of the process.
class MemoryPreferencesStore final : public PreferencesStore {
public:
    QVariant value(const QString& key) const override { return m_values.value(key); }
    bool setValue(const QString& key, const QVariant& value) override
    {
        m_values.insert(key, value);
        return true;
    }

private:
    QHash<QString, QVariant> m_values;
};

/// An INI file; other processes may write it too.
class FilePreferencesStore final : public PreferencesStore {
public:
    explicit FilePreferencesStore(const QString& file);

    /// The file of this user in the XDG configuration folder.
    static QString standardFile();

    QVariant value(const QString& key) const override { return m_settings.value(key); }
    bool setValue(const QString& key, const QVariant& value) override;

private:
    QSettings m_settings;
};

/// Pairs of arguments "-key value" override a store for this run; what is set goes only to the store.
class ArgumentPreferencesStore final : public PreferencesStore {
public:
    ArgumentPreferencesStore(const QStringList& arguments, std::unique_ptr<PreferencesStore> store);

    QVariant value(const QString& key) const override;
    bool setValue(const QString& key, const QVariant& value) override { return m_store->setValue(key, value); }

private:
    QHash<QString, QString> m_arguments;
    std::unique_ptr<PreferencesStore> m_store;
};

} // namespace Pelgra
