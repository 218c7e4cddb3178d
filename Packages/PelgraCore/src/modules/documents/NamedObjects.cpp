#include "NamedObjects.h"

#include "Trees.h"

#include <algorithm>
#include <set>

namespace Pelgra::Documents {

namespace {

/// "photo.jpg" and 2 give "photo 2.jpg".
std::string numbered(const std::string& name, int number)
{
    const std::size_t dot = name.find_last_of('.');
    const bool hasExtension = dot != std::string::npos && dot > 0;
    return (hasExtension ? name.substr(0, dot) : name) + ' ' + std::to_string(number)
        + (hasExtension ? name.substr(dot) : std::string());
}

/// The name that readers show for an attached file.
std::string shownName(Object file, const std::string& key)
{
    for (const char* const entry : {"/UF", "/F"}) {
        if (Object name = valueOf(file, entry); name.isString())
            return name.getUTF8Value();
    }
    return Object::newString(key).getUTF8Value();
}

/// Attached files under unique keys and names.
class AttachmentList {
public:
    void add(const std::string& key, Object file)
    {
        if (!file.isDictionary())
            return;
        const bool isKnown = std::any_of(m_entries.begin(), m_entries.end(), [&](const auto& entry) {
            return file.isIndirect() && Object(entry.second).isSameObjectAs(file);
        });
        if (isKnown)
            return; // the same file given twice
        const std::string name = shownName(file, key);
        std::string newName = name;
        for (int number = 2; m_shownNames.count(newName) != 0; ++number)
            newName = numbered(name, number);
        if (newName != name)
            file = renamed(file, newName);
        std::string newKey = key;
        for (int number = 2; m_entries.count(newKey) != 0; ++number)
            newKey = numbered(key, number);
        m_shownNames.insert(newName);
        m_entries.emplace(newKey, file);
    }

    const std::map<std::string, Object>& entries() const { return m_entries; }

private:
    static Object renamed(Object file, const std::string& name)
    {
        // The object stays the same one, since annotations and structure may refer to it.
        file.replaceKey("/UF", Object::newUnicodeString(name));
        file.replaceKey("/F", Object::newUnicodeString(name));
        return file;
    }

    std::map<std::string, Object> m_entries;
    std::set<std::string> m_shownNames;
};

Object namesOf(Input& input, const char* tree)
{
    input.copier.setPlaces({&input.places});
    return dictionaryOf(dictionaryOf(input.source.catalog(), "/Names"), tree);
}

} // namespace

Object combinedAttachments(const std::vector<std::unique_ptr<Input>>& inputs)
{
    AttachmentList list;
    for (const std::unique_ptr<Input>& input : inputs) {
        for (const auto& [key, file] : readNameTree(namesOf(*input, "/EmbeddedFiles")))
            list.add(key, input->copier.copy(file));
    }
    return makeNameTree(list.entries());
}

Object combinedScripts(const std::vector<std::unique_ptr<Input>>& inputs)
{
    std::map<std::string, Object> scripts;
    for (const std::unique_ptr<Input>& input : inputs) {
        for (const auto& [key, script] : readNameTree(namesOf(*input, "/JavaScript"))) {
            Object copy = input->copier.copy(script);
            std::string newKey = key;
            for (int number = 2; scripts.count(newKey) != 0 && !scripts.at(newKey).isSameObjectAs(copy); ++number)
                newKey = numbered(key, number);
            if (copy.isDictionary())
                scripts.emplace(newKey, copy);
        }
    }
    return makeNameTree(scripts);
}

Object combinedAssociatedFiles(const std::vector<std::unique_ptr<Input>>& inputs)
{
    Object files = Object::newArray();
    std::set<QPDFObjGen> known;
    for (const std::unique_ptr<Input>& input : inputs) {
        input->copier.setPlaces({&input->places});
        for (const Object& file : itemsOf(valueOf(input->source.catalog(), "/AF"))) {
            Object copy = input->copier.copy(file);
            if (copy.isDictionary() && (!copy.isIndirect() || known.insert(copy.getObjGen()).second))
                files.appendItem(copy);
        }
    }
    return files;
}

} // namespace Pelgra::Documents
