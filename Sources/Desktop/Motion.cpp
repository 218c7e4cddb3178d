#include "Desktop/Motion.h"

#include "Desktop/SettingsPortal.h"

#include <QApplication>
#include <QStyle>
#include <QVariant>

#include <algorithm>
#include <array>

namespace Pelgra::Motion {

namespace {

struct DesktopSetting {
    QString group;
    QString key;
    bool (*asksForLess)(const QVariant& value);
    bool isOn = false; ///< it asks for reduced motion, as far as the desktop has said
};

/// The portal's own key, which newer desktops know, and those of two families of desktops.
std::array<DesktopSetting, 3> settings{{
    {QStringLiteral("org.freedesktop.appearance"), QStringLiteral("reduced-motion"),
     [](const QVariant& value) {
         return value.toUInt() == 1;
     }},
    {QStringLiteral("org.gnome.desktop.interface"), QStringLiteral("enable-animations"),
     [](const QVariant& value) {
         return !value.toBool();
     }},
    {QStringLiteral("org.kde.kdeglobals.KDE"), QStringLiteral("AnimationDurationFactor"),
     [](const QVariant& value) {
         bool isNumber = false;
         return value.toString().toDouble(&isNumber) == 0 && isNumber;
     }},
}};

} // namespace

bool isReduced()
{
    static const bool asked = qEnvironmentVariableIntValue("PELGRA_REDUCED_MOTION") == 1;
    if (asked || std::any_of(settings.begin(), settings.end(), [](const auto& setting) { return setting.isOn; }))
        return true;
    return qApp && qApp->style() && qApp->style()->styleHint(QStyle::SH_Widget_Animation_Duration) == 0;
}

void followDesktop(QObject* context)
{
    for (DesktopSetting& setting : settings) {
        SettingsPortal::follow(setting.group, setting.key, context,
                               [&setting](const QVariant& value) { setting.isOn = setting.asksForLess(value); });
    }
}

} // namespace Pelgra::Motion
