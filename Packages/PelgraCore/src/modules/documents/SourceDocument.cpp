#include "SourceDocument.h"

#include "files/FileBytes.h"
#include "Metadata.h"
#include "OutlineIndex.h"
#include "PelgraCore/EngineError.h"
#include "Trees.h"

#include <qpdf/DLL.h>
#include <qpdf/QPDFExc.hh>
#include <qpdf/QPDFLogger.hh>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <mutex>
#include <span>
#include <string_view>

#include <fcntl.h>

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
    constexpr std::size_t longest = 24;
    std::size_t end = bytes.size();
    for (;;) {
        const std::size_t at = bytes.substr(0, end).rfind("/Catalog");
        const std::size_t keyword = at != std::string_view::npos ? bytes.rfind(" obj", at) : at;
        if (keyword == std::string_view::npos)
            return {};
        const std::string_view before = bytes.substr(0, keyword);
        const std::string_view last = before.substr(before.size() - std::min(before.size(), longest));
        const std::string number(last.substr(last.find_last_not_of("0123456789 ") + 1));
        const std::size_t first = number.find_first_not_of(' ');
        if (first != std::string::npos && number.find(' ', first) != std::string::npos && number.size() < longest)
            return number;
        end = keyword; // whatever else stands between belongs to the same object
    }
}

std::set<QPDFObjGen> idsIn(Object array)
{
    std::set<QPDFObjGen> ids;
    for (const Object& item : itemsOf(array))
        ids.insert(Object(item).getObjGen());
    return ids;
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

std::unique_ptr<QPDF> silentDocument()
{
    // What has no document to warn of goes to the default logger, and from there to standard error.
    static std::once_flag isSilenced;
    std::call_once(isSilenced, [] { QPDFLogger::defaultLogger()->setError(QPDFLogger::defaultLogger()->discard()); });
    auto document = std::make_unique<QPDF>();
    document->setSuppressWarnings(true);
    return document;
}

/// The bytes must outlive the document.
std::unique_ptr<QPDF> openedFrom(const std::filesystem::path& file, const Bytes& bytes)
{
    std::unique_ptr<QPDF> document = silentDocument();
    document->processMemoryFile(file.c_str(), reinterpret_cast<const char*>(bytes.data()), bytes.size(), "");
    return document;
}

/// Whether the library has rebuilt the tables and, from version 12 on, with them the list of pages.
bool mayHaveMendedPages(QPDF& document)
{
    const std::vector<QPDFExc> warnings = QPDF_MAJOR_VERSION >= 12 ? document.getWarnings() : std::vector<QPDFExc>();
    return std::any_of(warnings.begin(), warnings.end(), [](const QPDFExc& warning) {
        return warning.getMessageDetail().find("reconstruct") != std::string::npos;
    });
}

/// A catalogue with one empty page.
constexpr std::string_view standIn =
    "<< /Type /Catalog /Pages << /Type /Pages /Count 1 /Kids [<< /Type /Page /MediaBox [0 0 1 1] >>] >> >>";

/// Puts the true catalogue into the place of the stand-in.
void takeTrueCatalog(QPDF& document)
{
    Object trailer = document.getTrailer();
    for (Object& page : itemsOf(valueOf(dictionaryOf(trailer.getKey("/Root"), "/Pages"), "/Kids"))) {
        if (page.isIndirect()) // the library has made an object of it
            document.replaceObject(page.getObjGen(), Object::newDictionary());
    }
    trailer.replaceKey("/Root", trailer.getKey("/True"));
}

/// The entries of a trailer that unlock the document; none for none.
std::string lockOf(QPDF* document)
{
    std::string entries;
    for (const char* const key : {"/Encrypt", "/ID"}) {
        if (document && document->getTrailer().hasKey(key))
            entries += std::string(key) + ' ' + document->getTrailer().getKey(key).unparse() + ' ';
    }
    return entries;
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
        openWithoutTables(catalogNumberIn(text()));
    } catch (const std::exception&) {
        throw EngineError::unreadable(file);
    }
    if (m_document && m_tree.losses.missing > 0)
        openWithoutTables(catalogNumberIn(text()));
    else if (m_document && mayHaveMendedPages(*m_document))
        openWithoutTables(m_document->getRoot().getObjGen().unparse(' '));
    if (!m_document || !isUnlocked(*m_document) || (pages().empty() && losses().any()))
        throw EngineError::unreadable(file);
    m_places = placesOf(file);
    for (std::size_t index = 0; index < pages().size(); ++index) {
        if (pages()[index].object.isIndirect())
            m_pageIndexes.emplace(pages()[index].object.getObjGen(), index);
    }
}

void SourceDocument::open(const std::filesystem::path& file)
{
    std::unique_ptr<QPDF> document;
    UniqueDescriptor opened = openDocument(file);
    if (fileSize(opened) <= memoryLimit) {
        // qpdf seeks and reads a few bytes at a time, each of which is a system call on an open file.
        m_bytes = readFile(file);
        m_size = m_bytes.size();
        append(m_bytes, "\n%%EOF\n"); // qpdf 12 does not see the last object of a file cut off right behind it
        document = openedFrom(file, m_bytes);
    } else {
        m_descriptor = std::move(opened);
        UniqueDescriptor descriptor(fcntl(m_descriptor.get(), F_DUPFD_CLOEXEC, 0));
        FILE* const stream = descriptor ? fdopen(descriptor.get(), "rb") : nullptr;
        if (!stream)
            throw EngineError::unreadable(file);
        descriptor.release();
        m_size = fileSize(m_descriptor);
        document = silentDocument();
        document->processFile(file.c_str(), stream, true, ""); // closes the stream, also on failure
    }
    m_tree = walkPageTree(*document);
    m_document = std::move(document);
}

std::string_view SourceDocument::text() const
{
    return {reinterpret_cast<const char*>(m_bytes.data()), m_bytes.size()};
}

/// Where the tables are lost, version 12 of the library mends the list of pages as well, and nobody could tell any more
/// what is missing of it. So it is shown a list of one empty page; the true catalogue takes its place afterwards.
void SourceDocument::openWithoutTables(const std::string& catalog)
{
    if (catalog.empty() || m_bytes.empty())
        return;
    Bytes bytes = m_bytes;
    append(bytes,
           "\ntrailer\n<< " + lockOf(m_document.get()) + "/True " + catalog + " R /Root " + std::string(standIn)
               + " >>\nstartxref\n0\n%%EOF\n");
    try {
        std::unique_ptr<QPDF> document = openedFrom(m_file, bytes);
        takeTrueCatalog(*document);
        PageTree tree = walkPageTree(*document);
        const bool hasLostItsLock = !document->isEncrypted() && mentionsLock(text());
        const bool tellsMore =
            !m_document || tree.pages.size() > pages().size() || tree.losses.missing > losses().missing;
        if (hasLostItsLock || !tellsMore)
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
    const auto isLong = [](Object dictionary) {
        return dictionary.isDictionary() && dictionary.getKeys().size() > manyResources;
    };
    if (!m_resourceUse) {
        m_resourceUse.emplace();
        for (const SourcePage& page : pages()) {
            for (const Object& dictionary : resourceDictionaries(page.resources)) {
                if (!dictionary.isIndirect())
                    continue;
                const auto [place, isNew] = m_resourceUse->try_emplace(dictionary.getObjGen());
                ++place->second.users;
                if (isNew)
                    place->second.isLong = isLong(dictionary);
            }
        }
    }
    const SourcePage& page = pages()[pageIndex];
    if (valueOf(page.object, "/Resources").isNull())
        return true; // inherited
    const std::vector<Object> dictionaries = resourceDictionaries(page.resources);
    return std::any_of(dictionaries.begin(), dictionaries.end(), [&](Object dictionary) {
        if (!dictionary.isIndirect())
            return isLong(dictionary);
        const ResourceUse& use = (*m_resourceUse)[dictionary.getObjGen()];
        return use.isLong || use.users > 1;
    });
}

std::optional<std::size_t> SourceDocument::pageIndexOf(Object page) const
{
    if (!page.isIndirect())
        return std::nullopt;
    const auto found = m_pageIndexes.find(page.getObjGen());
    return found != m_pageIndexes.end() ? std::optional(found->second) : std::nullopt;
}

SourceDocument::~SourceDocument() = default;

const std::map<long long, Object>& SourceDocument::pageLabels()
{
    if (!m_pageLabels) {
        m_pageLabels.emplace();
        for (const auto& [start, label] : readNumberTree(dictionaryOf(catalog(), "/PageLabels")))
            m_pageLabels->emplace(start, label);
        // Pages before the first range count in plain numbers, and so do all pages where there are no ranges.
        m_pageLabels->emplace(0, Object::newDictionary(std::map<std::string, Object>{{"/S", Object::newName("/D")}}));
    }
    return *m_pageLabels;
}

const LayerIndex& SourceDocument::layers()
{
    if (m_layers)
        return *m_layers;
    m_layers.emplace();
    Object properties = dictionaryOf(catalog(), "/OCProperties");
    Object configuration = dictionaryOf(properties, "/D");
    const std::set<QPDFObjGen> hidden = idsIn(valueOf(configuration, "/OFF"));
    const std::set<QPDFObjGen> shown = idsIn(valueOf(configuration, "/ON"));
    const bool isHiddenByDefault = isNamed(configuration, "/BaseState", "/OFF");
    for (const Object& constLayer : itemsOf(valueOf(properties, "/OCGs"))) {
        Object layer = constLayer;
        const QPDFObjGen id = layer.getObjGen();
        if (!layer.isDictionary() || !layer.isIndirect()
            || !m_layers->positions.emplace(id, m_layers->layers.size()).second)
            continue;
        m_layers->layers.push_back(layer);
        m_layers->isHidden.push_back(hidden.count(id) != 0 || (isHiddenByDefault && shown.count(id) == 0));
    }
    return *m_layers;
}

void SourceDocument::checkComplete() const
{
    if (m_descriptor && fileSize(m_descriptor) < m_size)
        throw EngineError::unreadable(m_file);
}

OutlineIndex& SourceDocument::outline()
{
    if (!m_outline)
        m_outline = std::make_unique<OutlineIndex>(*this);
    return *m_outline;
}

const std::string& SourceDocument::metadata()
{
    if (!m_metadata)
        m_metadata = compressedMetadata(valueOf(catalog(), "/Metadata"));
    return *m_metadata;
}

const std::map<QPDFObjGen, std::size_t>& SourceDocument::positionsIn(Object owner, const char* key)
{
    Object list = valueOf(owner, key);
    const auto [place, isNew] =
        m_positions.try_emplace({list.isIndirect() ? list.getObjGen() : owner.getObjGen(), key});
    if (isNew) {
        for (const Object& item : itemsOf(list)) {
            if (Object(item).isIndirect())
                place->second.emplace(Object(item).getObjGen(), place->second.size());
        }
    }
    return place->second;
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
