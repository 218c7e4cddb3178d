#include "App/Updates/SparkleUpdater.h"

#include "App/Updates/Ed25519.h"
#include "Desktop/AppActivation.h"
#include "PelgraCore/Version.h"
#include "Support/Logging.h"
#include "Support/Text.h"

#include <QCoreApplication>
#include <QDesktopServices>
#include <QMessageBox>
#include <QPushButton>

#include <chrono>

namespace Pelgra {

namespace {

using namespace std::chrono_literals;

constexpr auto firstCheckDelay = 60s; // not while the session is still starting
constexpr auto checkInterval = 24h;

const QVariant SUPublicEDKey = QStringLiteral(PELGRA_UPDATE_PUBLIC_KEY);
const QString feedAddress = QStringLiteral(PELGRA_UPDATE_FEED);

QString ownVersion()
{
    return textOf(Pelgra::version());
}

/// The raw key, or nothing where the text is not Base64.
QByteArray keyFrom(const QString& text)
{
    const auto key = QByteArray::fromBase64Encoding(text.toLatin1(), QByteArray::AbortOnBase64DecodingErrors);
    return key ? *key : QByteArray();
}

/// Whether the system's package manager owns this installation, and so brings its updates.
bool isPackaged()
{
    const QString program = QCoreApplication::applicationFilePath();
    return program.startsWith(QStringLiteral("/usr/")) && !program.startsWith(QStringLiteral("/usr/local/"));
}

} // namespace

bool SparkleUpdater::isConfigured()
{
    return isConfigured(SUPublicEDKey);
}

bool SparkleUpdater::isConfigured(const QVariant& publicKey)
{
    if (publicKey.typeId() != QMetaType::QString)
        return false;
    const QString text = publicKey.toString();
    return !text.startsWith(QStringLiteral("REPLACE_WITH")) && keyFrom(text).size() == Ed25519::publicKeySize;
}

SparkleUpdater::SparkleUpdater(QObject* parent)
    : UpdaterManaging(parent)
{
    if (!isConfigured()) {
        qCInfo(applicationLog, "Sparkle not started: SUPublicEDKey is still a placeholder");
        return;
    }
    UpdateClient::Configuration configuration;
    configuration.feed = QUrl(feedAddress);
    configuration.publicKey = keyFrom(SUPublicEDKey.toString());
    configuration.current = QVersionNumber::fromString(ownVersion());
    m_client = std::make_unique<UpdateClient>(configuration);
    connect(m_client.get(), &UpdateClient::checkingChanged, this, &UpdaterManaging::changed);
    connect(m_client.get(), &UpdateClient::found, this, &SparkleUpdater::tellFound);
    connect(m_client.get(), &UpdateClient::upToDate, this, [this] {
        tell(QStringLiteral("Pelgra is up to date"), QStringLiteral("Version %1 is the newest.").arg(ownVersion()));
    });
    connect(m_client.get(), &UpdateClient::failed, this,
            [this](const QString& reason) { tell(QStringLiteral("Checking for updates failed"), reason); });
    m_schedule.setSingleShot(true);
    connect(&m_schedule, &QTimer::timeout, this, &SparkleUpdater::checkQuietly);
}

SparkleUpdater::~SparkleUpdater() = default;

void SparkleUpdater::setAutomaticallyChecksForUpdates(bool checks)
{
    if (m_automaticallyChecksForUpdates == checks)
        return;
    m_automaticallyChecksForUpdates = checks;
    if (m_client && checks)
        m_schedule.start(firstCheckDelay);
    else
        m_schedule.stop();
    Q_EMIT changed();
}

bool SparkleUpdater::canCheckForUpdates() const
{
    return m_client && !m_client->isChecking();
}

void SparkleUpdater::checkForUpdates()
{
    if (!m_client)
        return;
    m_userAsked = true; // also when a scheduled check is under way: its answer is then shown
    m_client->check();
}

void SparkleUpdater::checkQuietly()
{
    m_client->check();
    m_schedule.start(checkInterval);
}

QMessageBox* SparkleUpdater::newBox(const QString& message)
{
    delete m_box; // the newer answer counts
    m_box = new QMessageBox(QMessageBox::Information, QStringLiteral("Pelgra"), message);
    m_box->setAttribute(Qt::WA_DeleteOnClose);
    return m_box;
}

void SparkleUpdater::tellFound(const UpdateFeed::Release& release)
{
    m_userAsked = false;
    qCInfo(applicationLog, "Version %s is available", qUtf8Printable(release.version.toString()));
    QMessageBox* const box = newBox(QStringLiteral("Pelgra %1 is available").arg(release.version.toString()));
    if (isPackaged()) {
        box->setInformativeText(
            QStringLiteral("You have version %1. Your system’s package manager brings the update.").arg(ownVersion()));
        box->addButton(QMessageBox::Ok);
    } else {
        box->setInformativeText(QStringLiteral("You have version %1.").arg(ownVersion()));
        const auto* const open = box->addButton(QStringLiteral("Open Download Page"), QMessageBox::AcceptRole);
        box->addButton(QStringLiteral("Later"), QMessageBox::RejectRole);
        connect(open, &QPushButton::clicked, box, [page = release.page] { QDesktopServices::openUrl(page); });
    }
    AppActivation::activate(*box);
}

void SparkleUpdater::tell(const QString& message, const QString& details)
{
    if (!std::exchange(m_userAsked, false)) {
        qCInfo(applicationLog, "%s: %s", qUtf8Printable(message), qUtf8Printable(details));
        return; // nobody asked
    }
    QMessageBox* const box = newBox(message);
    box->setInformativeText(details);
    box->addButton(QMessageBox::Ok);
    AppActivation::activate(*box);
}

} // namespace Pelgra
