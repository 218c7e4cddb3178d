#pragma once

#include "App/Updates/UpdateClient.h"
#include "App/Updates/Updater.h"

#include <QMessageBox>
#include <QPointer>
#include <QTimer>
#include <QVariant>

#include <memory>
#include <optional>

namespace Pelgra {

/// Checks for new versions over a signed appcast. In a build without a real signing key it exists but never starts. It
/// only tells where a newer version is, or that the system's package manager brings it.
class SparkleUpdater final : public UpdaterManaging {
    Q_OBJECT

public:
    /// Over this build's key and feed.
    explicit SparkleUpdater(QObject* parent = nullptr);
    ~SparkleUpdater() override;

    /// Whether this build carries a usable signing key.
    static bool isConfigured();

    /// The rule behind it, for a value of the build's key SUPublicEDKey: the Base64 of a raw key, not a placeholder.
    static bool isConfigured(const QVariant& publicKey);

    bool automaticallyChecksForUpdates() const override { return m_automaticallyChecksForUpdates; }
    void setAutomaticallyChecksForUpdates(bool checks) override;
    bool canCheckForUpdates() const override;
    void checkForUpdates() override;

private:
    void checkQuietly();
    void tellFound(const UpdateFeed::Release& release);
    void tell(const QString& message, const QString& details);

    /// The one box that reports a check.
    QMessageBox* newBox(const QString& message);

    std::unique_ptr<UpdateClient> m_client; ///< null: not configured
    QTimer m_schedule;
    bool m_automaticallyChecksForUpdates = false;
    bool m_userAsked = false;
    QPointer<QMessageBox> m_box;
};

} // namespace Pelgra
