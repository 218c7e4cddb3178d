#include "FormResources.h"

#include <cstring>

namespace Pelgra::Documents {

namespace {

bool areSame(Object left, Object right)
{
    if (left.isSameObjectAs(right))
        return true;
    return !left.isStream() && !right.isStream() && left.unparseResolved() == right.unparseResolved();
}

std::map<std::string, std::string> mergeCategory(Object target, Object additions, bool mayRename)
{
    std::map<std::string, std::string> renamed;
    for (const auto& [name, value] : additions.getDictAsMap()) {
        if (!target.hasKey(name)) {
            target.replaceKey(name, value);
            continue;
        }
        if (!mayRename || areSame(target.getKey(name), value))
            continue;
        std::string newName;
        for (int number = 2; newName.empty() || (target.hasKey(newName) && !areSame(target.getKey(newName), value));
             ++number)
            newName = name + '_' + std::to_string(number);
        target.replaceKey(newName, value);
        renamed.emplace(name, newName);
    }
    return renamed;
}

} // namespace

std::map<std::string, std::string> mergeFormResources(Object form, Object resources)
{
    std::map<std::string, std::string> renamedFonts;
    if (!resources.isDictionary())
        return renamedFonts;
    Object target = dictionaryOf(form, "/DR");
    if (target.isNull()) {
        form.replaceKey("/DR", resources.shallowCopy());
        return renamedFonts;
    }
    for (const auto& [category, additions] : resources.getDictAsMap()) {
        if (!Object(additions).isDictionary())
            continue;
        Object own = dictionaryOf(target, category);
        // The copy of a source's dictionary may serve its pages too, so additions go into one of our own.
        own = own.isNull() ? Object::newDictionary() : own.shallowCopy();
        const auto renamed = mergeCategory(own, additions, category == "/Font");
        renamedFonts.insert(renamed.begin(), renamed.end());
        target.replaceKey(category, own);
    }
    return renamedFonts;
}

Object withRenamedFonts(Object appearance, const std::map<std::string, std::string>& renamed)
{
    const std::string text = appearance.getStringValue();
    std::string result;
    std::size_t position = 0;
    while (position < text.size()) {
        if (text[position] != '/') {
            result += text[position++];
            continue;
        }
        std::size_t end = position + 1;
        while (end < text.size() && std::strchr(" \t\r\n\f()<>[]{}/%", text[end]) == nullptr)
            ++end;
        const std::string name = text.substr(position, end - position);
        const auto found = renamed.find(name);
        result += found != renamed.end() ? found->second : name;
        position = end;
    }
    return Object::newString(result);
}

} // namespace Pelgra::Documents
