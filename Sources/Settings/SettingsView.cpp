#include "Settings/SettingsView.h"

#include "Controls/SecondaryLabel.h"
#include "Desktop/LoginItem.h"
#include "Desktop/SystemSettings.h"
#include "Settings/Preferences.h"
#include "Settings/ThisDesktop.h"
#include "Support/Logging.h"

#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QDir>
#include <QFileInfo>
#include <QFontDatabase>
#include <QFormLayout>
#include <QFrame>
#include <QGuiApplication>
#include <QLabel>
#include <QPushButton>
#include <QSignalBlocker>
#include <QSlider>
#include <QVBoxLayout>

#include <cmath>
#include <functional>

namespace Pelgra {

namespace {

// Logical pixels.
constexpr int formWidth = 500; // the note below the keys on one line in the widest of common fonts
constexpr int windowPadding = 20;
constexpr int sectionSpacing = 18;
constexpr int sectionPadding = 14;
constexpr int footerPixels = 12;

// The slider counts in per cent, which is what a screen reader reads aloud, and stops at every fifth.
constexpr int lowestQuality = 50;
constexpr int highestQuality = 100;
constexpr int qualityStep = 5;

/// Which key of a PC keyboard a key is.
QString keyboardKeyOf(ModifierKey key)
{
    switch (key) {
    case ModifierKey::shift:
        return QStringLiteral("The Shift key");
    case ModifierKey::command:
        return QStringLiteral("The Super key, often marked with a logo");
    case ModifierKey::option:
        return QStringLiteral("The Alt key");
    case ModifierKey::control:
        return QStringLiteral("The Ctrl key");
    case ModifierKey::function:
        return QStringLiteral("The AltGr key; the Fn key itself never reaches the system");
    }
    return {};
}

QFrame* makeSection(QWidget* parent)
{
    auto* const section = new QFrame(parent);
    section->setFrameShape(QFrame::StyledPanel);
    section->setObjectName(QStringLiteral("section"));
    return section;
}

QLabel* makeNote(const QString& text, QWidget* parent)
{
    auto* const note = new SecondaryLabel(text, parent);
    note->setWordWrap(true);
    note->setTextFormat(Qt::PlainText);
    QFont font = note->font();
    font.setPixelSize(footerPixels);
    note->setFont(font);
    return note;
}

/// A note that something went wrong; empty and hidden as long as nothing did.
QLabel* makeProblem(const QString& name, QWidget* parent)
{
    QLabel* const problem = makeNote(QString(), parent);
    problem->setObjectName(name);
    QPalette red = problem->palette();
    red.setColor(QPalette::WindowText, QColor(0xD7, 0x1D, 0x1D));
    problem->setPalette(red);
    problem->setForegroundRole(QPalette::WindowText);
    problem->hide();
    return problem;
}

/// A button that reads as a link.
QPushButton* makeLink(const QString& text, const QString& name, QWidget* parent)
{
    auto* const button = new QPushButton(text, parent);
    button->setObjectName(name);
    button->setFlat(true);
    button->setAutoDefault(false);
    button->setCursor(Qt::PointingHandCursor);
    QPalette link = button->palette();
    link.setColor(QPalette::ButtonText, link.color(QPalette::Link));
    button->setPalette(link);
    return button;
}

} // namespace

SettingsView::SettingsView(Preferences* preferences, QWidget* parent)
    : QWidget(parent)
    , m_preferences(preferences)
{
    auto* const stack = new QVBoxLayout(this);
    stack->setContentsMargins(windowPadding, windowPadding, windowPadding, windowPadding);
    stack->setSpacing(sectionSpacing);
    stack->addWidget(makeKeys());
    stack->addWidget(makeQuality());
    stack->addWidget(makeSystem());
    m_notStored = makeProblem(QStringLiteral("notStored"), this);
    m_notStored->setText(
        QStringLiteral("This can’t be saved, so it lasts until Pelgra quits. Check that “%1” can be written.")
            .arg(FilePreferencesStore::standardFile()));
    stack->addWidget(m_notStored);
    stack->addStretch();
    setFixedWidth(formWidth);
    followPreferences();
    followLoginItem();
}

QComboBox* SettingsView::makePicker(const QString& name, void (Preferences::*set)(ModifierKey))
{
    auto* const picker = new QComboBox;
    picker->setAccessibleName(name);
    for (const ModifierKey key : allModifierKeys) {
        picker->addItem(pickerLabelOf(key), static_cast<int>(key));
        picker->setItemData(picker->count() - 1, keyboardKeyOf(key), Qt::ToolTipRole);
    }
    connect(picker, &QComboBox::currentIndexChanged, this, [this, picker, set](int index) {
        if (index < 0)
            return;
        const auto key = static_cast<ModifierKey>(picker->itemData(index).toInt());
        std::invoke(set, m_preferences, key);
        picker->setToolTip(keyboardKeyOf(key));
    });
    return picker;
}

QWidget* SettingsView::makeKeys()
{
    auto* const whole = new QWidget;
    auto* const stack = new QVBoxLayout(whole);
    stack->setContentsMargins(0, 0, 0, 0);
    auto* const section = makeSection(whole);
    auto* const form = new QFormLayout(section);
    form->setContentsMargins(sectionPadding, sectionPadding, sectionPadding, sectionPadding);
    m_convertKey = makePicker(QStringLiteral("Convert key"), &Preferences::setConvertKey);
    m_convertKey->setObjectName(QStringLiteral("convertKey"));
    m_toolsKey = makePicker(QStringLiteral("Tools key"), &Preferences::setToolsKey);
    m_toolsKey->setObjectName(QStringLiteral("toolsKey"));
    m_sameKey = makeNote(QString(), section);
    m_sameKey->setObjectName(QStringLiteral("sameKeyWarning"));
    form->addRow(QStringLiteral("Convert key"), m_convertKey);
    form->addRow(QStringLiteral("Tools key"), m_toolsKey);
    form->addRow(m_sameKey);
    m_targets = new QCheckBox(QStringLiteral("Show targets while dragging"), section);
    m_targets->setObjectName(QStringLiteral("dragTargets"));
    connect(m_targets, &QCheckBox::clicked, m_preferences, &Preferences::setShowsTargets);
    m_targetsNote = makeNote(QString(), section);
    m_targetsNote->setObjectName(QStringLiteral("dragTargetsNote"));
    form->addRow(m_targets);
    form->addRow(m_targetsNote);
    stack->addWidget(section);
    stack->addWidget(
        makeNote(QStringLiteral("Start dragging a file, then tap a key. The wheel stays open until you drop."), whole));
    return whole;
}

QWidget* SettingsView::makeQuality()
{
    auto* const section = makeSection(this);
    auto* const stack = new QVBoxLayout(section);
    stack->setContentsMargins(sectionPadding, sectionPadding, sectionPadding, sectionPadding);
    auto* const title = new QHBoxLayout;
    auto* const name = new QLabel(QStringLiteral("JPEG quality"), section);
    m_qualityText = new QLabel(section);
    m_qualityText->setObjectName(QStringLiteral("jpegQualityText"));
    title->addWidget(name);
    title->addStretch();
    title->addWidget(m_qualityText);

    m_quality = new QSlider(Qt::Horizontal, section);
    m_quality->setObjectName(QStringLiteral("jpegQuality"));
    m_quality->setRange(lowestQuality, highestQuality);
    m_quality->setSingleStep(qualityStep);
    m_quality->setPageStep(2 * qualityStep);
    m_quality->setTickInterval(qualityStep);
    m_quality->setTickPosition(QSlider::TicksBelow);
    m_quality->setAccessibleName(name->text());
    name->setBuddy(m_quality);
    connect(m_quality, &QSlider::valueChanged, this, [this](int percent) {
        const int stop = static_cast<int>(std::lround(percent / double{qualityStep})) * qualityStep;
        if (stop == percent)
            m_preferences->setJPEGQuality(percent / 100.0);
        else
            m_quality->setValue(stop); // comes back here
    });
    auto* const row = new QHBoxLayout;
    row->addWidget(new QLabel(QStringLiteral("Smaller"), section));
    row->addWidget(m_quality, 1);
    row->addWidget(new QLabel(QStringLiteral("Better"), section));
    stack->addLayout(title);
    stack->addLayout(row);
    return section;
}

QWidget* SettingsView::makeSystem()
{
    auto* const section = makeSection(this);
    auto* const stack = new QVBoxLayout(section);
    stack->setContentsMargins(sectionPadding, sectionPadding, sectionPadding, sectionPadding);
    m_launchAtLogin = new QCheckBox(QStringLiteral("Launch at login"), section);
    m_launchAtLogin->setObjectName(QStringLiteral("launchAtLogin"));
    connect(m_launchAtLogin, &QCheckBox::clicked, this, &SettingsView::setLaunchAtLogin);
    m_approve = makeLink(QStringLiteral("Approve in System Settings…"), QStringLiteral("approveLoginItem"), section);
    connect(m_approve, &QPushButton::clicked, this, [] { SystemSettings::openStartupPrograms(); });
    m_loginError = makeProblem(QStringLiteral("loginItemError"), section);
    m_updates = new QCheckBox(QStringLiteral("Check for updates automatically"), section);
    m_updates->setObjectName(QStringLiteral("checkForUpdatesAutomatically"));
    connect(m_updates, &QCheckBox::clicked, m_preferences, &Preferences::setCheckForUpdatesAutomatically);
    stack->addWidget(m_launchAtLogin);
    stack->addWidget(m_approve, 0, Qt::AlignLeft);
    stack->addWidget(m_loginError);
    stack->addWidget(m_updates);
    m_thisDesktop = makeNote(QString(), section);
    m_thisDesktop->setObjectName(QStringLiteral("thisDesktop"));
    m_step = makeLink(QString(), QStringLiteral("desktopStep"), section);
    m_otherStep = makeLink(QString(), QStringLiteral("desktopOtherStep"), section);
    connect(m_step, &QPushButton::clicked, this, &SettingsView::takeStep);
    connect(m_otherStep, &QPushButton::clicked, this,
            [] { ThisDesktop::takeStep(ThisDesktop::abilities().otherStep); });
    connect(&ThisDesktop::changes(), &ThisDesktop::Changes::happened, this, &SettingsView::showDesktop);
    m_keyBindings = makeNote(QString(), section);
    m_keyBindings->setObjectName(QStringLiteral("keyBindings"));
    m_keyBindings->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    QFont fixed = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    fixed.setPixelSize(footerPixels);
    m_keyBindings->setFont(fixed);
    stack->addWidget(m_thisDesktop);
    stack->addWidget(m_keyBindings);
    stack->addWidget(m_step, 0, Qt::AlignLeft);
    stack->addWidget(m_otherStep, 0, Qt::AlignLeft);
    return section;
}

void SettingsView::followPreferences()
{
    connect(m_preferences, &Preferences::convertKeyChanged, this, &SettingsView::showKeys);
    connect(m_preferences, &Preferences::toolsKeyChanged, this, &SettingsView::showKeys);
    connect(m_preferences, &Preferences::showsTargetsChanged, this, &SettingsView::showDesktop);
    connect(m_preferences, &Preferences::jpegQualityChanged, this, &SettingsView::showQuality);
    const auto showUpdates = [this] {
        m_updates->setChecked(m_preferences->checkForUpdatesAutomatically());
    };
    connect(m_preferences, &Preferences::checkForUpdatesAutomaticallyChanged, this, showUpdates);
    connect(m_preferences, &Preferences::stored, m_notStored,
            [this](bool isKept) { m_notStored->setVisible(!isKept); });
    showKeys();
    showQuality();
    showUpdates();
}

void SettingsView::followLoginItem()
{
    const QString folder = QFileInfo(LoginItem::entryFile()).path();
    QDir().mkpath(folder); // a folder that does not exist cannot be watched
    m_autostart.addPath(folder);
    m_autostart.addPath(LoginItem::entryFile());
    const auto changed = [this] {
        // A file that was replaced is no longer watched.
        if (!m_autostart.files().contains(LoginItem::entryFile()) && QFileInfo::exists(LoginItem::entryFile()))
            m_autostart.addPath(LoginItem::entryFile());
        showLoginItem();
    };
    connect(&m_autostart, &QFileSystemWatcher::directoryChanged, this, changed);
    connect(&m_autostart, &QFileSystemWatcher::fileChanged, this, changed);
    showLoginItem();
}

void SettingsView::showKeys()
{
    const auto select = [](QComboBox* picker, ModifierKey key) {
        const QSignalBlocker quiet(picker); // showing a value is not choosing it
        picker->setCurrentIndex(picker->findData(static_cast<int>(key)));
        picker->setToolTip(keyboardKeyOf(key));
    };
    select(m_convertKey, m_preferences->convertKey());
    select(m_toolsKey, m_preferences->toolsKey());
    m_sameKey->setText(m_preferences->sameKeyWarning());
    m_sameKey->setVisible(!m_sameKey->text().isEmpty());
    showDesktop();
}

void SettingsView::showDesktop()
{
    const DesktopAbilities abilities = ThisDesktop::abilities();
    const bool showsTargets = m_preferences->showsTargets();
    m_targets->setChecked(showsTargets);
    m_targetsNote->setText(ThisDesktop::targetsNoteFor(abilities));
    m_targets->setAccessibleDescription(m_targetsNote->text());
    const bool offersTargets =
        !showsTargets && abilities.seesDrags && !abilities.hasGesture() && !abilities.hasShortcuts();
    m_thisDesktop->setText(QStringLiteral("This desktop: %1%2")
                               .arg(ThisDesktop::sentenceFor(abilities, m_preferences->wheelKeys(), showsTargets),
                                    offersTargets ? QStringLiteral("; or show targets while dragging") : QString()));
    const bool bindsKeys =
        !abilities.hasGesture() && abilities.seesDrags && abilities.step == DesktopAbilities::Step::bindKeys;
    m_keyBindings->setText(bindsKeys ? ThisDesktop::keyBindingsFor(abilities, m_preferences->wheelKeys()) : QString());
    m_keyBindings->setVisible(bindsKeys);
    const auto offer = [&abilities](QPushButton* button, DesktopAbilities::Step step) {
        button->setText(ThisDesktop::titleFor(step));
        button->setVisible(!abilities.hasGesture() && step != DesktopAbilities::Step::none);
    };
    offer(m_step, abilities.step);
    offer(m_otherStep, abilities.otherStep);
    if (abilities.step == DesktopAbilities::Step::bindKeys)
        m_step->setVisible(bindsKeys);
}

void SettingsView::takeStep()
{
    if (m_keyBindings->isHidden())
        ThisDesktop::takeStep(ThisDesktop::abilities().step);
    else
        QGuiApplication::clipboard()->setText(m_keyBindings->text());
}

void SettingsView::showQuality()
{
    const double quality = m_preferences->jpegQuality();
    const QSignalBlocker quiet(m_quality);
    m_quality->setValue(static_cast<int>(std::lround(quality * 100)));
    m_qualityText->setText(QStringLiteral("%1%").arg(std::lround(quality * 100)));
}

void SettingsView::showLoginItem()
{
    const LoginItem::Status status = LoginItem::status();
    m_launchAtLogin->setChecked(status == LoginItem::Status::enabled);
    m_approve->setVisible(status == LoginItem::Status::switchedOff);
    m_loginError->setText(m_loginItemError);
    m_loginError->setVisible(!m_loginItemError.isEmpty());
}

void SettingsView::setLaunchAtLogin(bool on)
{
    LoginItem::setEnabled(on, this, [this](const std::optional<QString>& error) {
        if (error)
            qCWarning(settingsLog, "Login item change failed: %s", qUtf8Printable(*error));
        m_loginItemError = error.value_or(QString());
        showLoginItem();
    });
    showLoginItem(); // the actual state, not what was asked for
}

} // namespace Pelgra
