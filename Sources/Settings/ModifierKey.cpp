#include "Settings/ModifierKey.h"

#include <cstddef>

namespace Pelgra {

namespace {

struct Description {
    ModifierKey key;
    QStringView rawValue;
    QStringView symbol;
    QStringView name;
    ModifierFlags flag;
};

constexpr std::array descriptions{
    Description{ModifierKey::shift, u"shift", u"⇧", u"Shift", shiftFlag},
    Description{ModifierKey::command, u"command", u"⌘", u"Command", commandFlag},
    Description{ModifierKey::option, u"option", u"⌥", u"Option", optionFlag},
    Description{ModifierKey::control, u"control", u"⌃", u"Control", controlFlag},
    Description{ModifierKey::function, u"function", u"fn", u"Function", functionFlag},
};

const Description& descriptionOf(ModifierKey key)
{
    return descriptions.at(static_cast<std::size_t>(key));
}

} // namespace

QString rawValueOf(ModifierKey key)
{
    return descriptionOf(key).rawValue.toString();
}

std::optional<ModifierKey> modifierKeyFromRawValue(QStringView rawValue)
{
    for (const Description& description : descriptions) {
        if (description.rawValue == rawValue)
            return description.key;
    }
    return std::nullopt;
}

QString symbolOf(ModifierKey key)
{
    return descriptionOf(key).symbol.toString();
}

QString nameOf(ModifierKey key)
{
    return descriptionOf(key).name.toString();
}

QString pickerLabelOf(ModifierKey key)
{
    return symbolOf(key) + QStringLiteral("  ") + nameOf(key);
}

ModifierFlags flagOf(ModifierKey key)
{
    return descriptionOf(key).flag;
}

} // namespace Pelgra
