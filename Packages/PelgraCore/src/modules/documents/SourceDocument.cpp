#include "SourceDocument.h"

#include "files/FileBytes.h"
#include "files/UniqueDescriptor.h"
#include "PelgraCore/EngineError.h"
#include "Trees.h"

#include <qpdf/QPDFExc.hh>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <span>
#include <string_view>

namespace Pelgra::Documents {

namespace {

/// Files up to this size are read into memory at once.
constexpr std::uintmax_t memoryLimit = std::uintmax_t{64} << 20;
/// More resources of one kind than a page normally uses.
constexpr std::size_t manyResources = 24;

/// The resource dictionary and those of its categories that are large enough to matter.
std::vector<Object> resourceDictionaries(Object resources)
{
    return {resources, dictionaryOf(resources, "/XObject"), dictionaryOf(resources, "/Font"),
            dictionaryOf(resources, "/Pattern"), dictionaryOf(resources, "/Shading")};
}

/// "12 0" of the last object that says it is the catalogue, else empty.
std::string catalogNumberIn(std::string_view bytes)
{
    for (std::size_t at = bytes.rfind("/Catalog"); at != std::string_view::npos && at > 0;
         at = bytes.rfind("/Catalog", at - 1)) {
        const std::size_t keyword = bytes.rfind(" obj", at);
        if (keyword == std::string_view::npos)
            return {};
        const std::size_t start = bytes.find_last_not_of("0123456789 ", keyword) + 1;
        std::string number(bytes.substr(start, keyword - start));
        const std::size_t first = number.find_first_not_of(' ');
        if (first != std::string::npos && number.find(' ', first) != std::string::npos && number.size() < 24)
            return number;
    }
    return {};
}

void append(Bytes& bytes, std::string_view text)
{
    const auto added = std::as_bytes(std::span(text));
    bytes.insert(bytes.end(), added.begin(), added.end());
}

/// Whether the file says anywhere that it is encrypted.
bool mentionsLock(std::string_view bytes)
{
    constexpr std::string_view key = "/Encrypt";
    for (std::size_t at = bytes.find(key); at != std::string_view::npos; at = bytes.find(key, at + 1)) {
        const std::size_t next = at + key.size();
        if (next < bytes.size() && !std::isalpha(static_cast<unsigned char>(bytes[next]))) // not /EncryptMetadata
            return true;
    }
    return false;
}

/// Whether an encrypted document is decrypted by methods that are known; with others the library goes on with a guess.
/// Before version 5 the renderer does not open one of which only the owner's password is empty.
bool isUnlocked(QPDF& document)
{
    Object lock = dictionaryOf(document.getTrailer(), "/Encrypt");
    if (lock.isNull())
        return true;
    const long long version = integerOf(valueOf(lock, "/V")).value_or(0);
    const auto isKnown = [&](const char* key) {
        const std::string filter = nameOf(lock, key);
        const std::string method = nameOf(dictionaryOf(dictionaryOf(lock, "/CF"), filter), "/CFM");
        return filter.empty() || filter == "/Identity" || method == "/None" || method == "/V2" || method == "/AESV2"
            || method == "/AESV3";
    };
    const bool areMethodsKnown = version < 4 || (isKnown("/StmF") && isKnown("/StrF"));
    return areMethodsKnown && (version > 4 || document.getTrimmedUserPassword().empty());
}

/// The bytes must outlive the document.
std::unique_ptr<QPDF> openedFrom(const std::filesystem::path& file, const Bytes& bytes)
{
    auto document = std::make_unique<QPDF>();
    document->setSuppressWarnings(true);
    document->processMemoryFile(file.c_str(), reinterpret_cast<const char*>(bytes.data()), bytes.size(), "");
    return document;
}

} // namespace

SourceDocument::SourceDocument(const std::filesystem::path& file)
    : m_file(file)
{
    try {
        open(file);
    } catch (const QPDFExc& error) {
        // What is locked in an unknown way must not be opened as if it were not locked.
        if (error.getErrorCode() == qpdf_e_password || error.getErrorCode() == qpdf_e_unsupported)
            throw EngineError::unreadable(file);
        openWithoutTables();
    } catch (const std::exception&) {
        throw EngineError::unreadable(file);
    }
    if (m_document && m_tree.losses.missing > 0)
        openWithoutTables();
    if (!m_document || !isUnlocked(*m_document) || (pages().empty() && losses().any()))
        throw EngineError::unreadable(file);
    for (std::size_t index = 0; index < pages().size(); ++index) {
        if (pages()[index].object.isIndirect())
            m_pageIndexes.emplace(pages()[index].object.getObjGen(), index);
    }
}

void SourceDocument::open(const std::filesystem::path& file)
{
    std::unique_ptr<QPDF> document;
    std::error_code error;
    if (std::filesystem::file_size(file, error) <= memoryLimit && !error) {
        // qpdf seeks and reads a few bytes at a time, each of which is a system call on an open file.
        m_bytes = readFile(file);
        append(m_bytes, "\n%%EOF\n"); // qpdf 12 does not see the last object of a file cut off right behind it
        document = openedFrom(file, m_bytes);
    } else {
        UniqueDescriptor descriptor(openRegularFile(file));
        FILE* const stream = descriptor ? fdopen(descriptor.get(), "rb") : nullptr;
        if (!stream)
            throw EngineError::unreadable(file);
        descriptor.release();
        document = std::make_unique<QPDF>();
        document->setSuppressWarnings(true);
        document->processFile(file.c_str(), stream, true, ""); // closes the stream, also on failure
    }
    m_tree = walkPageTree(*document);
    m_document = std::move(document);
}

void SourceDocument::openWithoutTables()
{
    const std::string_view text(reinterpret_cast<const char*>(m_bytes.data()), m_bytes.size());
    const std::string catalog = catalogNumberIn(text);
    if (catalog.empty())
        return;
    const std::string trailer = "\ntrailer\n<< /Root " + catalog + " R >>\nstartxref\n0\n%%EOF\n";
    Bytes bytes = m_bytes;
    append(bytes, trailer);
    try {
        std::unique_ptr<QPDF> document = openedFrom(m_file, bytes);
        PageTree tree = walkPageTree(*document);
        const bool hasLostItsLock = !document->isEncrypted() && mentionsLock(text);
        if (hasLostItsLock || (m_document && tree.pages.size() <= pages().size()))
            return;
        m_tree = std::move(tree);
        m_document = std::move(document);
        m_bytes = std::move(bytes);
    } catch (const std::exception&) {
        // What was found by the tables, if anything, is all there is.
    }
}

PDFVersion SourceDocument::version()
{
    PDFVersion version = m_document->getVersionAsPDFVersion();
    // A program that only appended to the file could raise the version in the catalogue, but not at its start.
    const std::string later = nameOf(catalog(), "/Version");
    const auto digitAt = [&](std::size_t position) {
        return later[position] >= '0' && later[position] <= '9' ? later[position] - '0' : 0;
    };
    if (later.size() == std::size("/1.7") - 1)
        version.updateIfGreater({digitAt(1), digitAt(3), version.getExtensionLevel()});
    return version;
}

bool SourceDocument::mayListUnusedResources(std::size_t pageIndex)
{
    if (!m_resourceUsers) {
        m_resourceUsers.emplace();
        for (const SourcePage& page : pages()) {
            for (const Object& dictionary : resourceDictionaries(page.resources)) {
                if (dictionary.isIndirect())
                    ++(*m_resourceUsers)[dictionary.getObjGen()];
            }
        }
    }
    const SourcePage& page = pages()[pageIndex];
    if (valueOf(page.object, "/Resources").isNull())
        return true; // inherited
    const std::vector<Object> dictionaries = resourceDictionaries(page.resources);
    return std::any_of(dictionaries.begin(), dictionaries.end(), [&](Object dictionary) {
        const bool isLong = dictionary.isDictionary() && dictionary.getKeys().size() > manyResources;
        return isLong || (dictionary.isIndirect() && (*m_resourceUsers)[dictionary.getObjGen()] > 1);
    });
}

std::optional<std::size_t> SourceDocument::pageIndexOf(Object page) const
{
    if (!page.isIndirect())
        return std::nullopt;
    const auto found = m_pageIndexes.find(page.getObjGen());
    return found != m_pageIndexes.end() ? std::optional(found->second) : std::nullopt;
}

void SourceDocument::readNamedDestinations()
{
    m_namedDestinations.emplace();
    Object names = dictionaryOf(dictionaryOf(catalog(), "/Names"), "/Dests");
    for (const auto& [name, value] : readNameTree(names))
        m_namedDestinations->emplace(name, value);
    // Version 1.1 keeps them in a dictionary, with names for keys.
    Object dictionary = dictionaryOf(catalog(), "/Dests");
    if (dictionary.isDictionary()) {
        for (const auto& [name, value] : dictionary.getDictAsMap())
            m_namedDestinations->emplace(name.substr(1), value);
    }
}

Object SourceDocument::namedDestination(const std::string& name)
{
    if (!m_namedDestinations)
        readNamedDestinations();
    const auto found = m_namedDestinations->find(name);
    return found != m_namedDestinations->end() ? found->second : Object::newNull();
}

} // namespace Pelgra::Documents
