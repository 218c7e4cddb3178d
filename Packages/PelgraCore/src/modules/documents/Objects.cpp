#include "Objects.h"

#include <cmath>

namespace Pelgra::Documents {

Object valueOf(Object holder, const std::string& key)
{
    if (holder.isStream())
        holder = holder.getDict();
    return holder.isDictionary() ? holder.getKey(key) : Object::newNull();
}

Object dictionaryOf(Object holder, const std::string& key)
{
    Object value = valueOf(holder, key);
    return value.isDictionary() ? value : Object::newNull();
}

std::string nameOf(Object holder, const std::string& key)
{
    Object value = valueOf(holder, key);
    return value.isName() ? value.getName() : std::string();
}

bool isNamed(Object holder, const std::string& key, const char* name)
{
    Object value = valueOf(holder, key);
    return value.isName() && value.getName() == name;
}

std::vector<Object> itemsOf(Object array)
{
    return array.isArray() ? array.getArrayAsVector() : std::vector<Object>();
}

std::vector<Object> ListsOnce::itemsOf(Object array)
{
    if (array.isIndirect() && !m_read.insert(array.getObjGen()).second)
        return {};
    return Documents::itemsOf(array);
}

std::optional<long long> integerOf(Object value)
{
    if (value.isInteger())
        return value.getIntValue();
    const std::optional<double> number = numberOf(value);
    if (!number || std::abs(*number) > 1e15)
        return std::nullopt;
    return std::llround(*number);
}

std::optional<double> numberOf(Object value)
{
    if (!value.isNumber())
        return std::nullopt;
    const double number = value.getNumericValue();
    return std::isfinite(number) ? std::optional(number) : std::nullopt;
}

std::optional<std::array<double, 4>> rectangleOf(Object value)
{
    if (!value.isArray() || value.getArrayNItems() < 4)
        return std::nullopt;
    std::array<double, 4> corners{};
    for (int index = 0; index < 4; ++index) {
        const std::optional<double> number = numberOf(value.getArrayItem(index));
        if (!number)
            return std::nullopt;
        corners[static_cast<std::size_t>(index)] = *number;
    }
    return corners;
}

Object arrayOf(const std::vector<double>& numbers)
{
    Object array = Object::newArray();
    for (const double number : numbers) {
        const bool isWhole = std::abs(number) < 1e9 && number == std::round(number);
        array.appendItem(isWhole ? Object::newInteger(std::llround(number)) : Object::newReal(number, 5));
    }
    return array;
}

void setUnlessEmpty(Object dictionary, const std::string& key, Object value)
{
    const bool isEmpty = value.isNull() || (value.isArray() && value.getArrayNItems() == 0)
        || (value.isDictionary() && value.getKeys().empty());
    if (isEmpty)
        dictionary.removeKey(key);
    else
        dictionary.replaceKey(key, value);
}

} // namespace Pelgra::Documents
