#include "Resources.h"

#include <qpdf/Pipeline.hh>

#include <cstring>
#include <stdexcept>

namespace Pelgra::Documents {

namespace {

/// No more content than this is read to find out which resources it uses.
constexpr std::size_t contentLimit = std::size_t{256} << 20;
/// Longer names are not looked up; the format's own limit is 127.
constexpr std::size_t nameLimit = 1024;

bool endsName(char character)
{
    return std::strchr("\t\n\f\r ()<>[]{}/%", character) != nullptr; // also the terminating zero of the list
}

int hexDigit(char character)
{
    if (character >= '0' && character <= '9')
        return character - '0';
    if ((character | 0x20) >= 'a' && (character | 0x20) <= 'f')
        return (character | 0x20) - 'a' + 10;
    return -1;
}

/// The name as qpdf keeps dictionary keys: with a slash, and with #20 and its like decoded.
std::string decodedName(std::string_view written)
{
    std::string name = "/";
    for (std::size_t index = 0; index < written.size(); ++index) {
        const bool isEscape = written[index] == '#' && index + 2 < written.size() && hexDigit(written[index + 1]) >= 0
            && hexDigit(written[index + 2]) >= 0;
        if (isEscape) {
            name += static_cast<char>(hexDigit(written[index + 1]) * 16 + hexDigit(written[index + 2]));
            index += 2;
        } else {
            name += written[index];
        }
    }
    return name;
}

/// Picks out whatever follows a slash. Strings and inline images are not told apart: they only add names.
class NameScanner final : public Pipeline {
public:
    /// `found` gets the names that are new to `names`.
    NameScanner(NameSet& names, std::vector<std::string>& found)
        : Pipeline("names", nullptr)
        , m_names(names)
        , m_found(found)
    {
    }

    void write(const unsigned char* data, std::size_t length) override
    {
        m_total += length;
        if (m_total > contentLimit)
            throw std::runtime_error("too much content");
        const char* position = reinterpret_cast<const char*>(data);
        const char* const end = position + length;
        while (position != end) {
            if (!m_isInName) {
                const void* const slash = std::memchr(position, '/', static_cast<std::size_t>(end - position));
                if (!slash)
                    return;
                position = static_cast<const char*>(slash) + 1;
                m_isInName = true;
                continue;
            }
            if (endsName(*position))
                endName(); // a slash is looked at once more
            else
                m_name += *position++;
        }
    }

    void finish() override
    {
        if (m_isInName)
            endName();
    }

private:
    void endName()
    {
        if (m_name.size() <= nameLimit) {
            if (const auto [place, isNew] = m_names.insert(decodedName(m_name)); isNew)
                m_found.push_back(*place);
        }
        m_name.clear();
        m_isInName = false;
    }

    NameSet& m_names;
    std::vector<std::string>& m_found;
    std::string m_name;
    std::size_t m_total = 0;
    bool m_isInName = false;
};

bool addNamesOf(Object stream, NameSet& names, std::vector<std::string>& found)
{
    NameScanner scanner(names, found);
    bool isDecoded = false;
    return stream.pipeStreamData(&scanner, &isDecoded, 0, qpdf_dl_all, true) && isDecoded;
}

/// The streams of a resource that are drawn with the resources of whoever uses it.
std::vector<Object> borrowingStreamsOf(Object resource)
{
    if (!valueOf(resource, "/Resources").isNull())
        return {};
    if (resource.isStream() && !isNamed(resource, "/Subtype", "/Image"))
        return {resource};
    std::vector<Object> glyphs;
    if (resource.isDictionary() && isNamed(resource, "/Subtype", "/Type3")) {
        Object procedures = dictionaryOf(resource, "/CharProcs");
        if (procedures.isDictionary()) {
            for (const auto& [name, glyph] : procedures.getDictAsMap())
                glyphs.push_back(glyph);
        }
    }
    return glyphs;
}

/// The resources of these names not seen before, through which more names may be used.
std::vector<Object> borrowedContents(Object resources, const std::vector<std::string>& names,
                                     std::set<QPDFObjGen>& seen)
{
    std::vector<Object> contents;
    for (const char* const category : {"/XObject", "/Pattern", "/Font"}) {
        Object dictionary = dictionaryOf(resources, category);
        if (dictionary.isNull())
            continue;
        for (const std::string& name : names) {
            for (const Object& stream : borrowingStreamsOf(valueOf(dictionary, name))) {
                if (Object(stream).isStream() && seen.insert(stream.getObjGen()).second)
                    contents.push_back(stream);
            }
        }
    }
    return contents;
}

} // namespace

std::optional<NameSet> namesUsedBy(const std::vector<Object>& contents, Object resources)
{
    NameSet names;
    std::set<QPDFObjGen> seen;
    std::vector<Object> pending = contents;
    while (!pending.empty()) {
        std::vector<std::string> found;
        for (const Object& stream : pending) {
            if (!addNamesOf(stream, names, found))
                return std::nullopt;
        }
        pending = borrowedContents(resources, found, seen);
    }
    return names;
}

std::optional<NameSet> namesUsedBy(Object owner)
{
    Object resources = dictionaryOf(owner, "/Resources");
    if (owner.isStream())
        return namesUsedBy({owner}, resources);
    std::vector<Object> glyphs;
    Object procedures = dictionaryOf(owner, "/CharProcs");
    if (procedures.isNull())
        return std::nullopt;
    for (const auto& [name, glyph] : procedures.getDictAsMap()) {
        if (Object(glyph).isStream())
            glyphs.push_back(glyph);
    }
    return namesUsedBy(glyphs, resources);
}

std::vector<Object> contentStreamsOf(Object contents)
{
    if (contents.isStream())
        return {contents};
    std::vector<Object> streams;
    for (const Object& item : itemsOf(contents)) {
        if (Object(item).isStream())
            streams.push_back(item);
    }
    return streams;
}

} // namespace Pelgra::Documents
