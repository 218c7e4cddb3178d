#include "Platform/Gnome/DragWatch.h"

#include "Platform/UriList.h"

#include <QPoint>

#include <utility>

namespace Pelgra {

namespace {

/// Exactly these types: a signal of others is of another version, or no signal of the extension.
template <typename... Types>
bool holds(const QVariantList& arguments)
{
    if (arguments.size() != qsizetype{sizeof...(Types)})
        return false;
    qsizetype at = 0;
    return ((arguments.at(at++).metaType() == QMetaType::fromType<Types>()) && ...);
}

ModifierFlags flagsOf(std::uint32_t mask)
{
    static constexpr std::pair<std::uint32_t, ModifierFlags> bits[] = {
        {1U << 0, shiftFlag},   {1U << 2, controlFlag},  {1U << 3, optionFlag},
        {1U << 6, commandFlag}, {1U << 26, commandFlag}, {1U << 7, functionFlag},
    };
    ModifierFlags flags = 0;
    for (const auto& [bit, flag] : bits)
        flags |= (mask & bit) != 0 ? flag : 0;
    return flags;
}

} // namespace

bool DragWatch::take(std::string_view signal, const QVariantList& arguments)
{
    if (signal == "Watching") {
        if (!holds<bool>(arguments))
            return false;
        end();
        m_isWatching = arguments.at(0).toBool();
        return true;
    }
    if (!m_isWatching)
        return false;
    if (signal == "Started")
        return holds<uint, int, int>(arguments)
            && begin(arguments.at(0).toUInt(), QSize(arguments.at(1).toInt(), arguments.at(2).toInt()));
    if (!m_isDragging || arguments.isEmpty() || arguments.at(0).metaType() != QMetaType::fromType<uint>()
        || arguments.at(0).toUInt() != m_serial)
        return false;
    if (signal == "Files")
        return holds<uint, QByteArray>(arguments) && takeFiles(arguments.at(1).toByteArray());
    if (signal == "Sample")
        return holds<uint, int, int, uint>(arguments)
            && takeSample(QPoint(arguments.at(1).toInt(), arguments.at(2).toInt()), arguments.at(3).toUInt());
    return signal == "Ended" && holds<uint>(arguments) && end();
}

void DragWatch::reset()
{
    end();
    m_isWatching = false;
}

bool DragWatch::begin(std::uint32_t serial, QSize stage)
{
    if (stage.isEmpty())
        return false;
    m_isDragging = true;
    m_serial = serial;
    m_stage = stage;
    ++m_changeCount;
    m_held = 0;
    m_pressedSinceSample = 0;
    m_place.reset();
    m_files.clear();
    return true;
}

bool DragWatch::takeFiles(const QByteArray& list)
{
    std::string_view text(list.constData(), static_cast<std::size_t>(list.size()));
    if (text.size() > mostBytes)
        return false;
    if (text.size() == mostBytes)
        text = text.substr(0, text.rfind('\n') + 1);
    m_files = filesOfUriList(text);
    return true;
}

bool DragWatch::takeSample(QPoint place, std::uint32_t mask)
{
    m_place = Place{double(place.x()) / m_stage.width(), double(place.y()) / m_stage.height()};
    const ModifierFlags flags = flagsOf(mask);
    const ModifierFlags pressed = flags & ~std::exchange(m_held, flags);
    m_pressedSinceSample |= pressed;
    return pressed != 0;
}

bool DragWatch::end()
{
    m_held = 0;
    m_pressedSinceSample = 0;
    return std::exchange(m_isDragging, false); // the files stay: the drop may come a little later
}

DragWatch::Sample DragWatch::nextSample()
{
    // Another drag may have begun since, even where the end of the one before was told.
    const bool isOther = std::exchange(m_shownCount, m_changeCount) != m_changeCount;
    if (std::exchange(m_isShownDown, m_isDragging) && isOther) {
        m_isShownDown = false;
        return {m_changeCount - 1, false, 0};
    }
    return {m_changeCount, m_isDragging, m_held | std::exchange(m_pressedSinceSample, 0)};
}

} // namespace Pelgra
