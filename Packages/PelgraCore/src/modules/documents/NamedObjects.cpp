#include "NamedObjects.h"

#include "NumberedNames.h"
#include "Trees.h"

#include <set>

namespace Pelgra::Documents {

namespace {

/// No file has a longer name. One long text can be the name of any number of files, each of which would copy it.
constexpr std::size_t nameLimit = 4096;

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
            return name.getUTF8Value().substr(0, nameLimit);
    }
    return Object::newString(key).getUTF8Value().substr(0, nameLimit);
}

/// Attached files under unique keys and names.
class AttachmentList {
public:
    void add(const std::string& key, Object file)
    {
        if (!file.isDictionary() || (file.isIndirect() && !m_known.insert(file.getObjGen()).second))
            return; // none, or the same file given twice
        const std::string name = shownName(file, key);
        if (const std::string newName = m_shownNames.take(name, numbered); newName != name)
            file = renamed(file, newName);
        m_entries.emplace(m_keys.take(key.substr(0, nameLimit), numbered), file);
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
    std::set<QPDFObjGen> m_known;
    NumberedNames m_shownNames;
    NumberedNames m_keys;
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
    NumberedNames keys;
    std::set<std::pair<std::string, QPDFObjGen>> known;
    for (const std::unique_ptr<Input>& input : inputs) {
        for (const auto& [key, script] : readNameTree(namesOf(*input, "/JavaScript"))) {
            Object copy = input->copier.copy(script);
            const std::string name = key.substr(0, nameLimit);
            if (copy.isDictionary() && (!copy.isIndirect() || known.emplace(name, copy.getObjGen()).second))
                scripts.emplace(keys.take(name, numbered), copy);
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
